#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

/// What a host wants of a run beyond the command line: what not to ask (GPUPROBE_SKIP) and whether
/// to say beforehand what is asked (GPUPROBE_ANNOUNCE). docs/report.md has the names. One thread.
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

  /// Whether a question is to be asked of a GPU. Announces it, or writes that it is skipped.
  bool Admits(const std::string& tag, const std::string& key) const;
  /// The same for an API, "OpenGL" or "OpenCL", which is not announced as such.
  bool AdmitsAPI(const std::string& api) const;
  /// The same for anything else by its whole name.
  bool Admits(const std::string& name) const;
  /// Whether the host skips or announces anything.
  bool Steer() const { return fAnnounce || !fSkipped.empty(); }
  /// Says that a stage is about to touch a driver.
  void Announce(const std::string& name) const;

 private:
  bool admitsUnless(bool skipped, const std::string& name) const;

  std::set<std::string> fSkipped;
  bool fAnnounce = false;
  Comment fComment;
};

/// Those of the process; the application sets them before anything is asked.
HostSwitches& hostSwitches();

/// The devices or platforms that one stage ("NumCLGPUs") is about to touch, one after the other.
class ListedParts {
 public:
  explicit ListedParts(const char* stage) : fStage(stage) {}

  /// Whether the part is wanted. Announces it, or writes that it is skipped, by at most 100 bytes
  /// of its name; a byte that is not printable ASCII is "?", and a second part of the name is "name
  /// (2)". The name is asked for only when a host steers the run: it may come from a driver.
  bool Admits(const std::function<std::string()>& name);

 private:
  const char* fStage;
  std::map<std::string, int> fSeen;
};
