#pragma once

#include <string>

namespace ZOR::Core {

/// "call: " and the system's own words for GetLastError().
std::string SystemErrorText(const std::string& call);

/// Throws that text as a LogicalException.
[[noreturn]] void ThrowSystemError(const char* call);

}  // namespace ZOR::Core
