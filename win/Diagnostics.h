#pragma once

#include <exception>

#include "log/Diagnostic.h"

/// Runs a reader's work. Any exception ends here: it is logged as "<operation> exception", with
/// ": " and its text when it has one, and abandon takes what the work has left open.
template <class Work, class Abandon>
void GuardedRead(const char* operation, int textLine, int plainLine, Work work, Abandon abandon) {
  try {
    work();
    return;
  } catch (const std::exception& exception) {
    AdapterDiagnostic(textLine)(operation, " exception: ", exception.what());
  } catch (...) {
    AdapterDiagnostic(plainLine)(operation, " exception");
  }
  abandon();
}
