#include "app/MySniffer.h"
#include "app/Platform.h"

int main(int argc, char** argv) {
  // Before anything can open a file, show a dialog or print a line.
  PreparePlatform();
  LeaveProcess(RunApplication<MySniffer>(argc, argv));
}
