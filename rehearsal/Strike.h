#pragma once

/// A fault's way through a function of any type: one hook in front of each entry point.

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>

#include "rehearsal/Actions.h"

namespace rehearsal {

constexpr std::size_t kHugeText = 1U << 20;
constexpr std::uint32_t kHugeCount = 1U << 31;

/// Writes what a fault wants into what a call gives back through pointers: numbers, texts and their
/// sizes. Handles stay as they are, since what a program does with a false one says nothing of it,
/// and so does what comes in. `statusByPointer`: an int behind a pointer is a status, not a number.
class Outputs {
 public:
  Outputs(Action action, std::int64_t seed, bool statusByPointer)
      : fAction(action), fStatusByPointer(statusByPointer), fRandom(static_cast<unsigned>(seed)) {}

  template <class... Arguments>
  void Spoil(Arguments... arguments) {
    (take(arguments), ...);
  }
  unsigned RandomNumber() { return static_cast<unsigned>(fRandom()); }
  /// Terminated, since nobody can read a text without an end that has no size either.
  const char* Text() {
    static std::string text;
    text.clear();
    if (fAction == Action::Garbage)
      for (unsigned left = RandomNumber() % 300; left > 0; --left)
        text += static_cast<char>(1 + RandomNumber() % 255);
    if (fAction == Action::Huge) text.assign(kHugeText, 'x');
    return text.c_str();
  }

 private:
  template <class Value>
  void take(Value) {}
  // The size of the text that follows.
  void take(std::size_t size) { fRoom = size; }
  void take(int size) { fRoom = static_cast<std::size_t>(std::max(size, 0)); }

  void take(void* value) { fill(static_cast<char*>(value)); }
  void take(char* text) { fill(text); }
  void take(std::size_t* size) {
    if (size)
      *size = fAction == Action::Huge ? kHugeText : static_cast<std::size_t>(spoiled(*size));
  }
  void take(unsigned* number) { spoilNumber(number); }
  void take(int* number) {
    if (!fStatusByPointer) spoilNumber(number);
  }

  void fill(char* bytes) {
    if (!bytes) return;
    if (fAction == Action::Garbage)
      std::generate_n(bytes, fRoom, [&] { return static_cast<char>(fRandom()); });
    else
      std::memset(bytes, fAction == Action::Huge ? 'x' : 0, fRoom);
  }
  template <class Number>
  void spoilNumber(Number* number) {
    if (number) *number = static_cast<Number>(spoiled(static_cast<std::uint64_t>(*number)));
  }
  std::uint64_t spoiled(std::uint64_t value) {
    if (fAction == Action::Empty) return 0;
    if (fAction == Action::Huge) return kHugeCount;
    const std::uint64_t wrong[] = {value / 2, value + 1 + fRandom() % 9, fRandom() % 100000,
                                   fRandom()};
    return wrong[fRandom() % 4];
  }

  Action fAction;
  bool fStatusByPointer;
  std::size_t fRoom = 0;
  std::mt19937 fRandom;
};

template <class Result>
constexpr bool kIsText =
    std::is_same_v<Result, const char*> || std::is_same_v<Result, const unsigned char*>;

/// Takes the call's place. Api has:
///     Result Fail<Result>(calls, fault, arguments...)  the function's own way to fail
///     Result Success<Result>(arguments...)             its way to succeed and do nothing
///     kStatusByPointer                                 see Outputs
///     kNumbersAreAnswers                               a number that is returned is no status
///     LeaveAnotherContext()                            does what "current" says
template <class Api, class Result, class... Arguments>
Result Strike(const Calls& calls, const Fault& fault, Result (*next)(Arguments...),
              Arguments... arguments) {
  if (ActOnProcess(fault)) return next(arguments...);
  if (fault.action == Action::Current) {
    Api::LeaveAnotherContext();
    return next(arguments...);
  }
  // What a failing release leaves behind would hide what the program itself leaves; a primitive
  // that is never ended, all that follows.
  const std::string name = calls.name;
  const bool releases = name.find("Release") != name.npos || name.find("Destroy") != name.npos ||
                        name.find("Delete") != name.npos || name == "glEnd";
  const bool calling = releases || fault.action == Action::Garbage || fault.action == Action::Huge;
  Outputs outputs(fault.action, fault.argument.value_or(1) + static_cast<std::int64_t>(calls.made),
                  Api::kStatusByPointer);
  if constexpr (std::is_void_v<Result>) {
    if (calling) next(arguments...);
    if (fault.action == Action::Error)
      Api::template Fail<Result>(calls, fault, arguments...);
    else if (fault.action != Action::Null)
      outputs.Spoil(arguments...);
  } else {
    Result result = calling ? next(arguments...) : Api::template Success<Result>(arguments...);
    if (fault.action == Action::Error)
      return Api::template Fail<Result>(calls, fault, arguments...);
    if (fault.action == Action::Null) return result;
    outputs.Spoil(arguments...);
    if constexpr (kIsText<Result>) return reinterpret_cast<Result>(outputs.Text());
    if constexpr (std::is_arithmetic_v<Result> && Api::kNumbersAreAnswers)
      if (fault.action == Action::Garbage) return static_cast<Result>(outputs.RandomNumber());
    return result;
  }
}

/// In front of one entry point: `call` counts, is struck or passes on to Api::next.*Member.
template <class Api, auto Member, const char* const& Name>
struct Hook;

template <class Api, class Table, class Result, class... Arguments,
          Result (*Table::*Member)(Arguments...), const char* const& Name>
struct Hook<Api, Member, Name> {
  static inline Calls calls{Name};

  static Result call(Arguments... arguments) {
    const Fault* fault = CountCall(calls);
    if (fault) return Strike<Api>(calls, *fault, Api::next.*Member, arguments...);
    return (Api::next.*Member)(arguments...);
  }
};

}  // namespace rehearsal
