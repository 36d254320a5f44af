#include "gpureport/CommandLine.h"

#include <algorithm>
#include <map>
#include <sstream>
#include <stdexcept>

#include "gpureport/Commands.h"
#include "gpureport/ExitCode.h"
#include "gpureport/Forms.h"
#include "rehearsal/Faults.h"

namespace gpureport {

namespace {

constexpr char kVersion[] = "gpureport " GPUPROBE_VERSION;

/// Longer than anybody waits, short enough for every clock.
constexpr double kLongestSeconds = 1e7;

const std::map<std::string, Format>& formats() {
  static const std::map<std::string, Format> all{
      {"text", Format::Text},       {"json", Format::Json},
      {"jsonl", Format::JsonLines}, {"prometheus", Format::Prometheus},
      {"labels", Format::Labels},   {"html", Format::Html}};
  return all;
}

void addSeconds(CLI::App& app, const char* name, double& value, const char* help) {
  app.add_option(name, value, help)
      ->check(CLI::Range(0.001, kLongestSeconds).description(""))
      ->type_name("SECONDS");
}

nkutil::Milliseconds milliseconds(double seconds) {
  return nkutil::Milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

/// Parses, and says what is to be printed where that is all.
bool parse(CLI::App& app, std::vector<std::string> arguments, Wanted& wanted) {
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

/// What can't be rehearsed here, or nothing.
std::string complaintAbout(const std::string& faults) {
  try {
    rehearsal::EnvironmentOf(faults, "", [](const std::string&) { return ""; });
    return {};
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
}

void parseShow(const std::vector<std::string>& arguments, Wanted& wanted) {
  ShowCommand command;
  if (parse(command.app, arguments, wanted)) wanted.show = command.options();
}

void parseGuard(const std::vector<std::string>& arguments, Wanted& wanted) {
  GuardCommand command;
  const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
  if (!parse(command.app, {arguments.begin(), dashes}, wanted)) {
    if (wanted.exitCode != 0) wanted.exitCode = kGuardFailure;
    return;
  }
  if (arguments.end() - dashes < 2) {
    wanted.exitCode = kGuardFailure;
    wanted.text = "gpureport guard: -- PROGRAM is missing\n";
    return;
  }
  wanted.guard = command.options();
  wanted.guard->program = dashes[1];
  wanted.guard->arguments.assign(dashes + 2, arguments.end());
}

}  // namespace

ShowCommand::ShowCommand()
    : app("Asks this machine's GPUs what they can do and shows it; what a driver does not\n"
          "survive costs its own answer only.\n",
          "gpureport [show]") {
  app.set_version_flag("--version", kVersion);
  // So that who calls a script can overrule its options.
  app.option_defaults()->take_last();
  fOptions.labelPrefix = kLabelPrefix;
  std::vector<std::string> names;
  names.reserve(formats().size());
  for (const auto& each : formats()) names.push_back(each.first);
  app.add_option("--format", fFormat, "text, json, jsonl, prometheus, labels or html")
      ->check(CLI::IsMember(names).description(""))
      ->type_name("FORMAT");
  app.add_option("-o,--output", fOptions.output, "Into a file that is never seen half written")
      ->type_name("FILE");
  addSeconds(app, "--deadline", fDeadline, "For everything; 30");
  addSeconds(app, "--silence", fSilence, "How long one question may take; 5");
  app.add_option("--probe", fOptions.probe, "The probe; beside this program, else in PATH")
      ->type_name("PATH");
  CLI::Option* const from =
      app.add_option("--from", fFrom, "Show this report or JSON (- standard input), ask nobody")
          ->type_name("FILE");
  app.add_option("--skip", fSkip, "What not to ask: OpenCL, clgpu[1], CLCompute, ...")
      ->envname("GPUPROBE_SKIP")
      ->type_name("NAMES");
  app.add_flag("--no-measurements", fNoMeasurements, "Skip CLBandwidth and CLCompute");
  CLI::Option* const require =
      app.add_option("--require", fOptions.require,
                     "Exit code 0 when met, 9 when not: opengl>=3.3, opencl>=1.2,\n"
                     "memory>=2GiB, discrete, glsl, framebuffer, joined by commas")
          ->type_name("EXPR");
  app.add_option("--get", fOptions.get, "Print one value: opengl[0].memory_bytes")
      ->excludes(require)
      ->type_name("KEY");
  app.add_option("--label-prefix", fOptions.labelPrefix, "Of --format labels")
      ->check([](const std::string& prefix) {
        return IsLabelPrefix(prefix) ? std::string() : "not a DNS name and a slash";
      })
      ->type_name("PREFIX");
  app.add_option("--rehearse", fOptions.rehearse,
                 "Let a driver's call go wrong: FUNCTION:CALL:ACTION, such as\n"
                 "clBuildProgram:1:hang")
      ->check([](const std::string& faults) { return complaintAbout(faults); })
      ->excludes(from)
      ->type_name("FAULT");
  app.add_flag("--quiet", fOptions.quiet, "No progress on standard error");
  app.footer(
      "gpureport guard [options] -- PROGRAM ... keeps watch over any program.\n\n"
      "Exit codes: 0 complete, 1 own failure, 2 usage, 3 a question failed, 4 no GPU,\n"
      "5 hung, 6 crashed, 7 no probe, 8 stuck, 9 requirement not met");
}

ShowOptions ShowCommand::options() const {
  ShowOptions options = fOptions;
  options.format = formats().at(fFormat);
  options.deadline = milliseconds(fDeadline);
  options.silence = milliseconds(fSilence);
  if (app.count("--from") > 0) options.from = fFrom;
  options.skip = SkipNames(fSkip);
  if (fNoMeasurements) options.skip.insert(options.skip.end(), {"CLBandwidth", "CLCompute"});
  return options;
}

GuardCommand::GuardCommand()
    : app("Runs a program, passes its streams through, and ends its whole tree at the\n"
          "deadline, and what it leaves behind.\n",
          "gpureport guard") {
  app.set_version_flag("--version", kVersion);
  app.option_defaults()->take_last();
  addSeconds(app, "--deadline", fDeadline, "None without it");
  app.add_flag("--keep-tree", fOptions.keepTree, "Leave alone what the program leaves running");
  app.add_option("--verdict", fOptions.verdict, "Write how it ended, as JSON")->type_name("FILE");
  app.footer(
      "gpureport guard [options] -- PROGRAM [arguments]\n\n"
      "Exit codes: the program's own, 128 + signal (Windows: the exception),\n"
      "124 at the deadline, 125 own failure, 126 not runnable, 127 not found, 137 stuck");
}

GuardOptions GuardCommand::options() const {
  GuardOptions options = fOptions;
  if (fDeadline > 0) options.deadline = milliseconds(fDeadline);
  return options;
}

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
