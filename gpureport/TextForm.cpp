#include "gpureport/Forms.h"

#include <algorithm>

#include "gpureport/Columns.h"
#include "gpureport/GpuText.h"
#include "gpureport/Markup.h"
#include "gpureport/Values.h"

namespace gpureport {

namespace {

constexpr int kLabelColumns = 14;
constexpr std::size_t kMostMessages = 6;
/// Of one value; who wants more of a driver's prose takes the JSON.
constexpr std::size_t kMostLines = 8;

/// Puts lines together and keeps them within the columns.
class Page {
 public:
  explicit Page(const TextStyle& style) : fStyle(style) {}

  /// Text in lines of their own, with blanks before each but what the first begins with.
  void paragraph(const std::string& first, int indent, const std::string& text, Look look) {
    const int columns = std::max(fStyle.columns - indent, 20);
    std::vector<std::string> lines = Wrapped(text, columns);
    if (lines.size() > kMostLines) {
      lines.resize(kMostLines);
      lines.back().resize(FittingBytes(lines.back(), columns - 2));
      lines.back() += " \u2026";
    }
    std::string begin = first;
    begin.append(static_cast<std::size_t>(std::max(indent - ColumnsOf(first), 0)), ' ');
    for (const std::string& line : lines) {
      fText += begin + coloured(withBlanks(line), look) + "\n";
      begin.assign(static_cast<std::size_t>(indent), ' ');
    }
  }
  void row(const Row& row) {
    paragraph("  " + row.label, 2 + kLabelColumns, Printable(row.text), row.look);
  }
  void gap() { fText += '\n'; }
  const std::string& text() const { return fText; }

 private:
  /// The blank that kept a figure and its unit on one line would be a riddle to grep.
  static std::string withBlanks(std::string line) {
    static const std::string kept = "\u00a0";
    for (std::size_t at = 0; (at = line.find(kept, at)) != std::string::npos; ++at)
      line.replace(at, kept.size(), " ");
    return line;
  }
  std::string coloured(const std::string& line, Look look) const {
    static const char* const starts[] = {"", "\x1b[1m", "\x1b[2m", "\x1b[32m", "\x1b[31m"};
    if (!fStyle.colours || look == Look::Plain || line.empty()) return line;
    return starts[static_cast<int>(look)] + line + "\x1b[0m";
  }

