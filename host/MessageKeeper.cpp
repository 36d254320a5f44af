#include "host/MessageKeeper.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace host {

void MessageKeeper::add(Message message) {
  std::string& text = message.text;
  if (!text.empty() && text.back() == '\r') text.pop_back();
  if (text.empty()) return;
  if (text.size() > kLongest) text.resize(kLongest);
  if (fFirst.size() < kKept) {
    fFirst.push_back(std::move(message));
    return;
  }
  fLast.push_back(std::move(message));
  if (fLast.size() <= kKept) return;
  fLast.pop_front();
  ++fLost;
}

/// The crash line is the last that the probe itself writes; what watches it may add some.
std::optional<Culprit> MessageKeeper::crash() const {
  for (auto message = fLast.rbegin(); message != fLast.rend(); ++message)
    if (auto culprit = ParseCrashLine(message->text)) return culprit;
  for (auto message = fFirst.rbegin(); message != fFirst.rend(); ++message)
    if (auto culprit = ParseCrashLine(message->text)) return culprit;
  return std::nullopt;
}

void MessageKeeper::moveTo(std::vector<Message>& all) {
  std::move(fFirst.begin(), fFirst.end(), std::back_inserter(all));
  if (fLost > 0) {
    const Message& next = fLast.front();
    all.push_back({next.attempt, next.question,
                   "(" + std::to_string(fLost) + " lines of standard error left out)"});
  }
  std::move(fLast.begin(), fLast.end(), std::back_inserter(all));
}

}  // namespace host
