// The forms that people and programs read: text, JSON, single values.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>

#include "gpureport/Columns.h"
#include "gpureport/ExitCode.h"
#include "gpureport/JsonForms.h"
#include "gpureport/TextForm.h"
#include "host/Fields.h"
#include "host/Inspect.h"
#include "host/Json.h"
#include "tests/gpureport/Samples.h"

namespace gpureport {
namespace {

using host::Reason;
using host::Value;
using protocol::GPUKind;
using ::testing::HasSubstr;

std::string fileText(const std::string& name) {
  std::ifstream file(GPUPROBE_TESTS + name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Every driver's text at its worst.
host::Inspection hostileMachine() {
  host::Inspection machine = test::crashedMachine();
  const std::string nasty = "\x1b[31m\xe2\x80\xae\x07 red\xff\xed\xa0\x80\r\n\t" +
                            std::string(300, 'W') + std::string("\0", 1) + "\xe5\x9b\xbe";
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

TEST(Text, IsAsItWasLookedAt) {
  for (const int columns : {80, 60})
    EXPECT_EQ(Text(test::crashedMachine(), {columns, false}),
              fileText("gpureport/text" + std::to_string(columns) + ".golden"));
}

TEST(Text, StaysWithinItsColumns) {
  for (const host::Inspection& machine : {test::crashedMachine(), hostileMachine()})
    for (int columns = 40; columns <= 80; ++columns) {
      std::istringstream text(Text(machine, {columns, false}));
      for (std::string line; std::getline(text, line);) {
        ASSERT_LE(ColumnsOf(line), columns) << line;
        ASSERT_EQ(line, Printable(line));
      }
    }
}

TEST(Text, ColoursChangeNothingElse) {
  std::string text = Text(test::crashedMachine(), {80, true});
  EXPECT_THAT(text, HasSubstr("\x1b[31m"));
  for (std::size_t at = 0; (at = text.find('\x1b')) != std::string::npos;)
    text.erase(at, text.find('m', at) - at + 1);
  EXPECT_EQ(text, Text(test::crashedMachine(), {80, false}));
}

TEST(Columns, AreThoseOfATerminal) {
  const struct {
    const char* text;
    int columns;
  } rows[] = {{"abc", 3},          {"\xe5\x9b\xbe", 2}, {"e\xcc\x81", 1}, {"\xf0\x9f\x8e\xae", 2},
              {"\xef\xbd\xb1", 1}, {"\xef\xbc\xa1", 2}, {"\xc2\xb5s", 2}, {"", 0}};
  for (const auto& row : rows) EXPECT_EQ(ColumnsOf(row.text), row.columns) << row.text;
  EXPECT_EQ(Wrapped("one two  three", 7), (std::vector<std::string>{"one two", "three"}));
  EXPECT_EQ(Wrapped("abcdefgh i", 3), (std::vector<std::string>{"abc", "def", "gh", "i"}));
  EXPECT_EQ(Wrapped("\xe5\x9b\xbe\xe5\x9b\xbe", 3),
            (std::vector<std::string>{"\xe5\x9b\xbe", "\xe5\x9b\xbe"}));
}

TEST(Json, ComesBackTheSame) {
  const std::string golden = fileText("report.golden");
  for (const host::Inspection& machine :
       {test::crashedMachine(), hostileMachine(), host::Inspection{}, host::FromReport(golden),
        host::FromReport(golden.substr(0, golden.size() / 2)),
        host::FromReport(std::string("\0\xff=1\nglgpu[99].GLName=\"", 25))}) {
    const std::string json = host::ToJson(machine);
    std::string error;
    const auto again = host::FromJson(json, error);
    ASSERT_TRUE(again) << error;
    EXPECT_EQ(host::ToJson(*again), json);
    EXPECT_EQ(Text(*again, {}), Text(machine, {}));
    EXPECT_EQ(ExitCode(*again), ExitCode(machine));
  }
}

TEST(Json, WhatIsNoneIsRefused) {
  const std::string good = host::ToJson(test::crashedMachine());
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

TEST(Fields, ConvertTheReportsUnits) {
  const auto of = [](const char* key, const Value& value) {
    const host::Gpu gpu = test::makeGpu(GPUKind::OpenGL, 0, {{key, value}});
    for (std::size_t i = 0; i < gpu.answers.size(); ++i)
      if (!std::holds_alternative<Reason>(gpu.answers[i]))
        return host::Converted(host::Fields(GPUKind::OpenGL)[i], gpu.answers[i]);
    return host::Answer(Reason::Absent);
  };
  const auto whole = [](std::int64_t value) { return Value(value); };
  EXPECT_EQ(of("GLMemoryMB", whole(3)), host::Answer(whole(3 << 20)));
  EXPECT_EQ(of("GLMemoryMB", whole(std::numeric_limits<std::int64_t>::max())),
            host::Answer(Reason::Failed));
  EXPECT_EQ(of("GLVendorID", whole(0x8086)), host::Answer(Value("0x8086")));
  EXPECT_EQ(of("GLVendorID", whole(-1)), host::Answer(Reason::Failed));
  EXPECT_EQ(host::Converted(*host::FieldOf(*host::Fields(GPUKind::OpenCL).back().question),
                            Value(std::nan(""))),
            host::Answer(Reason::Failed));
  const std::pair<const char*, const char*> dates[] = {
      {"4-19-2026", "2026-04-19"},
      {"20260419000000.000000-000", "2026-04-19"},
      {"Tue Jun  6 22:20:39 UTC 2023", "2023-06-06"},
      {"2026-04-19", "2026-04-19"},
      {"2-30-2026", "2-30-2026"},
      {"spring 2026", "spring 2026"},
  };
  for (const auto& [date, iso] : dates) EXPECT_EQ(host::IsoDate(date), iso);
}

TEST(Get, FindsValuesByTheirKeys) {
  const host::Inspection machine = test::crashedMachine();
  const std::pair<const char*, const char*> rows[] = {
      {"opengl[0].memory_bytes", "12884901888"},
      {"opengl[0].name", "Fine \xe5\x9b\xbe\xe5\xbd\xa2 Card 3000"},
      {"opengl[0].limits.GL_MAX_DRAW_BUFFERS", "32"},
      {"opengl[0].extensions.GL_ARB_SHADER_TEXTURE_LOD", "false"},
      {"opengl.gpus[0].vendor_id", "0x10de"},
      {"run.status", "crashed"},
      {"incidents[0].signal", "SIGSEGV"},
  };
  for (const auto& [key, value] : rows) EXPECT_EQ(GetValue(machine, key).value, value) << key;
  EXPECT_EQ(GetValue(machine, "opencl[0].kernel_seconds").missing, Reason::Crashed);
  EXPECT_EQ(GetValue(machine, "opencl[0].cuda_version").missing, Reason::Absent);
  for (const char* key : {"", "opengl[1].name", "opengl[].name", "opengl[0", "opengl[0]..name", "x",
                          "opengl[-1]", "run.status.x", "opengl[99999999999999999999]"})
    EXPECT_FALSE(GetValue(machine, key).known) << key;
}

}  // namespace
}  // namespace gpureport
