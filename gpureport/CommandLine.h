#pragma once

#include <optional>
#include <string>
#include <vector>

#include "nkutil/Lines.h"

namespace gpureport {

enum class Format { Text, Json, JsonLines, Prometheus, Labels, Html };

/// gpureport [show].
struct ShowOptions {
  Format format = Format::Text;
  std::string output;  ///< empty for standard output
  nkutil::Milliseconds deadline{30000};
  nkutil::Milliseconds silence{5000};
  std::string probe;                ///< empty: beside the tool, then in PATH
  std::optional<std::string> from;  ///< a file, or "-"
  std::vector<std::string> skip;    ///< a comma as it stands
  std::string require;              ///< empty for none
  std::string get;                  ///< empty for none
  std::string labelPrefix;
  std::string rehearse;  ///< faults as in rehearsal/Faults.h; empty for none
  bool quiet = false;
};

/// gpureport guard.
struct GuardOptions {
  std::optional<nkutil::Milliseconds> deadline;
  bool keepTree = false;
  std::string verdict;  ///< a file; empty for none
  std::string program;
  std::vector<std::string> arguments;
};

/// What the command line asks for: one of both, or a text to print and the exit code after it.
struct Wanted {
  std::optional<ShowOptions> show;
  std::optional<GuardOptions> guard;
  int exitCode = 0;
  std::string text;
};

Wanted ParseCommandLine(const std::vector<std::string>& arguments);

/// Names of GPUPROBE_SKIP: parted by commas, "%2C" for a comma within a name.
std::vector<std::string> SkipNames(const std::string& list);

/// gpureport [show]: asks or reads, shows, and answers the exit code.
int Show(const ShowOptions& options);

/// gpureport guard, likewise.
int Guard(const GuardOptions& options);

}  // namespace gpureport
