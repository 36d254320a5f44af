#include "log/LogChannel.h"

#include "log/NKLogger.h"

namespace {

constexpr std::size_t kDefaultCapacity = 1024;

// Guarded by the logging lock, but for the levels. Never destroyed: statics of other files may
// still log while the process ends.
ChannelTable* channelTable = nullptr;

// The level of every channel that found the table full.
int fallbackLevel = 0;

}  // namespace

namespace logdetail {

std::atomic<int*> channelLevels{nullptr};

int& levelOfNewChannel(LogChannel& channel) {
  const int index = registerChannel(channel.name, channel.defaultLevel);
  if (index == 0) return fallbackLevel;
  channel.index.store(index, std::memory_order_release);
  return channelLevels.load(std::memory_order_relaxed)[index];
}

}  // namespace logdetail

int ChannelTable::indexOf(const char* name, std::uint32_t defaultLevel) {
  const auto known = fIndexes.find(name);
  if (known != fIndexes.end()) return known->second;
  const std::size_t next = fIndexes.size() + 1;
  if (next >= fLevels.size()) return 0;
  const int index = static_cast<int>(next);
  fIndexes.emplace(name, index);
  fLevels[next] = static_cast<int>(defaultLevel);
  return index;
}

void initLogging(std::size_t capacity) {
  const LoggingLock lock;
  if (channelTable) return;
  channelTable = new ChannelTable(capacity);
  logdetail::channelLevels.store(channelTable->levels(), std::memory_order_release);
}

void ensureLogging() {
  if (!logdetail::channelLevels.load(std::memory_order_acquire)) initLogging(kDefaultCapacity);
}

int registerChannel(const char* name, std::uint32_t defaultLevel) {
  ensureLogging();
  const LoggingLock lock;
  return channelTable->indexOf(name, defaultLevel);
}