  TextStyle fStyle;
  std::string fText;
};

std::string statusText(const host::Inspection& inspection) {
  switch (inspection.status) {
    case host::Status::Complete:
      return inspection.openGL.gpus.empty() && inspection.openCL.gpus.empty()
                 ? NoGpuText(inspection)
                 : "Complete";
    case host::Status::Partial:
      return "Partial: answers are missing";
    case host::Status::Hung:
      return "A driver hung";
    case host::Status::Crashed:
      return "A driver crashed";
    case host::Status::Stuck:
      return "A driver is stuck, and the system can't end it";
    case host::Status::FailedToStart:
      return "The probe could not be started";
    case host::Status::Torn:
      return "Torn: the report has no end";
  }
  return {};
}

Look lookOf(host::Status status) {
  return status == host::Status::Complete ? Look::Good : Look::Bad;
}

void addHead(const host::Inspection& inspection, Page& page) {
  std::string text = statusText(inspection);
  if (inspection.status == host::Status::FailedToStart) {
    page.paragraph("", 0, text, Look::Bad);
    page.paragraph("  ", 2, Printable(inspection.startError), Look::Plain);
    return;
  }
  const auto counted = [](int number, const char* noun) {
    return Counted(static_cast<std::size_t>(std::max(number, 0)), noun);
  };
  text += ". " + counted(inspection.answeredQuestions(), "answer");
  const int skipped = inspection.skippedQuestions();
  const int missing = inspection.unansweredQuestions();
  if (missing > 0) text += ", " + std::to_string(missing) + " missing";
  if (skipped > 0) text += ", " + std::to_string(skipped) + " not asked";
  if (inspection.deadlineSeconds) text += ", in " + Quantity(inspection.durationSeconds, "seconds");
  if (inspection.attempts > 1) text += " and " + counted(inspection.attempts, "attempt");
  page.paragraph("", 0, text, lookOf(inspection.status));
}

std::string deedText(const host::Incident& incident) {
  using Kind = host::Incident::Kind;
  std::string text = LibraryName(incident);
  if (text.empty()) text = "The driver";
  text += incident.kind == Kind::Hung      ? " hung"
          : incident.kind == Kind::Stuck   ? " is stuck"
          : incident.kind == Kind::Crashed ? " crashed"
                                           : " ended the probe";
  if (!incident.signal.empty()) text += " (" + incident.signal + ")";
  if (incident.question == "release")
    text += " when it was released, after the last answer";
  else if (!incident.question.empty())
    text += " at " + AskedAt(incident);
  return text + ", after " + Quantity(incident.seconds, "seconds");
}

std::string placeText(const host::Incident& incident) {
  std::string text = incident.library.value_or("");
  if (text.empty()) return incident.threadState;
  char offset[32];
  std::snprintf(offset, sizeof offset, "+0x%llx",
                static_cast<unsigned long long>(incident.libraryOffset.value_or(0)));
  if (incident.libraryOffset) text += offset;
  if (incident.package) text += ", package " + *incident.package;
  if (!incident.threadState.empty()) text += ", " + incident.threadState;
  return text;
}

void addIncidents(const host::Inspection& inspection, Page& page) {
  for (const host::Incident& incident : inspection.incidents) {
    page.gap();
    page.paragraph("! ", 2, Printable(deedText(incident)), Look::Bad);
    const std::string place = placeText(incident);
    if (!place.empty()) page.paragraph("  ", 2, Printable(place), Look::Plain);
    const std::string skip = SkipCommand(incident);
    page.paragraph("  ", 2, Printable(Advice(incident)) + (skip.empty() ? "" : " Until then:"),
                   Look::Plain);
    if (!skip.empty()) page.paragraph("  ", 4, Printable(skip), Look::Bold);
  }
}

void addApi(const host::Api& api, const char* name, Page& page) {
  for (const host::Gpu& gpu : api.gpus) {
    page.gap();
    const Row title = GpuTitle(gpu);
    page.paragraph(std::string(name) + " " + std::to_string(gpu.index), 2 + kLabelColumns,
                   Printable(title.text), title.look);
    for (const Row& row : GpuRows(gpu)) page.row(row);
  }
  if (!api.gpus.empty()) return;
  using Status = host::ApiStatus;
  const bool fine = api.status == Status::Absent || api.status == Status::Ok;
  const char* why = api.notAsked                    ? "not asked"
                    : fine                          ? "no GPU"
                    : api.status == Status::Hung    ? "no answer, the driver hung"
                    : api.status == Status::Crashed ? "no answer, the driver crashed"
                                                    : "no answer, the driver failed";
  page.gap();
  page.paragraph(name, 2 + kLabelColumns, why, fine ? Look::Dim : Look::Bad);
}

/// The drivers' own words, which matter where an answer is missing.
void addMessages(const host::Inspection& inspection, Page& page) {
  if (inspection.messages.empty() || inspection.status == host::Status::Complete) return;
  page.gap();
  page.paragraph("", 0, "What was written on standard error", Look::Bold);
  const std::size_t shown = std::min(inspection.messages.size(), kMostMessages);
  for (std::size_t i = 0; i < shown; ++i)
    page.paragraph("  ", 2, Printable(inspection.messages[i].text), Look::Plain);
  if (shown < inspection.messages.size())
    page.paragraph("  ", 2,
                   "and " + std::to_string(inspection.messages.size() - shown) +
                       " more; --format json has all",
                   Look::Dim);
}

}  // namespace

std::string Text(const host::Inspection& inspection, const TextStyle& style) {
  Page page(style);
  addHead(inspection, page);
  addIncidents(inspection, page);
  if (inspection.status != host::Status::FailedToStart) {
    addApi(inspection.openGL, "OpenGL", page);
    addApi(inspection.openCL, "OpenCL", page);
  }
  addMessages(inspection, page);
  return page.text();
}

}  // namespace gpureport
