#pragma once

#include <ostream>
#include <string>

/// The line about the exception that is being handled: its kind and its text.
std::string CurrentFailureText();

/// The same as a piece of a diagnostic. It is made where it is streamed, so that the log's guard
/// covers the making: Diagnostic{}("no context: ", CurrentFailure()).
struct CurrentFailure {};
inline std::ostream& operator<<(std::ostream& out, CurrentFailure) {
  return out << CurrentFailureText();
}
