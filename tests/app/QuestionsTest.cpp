#include <gmock/gmock.h>

#include <fstream>
#include <regex>

#include "protocol/Questions.h"

namespace {

using Row = std::pair<std::string, std::string>;

std::string nameOf(protocol::Kind kind) {
  constexpr const char* kNames[] = {"text", "flag", "integer", "number", "list", "time"};
  return kNames[static_cast<int>(kind)];
}

/// Key and kind of each line, from the guide's tables in their order. A row of named questions
/// stands for one line a name.
std::vector<Row> guideRows() {
  std::vector<Row> rows;
  std::ifstream guide(GPUPROBE_GUIDE);
  const std::regex layout(
      R"(\| `(?:glgpu\[N\]\.)?([^`*]+)` \| ((?:text|flag|integer|number|list|time)[^|]*) \|([^;]*).*)");
  const std::regex quoted("`([^`]+)`");
  for (std::string line; std::getline(guide, line);) {
    std::smatch parts;
    if (!std::regex_match(line, parts, layout)) continue;
    const std::string key = parts[1], kind = parts[2], names = parts[3];
    const size_t placeholder = key.find("NAME]");
    if (placeholder == key.npos) {
      rows.emplace_back(key, kind);
      continue;
    }
    for (std::sregex_iterator name(names.begin(), names.end(), quoted), end; name != end; ++name)
      rows.emplace_back(std::string(key).replace(placeholder, 4, (*name)[1]), kind);
  }
  return rows;
}

TEST(Questions, StandInTheGuideAsTheyAreAsked) {
  std::vector<Row> rows;
  for (const protocol::RunLine& line : protocol::kRunLines)
    rows.emplace_back(line.key, nameOf(line.kind));
  for (const protocol::Question& question : protocol::kQuestions) {
    // The guide has no table of adapters that only the system knows: there are none so far.
    if (question.gpu == protocol::GPUKind::Native) continue;
    const std::string unit = question.unit;
    rows.emplace_back(question.key, nameOf(question.kind) + (unit.empty() ? "" : ", " + unit));
  }
  EXPECT_EQ(guideRows(), rows);
}

}  // namespace
