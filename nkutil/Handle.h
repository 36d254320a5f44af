#pragma once

#include <utility>

namespace nkutil {

/// Owner of one handle of the system, closed at most once. Movable; not to be shared by threads
/// without a lock. Traits: Value, none() (owns nothing) and close(Value).
/// A failure to close is ignored.
template <class Traits>
class Owner {
 public:
  using Value = typename Traits::Value;

  Owner() = default;
  explicit Owner(Value value) : fValue(value) {}
  Owner(Owner&& other) noexcept : fValue(other.release()) {}
  Owner& operator=(Owner&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  ~Owner() { reset(); }

  explicit operator bool() const { return fValue != Traits::none(); }
  Value get() const { return fValue; }
  /// Gives the ownership away.
  Value release() { return std::exchange(fValue, Traits::none()); }
  void reset(Value value = Traits::none()) {
    const Value old = std::exchange(fValue, value);
    if (old != Traits::none()) Traits::close(old);
  }

 private:
  Value fValue = Traits::none();
};

/// A handle of Windows. INVALID_HANDLE_VALUE must be turned into null before it is handed over.
struct WinHandleTraits {
  using Value = void*;
  static Value none() { return nullptr; }
  static void close(Value handle);
};

/// A file descriptor.
struct DescriptorTraits {
  using Value = int;
  static Value none() { return -1; }
  static void close(Value descriptor);
};

using WinHandle = Owner<WinHandleTraits>;
using Descriptor = Owner<DescriptorTraits>;

#ifdef _WIN32
using Handle = WinHandle;
#else
using Handle = Descriptor;
#endif

}  // namespace nkutil
