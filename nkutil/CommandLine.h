#pragma once

#include <string>
#include <vector>

namespace nkutil {

/// The command line of Windows for a program and its arguments, which CommandLineToArgvW and the C
/// runtimes split into just these again. The program must hold no quote.
std::string windowsCommandLine(const std::string& program,
                               const std::vector<std::string>& arguments);

}  // namespace nkutil
