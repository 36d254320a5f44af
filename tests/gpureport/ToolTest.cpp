// The built program, on both systems: exit codes, files, and what it guards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "gpureport/ExitCode.h"
#include "gpureport/Platform.h"
#include "nkutil/ConsoleApp.h"

namespace gpureport {
namespace {

namespace fs = std::filesystem;
using nkutil::Clock;
using nkutil::Milliseconds;
using ::testing::HasSubstr;
using Arguments = std::vector<std::string>;

/// Windows' programs have their suffix.
std::string beside(const std::string& name) {
  const std::string probe = ProbeName();
  return OwnFolder() + name + probe.substr(std::string("gpuprobe").size());
}

class Tool : public ::testing::Test {
 protected:
  void SetUp() override {
    // Letters that no code page of the machine has to know.
    fFolder = fs::temp_directory_path() /
              fs::u8path("gpureport \xc3\xa4\xe5\x9b\xbe " +
                         std::to_string(Clock::now().time_since_epoch().count()));
    fs::create_directories(fFolder);
  }
  void TearDown() override { fs::remove_all(fFolder); }

  std::string path(const std::string& name) { return (fFolder / fs::u8path(name)).u8string(); }
  std::string written(const std::string& name, const std::string& bytes) {
    EXPECT_EQ(ReplaceFileBy(path(name), bytes), "");
    return path(name);
  }
  std::string read(const std::string& name) {
    std::string bytes;
    EXPECT_TRUE(ReadWholeFile(path(name), bytes)) << name;
    return bytes;
  }
  nkutil::RunResult run(Arguments arguments, nkutil::Command command = {}) {
    command.program = beside("gpureport");
    command.arguments = std::move(arguments);
    return nkutil::Run(nkutil::systemLauncher(), command, Clock::now() + Milliseconds(60000));
  }
  nkutil::RunResult guard(Arguments options, const Arguments& program) {
    options.insert(options.begin(), "guard");
    options.push_back("--");
    options.insert(options.end(), program.begin(), program.end());
    return run(options);
  }

