#pragma once

/// The commands as CLI11 has them: the one table of options, for the command line, --help, the
/// manual page and the shell's completion.

#include <CLI/CLI.hpp>
#include <string>

#include "gpureport/CommandLine.h"

namespace gpureport {

/// gpureport [show]. The application writes into the members, so that it can't be moved.
class ShowCommand {
 public:
  ShowCommand();
  /// What was parsed.
  ShowOptions options() const;

  CLI::App app;

 private:
  ShowOptions fOptions;
  std::string fFormat = "text";
  std::string fFrom;
  std::string fSkip;
  double fDeadline = 30;
  double fSilence = 5;
  bool fNoMeasurements = false;
};

/// gpureport guard, likewise, without the program to run.
class GuardCommand {
 public:
  GuardCommand();
  GuardOptions options() const;

  CLI::App app;

 private:
  GuardOptions fOptions;
  double fDeadline = 0;
};

}  // namespace gpureport
