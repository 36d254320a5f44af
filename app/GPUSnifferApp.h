#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <exception>
#include <list>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

class GPUSnifferTester;
class NKLogger;

/// The command line's arguments in order, as the bytes that came.
using ArgumentList = std::list<std::string>;

/// The line about the exception that is being handled: its kind and its text.
std::string CurrentFailureText();

/// The same as a piece of a diagnostic. It is made where it is streamed, so that the log's guard
/// covers the making: Diagnostic{}("no context: ", CurrentFailure()).
struct CurrentFailure {};
inline std::ostream& operator<<(std::ostream& out, CurrentFailure) {
  return out << CurrentFailureText();
}

/// Common base of the application and of the tester.
class GPUSnifferAppAndHost {
 public:
  virtual ~GPUSnifferAppAndHost() = default;
};

/// Owns the options, the logger and the tester, and turns whatever escapes them into one line
/// on standard error and an exit code. The virtual operations keep their slot order.
class GPUSnifferApp : public GPUSnifferAppAndHost {
 public:
  /// The command line was not understood, or help was asked for.
  class UsageException : public std::exception {
   public:
    const char* what() const noexcept override { return "usage"; }
  };

  GPUSnifferApp();
  ~GPUSnifferApp() override;
  GPUSnifferApp(const GPUSnifferApp&) = delete;
  GPUSnifferApp& operator=(const GPUSnifferApp&) = delete;

  /// Gives the log its channel table; the first application of a process decides its size.
  virtual void InitLogging();
  /// Called once the logger is there; for derived applications.
  virtual void Init() {}
  /// Replaces lines by the usage text.
  virtual void GetUsage(std::vector<std::string>& lines);
  /// Applies every option in order; on return the list holds what was not understood.
  virtual void ParseArgs(ArgumentList& arguments);
  /// Applies one option; false when the name is unknown.
  virtual bool HandleOption(const std::string& name, const std::string& value);
  /// Handles one argument; false when it was not understood. "-help" throws UsageException.
  virtual bool HandleArg(const std::string& argument);
  /// A logger on standard output, current for as long as it lives.
  virtual boost::shared_ptr<NKLogger> CreateLogger();
  /// A tester that reports through this application; an empty result means the plain one.
  virtual boost::shared_ptr<GPUSnifferTester> CreateTester();
  /// Writes "# " and the text through DoStdout.
  virtual void DoComment(const std::string& text);
  /// Writes and flushes one line. A failure is told to standard error and goes no further.
  virtual void DoStdout(const std::string& line);
  /// Writes and flushes one line; never throws.
  virtual void DoStderr(const std::string& line);

  /// Tells standard error of the exception that is being handled, or, where there is no memory for
  /// its text, of that.
  void TellFailure();

  /// Runs the probe over the program path and its arguments, which it consumes.
  /// Returns the exit code: 0, what -exit= named, 2 after a failure, 3 for a usage error.
  int Run(ArgumentList& arguments);

  /// The tester, made on first use.
  boost::shared_ptr<GPUSnifferTester> GetTester();

 protected:
  /// From -exit=; a failure replaces it.
  int32_t fExitCode = 0;
  /// Steps before a programmed failure; all ones is never.
  uint32_t fCrashAfter = 0xFFFFFFFF;
  uint32_t fThrowAfter = 0xFFFFFFFF;
  /// Level of the channel "GPUSniffer"; 0 silences every diagnostic.
  int32_t fVerbose = 0;
  /// Seconds; acted on only where it was given and the platform has a watchdog.
  int32_t fTimeout = 5;
  /// Milliseconds to wait before Run returns.
  int32_t fHang = 0;
  std::string fUsageName;
  /// The program path unless -app= names the host.
  std::string fHostApp;
  boost::shared_ptr<NKLogger> fLogger;
  boost::shared_ptr<GPUSnifferTester> fTester;

 private:
  struct Option;
  /// All options but -help, in the order of the usage text.
  static const std::vector<Option>& options();

  /// Takes GPUPROBE_SKIP and GPUPROBE_ANNOUNCE from the environment; names that mean nothing are
  /// told on standard error.
  void readHostSwitches();
  /// The options and the probing, which may throw.
  void runUnguarded(ArgumentList& arguments);
  /// Does it; an exception of it becomes a line and an exit code.
  template <class Action>
  void guard(const Action& action);
};

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
