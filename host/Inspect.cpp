#include "host/Inspect.h"

#include <algorithm>

#include "host/Culprit.h"
#include "host/DriverSelection.h"
#include "host/Findings.h"
#include "host/MessageKeeper.h"

namespace host {

namespace {

using nkutil::Milliseconds;
using nkutil::Time;

/// For a kill of what resists: at least the first, by which the deadline may be missed, and up to
/// the second while there is time. A busy machine takes its time to end a process.
constexpr Milliseconds kKillBudget{100};
constexpr Milliseconds kLongestKill{2000};
/// The probe's exit code where an error escaped it or a driver called exit() (docs/report.md).
constexpr std::uint32_t kNotByItself = 4;
/// For the search of a culprit.
constexpr Milliseconds kShortestLook{150};
constexpr Milliseconds kLongestLook{3000};
/// Between two looks at Options::cancelled.
constexpr Milliseconds kLook{100};
/// Attempts that were lost without a hint of what to leave out.
constexpr int kBlindLosses = 2;

double seconds(nkutil::Clock::duration time) {
  return std::chrono::duration<double>(time).count();
}

Time plus(Time time, Milliseconds wait) {
  return nkutil::kForever - time > wait ? time + wait : nkutil::kForever;
}

/// One inspection.
class Supervision {
 public:
  Supervision(nkutil::ConsoleAppLauncher& launcher, const Options& options)
      : fLauncher(launcher),
        fOptions(options),
        fBegan(launcher.now()),
        fEnd(plus(fBegan, options.deadline - reserve(options.deadline))),
        fFindings(Findings::Report::Ours, options.skip, options.onAnswer) {}

  Inspection run();

 private:
  /// Why reading an attempt's lines came to its end.
  enum class Stop { Closed, Silent, OutOfTime };

  /// The time for a culprit and a kill.
  static Milliseconds reserve(Milliseconds deadline) {
    return std::min(Milliseconds{200}, deadline / 10);
  }
  bool isCancelled() const { return fOptions.cancelled && *fOptions.cancelled; }
  Milliseconds patience() const;
  /// Until when the probe may be silent.
  Time silentUntil() const { return plus(fLastLine, fPatience); }
  Time limit() const { return std::min(silentUntil(), fEnd); }
  /// At the limit: whom the deadline cuts off before its patience ended, that one has not hung.
  Stop atLimit() const { return silentUntil() <= fEnd ? Stop::Silent : Stop::OutOfTime; }
  nkutil::Command command() const;
  bool attempt();
  bool kill(nkutil::ConsoleApp& app);
  Stop read(nkutil::ConsoleApp& app);
  void readRest(nkutil::ConsoleApp& app);
  void take(const nkutil::Line& line);
  Incident newIncident(Incident::Kind kind) const;
  Milliseconds timeToLook() const;
  Incident endHung(nkutil::ConsoleApp& app);
  std::optional<Incident> incidentOf(const nkutil::Ending& ending) const;
  bool learnFrom(const Incident& incident, const std::string& asked);
  bool learnFromStage(const Incident& incident, const Asked& asked);
  void namePackages();
  bool hasCost(const Incident& incident) const;
  Status status() const;

