#include "gpureport/CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <sstream>

#include "gpureport/ExitCode.h"
#include "gpureport/Forms.h"

namespace gpureport {

namespace {

/// Longer than anybody waits, short enough for every clock.
constexpr double kLongestSeconds = 1e7;

struct Seconds {
  double value = 0;

  void addTo(CLI::App& app, const char* names, const char* help) {
    app.add_option(names, value, help)
        ->check(CLI::Range(0.001, kLongestSeconds).description(""))
        ->type_name("SECONDS");
  }
  nkutil::Milliseconds milliseconds() const {
    return nkutil::Milliseconds(static_cast<std::int64_t>(value * 1000));
  }
};

/// Parses, and says what is to be printed where that is all.
bool parse(CLI::App& app, std::vector<std::string> arguments, Wanted& wanted) {
  app.set_version_flag("--version", "gpureport " GPUPROBE_VERSION);
  std::reverse(arguments.begin(), arguments.end());
  try {
    app.parse(arguments);
    return true;
  } catch (const CLI::ParseError& error) {
    std::ostringstream out;
    std::ostringstream err;
    const bool asked = app.exit(error, out, err) == 0;
    wanted.exitCode = asked ? kComplete : kUsage;
    wanted.text = asked ? out.str() : err.str();
    return false;
  }
}

void parseShow(const std::vector<std::string>& arguments, Wanted& wanted) {
  static const std::map<std::string, Format> formats{
      {"text", Format::Text},       {"json", Format::Json},
      {"jsonl", Format::JsonLines}, {"prometheus", Format::Prometheus},
      {"labels", Format::Labels},   {"html", Format::Html}};
  ShowOptions options;
  options.labelPrefix = kLabelPrefix;
  Seconds deadline{30};
  Seconds silence{5};
  std::string skip;
  std::string format = "text";
  bool noMeasurements = false;
  std::string from;
  CLI::App app(
      "Asks this machine's GPUs what they can do and shows it; what a driver does not\n"
      "survive costs its own answer only.\n",
      "gpureport [show]");
  // So that who calls a script can overrule its options.
  app.option_defaults()->take_last();
  std::vector<std::string> names;
  names.reserve(formats.size());
  for (const auto& each : formats) names.push_back(each.first);
  app.add_option("--format", format, "text, json, jsonl, prometheus, labels or html")
      ->check(CLI::IsMember(names).description(""))
      ->type_name("FORMAT");
  app.add_option("-o,--output", options.output, "Into a file that is never seen half written")
      ->type_name("FILE");
  deadline.addTo(app, "--deadline", "For everything; 30");
  silence.addTo(app, "--silence", "How long one question may take; 5");
  app.add_option("--probe", options.probe, "The probe; beside this program, else in PATH")
      ->type_name("PATH");
  CLI::Option* fromOption =
      app.add_option("--from", from, "Show this report or JSON (- standard input), ask nobody")
          ->type_name("FILE");
  app.add_option("--skip", skip, "What not to ask: OpenCL, clgpu[1], CLCompute, ...")
      ->type_name("NAMES");
  app.add_flag("--no-measurements", noMeasurements, "Skip CLBandwidth and CLCompute");
  app.add_option("--require", options.require,
                 "Exit code 0 when met, 9 when not: opengl>=3.3, opencl>=1.2,\n"
                 "memory>=2GiB, discrete, glsl, framebuffer, joined by commas")
      ->type_name("EXPR");
  app.add_option("--get", options.get, "Print one value: opengl[0].memory_bytes")->type_name("KEY");
  app.add_option("--label-prefix", options.labelPrefix, "Of --format labels")
      ->check([](const std::string& prefix) {
        return IsLabelPrefix(prefix) ? std::string() : "not a DNS name and a slash";
      })
      ->type_name("PREFIX");
  app.add_flag("--quiet", options.quiet, "No progress on standard error");
  app.footer(
      "gpureport guard [options] -- PROGRAM ... keeps watch over any program.\n\n"
      "Exit codes: 0 complete, 1 own failure, 2 usage, 3 a question failed, 4 no GPU,\n"
      "5 hung, 6 crashed, 7 no probe, 8 stuck, 9 requirement not met");
  if (!parse(app, arguments, wanted)) return;
  options.format = formats.at(format);
  options.deadline = deadline.milliseconds();
  options.silence = silence.milliseconds();
  if (fromOption->count() > 0) options.from = from;
  options.skip = SkipNames(skip);
  if (noMeasurements) options.skip.insert(options.skip.end(), {"CLBandwidth", "CLCompute"});
  wanted.show = std::move(options);
}

void parseGuard(const std::vector<std::string>& arguments, Wanted& wanted) {
  GuardOptions options;
  Seconds deadline;
  CLI::App app(
      "Runs a program, passes its streams through, and ends its whole tree at the\n"
      "deadline, and what it leaves behind.\n",
      "gpureport guard");
  app.option_defaults()->take_last();
  deadline.addTo(app, "--deadline", "None without it");
  app.add_flag("--keep-tree", options.keepTree, "Leave alone what the program leaves running");
  app.add_option("--verdict", options.verdict, "Write how it ended, as JSON")->type_name("FILE");
  app.footer(
      "gpureport guard [options] -- PROGRAM [arguments]\n\n"
      "Exit codes: the program's own, 128 + signal (Windows: the exception),\n"
      "124 at the deadline, 125 own failure, 126 not runnable, 127 not found, 137 stuck");
  const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
  if (!parse(app, {arguments.begin(), dashes}, wanted)) {
    if (wanted.exitCode != 0) wanted.exitCode = kGuardFailure;
    return;
  }
  if (arguments.end() - dashes < 2) {
    wanted.exitCode = kGuardFailure;
    wanted.text = "gpureport guard: -- PROGRAM is missing\n";
    return;
  }
  if (deadline.value > 0) options.deadline = deadline.milliseconds();
  options.program = dashes[1];
  options.arguments.assign(dashes + 2, arguments.end());
  wanted.guard = std::move(options);
}

}  // namespace

Wanted ParseCommandLine(const std::vector<std::string>& arguments) {
  Wanted wanted;
  const std::string first = arguments.empty() ? "" : arguments.front();
  const bool named = first == "show" || first == "guard";
  const std::vector<std::string> rest(arguments.begin() + (named ? 1 : 0), arguments.end());
  first == "guard" ? parseGuard(rest, wanted) : parseShow(rest, wanted);
  return wanted;
}

std::vector<std::string> SkipNames(const std::string& list) {
  std::vector<std::string> names;
  std::istringstream stream(list);
  for (std::string name; std::getline(stream, name, ',');) {
    for (std::size_t place = 0; (place = name.find("%2C", place)) != std::string::npos; ++place)
      name.replace(place, 3, ",");
    if (!name.empty()) names.push_back(name);
  }
  return names;
}

}  // namespace gpureport
