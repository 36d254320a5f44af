#pragma once

#include <algorithm>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/recursive_mutex.hpp>
#include <stdexcept>
#include <vector>

namespace nkutil {

/// Gives the stacks' objects a destructor that can fail.
class StackableBase {
 public:
  /// May throw: an object may need the one beneath it to close what it began.
  virtual ~StackableBase() noexcept(false) {}
};

/// Objects that form one process-wide stack per T: T derives from Stackable<T>, stands on top from
/// its construction on, and leaves from wherever it stands when it is destroyed. The stack owns
/// none of them. Any thread may call any of this at any time, but a handle is good only as long as
/// its object lives.
template <class T>
class Stackable : public StackableBase {
 public:
  Stackable(const Stackable&) = delete;
  Stackable& operator=(const Stackable&) = delete;

  // NOLINTNEXTLINE(bugprone-exception-escape): allowed by the base class
  ~Stackable() override {
    Storage& stack = storage();
    const Lock lock(stack.mutex);
    const auto place = std::find(stack.items->begin(), stack.items->end(), this);
    if (place != stack.items->end()) stack.items->erase(place);
  }

  /// The newest object, or an empty handle. Handles share the stack storage, not the object.
  static boost::shared_ptr<T> top() {
    Storage& stack = storage();
    const Lock lock(stack.mutex);
    return stack.items->empty() ? nullptr : handle(stack, stack.items->back());
  }

  /// The object just beneath this one; empty for the bottom and for an object not on the stack.
  boost::shared_ptr<T> beneath() const {
    Storage& stack = storage();
    const Lock lock(stack.mutex);
    const auto place = std::find(stack.items->begin(), stack.items->end(), this);
    if (place == stack.items->end() || place == stack.items->begin()) return nullptr;
    return handle(stack, *std::prev(place));
  }

 protected:
  Stackable() {
    Storage& stack = storage();
    const Lock lock(stack.mutex);
    stack.items->push_back(this);
  }

 private:
  using Lock = boost::unique_lock<boost::recursive_mutex>;
  struct Storage {
    boost::recursive_mutex mutex;
    // Kept as the base type: T itself does not exist yet, or no more, while this class pushes
    // and removes.
    boost::shared_ptr<std::vector<Stackable*>> items =
        boost::make_shared<std::vector<Stackable*>>();
  };

  // Never destroyed: statics of other files may still log while the process ends.
  static Storage& storage() {
    static Storage& stack = *new Storage;
    return stack;
  }

  static boost::shared_ptr<T> handle(const Storage& stack, Stackable* item) {
    return boost::shared_ptr<T>(stack.items, static_cast<T*>(item));
  }
};

/// The object of a handle that must not be empty; throws std::runtime_error when it is.
template <class T>
T& required(const boost::shared_ptr<T>& handle) {
  if (!handle) throw std::runtime_error("Stackable: nullptr");
  return *handle;
}

}  // namespace nkutil
