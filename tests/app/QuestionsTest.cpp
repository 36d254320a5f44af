#include "protocol/Questions.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

// Each has a row of the guide's tables, or its name in the row of many, in the order of the report.
TEST(Questions, StandInTheGuideAsTheyAreAsked) {
  std::ifstream file(GPUPROBE_GUIDE);
  const std::string guide{std::istreambuf_iterator<char>(file), {}};
  size_t place = 0;
  const auto expectNext = [&](const std::string& text) {
    const size_t found = guide.find(text, place);
    EXPECT_NE(found, guide.npos) << text;
    place = std::min(found, guide.size());
  };
  const auto row = [](const std::string& key, protocol::Kind kind, const std::string& unit = "") {
    constexpr const char* kKinds[] = {"text", "flag", "integer", "number", "list", "time"};
    return '`' + key + "` | " + kKinds[static_cast<int>(kind)] + (unit.empty() ? "" : ", ") + unit +
           " |";
  };
  for (const protocol::RunLine& line : protocol::kRunLines) expectNext(row(line.key, line.kind));
  for (const protocol::Question& question : protocol::kQuestions) {
    // The guide has no table of adapters that only the system knows: there are none so far.
    if (question.gpu == protocol::GPUKind::Native) continue;
    const std::string name = question.name ? question.name : "";
    expectNext(question.name ? '`' + name.substr(name.rfind(':') + 1) + '`'
                             : row(question.key, question.kind, question.unit));
  }
}
