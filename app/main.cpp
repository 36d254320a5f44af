#include <list>
#include <string>

#include "MySniffer.h"
#include "Platform.h"

int main(int argc, char** argv) {
  // Before anything can open a file or show a dialog.
  PreparePlatform();
  try {
    std::list<std::string> arguments(argv, argv + argc);
    // Lives to the end of the process, and with it every GPU's context.
    static MySniffer app;
    return app.Run(arguments);
  } catch (...) {
    // Not even the application could say what went wrong.
    return 4;
  }
}
