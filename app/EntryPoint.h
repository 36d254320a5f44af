#pragma once

#include <optional>

#include "app/GPUSnifferApp.h"

/// Makes the process's application object, runs it over all arguments and destroys it with all that
/// it holds: contexts, queues and logger. The exit code; 4 when an exception escaped the object.
template <class App>
int RunApplication(int argc, char** argv) {
  static std::optional<App> app;
  int code = 4;
  try {
    ArgumentList arguments(argv, argv + argc);
    app.emplace();
    code = app->Run(arguments);
  } catch (...) {
    // Not even the application could say what went wrong.
  }
  app.reset();
  return code;
}
