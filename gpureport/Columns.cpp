#include "gpureport/Columns.h"

#include <algorithm>
#include <iterator>

#include "host/Text.h"

namespace gpureport {

namespace {

struct Range {
  char32_t first;
  char32_t last;
};

/// Characters that take no column of their own (Unicode's categories Mn, Me, Cf), by their blocks.
constexpr Range kNarrowest[] = {
    {0x0300, 0x036F},   {0x0483, 0x0489}, {0x0591, 0x05BD}, {0x0610, 0x061A}, {0x064B, 0x065F},
    {0x06D6, 0x06DC},   {0x0900, 0x0902}, {0x093C, 0x093C}, {0x0941, 0x0948}, {0x0E31, 0x0E31},
    {0x0E34, 0x0E3A},   {0x0E47, 0x0E4E}, {0x1AB0, 0x1AFF}, {0x1DC0, 0x1DFF}, {0x200B, 0x200F},
    {0x2060, 0x2064},   {0x20D0, 0x20FF}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF},
    {0xE0100, 0xE01EF},
};

/// Characters that take two columns (East Asian Width W and F, emoji), by their blocks.
constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},
    {0x25FD, 0x25FE},   {0x2614, 0x2615},   {0x2648, 0x2653},   {0x26A1, 0x26A1},
    {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x2705, 0x2705},   {0x2728, 0x2728},
    {0x274C, 0x274C},   {0x2753, 0x2755},   {0x2795, 0x2797},   {0x2B1B, 0x2B1C},
    {0x2B50, 0x2B50},   {0x2E80, 0x303E},   {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},
    {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE10, 0xFE19},
    {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},   {0xFFE0, 0xFFE6},   {0x16FE0, 0x18DFF},
    {0x1AFF0, 0x1B2FF}, {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F18E},
    {0x1F191, 0x1F19A}, {0x1F200, 0x1F320}, {0x1F32D, 0x1F64F}, {0x1F680, 0x1F6FF},
    {0x1F7E0, 0x1F7EB}, {0x1F90C, 0x1FAFF}, {0x20000, 0x3FFFD},
};

template <std::size_t N>
bool isIn(const Range (&ranges)[N], char32_t code) {
  const Range* range =
      std::lower_bound(std::begin(ranges), std::end(ranges), code,
                       [](const Range& each, char32_t wanted) { return each.last < wanted; });
  return range != std::end(ranges) && range->first <= code;
}

bool isDisturbing(char32_t code) {
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x2028 || code == 0x2029 ||
         (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

int columnsOf(char32_t code) {
  return isIn(kNarrowest, code) ? 0 : isIn(kWide, code) ? 2 : 1;
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string printable;
  while (!text.empty()) {
    const host::Utf8Character next = host::FirstCharacter(text);
    const bool replaced = isDisturbing(next.code) || next.code == 0xFFFD;
    printable.append(replaced ? "\xEF\xBF\xBD" : text.substr(0, next.size));
    text.remove_prefix(next.size);
  }
  return printable;
}

int ColumnsOf(std::string_view text) {
  int columns = 0;
  while (!text.empty()) {
    const host::Utf8Character next = host::FirstCharacter(text);
    columns += columnsOf(next.code);
    text.remove_prefix(next.size);
  }
  return columns;
}

std::size_t FittingBytes(std::string_view text, int columns) {
  std::size_t bytes = 0;
  while (bytes < text.size()) {
    const host::Utf8Character next = host::FirstCharacter(text.substr(bytes));
    columns -= columnsOf(next.code);
    if (columns < 0) break;
    bytes += next.size;
  }
  return bytes;
}

std::vector<std::string> Wrapped(std::string_view text, int columns) {
  std::vector<std::string> lines;
  for (;;) {
    const std::size_t fitting = FittingBytes(text, columns);
    if (fitting == text.size()) break;
    const std::size_t blank = text.rfind(' ', fitting);
    const bool atBlank = blank != std::string_view::npos && blank > 0;
    const std::string_view line = text.substr(0, atBlank ? blank : fitting);
    lines.emplace_back(line.substr(0, line.find_last_not_of(' ') + 1));
    text.remove_prefix(line.size());
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  }
  lines.emplace_back(text);
  return lines;
}

}  // namespace gpureport