  fs::path fFolder;
};

TEST_F(Tool, ExitCodesOfWhatIsShown) {
  const std::string lines = "NumGLGPUs=1\nglgpu[0].GLName=\"x\"\nglgpu[0].GLMemoryMB=2048\n";
  const std::string torn = written("torn", lines);
  const std::string none = written("none", "# skipped OpenGL\nNumCLGPUs=0\nsnifferEnd=\"now\"\n");
  const std::string crashed = std::string(GPUPROBE_TESTS "gpureport/crashed.json");
  const std::string garbage = written("garbage", std::string("\0\xff{]\n=\n", 8));
  // Wine's own OpenCL knows no layers, and nothing stands in front of OpenGL there.
  const bool fronts = std::string(ProbeName()) == "gpuprobe";
  const std::uint32_t rehearsed = fronts ? kCrashed : kUsage;
  const struct {
    Arguments arguments;
    std::uint32_t code;
    const char* out;
  } rows[] = {
      {{"--rehearse", "glGetString:3:exit=0", "--skip", "OpenCL", "--format", "jsonl"},
       rehearsed,
       fronts ? "\"reason\":\"crashed\"" : ""},
      {{"--rehearse", "clFinish:1:hangs"}, kUsage, ""},
      {{"--rehearse", "clFinnish:1:hang"}, kUsage, ""},
      {{"--rehearse", "clFinish:1:hang", "--from", torn}, kUsage, ""},
      {{"--from", torn}, kUnanswered, "Torn"},
      {{"show", "--from", none}, kNoGpu, "No GPU: OpenCL has none here, OpenGL was not asked"},
      {{"--from", none, "--require", "opengl>=1"}, kUnanswered, "not asked"},
      {{"--from", crashed}, kCrashed, "libfine-opencl.so.1 crashed"},
      {{"--from", crashed, "--require", "opengl>=4.6"}, kComplete, "Fine"},
      {{"--from", crashed, "--require", "opengl>=4.7"}, kNotMet, "Fine"},
      {{"--from", crashed, "--require", "frames"}, kUsage, ""},
      {{"--from", crashed, "--require", "glsl", "--get", "run.status"}, kUsage, ""},
      {{"--from", crashed, "--get", "opencl[0].kernel_seconds"}, kCrashed, ""},
      {{"--from", crashed, "--get", "opengl[1].memory_bytes"}, kCrashed, ""},
      {{"--from", crashed, "--format", "jsonl"}, kCrashed, "\"field\":"},
      {{"--from", torn, "--get", "opengl[0].memory_bytes"}, kComplete, "2147483648"},
      {{"--from", garbage}, kUnanswered, "Torn"},
      {{"--from", path("nothing")}, kOwnFailure, ""},
      {{"--from", written("bad.json", "{}")}, kOwnFailure, ""},
      {{"--probe", path("nothing")}, kNotStarted, "could not be started"},
      {{"--format", "pdf"}, kUsage, ""},
      {{"--help"}, kComplete, "--require"},
  };
  for (const auto& row : rows) {
    const nkutil::RunResult result = run(row.arguments);
    EXPECT_EQ(result.ending.code, row.code) << ::testing::PrintToString(row.arguments);
    EXPECT_THAT(result.out.text, HasSubstr(row.out));
    // Whoever reads a form reads nothing else; complaints have their own stream.
    EXPECT_EQ(result.err.text.empty(), *row.out != '\0') << result.err.text;
  }
  const Arguments missed = {"--rehearse", "clFinish:1:hang", "--skip", "OpenGL,OpenCL"};
  EXPECT_THAT(run(missed).err.text, HasSubstr("the fault did not strike: clFinish:1:hang"));
  nkutil::Command skipping;
  skipping.environment = {{"GPUPROBE_SKIP", "OpenGL,OpenCL"}};
  EXPECT_EQ(run({"--quiet", "--get", "opengl.not_asked"}, skipping).out.text, "true\n");
}

TEST_F(Tool, AFileIsThereAsAWhole) {
  const std::string report = written("report", "NumGLGPUs=0\nsnifferEnd=\"now\"\n");
  const std::string output = written("out \xc3\xa4.json", "old");
  EXPECT_EQ(run({"--from", report, "--format", "json", "-o", output}).ending.code, 4u);
  EXPECT_EQ(nlohmann::json::parse(read("out \xc3\xa4.json"))["run"]["status"], "complete");
  EXPECT_EQ(run({"--from", report, "-o", path("no/folder")}).ending.code, 1u);
  // Windows refuses one of two renames at once; that one is told and leaves nothing.
  const bool windows = std::string(ProbeName()) == "gpuprobe.exe";
  std::thread writers[4];
  for (std::thread& writer : writers)
    writer =
        std::thread([&, text = std::string(100000, static_cast<char>('a' + (&writer - writers)))] {
          for (int i = 0; i < 20; ++i) EXPECT_TRUE(ReplaceFileBy(output, text).empty() || windows);
        });
  for (std::thread& writer : writers) writer.join();
  const std::string last = read("out \xc3\xa4.json");
  EXPECT_EQ(last, std::string(100000, last[0]));
  EXPECT_EQ(std::distance(fs::directory_iterator(fFolder), {}), 2);
  std::error_code none;  // Windows makes links for few
  fs::create_symlink("/dev/full", fFolder / "link", none);
  if (none) return;
  EXPECT_EQ(run({"--from", report, "-o", path("link")}).ending.code, 1u);
  EXPECT_TRUE(fs::is_character_file(fFolder / "link"));
}

TEST_F(Tool, GuardEndsAsItsProgram) {
  const std::string zoo = beside("zoo");
  const bool windows = std::string(ProbeName()) == "gpuprobe.exe";
  const Arguments crash{zoo, "raise", windows ? "C0000005" : "11"};
  const std::string script = written("script.exe", "#!/no/such/interpreter\n");
  fs::permissions(fs::u8path(script), fs::perms::owner_all);
  const std::string crashed = windows ? "0xC0000005 access violation" : "exit code 139";
  const struct {
    Arguments options;
    Arguments program;
    std::string ending;
    const char* status;
    int killedAtLeast;
  } rows[] = {
      {{}, {zoo, "exit", "0"}, "exit code 0", "finished", 0},
      {{}, {zoo, "exit", "7"}, "exit code 7", "finished", 0},
      {{"--deadline", "30"}, crash, crashed, "crashed", 0},
      {{"--deadline", "0.5"}, {zoo, "sleep"}, "exit code 124", "hung", 1},
      {{"--deadline", "3"}, {zoo, "storm", "3"}, "exit code 124", "hung", 4},
      {{"--deadline", "30"}, {zoo, "grandchild"}, "exit code 0", "finished", 1},
      {{"--keep-tree"}, {zoo, "grandchild"}, "exit code 0", "finished", 0},
      {{}, {path("nothing")}, "exit code 127", "failed_to_start", 0},
      {{}, {"no-such-program-anywhere"}, "exit code 127", "failed_to_start", 0},
      {{}, {fFolder.u8string()}, "exit code 126", "failed_to_start", 0},
      {{}, {script}, windows ? "exit code 126" : "exit code 127", "failed_to_start", 0},
  };
  for (auto row : rows) {
    row.options.insert(row.options.end(), {"--verdict", path("verdict")});
    const std::string name = ::testing::PrintToString(row.program);
    const nkutil::RunResult result = guard(row.options, row.program);
    EXPECT_EQ(result.ending.name(), row.ending) << name;
    // What the guard was to leave is ours to end.
    if (row.program.back() == "grandchild") {
      EXPECT_EQ(result.killedProcesses > 0, row.options[0] == "--keep-tree");
    }
    const auto verdict = nlohmann::json::parse(read("verdict"));
    EXPECT_EQ(verdict["schema"], "gpuprobe-guard");
    EXPECT_EQ(verdict["run"]["status"], row.status) << name;
    EXPECT_GE(verdict["run"]["tree_processes_killed"], row.killedAtLeast) << name;
    EXPECT_EQ(verdict["incident"].is_null(), verdict["run"]["status"] == "finished" ||
                                                 verdict["run"]["status"] == "failed_to_start");
  }
  EXPECT_EQ(guard({"--deadline", "never"}, {zoo, "exit", "0"}).ending.code, 125u);
  EXPECT_EQ(guard({}, {}).ending.code, 125u);
}

TEST_F(Tool, GuardPassesStreamsThrough) {
  for (const bool counted : {false, true}) {
    const Arguments options = counted ? Arguments{"--verdict", path("verdict")} : Arguments{};
    EXPECT_EQ(guard(options, {beside("zoo"), "zeros"}).out.text, std::string("a\0b\n", 4));
    EXPECT_EQ(guard(options, {beside("zoo"), "print", "12"}).outRead, 12u << 20);
    EXPECT_EQ(guard(options, {beside("zoo"), "flood-errors"}).errRead, 8u << 20);
  }
  EXPECT_EQ(nlohmann::json::parse(read("verdict"))["run"]["stderr_bytes"], 8 << 20);
}

TEST_F(Tool, AReaderThatBlocksCountsAgainstTheDeadline) {
  nkutil::Command command;
  bool ended = false;
  command.out.to = nkutil::Command::Output::To::Sink;
  command.out.sink = [&](std::string_view, nkutil::Time) {
    for (int looks = 0; looks < 2000 && !ended; ++looks) {
      std::this_thread::sleep_for(Milliseconds(5));
      ended = fs::exists(fs::u8path(path("verdict")));
    }
    return false;
  };
  const Arguments arguments = {"guard", "--deadline",  "1",     "--verdict", path("verdict"),
                               "--",    beside("zoo"), "print", "64"};
  EXPECT_EQ(run(arguments, command).ending.code, 124u);
  EXPECT_TRUE(ended);
}

}  // namespace
}  // namespace gpureport
