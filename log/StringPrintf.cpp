#include "StringPrintf.h"

#include <algorithm>
#include <cstdio>
#include <memory>

namespace {

constexpr std::size_t kStackBytes = 256;
// The arguments may name memory that another thread changes, so a measured text may have grown.
constexpr int kMeasures = 3;

// One formatting run over a copy of the arguments; negative on failure.
int format(char* buffer, std::size_t size, const char* pattern, va_list args) {
  va_list copy;
  va_copy(copy, args);
  // The analyzer loses va_copy once the list came through a parameter.
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
  const int length = std::vsnprintf(buffer, size, pattern, copy);
  va_end(copy);
  return length;
}

}  // namespace

std::string stringVPrintf(const char* pattern, va_list args) {
  char local[kStackBytes];
  std::unique_ptr<char[]> heap;
  char* buffer = local;
  std::size_t size = sizeof local;
  for (int measure = 0; measure < kMeasures; ++measure) {
    const int length = format(nullptr, 0, pattern, args);
    if (length < 0) return {};
    const std::size_t needed = static_cast<std::size_t>(length) + 1;
    if (needed <= size) {
      const int written = format(buffer, size, pattern, args);
      if (written < 0) return {};
      return {buffer, std::min(static_cast<std::size_t>(written), size - 1)};
    }
    heap.reset(new char[needed]);
    buffer = heap.get();
    size = needed;
  }
  return {};
}

std::string stringPrintf(const char* pattern, ...) {
  va_list args;
  va_start(args, pattern);
  std::string text = stringVPrintf(pattern, args);
  va_end(args);
  return text;
}