  nkutil::ConsoleAppLauncher& fLauncher;
  const Options& fOptions;
  const Time fBegan;
  const Time fEnd;
  Findings fFindings;
  std::optional<DriverSelection> fDrivers;  ///< once one is left out
  Inspection fResult;
  int fBlindLosses = 0;
  // Of the attempt that runs:
  Time fAskedAt{};
  Time fLastLine{};
  Milliseconds fPatience{};  ///< with what was asked last
  MessageKeeper fMessages;
};

Milliseconds Supervision::patience() const {
  const Asked asked = ParseAsked(fFindings.asked());
  bool isLong = asked.what != Asked::What::Release;
  if (asked.what == Asked::What::Question) {
    const std::string key = asked.question->key;
    isLong = key == "CLBandwidth" || key == "CLCompute";
  }
  return std::min(fOptions.silence * (isLong ? 2 : 1), fOptions.deadline / 3);
}

nkutil::Command Supervision::command() const {
  nkutil::Command command;
  command.program = fOptions.probe;
  command.environment = fOptions.environment;
  const Environment drivers = fDrivers ? fDrivers->environment() : Environment{};
  command.environment.insert(command.environment.end(), drivers.begin(), drivers.end());
  command.environment.emplace_back("GPUPROBE_ANNOUNCE", "1");
  const std::string skips = fFindings.skipList();
  command.environment.emplace_back("GPUPROBE_SKIP",
                                   skips.empty() ? std::nullopt : std::optional(skips));
  command.killBudget = kKillBudget;
  return command;
}

Inspection Supervision::run() {
  fResult.createdAt = std::chrono::system_clock::now();
  fResult.deadlineSeconds = seconds(fOptions.deadline);
  bool more = true;
  while (more && !isCancelled() && (fResult.attempts == 0 || fLauncher.now() < fEnd)) {
    ++fResult.attempts;
    more = attempt() && !fFindings.isSettled();
    fMessages.moveTo(fResult.messages);
    fMessages = {};
  }
  fFindings.conclude(fResult);
  fResult.status = status();
  namePackages();
  fResult.durationSeconds = seconds(fLauncher.now() - fBegan);
  return std::move(fResult);
}

/// False when another attempt would learn nothing more.
bool Supervision::attempt() {
  fFindings.beginAttempt();
  fResult.exitCode.reset();
  nkutil::LaunchError error;
  const std::string skipped = fFindings.skipList();
  const auto app = fLauncher.launch(command(), fEnd, error);
  if (!app) {
    fResult.startError = error.message();
    return false;
  }
  fAskedAt = fLastLine = fLauncher.now();
  fPatience = patience();
  Stop stop = read(*app);
  if (stop == Stop::Closed && !app->waitForEnd(limit())) stop = atLimit();
  std::optional<Incident> incident;
  if (stop == Stop::OutOfTime) {
    if (!kill(*app)) incident = newIncident(Incident::Kind::Stuck);
  } else if (stop == Stop::Silent) {
    incident = endHung(*app);
  } else {
    const nkutil::Ending ending = app->ending();
    if (ending.kind == nkutil::Ending::Kind::Exited)
      fResult.exitCode = static_cast<int>(ending.code);
    incident = incidentOf(ending);
  }
  const std::string asked = fFindings.asked();
  readRest(*app);
  if (incident) fResult.incidents.push_back(*incident);
  if (stop == Stop::OutOfTime) return false;
  if (incident && !fFindings.ended()) return learnFrom(*incident, asked);
  // Told the same again, a probe says nothing new.
  return fFindings.skipList() != skipped;
}

bool Supervision::kill(nkutil::ConsoleApp& app) {
  const auto left = plus(fBegan, fOptions.deadline) - fLauncher.now();
  const auto budget = std::chrono::duration_cast<Milliseconds>(left);
  return app.Kill(std::clamp(budget, kKillBudget, kLongestKill));
}

Supervision::Stop Supervision::read(nkutil::ConsoleApp& app) {
  for (;;) {
    const Time end = limit();
    const Time look = fOptions.cancelled ? plus(fLauncher.now(), kLook) : end;
    nkutil::Line line;
    switch (app.nextLine(line, std::min(end, look))) {
      case nkutil::Channel::Taken::Line:
        take(line);
        break;
      case nkutil::Channel::Taken::Closed:
        return Stop::Closed;
      case nkutil::Channel::Taken::Timeout:
        break;
    }
    // After a line, too: standard error is no sign of life and may never pause.
    if (isCancelled()) return Stop::OutOfTime;
    if (fLauncher.now() >= limit()) return atLimit();
  }
}

/// What was written before the end and not read yet.
void Supervision::readRest(nkutil::ConsoleApp& app) {
  nkutil::Line line;
  while (app.nextLine(line, fLauncher.now()) == nkutil::Channel::Taken::Line) take(line);
}

void Supervision::take(const nkutil::Line& line) {
  if (line.stream == nkutil::Stream::Err) {
    fMessages.add({fResult.attempts, fFindings.asked(), line.text});
    return;
  }
  // Without its end or its beginning a line says nothing.
  if (!line.ended || line.droppedBefore > 0) return;
  fLastLine = fLauncher.now();
  const ReportLine read = ParseReportLine(line.text);
  fFindings.take(read);
  if (read.kind != ReportLine::Kind::Asking) return;
  fAskedAt = fLastLine;
  fPatience = patience();
  if (fOptions.onAsking) fOptions.onAsking(fFindings.asked(), fResult.attempts);
}

Incident Supervision::newIncident(Incident::Kind kind) const {
  Incident incident;
  incident.kind = kind;
  incident.attempt = fResult.attempts;
  incident.seconds = seconds(fLauncher.now() - fAskedAt);
  incident.question = fFindings.ended() ? "release" : fFindings.asked();
  const Asked asked = ParseAsked(incident.question);
  if (asked.what == Asked::What::Question) {
    incident.gpu = incident.question.substr(0, incident.question.find('.'));
    incident.question = asked.question->key;
  }
  if (!incident.question.empty()) incident.evidence = Incident::Evidence::Announced;
  return incident;
}

void nameLibrary(Incident& incident, const Culprit& culprit) {
  incident.threadState = culprit.threadState;
  if (!culprit.library) return;
  incident.library = culprit.library;
  incident.libraryOffset = culprit.offset;
  incident.evidence = culprit.evidence;
}

/// A busy machine gets a part of the time that is left: the other attempts need the rest.
Milliseconds Supervision::timeToLook() const {
  const auto left = std::chrono::duration_cast<Milliseconds>(fEnd - fLauncher.now());
  return std::clamp(left / 4, kShortestLook, kLongestLook);
}

Incident Supervision::endHung(nkutil::ConsoleApp& app) {
  Incident incident = newIncident(Incident::Kind::Hung);
  // A scripted program has a number, too, but no process.
  const bool isProcess = &fLauncher == &nkutil::systemLauncher();
  if (fOptions.findCulprit)
    nameLibrary(incident, fOptions.findCulprit(app.id()));
  else if (isProcess)
    nameLibrary(incident, FindCulprit(app.id(), timeToLook()));
  if (!kill(app)) incident.kind = Incident::Kind::Stuck;
  return incident;
}

/// None where the probe came to its end.
std::optional<Incident> Supervision::incidentOf(const nkutil::Ending& ending) const {
  const bool crashed = ending.kind == nkutil::Ending::Kind::Signalled ||
                       ending.kind == nkutil::Ending::Kind::Exception;
  const bool leftByItself = !crashed && ending.code != kNotByItself;
  if (leftByItself && fFindings.ended()) return std::nullopt;
  Incident incident = newIncident(crashed ? Incident::Kind::Crashed : Incident::Kind::Exited);
  incident.signal = ending.name();
  if (const auto culprit = fMessages.crash()) nameLibrary(incident, *culprit);
  return incident;
}

/// Leaves out what the attempt was lost at. False when it is not known what.
bool Supervision::learnFrom(const Incident& incident, const std::string& name) {
  const Asked asked = ParseAsked(name);
  const bool hung = incident.kind == Incident::Kind::Hung || incident.kind == Incident::Kind::Stuck;
  switch (asked.what) {
    case Asked::What::Question:
      fFindings.api(asked.api).loseQuestion(*asked.question, asked.gpu,
                                            hung ? Reason::Hung : Reason::Crashed);
      return true;
    case Asked::What::Device:
    case Asked::What::Stage:
      return learnFromStage(incident, asked);
    case Asked::What::Release:
    case Asked::What::Nothing:
      break;
  }
  return ++fBlindLosses < kBlindLosses;
}

bool Supervision::learnFromStage(const Incident& incident, const Asked& asked) {
  ApiFindings& api = fFindings.api(asked.api);
  ApiStatus how = ApiStatus::Hung;
  if (incident.kind == Incident::Kind::Crashed) how = ApiStatus::Crashed;
  if (incident.kind == Incident::Kind::Exited) how = ApiStatus::Failed;
  if (asked.what == Asked::What::Device && api.loseDevice(asked.skipName, how)) return true;
  if (asked.what == Asked::What::Stage && asked.api == protocol::GPUKind::OpenCL) {
    if (!fDrivers) fDrivers.emplace(fOptions.environment);
    if (fDrivers->leaveNextOut(incident.library.value_or(""))) {
      api.loseDriver(how);
      return true;
    }
  }
  api.giveUp(how);
  return true;
}

/// In what is left of the deadline, and not long, since it is for people only.
void Supervision::namePackages() {
  const auto left = plus(fBegan, fOptions.deadline) - fLauncher.now();
  const Time limit =
      nkutil::Clock::now() + std::min<nkutil::Clock::duration>(left, Milliseconds{500});
  std::map<std::string, std::optional<std::string>> known;
  for (Incident& incident : fResult.incidents) {
    if (!incident.library) continue;
    const auto [place, isNew] = known.emplace(*incident.library, std::nullopt);
    if (isNew) place->second = PackageOf(*incident.library, limit);
    incident.package = place->second;
  }
}

/// Whether what the attempt was lost at stayed without an answer.
bool Supervision::hasCost(const Incident& incident) const {
  const std::string tag = incident.gpu ? *incident.gpu + "." : "";
  const Asked asked = ParseAsked(tag + incident.question);
  switch (asked.what) {
    case Asked::What::Release:
      return false;
    case Asked::What::Nothing:
      return !fFindings.isSettled();
    case Asked::What::Device:
    case Asked::What::Stage:
      return true;
    case Asked::What::Question:
      break;
  }
  const bool isGL = asked.api == protocol::GPUKind::OpenGL;
  const std::vector<Gpu>& gpus = (isGL ? fResult.openGL : fResult.openCL).gpus;
  const auto number = static_cast<std::size_t>(asked.gpu);
  if (number >= gpus.size()) return true;
  const auto index = static_cast<std::size_t>(asked.question - FirstQuestion(asked.api));
  const Reason* reason = std::get_if<Reason>(&gpus[number].answers[index]);
  return reason && IsLost(*reason);
}

Status Supervision::status() const {
  const std::vector<Incident>& incidents = fResult.incidents;
  if (fResult.attempts == 1 && !fResult.startError.empty()) return Status::FailedToStart;
  for (const auto& [kind, status] : {std::pair(Incident::Kind::Stuck, Status::Stuck),
                                     {Incident::Kind::Hung, Status::Hung},
                                     {Incident::Kind::Crashed, Status::Crashed},
                                     {Incident::Kind::Exited, Status::Crashed}})
    for (const Incident& incident : incidents)
      if (incident.kind == kind && hasCost(incident)) return status;
  return IsPartial(fResult) ? Status::Partial : Status::Complete;
}

}  // namespace

Inspection Inspect(nkutil::ConsoleAppLauncher& launcher, const Options& options) {
  return Supervision(launcher, options).run();
}

}  // namespace host
