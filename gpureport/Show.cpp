#include "gpureport/CommandLine.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "gpureport/Columns.h"
#include "gpureport/ExitCode.h"
#include "gpureport/Forms.h"
#include "gpureport/JsonForms.h"
#include "gpureport/Platform.h"
#include "gpureport/Progress.h"
#include "gpureport/Rehearsal.h"
#include "gpureport/Requirement.h"
#include "host/Inspect.h"
#include "host/Json.h"

namespace gpureport {

namespace {

namespace fs = std::filesystem;

constexpr int kFewestColumns = 40;
constexpr int kMostColumns = 80;

int complain(int code, const std::string& text) {
  WriteBytes(StandardStream::Err, "gpureport: " + Printable(text) + "\n");
  return code;
}

std::string probePath(const ShowOptions& options) {
  if (!options.probe.empty()) return options.probe;
  const std::string beside = OwnFolder() + ProbeName();
  std::error_code ignored;
  const bool there = fs::is_regular_file(fs::u8path(beside), ignored);
  return there ? beside : "gpuprobe";
}

/// Whether answers come out between the steps, where a line of progress would be in their way.
bool writesAnswers(const ShowOptions& options) {
  return options.format == Format::JsonLines && options.output.empty() &&
         TerminalColumns(StandardStream::Out) > 0;
}

/// Answers of jsonl go out as they come, but for a file.
host::Inspection inspect(const ShowOptions& options, Told& told, bool& written) {
  const Rehearsal rehearsal(options.rehearse);
  Progress progress(!options.quiet && !writesAnswers(options));
  host::Options how;
  how.probe = probePath(options);
  how.deadline = options.deadline;
  how.silence = options.silence;
  how.skip = options.skip;
  how.environment = rehearsal.environment();
  how.cancelled = &WatchInterrupts();
  how.onAsking = [&](const std::string& name, int attempt) { progress.asking(name, attempt); };
  if (options.format == Format::JsonLines && options.get.empty() && options.output.empty())
    how.onAnswer = [&](const host::AnswerEvent& event) {
      told.emplace(event.tag, event.question);
      written = WriteBytes(StandardStream::Out, host::ToJsonLine(event) + "\n") && written;
    };
  return host::Inspect(nkutil::systemLauncher(), how);
}

/// A JSON of ours begins as no report does.
std::optional<host::Inspection> readFrom(const std::string& path, std::string& error) {
  std::string bytes;
  if (!ReadWholeFile(path, bytes)) {
    error = "cannot read " + path;
    return std::nullopt;
  }
  const std::size_t first = bytes.find_first_not_of(" \t\r\n");
  if (first == std::string::npos || bytes[first] != '{') return host::FromReport(bytes);
  std::optional<host::Inspection> inspection = host::FromJson(bytes, error);
  if (!inspection) error = path + ": " + error;
  return inspection;
}

TextStyle textStyle(bool toFile) {
  TextStyle style;
  const int columns = toFile ? 0 : TerminalColumns(StandardStream::Out);
  if (columns == 0) return style;
  style.columns = std::clamp(columns, kFewestColumns, kMostColumns);
  const char* plain = std::getenv("NO_COLOR");
  const char* terminal = std::getenv("TERM");
  style.colours = (!plain || !*plain) && !(terminal && std::string(terminal) == "dumb");
  return style;
}

std::string rendered(const host::Inspection& inspection, const ShowOptions& options,
                     const Told& told) {
  switch (options.format) {
    case Format::Json:
      return host::ToJson(inspection);
    case Format::JsonLines:
      return JsonLines(inspection, told);
    case Format::Prometheus:
      return Prometheus(inspection);
    case Format::Labels:
      return Labels(inspection, options.labelPrefix);
    case Format::Html:
      return Html(inspection);
    case Format::Text:
      break;
  }
  return Text(inspection, textStyle(!options.output.empty()));
}

/// Writes to the file or standard output; the code, or 1 when that fails.
int deliver(const ShowOptions& options, const std::string& text, int code) {
  if (options.output.empty())
    return WriteBytes(StandardStream::Out, text)
               ? code
               : complain(kOwnFailure, "cannot write to standard output");
  const std::string error = ReplaceFileBy(options.output, text);
  return error.empty() ? code : complain(kOwnFailure, error);
}

int showValue(const ShowOptions& options, const host::Inspection& inspection) {
  const Got got = GetValue(inspection, options.get);
  if (got.value) return deliver(options, *got.value + "\n", kComplete);
  const int code = ExitCode(inspection);
  if (!got.known && code != kComplete) return complain(code, options.get + ": there is none");
  if (!got.known) return complain(kUsage, "--get: there is no key " + options.get);
  const host::Reason reason = got.missing.value_or(host::Reason::Unknown);
  return complain(ExitCode(inspection, reason), options.get + ": " + host::name(reason));
}

}  // namespace

int Show(const ShowOptions& options) {
  std::string error;
  std::vector<Term> terms;
  if (!options.require.empty()) {
    std::optional<std::vector<Term>> parsed = ParseRequirement(options.require, error);
    if (!parsed) return complain(kUsage, error);
    terms = std::move(*parsed);
  }
  Told told;
  bool written = true;
  host::Inspection inspection;
  if (options.from) {
    std::optional<host::Inspection> read = readFrom(*options.from, error);
    if (!read) return complain(kOwnFailure, error);
    inspection = std::move(*read);
  } else {
    inspection = inspect(options, told, written);
  }
  if (!options.get.empty()) return showValue(options, inspection);
  const int code = terms.empty() ? ExitCode(inspection) : Evaluate(terms, inspection);
  if (!written) return complain(kOwnFailure, "cannot write to standard output");
  return deliver(options, rendered(inspection, options, told), code);
}

}  // namespace gpureport
