#include "host/Inspect.h"

#include <gmock/gmock.h>

#include <cstring>
#include <set>
#include <sstream>

#include "nkutil/ScriptedLauncher.h"

namespace {

using namespace testing;
using namespace host;
using nkutil::Milliseconds;
using protocol::GPUKind;

struct ProbeFault {
  enum class Kind { Hang, Crash, Exit, ChattyHang, Stuck };
  std::string at;  // the announced name; with a star at its end all that begin so; "" the start
  Kind kind = Kind::Hang;
  int times = 1;
};
constexpr int kEvery = 1000;

/// A probe with two GPUs of each API that obeys its environment, and is lost as it is told.
class FakeProbe {
 public:
  explicit FakeProbe(std::vector<ProbeFault> faults = {}) : fFaults(std::move(faults)) {}

  std::vector<std::string> asked;  // by all attempts
  std::function<void(FakeProbe&)> before = [](FakeProbe&) {};
  std::vector<std::string> devices = {"/dev/a", "/dev/b"};
  std::vector<std::string> platforms = {"P", "Q, R"};
  int attempts = 0;
  Milliseconds pace{1};  // between two lines

  nkutil::Script play(const nkutil::Command& command) {
    ++attempts;
    before(*this);
    fScript = {};
    fAt = Milliseconds{0};
    fSkipped.clear();
    for (const auto& [name, value] : command.environment)
      if (name == "GPUPROBE_SKIP" && value) readSkips(*value);
    try {
      askAll();
      fScript.endsAt = fAt;
    } catch (const ProbeFault&) {
    }
    return fScript;
  }

 private:
  void readSkips(const std::string& text) {
    std::istringstream names(text);
    for (std::string name; std::getline(names, name, ',');) {
      if (const auto comma = name.find("%2C"); comma != name.npos) name.replace(comma, 3, ",");
      fSkipped.insert(name);
    }
  }
  void write(const std::string& line, nkutil::Stream stream = nkutil::Stream::Out) {
    fScript.output.push_back({fAt += pace, stream, line + "\r\n"});
  }
  bool skips(const std::string& name) {
    if (fSkipped.count(name)) write("# skipped " + name);
    return fSkipped.count(name) > 0;
  }
  void ask(const std::string& name) {
    if (!name.empty()) {
      write("# asking " + name);
      asked.push_back(name);
    }
    for (ProbeFault& fault : fFaults) {
      const bool star = !fault.at.empty() && fault.at.back() == '*';
      const auto length = star ? fault.at.size() - 1 : std::string::npos;
      if (name.substr(0, length) == fault.at.substr(0, length) && fault.times-- > 0) lose(fault);
    }
  }
  void lose(const ProbeFault& fault) {
    for (int i = 0; fault.kind == ProbeFault::Kind::ChattyHang && i < 20; ++i) {
      write("busy", nkutil::Stream::Err);
      fAt += Milliseconds{1000};
    }
    if (fault.kind == ProbeFault::Kind::Crash) {
      write("crash: SIGSEGV in /lib/libbad.so.1+0x1a", nkutil::Stream::Err);
      fScript.ending = {nkutil::Ending::Kind::Signalled, 11};
      fScript.endsAt = fAt;
    }
    if (fault.kind == ProbeFault::Kind::Exit) {
      fScript.ending = {nkutil::Ending::Kind::Exited, 4};  // a driver called exit()
      fScript.endsAt = fAt;
    }
    fScript.stuck = fault.kind == ProbeFault::Kind::Stuck;
    throw fault;
  }
  std::vector<std::string> stage(const std::string& name, const std::vector<std::string>& parts) {
    ask(name);
    std::vector<std::string> left;
    for (const std::string& part : parts) {
      if (skips(name + " " + part)) continue;
      ask(name + " " + part);
      left.push_back(part);
    }
    write(name + "=" + std::to_string(left.size()));
    return left;
  }
  void questions(GPUKind kind, const std::vector<std::string>& gpus) {
    for (const protocol::Question& question : protocol::kQuestions)
      for (std::size_t i = 0; question.gpu == kind && i < gpus.size(); ++i) {
        const std::string tag =
            std::string(protocol::TagWord(kind)) + "[" + std::to_string(i) + "]";
        const std::string name = tag + "." + question.key;
        if (fSkipped.count(tag) + fSkipped.count(question.key) + fSkipped.count(name)) {
          write("# skipped " + name);
          continue;
        }
        ask(name);
        const char* const values[] = {"", "1", "7", "2.5e+06", "[3]"};
        const bool text = question.kind == protocol::Kind::Text;
        write(name + "=" + (text ? '"' + gpus[i] + '"' : values[static_cast<int>(question.kind)]));
      }
  }
  void askAll() {
    ask("");
    write("Tester=\"LarkspanApp\"");
    if (!skips("OpenGL")) {
      ask("ZOROGLInitialized");
      ask("OGLContextCreated");
      const std::string first = devices.empty() ? "" : devices[0];
      if (!first.empty() && !fSkipped.count("NumGLGPUs " + first))
        ask("OGLContextCreated " + first);
      questions(GPUKind::OpenGL, stage("NumGLGPUs", devices));
    }
    if (!skips("OpenCL")) {
      ask("ZOROCLInitialized");
      questions(GPUKind::OpenCL, stage("NumCLGPUs", platforms));
    }
    write("NumNativeGPUs=0");
    write("snifferEnd=\"2026-11-21_21:00:00\"");
    ask("release");
  }

