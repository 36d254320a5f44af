// The forms of a result, and what its values and exit codes are judged by.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>

#include "gpureport/Columns.h"
#include "gpureport/ExitCode.h"
#include "gpureport/Forms.h"
#include "gpureport/JsonForms.h"
#include "gpureport/Requirement.h"
#include "host/Inspect.h"
#include "host/Json.h"
#include "host/Text.h"

namespace gpureport {
namespace {

using host::Reason;
using host::Value;
using ::testing::HasSubstr;

std::string fileText(const std::string& name) {
  std::ifstream file(GPUPROBE_TESTS + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A machine with an OpenGL GPU that answers nearly all, one that does not, and an OpenCL GPU that
/// crashed twice at CLCompute.
host::Inspection crashedMachine() {
  std::string error;
  return host::FromJson(fileText("gpureport/crashed.json"), error).value();
}

/// A machine whose drivers write the same text everywhere.
host::Inspection hostileMachine(const std::string& nasty) {
  host::Inspection machine = crashedMachine();
  for (host::Api* api : {&machine.openGL, &machine.openCL})
    for (host::Gpu& gpu : api->gpus)
      for (host::Answer& answer : gpu.answers)
        if (const auto* value = std::get_if<Value>(&answer))
          if (std::holds_alternative<std::string>(*value)) answer = Value(nasty);
  machine.incidents[0].question = machine.incidents[0].signal = nasty;
  machine.incidents[0].library = machine.incidents[0].package = nasty;
  machine.messages.assign(20, {1, nasty, nasty});
  machine.unknownKeys = {{nasty, nasty}};
  return machine;
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

/// scripts/update-expected rewrites what is expected.
TEST(Forms, AreAsTheyWereLookedAt) {
  const host::Inspection machine = crashedMachine();
  const std::regex version("(\"gpureport\",\\s+\"version\": )[^\n]+");
  std::string page = Html(machine);
  const auto style = page.find("<style>");
  page.erase(style, page.find("</style>") + std::strlen("</style>") - style);
  const std::pair<const char*, std::string> forms[] = {
      {"text80", Text(machine, {80, false})},
      {"text60", Text(machine, {60, false})},
      {"colours", Text(machine, {80, true})},
      {"json", std::regex_replace(host::ToJson(machine), version, "$1\"1.0.0\"")},
      {"jsonl", JsonLines(machine)},
      {"prom", Prometheus(machine)},
      {"labels", Labels(machine)},
      {"html", page},
  };
  for (const auto& [name, text] : forms) {
    const std::string expected = "gpureport/crashed." + std::string(name);
    if (std::getenv("UPDATE_EXPECTED"))
      std::ofstream(GPUPROBE_TESTS + expected, std::ios::binary) << text;
    EXPECT_EQ(text, fileText(expected));
  }
}

TEST(Forms, StayWhatTheyAreWhateverADriverWrites) {
  const std::regex series(
      "# .*|[a-z_]+(\\{([a-z_]+=\"([^\"\\\\]|\\\\[\\\\\"n])*\",?)*\\})? [-+.e0-9]+");
  const std::regex label(
      "# .*|gpu\\.example\\.com/gpuprobe(\\.[a-z0-9-]+)+="
      "[A-Za-z0-9]([A-Za-z0-9._-]{0,61}[A-Za-z0-9])?");
  for (const std::string& nasty :
       {"\x1b[31m\xe2\x80\xae\x07 red\xff\xed\xa0\x80\r\n\t" + std::string(300, 'W') +
            std::string("\0", 1) + "\xe5\x9b\xbe",
        "<script>\"'&amp;\\</style>\n\xff" + std::string(1 << 14, 'x'),
        std::string(62, 'a') + "(b)", std::string(62, 'a') + "\xc3\xbc", std::string(1 << 14, '.'),
        std::string("\0x", 2)}) {
    const host::Inspection machine = hostileMachine(nasty);
    for (int columns = 40; columns <= 80; columns += 20)
      for (const std::string& line : linesOf(Text(machine, {columns, false}))) {
        ASSERT_LE(ColumnsOf(line), columns) << line;
        ASSERT_EQ(line, Printable(line));
      }
    for (const std::string& line : linesOf(Prometheus(machine))) {
      ASSERT_TRUE(std::regex_match(line, series)) << line;
      ASSERT_LT(line.size(), 2500U);
      ASSERT_EQ(line, host::ValidUtf8(line));
    }
    for (const std::string& line : linesOf(Labels(machine, "gpu.example.com/")))
      ASSERT_TRUE(std::regex_match(line, label)) << line;
    const std::string page = Html(machine);
    EXPECT_EQ(page.find("<script"), std::string::npos);
    EXPECT_EQ(page, host::ValidUtf8(page));
    EXPECT_LT(page.size(), 100000U);
  }
}

TEST(Labels, TellWhatIsKnown) {
  // How many OpenCL has, the driver took with it; a machine without has none.
  host::Inspection machine;
  EXPECT_THAT(Labels(machine), HasSubstr("gpuprobe.opencl.count=0\n"));
  machine.openCL.status = host::ApiStatus::Crashed;
  EXPECT_EQ(Labels(machine).find("opencl.count"), std::string::npos);
  for (const std::string good : {"", "gpu.example.com/", "a/"}) EXPECT_TRUE(IsLabelPrefix(good));
  for (const std::string bad : {"/", "example.com", "-a/", "a..b/", "A/", "a/b/", "a b/", "a/\n"})
    EXPECT_FALSE(IsLabelPrefix(bad)) << bad;
}

TEST(Columns, AreThoseOfATerminal) {
  const std::pair<const char*, int> rows[] = {
      {"abc", 3},          {"\xe5\x9b\xbe", 2}, {"e\xcc\x81", 1}, {"\xf0\x9f\x8e\xae", 2},
      {"\xef\xbd\xb1", 1}, {"\xef\xbc\xa1", 2}, {"\xc2\xb5s", 2}, {"", 0}};
  for (const auto& [text, columns] : rows) EXPECT_EQ(ColumnsOf(text), columns) << text;
  EXPECT_EQ(Printable("\xe2\x80\xae"), "\xef\xbf\xbd");
  EXPECT_EQ(Wrapped("one two  three", 7), (std::vector<std::string>{"one two", "three"}));
  EXPECT_EQ(Wrapped("abcdefgh i", 3), (std::vector<std::string>{"abc", "def", "gh", "i"}));
  EXPECT_EQ(Wrapped("\xe5\x9b\xbe\xe5\x9b\xbe", 3),
            (std::vector<std::string>{"\xe5\x9b\xbe", "\xe5\x9b\xbe"}));
}

TEST(Json, ComesBackTheSame) {
  const std::string golden = fileText("report.golden");
  for (const host::Inspection& machine :
       {crashedMachine(), hostileMachine("\xff\"\\\n"), host::Inspection{},
        host::FromReport(golden), host::FromReport(golden.substr(0, golden.size() / 2)),
        host::FromReport(std::string("\0\xff=1\nglgpu[99].GLName=\"", 23))}) {
    const std::string json = host::ToJson(machine);
    std::string error;
    const auto again = host::FromJson(json, error);
    ASSERT_TRUE(again) << error;
    EXPECT_EQ(host::ToJson(*again), json);
    EXPECT_EQ(Text(*again, {}), Text(machine, {}));
  }
}

TEST(Json, WhatIsNoneIsRefused) {
  const std::string good = host::ToJson(crashedMachine());
  const auto with = [&](const std::string& old, const std::string& text) {
    std::string json = good;
    EXPECT_NE(json.find(old), std::string::npos) << old;
    return json.replace(json.find(old), old.size(), text);
  };
  for (const std::string& json :
       {std::string(), good.substr(0, good.size() - 3), std::string("{}"), std::string("[1]"),
        std::string(100000, '['), with("gpuprobe-report", "other"),
        with("\"glgpu[0]\"", "\"glgpu[x]\""), with("\"glgpu[0]\"", "\"glgpu[99999999999]\""),
        with("\"0x10de\"", "\"0xzz\""), with("12884901888", "1e300"), with("12884901888", "-5"),
        with("\"attempts\": 2", "\"attempts\": 9e9"),
        with("\"attempts\": 2", "\"attempts\": 99999999999"), with("\"SIGSEGV\"", "7"),
        with("2026-", "20x6-"), with("\"status\": \"crashed\"", "\"status\": \"fine\"")}) {
    std::string error;
    EXPECT_FALSE(host::FromJson(json, error)) << json.substr(0, 300);
    EXPECT_FALSE(error.empty());
    EXPECT_EQ(error.find('\n'), std::string::npos);
  }
}

/// The value of a key, or why there is none.
std::string got(const host::Inspection& machine, const std::string& key) {
  const Got found = GetValue(machine, key);
  if (!found.known) return "no such key";
  return found.value.value_or(name(found.missing.value_or(Reason::Hung)));
}

TEST(Fields, ConvertTheReportsUnits) {
  const std::array<const char*, 3> rows[] = {
      {"GLMemoryMB=3", "memory_bytes", "3145728"},
      {"GLMemoryMB=9223372036854775807", "memory_bytes", "failed"},
      {"GLVendorID=32902", "vendor_id", "0x8086"},
      {"GLVendorID=-2", "vendor_id", "unknown"},
      {"GLDriverDate=\"4-19-2026\"", "driver_date", "2026-04-19"},
      {"GLDriverDate=\"20260419000000.000000-000\"", "driver_date", "2026-04-19"},
      {"GLDriverDate=\"Tue Jun  6 22:20:39 UTC 2023\"", "driver_date", "2023-06-06"},
      {"GLDriverDate=\"2-30-2026\"", "driver_date", "2-30-2026"},
      {"GLDriverDate=\"spring 2026\"", "driver_date", "spring 2026"},
  };
  for (const auto& [line, key, value] : rows) {
    const auto machine = host::FromReport("NumGLGPUs=1\nglgpu[0]." + std::string(line) + "\n");
    EXPECT_EQ(got(machine, "opengl[0]." + std::string(key)), value) << line;
  }
  const auto endless = host::FromReport("NumCLGPUs=1\nclgpu[0].CLCompute=nan\n");
  EXPECT_EQ(got(endless, "opencl[0].kernel_seconds"), "failed");
}

TEST(Get, FindsValuesByTheirKeys) {
  const host::Inspection machine = crashedMachine();
  const std::pair<const char*, const char*> rows[] = {
      {"opengl[0].memory_bytes", "12884901888"},
      {"opengl[0].name", "Fine \xe5\x9b\xbe\xe5\xbd\xa2 Card 3000"},
      {"opengl[0].limits.GL_MAX_DRAW_BUFFERS", "32"},
      {"opengl[0].extensions.GL_ARB_SHADER_TEXTURE_LOD", "false"},
      {"opengl.gpus[0].vendor_id", "0x10de"},
      {"run.status", "crashed"},
      {"incidents[0].signal", "SIGSEGV"},
      {"opencl[0].kernel_seconds", "crashed"},
      {"opencl[0].cuda_version", "absent"},
  };
  for (const auto& [key, value] : rows) EXPECT_EQ(got(machine, key), value) << key;
  for (const char* key : {"", "opengl[2].name", "opengl[].name", "opengl[0", "opengl[0]..name", "x",
                          "opengl[-1]", "run.status.x", "opengl[99999999999999999999]"})
    EXPECT_EQ(got(machine, key), "no such key") << key;
}

int evaluated(const std::string& text, const host::Inspection& machine) {
  std::string error;
  const auto terms = ParseRequirement(text, error);
  return terms ? Evaluate(*terms, machine) : kUsage;
}

/// An old discrete card with much memory and a new integrated one with little.
constexpr const char* kTwoCards = R"(NumGLGPUs=2
glgpu[0].GLVersion="2.1"
glgpu[0].GLMemoryMB=8192
glgpu[0].IsIntegratedGLGPU=0
glgpu[1].GLVersion="4.1"
glgpu[1].glGetString[GL_SHADING_LANGUAGE_VERSION]="4.50"
glgpu[1].GLMemoryMB=512
glgpu[1].IsIntegratedGLGPU=1
glgpu[1].GLFrameBufferOK=0
NumCLGPUs=0
snifferEnd="now"
)";

TEST(Require, IsMetByOneGpu) {
  const std::pair<const char*, int> rows[] = {
      {"opengl>=4.1", 0},
      {"opengl>=4.5", 0},  // beyond the probe's scale GLSL decides
      {"opengl>=4.6", 9},
      {"opengl >= 3, memory >= 0.5GiB", 0},
      {"opengl>=3.3,memory>=2GiB", 9},  // no card has both
      {"memory>=8GiB,discrete", 0},
      {"memory>=8589934593", 9},
      {"memory>=1TiB", 9},
      {"framebuffer", 3},  // the new card can't, the old one doesn't say
      {"opengl>=3.3,framebuffer", 9},
      {"glsl", 3},
      {"opencl>=1.0", 9},
      {"opengl>=2.1,opencl>=1.2", 9},
      {"", kUsage},
      {"opengl", kUsage},
      {"opengl>3", kUsage},
      {"opengl>=3.3,", 0},
      {"opengl>=3.3,,discrete", kUsage},
      {"memory>=2 apples", kUsage},
      {"memory>=99999999999999TiB", kUsage},
  };
  const host::Inspection twoCards = host::FromReport(kTwoCards);
  for (const auto& [text, code] : rows) EXPECT_EQ(evaluated(text, twoCards), code) << text;
}

TEST(Require, SaysWhatItCannotTell) {
  host::Inspection machine = crashedMachine();
  EXPECT_EQ(evaluated("opengl>=3.3,memory>=2GiB,discrete,glsl,framebuffer", machine), kComplete);
  EXPECT_EQ(evaluated("opencl>=1.2,memory>=2GiB", machine), kComplete);
  for (host::Answer& answer : machine.openCL.gpus[0].answers) answer = host::Reason::Hung;
  EXPECT_EQ(evaluated("opencl>=1.2", machine), kHung);
  machine.incidents.resize(1);
  // A platform whose list was lost may have had the GPU that is wanted.
  machine.incidents[0].gpu.reset();
  machine.incidents[0].question = "NumCLGPUs Fine";
  machine.openCL.gpus.clear();
  EXPECT_EQ(evaluated("opencl>=1.2", machine), kCrashed);
  EXPECT_EQ(evaluated("opengl>=4.7", machine), kNotMet);
  machine = host::FromReport("NumGLGPUs=0\n");
  EXPECT_EQ(evaluated("opencl>=1.2", machine), kUnanswered);
  machine.status = host::Status::FailedToStart;
  machine.openGL.gpus.clear();
  EXPECT_EQ(evaluated("discrete", machine), kNotStarted);
}

}  // namespace
}  // namespace gpureport
