#pragma once

#include <sys/types.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "nkutil/Lines.h"

namespace nkutil {

/// The processes that came of one launch, found in /proc. Not thread-safe.
class Tree {
 public:
  /// What a launch is known by before its process exists.
  Tree();
  /// The value of kMarkVariable for the child: that of the host's own tree, and ours.
  static constexpr std::string_view kMarkVariable = "NKUTIL_TREE";
  std::string markValue(const char* hostsValue) const;

  /// The first process: leader of the session, not reaped. Leaderless: it was reaped by the host,
  /// so that its number may be another's.
  void setLeader(pid_t leader) { fLeader = leader; }
  void setLeaderless() { fLeaderless = true; }

  void ignoreThread(pid_t number) { fOwnThreads.insert(number); }

  /// Sends SIGKILL to every process of the tree that is alive; their number.
  int kill();
  /// Nothing was started since the leader, by anybody, but threads of ours: there is no tree.
  bool isLeaderAlone() const;
  int killed() const { return static_cast<int>(fKilled.size()); }

 private:
  struct Process {
    pid_t pid = 0;
    pid_t parent = 0;
    pid_t group = 0;
    pid_t session = 0;
    char state = 0;
    std::uint64_t start = 0;  ///< in the kernel's ticks since boot
  };
  static bool readProcess(pid_t pid, Process& process);
  static pid_t newestNumber();
  bool numbersCameRound() const;
  std::vector<Process> laterProcesses() const;
  std::vector<Process> members() const;
  bool hasMark(pid_t pid) const;
  static void killExactly(const Process& process);

  std::string fMark;
  Time fMade = Clock::now();
  std::uint64_t fEarliest = 0;  ///< nothing of the tree started before
  pid_t fLeader = 0;
  bool fLeaderless = false;
  std::set<pid_t> fOwnThreads;
  std::set<std::pair<pid_t, std::uint64_t>> fKilled;
};

}  // namespace nkutil
