#include <algorithm>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string>

#include "app/GPUSnifferApp.h"
#include "app/GPUSnifferTester.h"
#include "app/Platform.h"

namespace {

// As a 32-bit long, whatever the platform's own is. Text without digits is 0: hosts rely on it.
int32_t parseInteger(const std::string& text) {
  char* end = nullptr;
  const long number = std::strtol(text.c_str(), &end, 0);
  if (!end) throw std::runtime_error("bad integer: \"" + text + "\"");
  using Limits = std::numeric_limits<int32_t>;
  return static_cast<int32_t>(std::clamp<long>(number, Limits::min(), Limits::max()));
}

// -1 becomes all ones, which is never.
uint32_t parseThreshold(const std::string& text) {
  return static_cast<uint32_t>(parseInteger(text));
}

std::string withoutQuotes(const std::string& text) {
  const bool quoted = text.size() > 1 && text.front() == '"' && text.back() == '"';
  return quoted ? text.substr(1, text.size() - 2) : text;
}

}  // namespace

/// One "-name=value" option: what the usage text says of its value, and what it does.
struct GPUSnifferApp::Option {
  std::string name;
  std::string usage;
  void (*apply)(GPUSnifferApp& app, const std::string& value);
};

const std::vector<GPUSnifferApp::Option>& GPUSnifferApp::options() {
  using App = GPUSnifferApp;
  using Text = std::string;
  static const std::vector<Option> options = {
      {"crashAfter", "N {GPUSnifferTester should crash after N steps}",
       [](App& app, const Text& value) {
         app.fCrashAfter = parseThreshold(value);
         if (app.fTester) app.fTester->SetCrashAfter(app.fCrashAfter);
       }},
      {"throwAfter", "N {GPUSnifferTester should throw after N steps}",
       [](App& app, const Text& value) {
         app.fThrowAfter = parseThreshold(value);
         if (app.fTester) app.fTester->SetThrowAfter(app.fThrowAfter);
       }},
      {"app", "SomeApp {specify name of host app}",
       [](App& app, const Text& value) { app.fHostApp = value; }},
      {"stdout", "line_of_stdout {puts the line to stdout as-is}",
       [](App& app, const Text& value) { app.DoStdout(value); }},
      {"stderr", "line_of_stderr {puts the line to stderr as-is}",
       [](App& app, const Text& value) { app.DoStderr(value); }},
      {"exit", "N {app should exit with N}",
       [](App& app, const Text& value) { app.fExitCode = parseInteger(value); }},
      {"verbose", "N {verbosity level}",
       [](App& app, const Text& value) { app.fVerbose = parseInteger(value); }},
      {"timeout", "N {Mac only, SIGALRM kills sniffer after N seconds, if not finished}",
       [](App& app, const Text& value) {
         app.fTimeout = parseInteger(value);
         ArmTimeout(app.fTimeout);
       }},
      {"comment", "line_of_comment {outputs '# line_of_comment'}",
       [](App& app, const Text& value) { app.DoComment(value); }},
      {"hang", "N {before exit, sleep for N milliseconds}",
       [](App& app, const Text& value) { app.fHang = parseInteger(value); }},
  };
  return options;
}

void GPUSnifferApp::GetUsage(std::vector<std::string>& lines) {
  lines = {"usage: " + fUsageName, "    -help {show this message}"};
  for (const Option& option : options()) {
    lines.push_back("    -" + option.name + "=" + option.usage);
  }
}

void GPUSnifferApp::ParseArgs(ArgumentList& arguments) {
  // A bad argument does not stop the others: what they set still counts for the exit.
  ArgumentList leftOver;
  while (!arguments.empty()) {
    const std::string argument = arguments.front();
    arguments.pop_front();
    if (!HandleArg(argument)) leftOver.push_back(argument);
  }
  arguments.swap(leftOver);
}

bool GPUSnifferApp::HandleArg(const std::string& argument) {
  if (argument.empty() || argument.front() != '-') return false;
  const std::string text = argument.substr(1);
  const size_t equals = text.find('=');
  if (equals == std::string::npos) {
    if (text == "help") throw UsageException();
    return false;
  }
  return HandleOption(text.substr(0, equals), withoutQuotes(text.substr(equals + 1)));
}

bool GPUSnifferApp::HandleOption(const std::string& name, const std::string& value) {
  for (const Option& option : options()) {
    if (option.name != name) continue;
    option.apply(*this, value);
    return true;
  }
  return false;
}
