#include "gpu/HostSwitches.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>

#include "protocol/Questions.h"

namespace {

// OpenGL's stages make contexts on the same devices: the first of them under the name of the
// second.
constexpr const char* kFirstContext = "OGLContextCreated";
constexpr const char* kContexts = "NumGLGPUs";
constexpr const char* kPlatforms = "NumCLGPUs";

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
  for (const std::string stage : {kContexts, kPlatforms})
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
    if (startsWith(name, std::string(kFirstContext) + " "))
      name.replace(0, std::string(kFirstContext).size(), kContexts);
    if (!name.empty()) fSkipped.insert(name);
  }
}

std::vector<std::string> HostSwitches::UnknownNames() const {
  std::vector<std::string> unknown;
  std::remove_copy_if(fSkipped.begin(), fSkipped.end(), std::back_inserter(unknown), isKnown);
  return unknown;
}

bool HostSwitches::AdmitsAPI(const std::string& api) const {
  const bool skipped = fSkipped.count(api) > 0;
  if (skipped) fComment("skipped " + api);
  return !skipped;
}

void HostSwitches::BeginStage(const std::string& stage) {
  fStage = stage;
  Announce(stage);
}

bool HostSwitches::AdmitsPart(const std::string& name, const std::string& identity) {
  constexpr size_t kLongest = 100;
  std::string part = name.substr(0, kLongest);
  std::replace_if(
      part.begin(), part.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  std::vector<std::string>& same = fIdentities[part];
  const auto place = std::find(same.begin(), same.end(), identity);
  const auto number = place - same.begin() + 1;
  if (place == same.end()) same.push_back(identity);
  if (number > 1) part += " (" + std::to_string(number) + ")";

  const bool first = fStage == kFirstContext;
  const std::string skippedName = (first ? kContexts : fStage) + " " + part;
  const bool skipped = fSkipped.count(skippedName) > 0;
  if (!skipped)
    Announce(fStage + " " + part);
  else if (!first)
    fComment("skipped " + skippedName);
  return !skipped;
}

bool HostSwitches::AdmitsQuestion(const std::string& tag, const std::string& key) const {
  const std::string name = tag + "." + key;
  const bool skipped = fSkipped.count(name) + fSkipped.count(tag) + fSkipped.count(key) > 0;
  if (skipped)
    fComment("skipped " + name);
  else
    Announce(name);
  return !skipped;
}

void HostSwitches::Announce(const std::string& name) const {
  if (fAnnounce) fComment("asking " + name);
}

HostSwitches& ActiveSwitches() {
  static HostSwitches switches;
  return switches;
}
