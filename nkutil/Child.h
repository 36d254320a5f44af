#pragma once

#include <memory>
#include <optional>

#include "nkutil/ConsoleApp.h"

namespace nkutil {

/// The child's ends of its streams. None: the host's own.
struct ChildStreams {
  Handle in;
  Handle out;
  Handle err;
};

/// One process and its tree: what each system must provide. Used by two threads: the keeper, which
/// starts it and waits for it, and whoever kills; only id(), sweep() and killed() are called by
/// both.
class Child {
 public:
  virtual ~Child() = default;

  /// Keeper, once. The streams are closed here when it returns. On an error nothing is left.
  virtual std::optional<LaunchError> start(const Command& command, ChildStreams streams) = 0;
  /// 0 until it is started.
  virtual ProcessId id() const = 0;
  /// Keeper: returns when the process has ended. Its id still is its own.
  virtual void awaitEnd() = 0;
  /// Ends what is alive of the tree, the process itself included. Returns how many processes were
  /// still alive when it looked; call it again until that is 0.
  virtual int sweep() = 0;
  /// A thread of this library that was started after the process, which is no sign of a tree.
  virtual void ignoreThread(std::uint32_t number) = 0;
  /// Processes ended by sweep() so far.
  virtual int killed() const = 0;
  /// Keeper, after awaitEnd(), the last call: lets go of the process, and of what it started.
  virtual Ending reap(bool keepTree) = 0;
};

std::unique_ptr<Child> makeChild();

/// "step: text of the system's present error", about the path.
LaunchError launchError(const char* step, const std::string& path);

}  // namespace nkutil
