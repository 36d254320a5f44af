#include "rehearsal/Actions.h"

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <locale>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace rehearsal {
namespace {

const std::vector<Fault>& faults() {
  static const std::vector<Fault> read = [] {
    const char* text = std::getenv("GPUPROBE_FAULT");
    try {
      return ParseFaults(text ? text : "");
    } catch (const std::invalid_argument& error) {
      std::fprintf(stderr, "GPUPROBE_FAULT: %s\n", error.what());
      std::abort();
    }
  }();
  return read;
}

void trace(const char* function, bool struck) {
  static std::FILE* const file = [] {
    const char* path = std::getenv("GPUPROBE_FAULT_TRACE");
    return path ? std::fopen(path, "a") : nullptr;
  }();
  if (!file) return;
  // The next thing may be a crash, and others may write to the file.
  std::fprintf(file, "call %s%s\n", function, struck ? " struck" : "");
  std::fflush(file);
}

int useUpTheStack(volatile char* caller) {
  volatile char frame[4096];
  frame[0] = *caller;
  if (frame[0] == 0) return 0;
  return useUpTheStack(frame) + frame[0];
}

void crash() {
  static volatile int* volatile nowhere = nullptr;
  *nowhere = 1;
}

void makeNoise() {
  std::printf("driver's half ");
  system_actions::WriteNoise();
}

[[noreturn]] void spin() {
  for (volatile unsigned turns = 0;; turns = turns + 1) {
  }
}

/// As some plug-ins set it up for the whole process.
class DecimalCommas : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

void setLocale() {
  for (const char* name : {"de_DE.UTF-8", "fr_FR.UTF-8", "German"})
    if (std::setlocale(LC_ALL, name)) break;
  std::locale::global(std::locale(std::locale(), new DecimalCommas));
}

void crashBeside() {
  std::thread([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    makeNoise();
    crash();
  }).detach();
}

}  // namespace

bool TakeStrike() {
  static const char* const path = std::getenv("GPUPROBE_FAULT_ONCE");
  if (!path) return true;
  // Windows' older C library knows no fopen() that refuses a file that is there.
  const int made = open(path, O_CREAT | O_EXCL | O_WRONLY, 0600);
  return made >= 0 && close(made) == 0;
}

const Fault* FaultOfLoading(const char* name) {
  for (const Fault& fault : faults())
    if (fault.function == name && fault.Strikes(1) && TakeStrike()) {
      trace(name, true);
      return &fault;
    }
  return nullptr;
}

const Fault* CountCall(Calls& calls) {
  static std::vector<std::uint64_t> fitting(faults().size());
  ++calls.made;
  const Fault* striking = nullptr;
  for (std::size_t i = 0; i < fitting.size(); ++i) {
    const Fault& fault = faults()[i];
    if (fault.Fits(calls.name) && fault.Strikes(++fitting[i]) && !striking) striking = &fault;
  }
  if (striking && !TakeStrike()) striking = nullptr;
  trace(calls.name, striking);
  return striking;
}

bool ActOnProcess(const Fault& fault) {
  volatile char base = 1;
  const auto number = fault.argument.value_or(0);
  switch (fault.action) {
    case Action::Crash:
      crash();
      return true;
    case Action::Abort:
      std::abort();
    case Action::Stack:
      useUpTheStack(&base);
      return true;
    case Action::Exit:
      std::exit(static_cast<int>(number));
    case Action::Throw:
      throw std::runtime_error("thrown by a driver");
    case Action::Hang:
      system_actions::Hang();
    case Action::Sleep:
      std::this_thread::sleep_for(std::chrono::milliseconds(number));
      return true;
    case Action::Spin:
      spin();
    case Action::Kernel:
      system_actions::StopUntilKilled();
      return true;
    case Action::Noise:
      makeNoise();
      return true;
    case Action::Fork: {
      // One holds the streams as well as hundreds do.
      static std::once_flag left;
      std::call_once(left, system_actions::LeaveChild);
      return true;
    }
    case Action::Close:
      system_actions::CloseStreams();
      return true;
    case Action::Chdir:
      std::filesystem::current_path(std::filesystem::temp_directory_path().root_path());
      return true;
    case Action::Signal:
      system_actions::TakeSignals();
      return true;
    case Action::Locale:
      setLocale();
      return true;
    case Action::Thread:
      crashBeside();
      return true;
    case Action::Late:
      std::atexit(crash);
      return true;
    case Action::Error:
    case Action::Null:
    case Action::Empty:
    case Action::Garbage:
    case Action::Huge:
    case Action::Current:
      return false;
  }
  return false;
}

}  // namespace rehearsal
