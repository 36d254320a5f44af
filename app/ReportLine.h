#pragma once

#include <locale>
#include <sstream>
#include <string>
#include <vector>

// How the kinds of values stand in the report.

/// Quoted and never escaped.
inline void AppendValue(std::string& line, const std::string& text) {
  line += '"';
  line += text;
  line += '"';
}
/// A null text is an empty one.
inline void AppendValue(std::string& line, const char* text) {
  AppendValue(line, std::string(text ? text : ""));
}
inline void AppendValue(std::string& line, bool flag) {
  line += flag ? '1' : '0';
}
inline void AppendValue(std::string& line, int number) {
  line += std::to_string(number);
}
inline void AppendValue(std::string& line, unsigned number) {
  line += std::to_string(number);
}
/// Six significant digits, with an exponent where that is shorter, whatever locale a driver has
/// set.
inline void AppendValue(std::string& line, double number) {
  std::ostringstream text;
  text.imbue(std::locale::classic());
  text << number;
  line += text.str();
}
/// "[a, b]"
inline void AppendValue(std::string& line, const std::vector<int>& numbers) {
  const char* separator = "";
  line += '[';
  for (const int number : numbers) {
    line += separator;
    AppendValue(line, number);
    separator = ", ";
  }
  line += ']';
}

/// One line of the report, without its end.
template <class Value>
std::string ReportLine(const std::string& key, const Value& value) {
  // Most lines fit, so one allocation serves for the whole line.
  constexpr size_t kUsualLength = 120;
  std::string line;
  line.reserve(kUsualLength);
  line += key;
  line += '=';
  AppendValue(line, value);
  return line;
}
