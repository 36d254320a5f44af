#include <string>

#include "fuzz/Targets.h"
#include "linux/DRMAdapterDesc.h"
#include "linux/SysfsFile.h"

int FuzzSysfsNumbers(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  constexpr uint64_t kAll = UINT64_MAX;
  for (const uint64_t limit : {uint64_t{0xFF}, uint64_t{0xFFFF}, kAll}) {
    const std::optional<uint64_t> number = ParseSysfsNumber(text, limit);
    if (!number) continue;
    Promise(*number <= limit, "a number is within its limit");
    Promise(ParseSysfsNumber(std::to_string(*number) + '\n', limit) == number,
            "a number is read back");
    Promise(ParseSysfsNumber(text, kAll) == number, "the limit changes no number");
  }
  Promise(!ParseSysfsNumber(' ' + text, kAll), "nothing stands before a number");
  LargestPrefetchableWindow(text);
  const std::string date = DateOfNVIDIAVersion(text);
  Promise(text.find(date) <= text.find('\n'), "a date is in the first line");
  return 0;
}
