#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

#include "host/Culprit.h"
#include "host/Inspection.h"

namespace host {

/// The lines of an attempt's standard error: the first and the last ones, since a driver may write
/// without end.
class MessageKeeper {
 public:
  void add(Message message);
  /// Appends what was kept, and in between a line that counts the others. The keeper is spent then.
  void moveTo(std::vector<Message>& all);
  /// What the probe's own line about its crash names, where it wrote one.
  std::optional<Culprit> crash() const;

 private:
  static constexpr std::size_t kKept = 100;
  static constexpr std::size_t kLongest = 4096;
  std::vector<Message> fFirst;
  std::deque<Message> fLast;
  std::size_t fLost = 0;
};

}  // namespace host
