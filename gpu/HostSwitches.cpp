#include "HostSwitches.h"

#include <algorithm>
#include <sstream>
#include <string_view>

#include "protocol/Questions.h"

namespace {

constexpr const char* kStagesWithParts[] = {"OGLContextCreated", "NumGLGPUs", "NumCLGPUs"};

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

/// "glgpu[0].GLName" is "glgpu" and ".GLName"; empty where no tag stands first.
std::pair<std::string_view, std::string_view> splitTag(std::string_view name) {
  const size_t open = name.find('[');
  const size_t close = name.find_first_not_of("0123456789", open + 1);
  if (open == name.npos || close == name.npos || close == open + 1 || name[close] != ']') return {};
  return {name.substr(0, open), name.substr(close + 1)};
}

bool isKnown(std::string_view name) {
  if (name == "OpenGL" || name == "OpenCL") return true;
  for (const std::string stage : kStagesWithParts)
    if (startsWith(name, stage + " ")) return true;
  const auto [word, rest] = splitTag(name);
  for (const protocol::Question& question : protocol::kQuestions) {
    if (name == question.key) return true;
    if (word != protocol::TagWord(question.gpu)) continue;
    if (rest.empty() || (rest[0] == '.' && rest.substr(1) == question.key)) return true;
  }
  return false;
}

}  // namespace

HostSwitches::HostSwitches(const std::string& skip, bool announce, Comment comment)
    : fAnnounce(announce), fComment(std::move(comment)) {
  std::istringstream names(skip);
  for (std::string name; std::getline(names, name, ',');) {
    for (size_t comma; (comma = name.find("%2C")) != name.npos;) name.replace(comma, 3, ",");
    if (!name.empty()) fSkipped.insert(name);
  }
}

std::vector<std::string> HostSwitches::UnknownNames() const {
  std::vector<std::string> unknown;
  std::remove_copy_if(fSkipped.begin(), fSkipped.end(), std::back_inserter(unknown), isKnown);
  return unknown;
}

bool HostSwitches::Admits(const std::string& tag, const std::string& key) const {
  const std::string name = tag + "." + key;
  const bool skipped = fSkipped.count(name) + fSkipped.count(tag) + fSkipped.count(key) > 0;
  return admitsUnless(skipped, name);
}

bool HostSwitches::Admits(const std::string& name) const {
  return admitsUnless(fSkipped.count(name) > 0, name);
}

bool HostSwitches::admitsUnless(bool skipped, const std::string& name) const {
  if (skipped)
    fComment("skipped " + name);
  else
    Announce(name);
  return !skipped;
}

bool HostSwitches::AdmitsAPI(const std::string& api) const {
  const bool skipped = fSkipped.count(api) > 0;
  if (skipped) fComment("skipped " + api);
  return !skipped;
}

void HostSwitches::Announce(const std::string& name) const {
  if (fAnnounce) fComment("asking " + name);
}

HostSwitches& hostSwitches() {
  static HostSwitches switches;
  return switches;
}

bool ListedParts::Admits(const std::function<std::string()>& name) {
  if (!hostSwitches().Steer()) return true;
  constexpr size_t kLongest = 100;
  std::string text = name().substr(0, kLongest);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  const int number = ++fSeen[text];
  if (number > 1) text += " (" + std::to_string(number) + ")";
  return hostSwitches().Admits(std::string(fStage) + " " + text);
}
