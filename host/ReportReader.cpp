#include "host/ReportReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <locale>
#include <sstream>

namespace host {

namespace {

constexpr std::string_view kAsking = "# asking ";
constexpr std::string_view kSkipped = "# skipped ";

bool startsWith(std::string_view text, std::string_view start) {
  return text.substr(0, start.size()) == start;
}

/// The whole text as an integer.
template <class Integer>
std::optional<Integer> parse(std::string_view text) {
  Integer number = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

/// The whole text as a number, whatever the locale. Release 10 of the C++ library has no from_chars
/// for it.
std::optional<double> parseNumber(std::string_view text) {
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  double number = 0;
  if (!(stream >> std::noskipws >> number) || stream.peek() != EOF) return std::nullopt;
  return number;
}

Answer readList(std::string_view text) {
  if (text.size() < 2 || text.front() != '[' || text.back() != ']') return Reason::Failed;
  text = text.substr(1, text.size() - 2);
  std::vector<std::int64_t> list;
  while (!text.empty()) {
    const std::size_t comma = std::min(text.find(", "), text.size());
    const auto number = parse<std::int64_t>(text.substr(0, comma));
    if (!number) return Reason::Failed;
    list.push_back(*number);
    text.remove_prefix(std::min(comma + 2, text.size()));
  }
  return Value(std::move(list));
}

Answer readValue(protocol::Kind kind, std::string_view text) {
  switch (kind) {
    case protocol::Kind::Text:
    case protocol::Kind::Time: {
      const std::size_t last = text.rfind('"');
      if (last == text.npos || last == 0 || text.front() != '"') return Reason::Failed;
      return Value(std::string(text.substr(1, last - 1)));
    }
    case protocol::Kind::Flag:
      if (text != "0" && text != "1") return Reason::Failed;
      return Value(text == "1");
    case protocol::Kind::Integer: {
      const auto number = parse<std::int64_t>(text);
      if (!number) return Reason::Failed;
      return Value(*number);
    }
    case protocol::Kind::Number: {
      const auto number = parseNumber(text);
      if (!number || !std::isfinite(*number)) return Reason::Failed;
      return Value(*number);
    }
    case protocol::Kind::List:
      return readList(text);
  }
  return Reason::Failed;
}

/// Figures that no device has, of drivers whose times are not true: those of a clock that stands
/// still, or whose end lies before its start.
bool isMeasured(std::string_view key, double number) {
  if (key == "CLBandwidth") return number >= 1 && number <= 1e16;
  if (key == "CLCompute") return number >= 1e-8 && number <= 1e9;
  return true;
}

/// Memory and identifiers: the numbers of which 0 says that nobody knows.
bool isUnknownAtZero(std::string_view key) {
  for (const char* name : {"GLMemoryMB", "CLMemoryMB", "GLVendorID", "GLRendererID", "CLVendorID"})
    if (key == name) return true;
  return false;
}

Answer readAnswer(const protocol::Question& question, std::string_view text) {
  Answer answer = readValue(question.kind, text);
  const Value* value = std::get_if<Value>(&answer);
  if (!value) return answer;
  bool unknown = false;
  if (const auto* words = std::get_if<std::string>(value)) {
    unknown = words->empty() || *words == "?";
    if (unknown && std::strcmp(question.key, "CUDAVersion") == 0) return Reason::Absent;
  } else if (const auto* integer = std::get_if<std::int64_t>(value)) {
    unknown = *integer <= 0 && isUnknownAtZero(question.key);
  } else if (const auto* number = std::get_if<double>(value)) {
    unknown = !isMeasured(question.key, *number);
  }
  if (unknown) return Reason::Unknown;
  return answer;
}

bool readQuestion(std::string_view name, Asked& asked) {
  for (const protocol::GPUKind kind : {protocol::GPUKind::OpenGL, protocol::GPUKind::OpenCL}) {
    const std::string_view word = protocol::TagWord(kind);
    const std::size_t close = name.find("].");
    if (!startsWith(name, word) || close == name.npos || name[word.size()] != '[') continue;
    const std::string_view digits = name.substr(word.size() + 1, close - word.size() - 1);
    const auto number = parse<int>(digits);
    if (!number || *number < 0 || std::to_string(*number) != digits) continue;
    const std::string_view key = name.substr(close + 2);
    for (const protocol::Question& question : protocol::kQuestions) {
      if (question.gpu != kind || key != question.key) continue;
      asked = {Asked::What::Question, kind, &question, *number, ""};
      return true;
    }
  }
  return false;
}

}  // namespace

Asked ParseAsked(std::string_view name) {
  struct Stage {
    const char* name;
    protocol::GPUKind api;
    const char* list;  ///< the stage by which its devices are left out
  };
  constexpr Stage kStages[] = {{"ZOROGLInitialized", protocol::GPUKind::OpenGL, ""},
                               {"OGLContextCreated", protocol::GPUKind::OpenGL, "NumGLGPUs"},
                               {"NumGLGPUs", protocol::GPUKind::OpenGL, "NumGLGPUs"},
                               {"ZOROCLInitialized", protocol::GPUKind::OpenCL, ""},
                               {"NumCLGPUs", protocol::GPUKind::OpenCL, "NumCLGPUs"}};
  Asked asked;
  if (readQuestion(name, asked)) return asked;
  if (name == "release") asked.what = Asked::What::Release;
  const std::size_t blank = std::min(name.find(' '), name.size());
  for (const Stage& stage : kStages) {
    if (name.substr(0, blank) != stage.name) continue;
    asked.api = stage.api;
    asked.what = Asked::What::Stage;
    if (blank == name.size() || !*stage.list) continue;
    asked.what = Asked::What::Device;
    asked.skipName = std::string(stage.list).append(name.substr(blank));
  }
  return asked;
}

ReportLine ParseReportLine(std::string_view line) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  ReportLine result;
  for (const auto& [start, kind] : {std::pair(kAsking, ReportLine::Kind::Asking),
                                    std::pair(kSkipped, ReportLine::Kind::Skipped)}) {
    if (!startsWith(line, start)) continue;
    result.kind = kind;
    result.name = line.substr(start.size());
    return result;
  }
  const std::size_t sign = line.find('=');
  if (sign == line.npos || sign == 0 || line[0] == '#' || startsWith(line, "gputag."))
    return result;
  result.name = line.substr(0, sign);
  result.text = line.substr(sign + 1);
  result.kind = ReportLine::Kind::Unknown;
  for (const protocol::RunLine& run : protocol::kRunLines) {
    if (result.name != run.key) continue;
    result.kind = ReportLine::Kind::OfRun;
    result.run = &run;
    result.value = readValue(run.kind, result.text);
    return result;
  }
  Asked asked;
  if (!readQuestion(result.name, asked)) return result;
  result.kind = ReportLine::Kind::OfGpu;
  result.question = asked.question;
  result.gpu = asked.gpu;
  result.value = readAnswer(*asked.question, result.text);
  return result;
}

void ReportReader::feed(std::string_view bytes) {
  for (std::size_t end; (end = bytes.find('\n')) != bytes.npos; bytes.remove_prefix(end + 1)) {
    if (fRest.empty()) {
      fSink(ParseReportLine(bytes.substr(0, end)));
      continue;
    }
    fRest.append(bytes.substr(0, end));
    fSink(ParseReportLine(fRest));
    fRest.clear();
  }
  fRest.append(bytes);
}

}  // namespace host
