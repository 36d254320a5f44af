#include <algorithm>
#include <cmath>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "fuzz/Targets.h"
#include "gpureport/CommandLine.h"
#include "gpureport/ExitCode.h"
#include "gpureport/Forms.h"
#include "gpureport/JsonForms.h"
#include "gpureport/Requirement.h"
#include "host/Inspect.h"
#include "host/Json.h"
#include "host/ReportReader.h"
#include "nkutil/CommandLine.h"
#include "rehearsal/Faults.h"

namespace {

std::vector<std::string> wordsOf(const std::string& text, char separator) {
  std::vector<std::string> words;
  std::istringstream stream(text);
  for (std::string word; std::getline(stream, word, separator);) words.push_back(word);
  return words;
}

/// How CommandLineToArgvW parts what follows the program: 2n backslashes and a quote are n and a
/// switch, 2n+1 are n and the quote itself.
std::vector<std::string> argumentsOf(const std::string& line, std::size_t at) {
  std::vector<std::string> arguments;
  while ((at = line.find_first_not_of(" \t", at)) != line.npos) {
    std::string argument;
    for (bool quoted = false; at < line.size() && (quoted || !std::strchr(" \t", line[at])); ++at) {
      const std::size_t end = std::min(line.find_first_not_of('\\', at), line.size());
      const std::size_t backslashes = end - at;
      at = end;
      const bool beforeQuote = at < line.size() && line[at] == '"';
      argument.append(beforeQuote ? backslashes / 2 : backslashes, '\\');
      if (beforeQuote && backslashes % 2 == 0)
        quoted = !quoted;
      else if (at < line.size() && (quoted || !std::strchr(" \t", line[at])))
        argument += line[at];
      else
        --at;
    }
    arguments.push_back(argument);
  }
  return arguments;
}

void showInEveryForm(const host::Inspection& inspection) {
  promise(!gpureport::Text(inspection, {}).empty() && !gpureport::Html(inspection).empty() &&
              !gpureport::JsonLines(inspection).empty() &&
              !gpureport::Prometheus(inspection).empty(),
          "every form shows something");
  gpureport::Labels(inspection, gpureport::kLabelPrefix);
  gpureport::ExitCode(inspection);
}

}  // namespace

void FuzzReports(const std::string& text) {
  struct Read {
    std::string lines;
    std::string rest;
  };
  const auto readIn = [&text](std::size_t piece) {
    Read read;
    host::ReportReader reader([&read](const host::ReportLine& line) {
      read.lines += std::to_string(static_cast<int>(line.kind));
      read.lines.append(line.name).append("=").append(line.text).append("\n");
      promise(!line.question || (line.gpu >= 0 && line.kind == host::ReportLine::Kind::OfGpu),
              "an answer is of a GPU");
    });
    for (std::size_t at = 0; at < text.size(); at += piece) reader.feed(text.substr(at, piece));
    read.rest = reader.rest();
    return read;
  };
  const Read whole = readIn(text.size() + 1), pieces = readIn(7);
  promise(whole.lines == pieces.lines && whole.rest == pieces.rest, "pieces change nothing");
  promise(whole.rest.find('\n') == std::string::npos, "a torn line is one line");

  const host::Inspection result = host::FromReport(text);
  const bool torn = result.status == host::Status::Torn;
  promise(torn || text.find("snifferEnd=") != text.npos, "without its end a report is torn");
  for (const host::Api* api : {&result.openGL, &result.openCL})
    for (const host::Gpu& gpu : api->gpus)
      for (const host::Answer& answer : gpu.answers) {
        const auto* value = std::get_if<host::Value>(&answer);
        const auto* number = value ? std::get_if<double>(value) : nullptr;
        promise(!number || std::isfinite(*number), "a number is finite");
        promise(value || torn || answer != host::Answer(host::Reason::NotReached),
                "a whole report reaches all");
      }
}

void FuzzJson(const std::string& text) {
  std::string error;
  const std::optional<host::Inspection> read = host::FromJson(text, error);
  if (!read) {
    promise(!error.empty() && error.find('\n') == error.npos, "a refusal is one line");
    return;
  }
  const std::string written = host::ToJson(*read);
  const std::optional<host::Inspection> again = host::FromJson(written, error);
  promise(again && host::ToJson(*again) == written, "what was read is written and read again");
  showInEveryForm(*read);
}

void FuzzFaults(const std::string& text) {
  std::vector<rehearsal::Fault> faults;
  try {
    faults = rehearsal::ParseFaults(text);
  } catch (const std::invalid_argument&) {
    return;
  }
  std::string written;
  for (const rehearsal::Fault& fault : faults) {
    promise(!fault.function.empty() && 1 <= fault.first && fault.first <= fault.last,
            "a fault has a function and calls");
    const bool one = fault.first == fault.last;
    written += fault.function + ':' + std::to_string(fault.first) + (one ? "" : "+") + ':';
    const char* const words[] = {
#define FUZZ_WORD(name, word, argument) word,
        REHEARSAL_ACTIONS(FUZZ_WORD)
#undef FUZZ_WORD
    };
    written += words[static_cast<int>(fault.action)];
    if (fault.argument) written += '=' + std::to_string(*fault.argument);
    written += ';';
  }
  const std::vector<rehearsal::Fault> again = rehearsal::ParseFaults(written);
  promise(again.size() == faults.size(), "faults are read back");
  for (std::size_t i = 0; i < again.size(); ++i)
    promise(again[i].function == faults[i].function && again[i].first == faults[i].first &&
                again[i].last == faults[i].last && again[i].action == faults[i].action &&
                again[i].argument == faults[i].argument,
            "a fault is read back");
}

void FuzzCommandLines(const std::string& text) {
  const gpureport::Wanted wanted = gpureport::ParseCommandLine(wordsOf(text, '\n'));
  promise(wanted.show.has_value() + wanted.guard.has_value() + !wanted.text.empty() == 1,
          "one thing is wanted, or a text says what is wrong");
  if (!wanted.show) return;
  promise(wanted.show->deadline.count() > 0 && wanted.show->silence.count() >= 0,
          "a deadline has an end");
  std::string error;
  promise(gpureport::ParseRequirement(wanted.show->require, error).has_value() != !error.empty(),
          "a requirement is read, or an error names it");
}

void FuzzQuoting(const std::string& text) {
  const std::vector<std::string> arguments = wordsOf(text, '\0');
  const std::string line = nkutil::windowsCommandLine("C:\\a b\\c.exe", arguments);
  promise(argumentsOf(line, line.find('"', 1) + 1) == arguments, "arguments come as they were");
}
