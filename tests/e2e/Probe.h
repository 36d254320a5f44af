#pragma once

#include <string>
#include <vector>

using Lines = std::vector<std::string>;

/// A command line of bash, in which $0 is a folder of the run's own.
struct Start {
  Lines arguments = {};
  std::string before = "";  // assignments for the program, commands ahead of it
  std::string streams = R"(>"$0/out" 2>"$0/err")";
  std::string program = "${GPUPROBE:?}";
};

/// Lines have no ends, whichever the platform has.
struct Outcome {
  std::string text;  // standard output as it came
  Lines out;         // with times and measurements, which differ from run to run, made equal
  Lines report;      // out without the lines that a reader skips,
  Lines comments;    // and these
  Lines err;
  int code = -1;
  int signal = 0;
  double seconds = 0;
};

/// Runs the program to its end, for at most five minutes; again where what runs it failed instead.
Outcome RunProbe(const Start& start);

/// What a run without options writes; asked for once.
const Lines& PlainReport();
