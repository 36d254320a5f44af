#include "nkutil/CommandLine.h"

namespace nkutil {

namespace {

/// Backslashes are themselves but for those before a quote, which are doubled.
void appendQuoted(std::string& line, const std::string& argument) {
  // Some runtimes expand wildcards, not in quotes.
  if (!argument.empty() && argument.find_first_of(" \t\n\v\r\"*?") == std::string::npos) {
    line += argument;
    return;
  }
  line += '"';
  std::size_t backslashes = 0;
  for (const char c : argument) {
    if (c == '"') line.append(backslashes + 1, '\\');
    backslashes = c == '\\' ? backslashes + 1 : 0;
    line += c;
  }
  line.append(backslashes, '\\');
  line += '"';
}

}  // namespace

std::string windowsCommandLine(const std::string& program,
                               const std::vector<std::string>& arguments) {
  // The first word has rules of its own: quotes, and no escapes.
  std::string line = "\"" + program + "\"";
  for (const std::string& argument : arguments) {
    line += ' ';
    appendQuoted(line, argument);
  }
  return line;
}

}  // namespace nkutil
