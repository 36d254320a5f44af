#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// A named group of log statements with one level; 0 silences it. One static record per group;
/// those of equal names share the level.
struct LogChannel {
  const char* name;
  /// The level until somebody sets another.
  std::uint32_t defaultLevel;
  /// Place in the channel table; 0 until registered.
  std::atomic<std::int32_t> index{0};
};

/// Levels by channel name. Entry 0 belongs to no channel. Locks nothing: the process's own table is
/// changed under the logging lock, while its levels may be read and set by any thread.
class ChannelTable {
 public:
  /// Room for that many channels, once and for all.
  explicit ChannelTable(std::size_t capacity) : fLevels(capacity + 1) {}

  /// The index of a name, which is entered with its default level when it is new; 0 when the table
  /// is full.
  int indexOf(const char* name, std::uint32_t defaultLevel);
  /// Never moves while the table lives.
  int* levels() { return fLevels.data(); }

 private:
  std::vector<int> fLevels;
  std::map<std::string, int> fIndexes;
};

// The functions below are for any thread.

/// Makes the process's channel table with room for that many channels. The first call decides;
/// where none came first, every other function makes it with room for 1024.
void initLogging(std::size_t capacity);
/// initLogging with the capacity of a process that chose none.
void ensureLogging();

/// The index of a channel in the process's table, or 0 when the table is full.
int registerChannel(const char* name, std::uint32_t defaultLevel);

namespace logdetail {
extern std::atomic<int*> channelLevels;
int& levelOfNewChannel(LogChannel& channel);
}  // namespace logdetail

/// The level of a channel, to read or to write; good for the lifetime of the process. Registers the
/// channel at its first use. Channels that found the table full share one.
inline int& channelLevel(LogChannel& channel) {
  const std::int32_t index = channel.index.load(std::memory_order_acquire);
  if (index == 0) return logdetail::levelOfNewChannel(channel);
  // The index was stored after the table was seen, so the acquire above covers it.
  return logdetail::channelLevels.load(std::memory_order_relaxed)[index];
}