  std::vector<ProbeFault> fFaults;
  std::set<std::string> fSkipped;
  nkutil::Script fScript;
  Milliseconds fAt{0};
};

/// With a deadline of 30 s, which holds.
Inspection inspect(FakeProbe& probe, Options options = {}) {
  options.environment.emplace_back("OCL_ICD_VENDORS", "/none");
  nkutil::ScriptedLauncher launcher(
      [&probe](const nkutil::Command& command) { return probe.play(command); });
  const Inspection result = Inspect(launcher, options);
  EXPECT_LE(result.durationSeconds, std::chrono::duration<double>(options.deadline).count() + 0.1);
  return result;
}

/// "glgpu[0].GLName crashed" for each answer that is missing.
std::vector<std::string> missing(const Inspection& result) {
  std::vector<std::string> lines;
  for (const Api* api : {&result.openGL, &result.openCL})
    for (const Gpu& gpu : api->gpus) {
      auto answer = gpu.answers.begin();
      for (const protocol::Question& question : protocol::kQuestions) {
        if (question.gpu != gpu.kind) continue;
        if (const Reason* reason = std::get_if<Reason>(&*answer++))
          lines.push_back(gpu.tag() + "." + question.key + " " + name(*reason));
      }
    }
  return lines;
}

std::string outcome(const Inspection& result) {
  std::ostringstream text;
  text << name(result.status) << ", " << name(result.openGL.status) << ' '
       << result.openGL.gpus.size() << ", " << name(result.openCL.status) << ' '
       << result.openCL.gpus.size();
  return text.str();
}

TEST(Inspect, AsksAHealthyProbeOnce) {
  FakeProbe probe;
  std::vector<std::string> told;
  Options options;
  options.onAnswer = [&](const AnswerEvent& event) { told.push_back(event.tag); };
  const Inspection result = inspect(probe, options);
  EXPECT_EQ(outcome(result), "complete, ok 2, ok 2");
  EXPECT_THAT(missing(result), IsEmpty());
  EXPECT_EQ(told.size(), static_cast<std::size_t>(result.answeredQuestions()));
  EXPECT_EQ(result.attempts, 1);
  EXPECT_EQ(result.exitCode, 0);
}

// Whatever the probe is lost at, once or in every process, costs that alone.
TEST(Inspect, OneFaultCostsItsOwnQuestion) {
  FakeProbe healthy;
  inspect(healthy);
  for (const std::string& at : healthy.asked)
    for (const ProbeFault::Kind kind :
         {ProbeFault::Kind::Hang, ProbeFault::Kind::ChattyHang, ProbeFault::Kind::Crash,
          ProbeFault::Kind::Exit, ProbeFault::Kind::Stuck})
      for (const int times : {1, kEvery}) {
        // The stages, and a sample of the questions, which are alike.
        const bool isQuestion = at.find("gpu[") != at.npos;
        if (isQuestion && std::hash<std::string>()(at) % 6 != static_cast<unsigned>(kind)) continue;
        SCOPED_TRACE(at + " " + std::to_string(static_cast<int>(kind)) + " " +
                     std::to_string(times));
        FakeProbe probe({{at, kind, times}});
        const Inspection result = inspect(probe);
        const bool crashes = kind == ProbeFault::Kind::Crash || kind == ProbeFault::Kind::Exit;
        const bool exits = kind == ProbeFault::Kind::Exit;
        const std::string status = crashes                           ? "crashed"
                                   : kind == ProbeFault::Kind::Stuck ? "stuck"
                                                                     : "hung";
        const std::string apiStatus = exits ? "failed" : crashes ? "crashed" : "hung";
        ASSERT_EQ(result.incidents.size(), 1U);
        if (at == "release") {
          EXPECT_EQ(outcome(result), "complete, ok 2, ok 2");
          continue;
        }
        const Incident& incident = result.incidents[0];
        const std::string tag = incident.gpu ? *incident.gpu + "." : "";
        EXPECT_EQ(tag + incident.question, at);
        EXPECT_EQ(incident.library.value_or(""),
                  kind == ProbeFault::Kind::Crash ? "/lib/libbad.so.1" : "");
        const bool isLong =
            tag.empty() || at.find(".CLBandwidth") != at.npos || at.find(".CLCompute") != at.npos;
        EXPECT_NEAR(incident.seconds, crashes ? 0 : isLong ? 10 : 5, 0.01);
        const bool isGL = at.find("GL") != at.npos;
        if (!tag.empty()) {
          EXPECT_THAT(missing(result), ElementsAre(at + (crashes ? " crashed" : " hung")));
          const std::string of = crashes ? "crashed" : "hung";
          EXPECT_EQ(outcome(result),
                    status + (isGL ? ", " + of + " 2, ok 2" : ", ok 2, " + of + " 2"));
          continue;
        }
        EXPECT_THAT(missing(result), IsEmpty());
        const std::string left = apiStatus + (at.find(' ') != at.npos ? " 1" : " 0");
        EXPECT_EQ(outcome(result), status + (isGL ? ", " + left + ", ok 2" : ", ok 2, " + left));
      }
}

struct Case {
  const char* name;
  std::vector<ProbeFault> faults;
  const char* outcome;
  std::size_t missing;
  std::size_t incidents;
};
constexpr auto kHang = ProbeFault::Kind::Hang;
constexpr auto kCrash = ProbeFault::Kind::Crash;

TEST(Inspect, ManyFaults) {
  const std::size_t questions = 36, clQuestions = 12;
  for (const Case& test : {
           Case{"start once", {{"", kCrash, 1}}, "complete, ok 2, ok 2", 0, 1},
           Case{"start always", {{"", kCrash, kEvery}}, "crashed, failed 0, failed 0", 0, 2},
           Case{"gpu hangs", {{"glgpu[0].*", kHang, kEvery}}, "hung, hung 2, ok 2", questions, 2},
           Case{"gpu crashes",
                {{"clgpu[1].*", kCrash, kEvery}},
                "crashed, ok 2, crashed 2",
                clQuestions,
                clQuestions},
           Case{"devices hang", {{"NumGLGPUs /*", kHang, kEvery}}, "hung, hung 0, ok 2", 0, 2},
           Case{"platforms crash",
                {{"NumCLGPUs *", kCrash, kEvery}},
                "crashed, ok 2, crashed 0",
                0,
                2},
           Case{"both apis",
                {{"ZOROGLInitialized", kCrash, kEvery}, {"NumCLGPUs", kHang, kEvery}},
                "hung, crashed 0, hung 0",
                0,
                2},
       }) {
    SCOPED_TRACE(test.name);
    FakeProbe probe(test.faults);
    const Inspection result = inspect(probe);
    EXPECT_EQ(outcome(result), test.outcome);
    EXPECT_THAT(missing(result), SizeIs(test.missing));
    EXPECT_EQ(result.incidents.size(), test.incidents);
  }
}

// However short the time is, a fault of one API leaves the other's answers. Who is slow is no
// fault.
TEST(Inspect, ShortDeadlineIsShared) {
  Options options;
  options.deadline = Milliseconds{3000};
  FakeProbe slow;
  slow.pace = Milliseconds{200};
  const Inspection cut = inspect(slow, options);
  EXPECT_EQ(outcome(cut), "partial, failed 2, failed 0");
  EXPECT_THAT(missing(cut), Each(EndsWith(" not_reached")));
  EXPECT_THAT(cut.incidents, IsEmpty());
  for (const char* at : {"ZOROGLInitialized", "NumGLGPUs /dev/a", "glgpu[0].GLName", "glgpu*"}) {
    FakeProbe probe({{at, kHang, kEvery}});
    const Inspection result = inspect(probe, options);
    EXPECT_EQ(result.status, Status::Hung) << at;
    EXPECT_EQ(result.openCL.status, ApiStatus::Ok) << at;
    EXPECT_NEAR(result.incidents[0].seconds, 1, 0.01);
  }
}

// Another count, or other devices: no GPU gets another one's answers, nothing is lost either.
TEST(Inspect, ChangedGpusAreNotMixed) {
  for (const auto& devices : {std::vector<std::string>{"/dev/b"}, {"/dev/b", "/dev/a"}}) {
    FakeProbe probe({{"glgpu[0].GLDriver", kCrash, 1}});
    probe.before = [&](FakeProbe& self) {
      if (self.attempts == 2) self.devices = devices;
    };
    const Inspection result = inspect(probe);
    EXPECT_EQ(result.openCL.status, ApiStatus::Ok);
    EXPECT_THAT(missing(result), SizeIs(Le(2U)));
    for (const Gpu& gpu : result.openGL.gpus) {
      std::set<std::string> texts;
      for (const Answer& answer : gpu.answers)
        if (const auto* value = std::get_if<host::Value>(&answer))
          if (const auto* text = std::get_if<std::string>(value)) texts.insert(*text);
      EXPECT_THAT(texts, SizeIs(1));
    }
  }
}

TEST(Inspect, SkipsAndAsksNothingTwice) {
  FakeProbe probe({{"clgpu[1].CLName", kCrash, 1}, {"clgpu[0].CLVendor", kHang, 1}});
  Options options;
  options.skip = {"CLCompute", "glgpu[1]", "NumCLGPUs Q, R"};
  inspect(probe, options);
  EXPECT_EQ(std::count(probe.asked.begin(), probe.asked.end(), "clgpu[0].CLCompute"), 0);
  probe = FakeProbe({{"clgpu[1].CLName", kCrash, 1}, {"clgpu[0].CLVendor", kHang, 1}});
  options.skip = {"CLCompute", "glgpu[1]"};
  const Inspection result = inspect(probe, options);
  EXPECT_EQ(outcome(result), "hung, ok 2, hung 2");
  EXPECT_THAT(missing(result), SizeIs(2 + 2 + 36U));
  EXPECT_THAT(missing(result), Contains("clgpu[1].CLCompute not_asked"));
  std::set<std::string> once;
  for (const std::string& name : probe.asked)
    if (name.find("gpu[") != name.npos) {
      EXPECT_TRUE(once.insert(name).second) << name;
    }
}

TEST(Inspect, CancelledOrNotStarted) {
  for (const char* at : {"ZOROGLInitialized", "glgpu[0].GLDriver", "clgpu[1].CLBandwidth"}) {
    FakeProbe probe({{at, kHang, kEvery}});
    std::atomic<bool> cancelled{false};
    Options options;
    options.cancelled = &cancelled;
    options.onAsking = [&](const std::string& asking, int) { cancelled = asking == at; };
    const Inspection result = inspect(probe, options);
    EXPECT_EQ(result.status, Status::Partial);
    EXPECT_THAT(result.incidents, IsEmpty());
    EXPECT_LT(result.durationSeconds, 0.5);
  }
  nkutil::ScriptedLauncher launcher(std::vector<nkutil::Script>{});
  const Inspection none = Inspect(launcher, {});
  EXPECT_EQ(none.status, Status::FailedToStart);
  EXPECT_THAT(none.startError, HasSubstr("no script is left"));
}

}  // namespace
