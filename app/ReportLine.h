#pragma once

#include <sstream>
#include <string>
#include <vector>

/// How the kinds of values stand in the report. Texts are quoted and never escaped.
inline std::string ReportValue(const std::string& text) {
  return '"' + text + '"';
}
/// A null text is an empty one.
inline std::string ReportValue(const char* text) {
  return ReportValue(std::string(text ? text : ""));
}
inline std::string ReportValue(bool flag) {
  return flag ? "1" : "0";
}
inline std::string ReportValue(int number) {
  return std::to_string(number);
}
inline std::string ReportValue(unsigned number) {
  return std::to_string(number);
}
/// Six significant digits, with an exponent where that is shorter.
inline std::string ReportValue(double number) {
  std::ostringstream text;
  text << number;
  return text.str();
}
/// "[a, b]"
inline std::string ReportValue(const std::vector<int>& numbers) {
  std::string text = "[";
  for (const int number : numbers) {
    if (text.size() > 1) text += ", ";
    text += ReportValue(number);
  }
  return text + "]";
}

/// One line of the report, without its end.
template <class Value>
std::string ReportLine(const std::string& key, const Value& value) {
  return key + "=" + ReportValue(value);
}
