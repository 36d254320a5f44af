#include "nkutil/ConsoleApp.h"

#include <cstdio>
#include <iterator>

namespace nkutil {

namespace {

struct CodeName {
  std::uint32_t code;
  const char* name;
};

/// Linux numbers.
constexpr CodeName kSignals[] = {
    {1, "SIGHUP"},   {2, "SIGINT"},   {3, "SIGQUIT"},    {4, "SIGILL"},   {5, "SIGTRAP"},
    {6, "SIGABRT"},  {7, "SIGBUS"},   {8, "SIGFPE"},     {9, "SIGKILL"},  {10, "SIGUSR1"},
    {11, "SIGSEGV"}, {12, "SIGUSR2"}, {13, "SIGPIPE"},   {14, "SIGALRM"}, {15, "SIGTERM"},
    {24, "SIGXCPU"}, {25, "SIGXFSZ"}, {26, "SIGVTALRM"}, {27, "SIGPROF"}, {31, "SIGSYS"},
};

constexpr CodeName kExceptions[] = {
    {0x80000003, "breakpoint"},
    {0xC0000005, "access violation"},
    {0xC0000006, "in-page error"},
    {0xC0000017, "no memory"},
    {0xC000001D, "illegal instruction"},
    {0xC0000025, "noncontinuable exception"},
    {0xC000008C, "array bounds exceeded"},
    {0xC000008E, "float divide by zero"},
    {0xC0000094, "integer divide by zero"},
    {0xC0000096, "privileged instruction"},
    {0xC00000FD, "stack overflow"},
    {0xC0000135, "DLL not found"},
    {0xC0000138, "ordinal not found"},
    {0xC0000139, "entry point not found"},
    {0xC000013A, "control C exit"},
    {0xC0000142, "DLL initialization failed"},
    {0xC0000374, "heap corruption"},
    {0xC0000409, "stack buffer overrun"},
    {0xC0000420, "assertion failure"},
    {0xE06D7363, "C++ exception"},
};

template <std::size_t N>
const char* nameOf(const CodeName (&names)[N], std::uint32_t code) {
  for (const CodeName& each : names)
    if (each.code == code) return each.name;
  return nullptr;
}

std::string formatted(const char* format, std::uint32_t code) {
  char text[32];
  std::snprintf(text, sizeof text, format, static_cast<unsigned>(code));
  return text;
}

}  // namespace

std::string LaunchError::message() const {
  std::string all = "cannot start " + path + ": " + step + ": " + text;
  if (code != 0) all += " (" + std::to_string(code) + ")";
  return all;
}

std::string Ending::name() const {
  switch (kind) {
    case Kind::Exited:
      return formatted("exit code %u", code);
    case Kind::Signalled: {
      const char* name = nameOf(kSignals, code);
      return name ? name : formatted("signal %u", code);
    }
    case Kind::Exception: {
      const char* name = nameOf(kExceptions, code);
      return formatted("0x%08X", code) + (name ? std::string(" ") + name : "");
    }
    case Kind::Unknown:
      break;
  }
  return "unknown";
}

bool endedInTime(const ConsoleApp& app, const Command& command, Time deadline) {
  const std::optional<Time> ended = app.entered(AppState::Finishing);
  return ended && *ended <= deadline && deadline <= *ended + command.drainBudget;
}

RunResult Run(ConsoleAppLauncher& launcher, const Command& command, Time deadline) {
  RunResult result;
  LaunchError error;
  const std::unique_ptr<ConsoleApp> app = launcher.launch(command, deadline, error);
  if (!app) {
    result.error = std::move(error);
    return result;
  }
  const bool over = app->waitForEnd(deadline);
  if (!over) result.stuck = !app->Kill(command.killBudget);
  result.timedOut = !over && !endedInTime(*app, command, deadline);
  result.ending = app->ending();
  result.killedProcesses = app->killedProcesses();
  result.out = app->takeBytes(Stream::Out);
  result.err = app->takeBytes(Stream::Err);
  result.outRead = app->bytesRead(Stream::Out);
  result.errRead = app->bytesRead(Stream::Err);
  result.outError = app->readError(Stream::Out);
  result.errError = app->readError(Stream::Err);
  result.id = app->id();
  for (std::size_t i = 0; i < std::size(result.entered); ++i)
    result.entered[i] = app->entered(static_cast<AppState>(i));
  return result;
}

}  // namespace nkutil
