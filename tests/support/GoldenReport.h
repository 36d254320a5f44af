#pragma once

#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

/// The lines of a text that the contract gives, in tests/NAME.golden: "report" is that of a fake
/// machine with two GPUs of each kind, "usage" what a usage error writes, "framebuffer" and
/// "measurements" are the calls and the log of the render test and of OpenCL's two measurements.
inline std::vector<std::string> goldenLines(const std::string& name) {
  std::ifstream file(GPUPROBE_TESTS + name + ".golden");
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  if (lines.empty()) throw std::runtime_error(name + ".golden is missing");
  return lines;
}

inline std::string joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

inline bool contains(const std::string& line, const char* part) {
  return line.find(part) != line.npos;
}

/// What a run with -throwAfter= and -crashAfter= writes, worked out from the lines of one without.
struct RehearsedRun {
  static constexpr unsigned kNever = ~0U;

  RehearsedRun(const std::vector<std::string>& report, unsigned throwAfter = kNever,
               unsigned crashAfter = kNever) {
    const auto stepFails = [&] {
      const unsigned taken = steps++;
      if (taken < crashAfter && taken != throwAfter) return false;
      err.emplace_back(taken >= crashAfter ? "exception: programmed failure"
                                           : "exception: Programmed throw");
      return true;
    };
    // The first step is that of the tester's name, before its line.
    if (stepFails()) return;
    for (const std::string& line : report) {
      out.push_back(line);
      const bool step = !contains(line, "Tester=") && !contains(line, "gputag.") &&
                        !contains(line, ".glGetString[");
      if (step && stepFails() && !contains(line, "gpu[")) return;
    }
    stepFails();
  }

  unsigned steps = 0;
  std::vector<std::string> out, err;
};
