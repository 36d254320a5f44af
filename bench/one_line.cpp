#include <iostream>

// The least that a C++ program which says something can cost.
int main() {
  std::cout << "usage: " << std::endl;
}
