#include "rehearsal/Faults.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <utility>

#include "rehearsal/Fronts.h"

namespace rehearsal {
namespace {

struct KnownAction {
  Action action;
  std::string_view word;
  Argument argument;
};

constexpr KnownAction kKnownActions[] = {
#define REHEARSAL_ROW(name, word, argument) {Action::name, word, Argument::argument},
    REHEARSAL_ACTIONS(REHEARSAL_ROW)
#undef REHEARSAL_ROW
};

[[noreturn]] void refuse(const std::string& why, std::string_view text) {
  throw std::invalid_argument(why + " in the fault \"" + std::string(text) + '"');
}

/// The whole text as a number, decimal or with "0x" in front.
template <class Number>
bool readNumber(std::string_view text, Number& number) {
  const bool negative = std::is_signed_v<Number> && !text.empty() && text.front() == '-';
  if (negative) text.remove_prefix(1);
  const bool hexadecimal = text.substr(0, 2) == "0x";
  if (hexadecimal) text.remove_prefix(2);
  if (text.empty() || text.front() == '-') return false;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, hexadecimal ? 16 : 10);
  if (negative) number = static_cast<Number>(-number);
  return error == std::errc() && rest == end;
}

bool readCalls(std::string_view text, Fault& fault) {
  if (text == "*") return true;
  const bool andLater = !text.empty() && text.back() == '+';
  if (andLater) text.remove_suffix(1);
  if (!readNumber(text, fault.first) || fault.first == 0) return false;
  if (!andLater) fault.last = fault.first;
  return true;
}

bool readAction(std::string_view text, Fault& fault) {
  const size_t sign = text.find('=');
  for (const KnownAction& known : kKnownActions) {
    if (known.word != text.substr(0, sign)) continue;
    fault.action = known.action;
    if (sign == text.npos) return known.argument != Argument::Needed;
    if (known.argument == Argument::None) return false;
    return readNumber(text.substr(sign + 1), fault.argument.emplace());
  }
  return false;
}

Fault readFault(std::string_view text) {
  const size_t first = text.find(':'), second = text.find(':', first + 1);
  if (first == text.npos || second == text.npos || first == 0)
    refuse("FUNCTION:CALL:ACTION is wanted", text);
  Fault fault;
  fault.function = text.substr(0, first);
  if (!readCalls(text.substr(first + 1, second - first - 1), fault))
    refuse("CALL is a number from 1, N+ or *", text);
  if (!readAction(text.substr(second + 1), fault)) refuse("there is no such action", text);
  return fault;
}

bool isIn(const Front& front, const Fault& fault) {
  return std::any_of(front.functions.begin(), front.functions.end(),
                     [&](std::string_view name) { return fault.Fits(name); });
}

}  // namespace

bool Fault::Fits(std::string_view name) const {
  if (function.empty() || function.back() != '*') return function == name;
  return name.substr(0, function.size() - 1) ==
         std::string_view(function).substr(0, function.size() - 1);
}

std::vector<Fault> ParseFaults(const std::string& text) {
  std::vector<Fault> faults;
  for (std::string_view rest = text; !rest.empty();) {
    const size_t end = std::min(rest.find(';'), rest.size());
    if (end > 0) faults.push_back(readFault(rest.substr(0, end)));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return faults;
}

std::vector<std::pair<std::string, std::string>> EnvironmentOf(
    const std::string& faults, const std::string& folder,
    const std::function<std::string(const std::string& name)>& variable) {
  const std::vector<Fault> all = ParseFaults(faults);
  for (const Fault& fault : all)
    if (std::none_of(Fronts().begin(), Fronts().end(),
                     [&](const Front& front) { return isIn(front, fault); }))
      refuse("nothing stands in front of this function here,", fault.function);
  std::vector<std::pair<std::string, std::string>> environment{{"GPUPROBE_FAULT", faults}};
  for (const Front& front : Fronts()) {
    if (std::none_of(all.begin(), all.end(),
                     [&](const Fault& fault) { return isIn(front, fault); }))
      continue;
    std::string value = folder + '/' + front.place;
    const std::string present = variable(front.variable);
    if (!present.empty()) value.append(1, kListSeparator).append(present);
    environment.emplace_back(front.variable, std::move(value));
  }
  return environment;
}

}  // namespace rehearsal
