#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

/// What a host wants of a run beyond the command line: what not to ask (GPUPROBE_SKIP) and whether
/// to say beforehand what is asked (GPUPROBE_ANNOUNCE). docs/report.md has the names. What is left
/// out leaves a comment line "skipped NAME", what is announced one "asking NAME". One thread.
class HostSwitches {
 public:
  /// Writes one comment line of the report; may throw what writing it throws.
  using Comment = std::function<void(const std::string& text)>;

  /// Nothing is skipped or announced.
  HostSwitches() = default;
  /// `skip` is a list of names separated by commas, in which "%2C" stands for a comma.
  HostSwitches(const std::string& skip, bool announce, Comment comment);

  /// The names that mean nothing here, whatever machine it is. They skip nothing.
  std::vector<std::string> UnknownNames() const;
  /// Whether the host skips or announces anything.
  bool Steer() const { return fAnnounce || !fSkipped.empty(); }

  /// Whether an API, "OpenGL" or "OpenCL", is to be asked at all. Not announced as such.
  bool AdmitsAPI(const std::string& api) const;
  /// Announces a stage that is about to touch a driver, for example "NumCLGPUs".
  void BeginStage(const std::string& stage);
  /// Whether a device or a platform that the stage is about to touch is wanted; announces it. The
  /// name counts up to 100 bytes, of which any but printable ASCII is "?"; where several have the
  /// same, told apart by their identity, the second is "name (2)". OpenGL's two stages with devices
  /// share the names, and what is skipped is said in the second.
  bool AdmitsPart(const std::string& name, const std::string& identity);
  /// Whether a question is to be asked of a GPU; announces it.
  bool AdmitsQuestion(const std::string& tag, const std::string& key) const;
  /// Announces anything else.
  void Announce(const std::string& name) const;

 private:
  std::set<std::string> fSkipped;
  bool fAnnounce = false;
  Comment fComment;
  std::string fStage;
  std::map<std::string, std::vector<std::string>> fIdentities;
};

/// Those of the process; the application sets them before anything is asked.
HostSwitches& ActiveSwitches();
