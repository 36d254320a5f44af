#include "host/Culprit.h"

#include <charconv>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace host {

std::optional<Culprit> ParseCrashLine(std::string_view line) {
  constexpr std::string_view kStart = "crash: ";
  constexpr std::string_view kIn = " in ";
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  if (line.substr(0, kStart.size()) != kStart) return std::nullopt;
  const std::size_t in = line.find(kIn);
  if (in == line.npos) return std::nullopt;
  Culprit culprit;
  const std::string_view place = line.substr(in + kIn.size());
  const std::size_t plus = place.rfind("+0x");
  if (plus == place.npos || plus == 0) return culprit;
  const std::string_view digits = place.substr(plus + 3);
  std::uint64_t offset = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, offset, 16);
  if (error != std::errc() || stop != end) return culprit;
  culprit.library = place.substr(0, plus);
  culprit.offset = offset;
  culprit.evidence = Incident::Evidence::CrashLine;
  return culprit;
}

void NameCulprit(const ThreadPlace& place, const std::vector<CodeRange>& code, Culprit& culprit) {
  const auto isNamed = [&](std::uint64_t address) {
    for (const CodeRange& range : code) {
      if (address < range.begin || address >= range.end || range.passesOn) continue;
      culprit.library = range.file;
      culprit.offset = address - range.base;
      return true;
    }
    return false;
  };
  if (place.counter && isNamed(*place.counter)) {
    culprit.evidence = Incident::Evidence::ProgramCounter;
    return;
  }
  for (const std::uint64_t word : place.stack) {
    if (!isNamed(word)) continue;
    culprit.evidence = Incident::Evidence::StackScan;
    return;
  }
}

// A thread of its own: files of /proc wait for locks of the process, without any limit where the
// kernel holds the process up.
Culprit FindCulprit(nkutil::ProcessId process, nkutil::Milliseconds limit) {
  struct Search {
    std::mutex mutex;
    std::condition_variable ended;
    std::optional<Culprit> culprit;
  };
  const auto search = std::make_shared<Search>();
  try {
    std::thread([search, process, limit] {
      Culprit culprit;
      try {
        culprit = FindCulpritOnSystem(process, limit / 2);
      } catch (const std::bad_alloc&) {
        culprit = {};
      }
      const std::lock_guard<std::mutex> lock(search->mutex);
      search->culprit = std::move(culprit);
      search->ended.notify_all();
    }).detach();
  } catch (const std::system_error&) {
    return {};
  }
  std::unique_lock<std::mutex> lock(search->mutex);
  search->ended.wait_for(lock, limit, [&] { return search->culprit.has_value(); });
  return search->culprit.value_or(Culprit{});
}

}  // namespace host
