#include <cstdio>

// The least that a program can cost where the standard streams come with it, linked in.
int main() {
  std::puts("usage: ");
}
