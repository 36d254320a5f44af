#include "gpureport/Forms.h"

#include <algorithm>
#include <cstdio>

#include "gpureport/Card.h"
#include "gpureport/Markup.h"
#include "gpureport/Values.h"

namespace gpureport {
namespace {

/// Of a table of what drivers wrote; a driver that writes without end must not fill the page.
constexpr std::size_t kMostRows = 300;

/// Names of the style sheet.
enum class Tone { Good, Neutral, Warn, Bad };

const char* style(Tone tone) {
  return tone == Tone::Good      ? "good"
         : tone == Tone::Neutral ? ""
         : tone == Tone::Warn    ? "warn"
                                 : "bad";
}

std::string icon(Tone tone) {
  const char* shape = tone == Tone::Good   ? "<path d=\"m6.5 12.5 3.5 3.5 7.5-8\"/>"
                      : tone == Tone::Warn ? "<path d=\"M12 6.5v7M12 17v.5\"/>"
                                           : "<path d=\"m8 8 8 8M16 8l-8 8\"/>";
  return Element(
      std::string("svg class=\"tone\" aria-hidden=\"true\" viewBox=\"0 0 24 24\" "
                  "fill=\"none\" stroke=\"currentColor\" stroke-width=\"2.25\" "
                  "stroke-linecap=\"round\" stroke-linejoin=\"round\""),
      "<circle cx=\"12\" cy=\"12\" r=\"10.5\" stroke-width=\"1.75\"/>" + std::string(shape));
}

struct Headline {
  Tone tone;
  const char* text;
};

Headline headlineOf(const host::Inspection& inspection) {
  switch (inspection.status) {
    case host::Status::Complete:
      break;
    case host::Status::Partial:
      return {Tone::Warn, "Some answers are missing"};
    case host::Status::Hung:
      return {Tone::Bad, "A driver hung"};
    case host::Status::Crashed:
      return {Tone::Bad, "A driver crashed"};
    case host::Status::Stuck:
      return {Tone::Bad, "A driver hangs and can't be ended"};
    case host::Status::FailedToStart:
      return {Tone::Bad, "The probe could not be started"};
    case host::Status::Torn:
      return {Tone::Warn, "The report has no end"};
  }
  return inspection.openGL.gpus.empty() && inspection.openCL.gpus.empty()
             ? Headline{Tone::Warn, "No GPU answers"}
             : Headline{Tone::Good, "Every question was answered"};
}

std::string seconds(double value) {
  return Escaped(Quantity(value, "seconds"));
}

std::string headHtml(const host::Inspection& inspection) {
  const Headline headline = headlineOf(inspection);
  const std::string time = UtcTime(inspection.createdAt);
  const int missing = inspection.unansweredQuestions();
  std::string more;
  if (!inspection.startError.empty()) {
    more = Foreign(inspection.startError);
  } else if (missing > 0) {
    more = Counted(static_cast<std::size_t>(missing), "answer") + (missing == 1 ? " is" : " are") +
           " missing; everything else below is as the drivers said it.";
  } else if (!inspection.incidents.empty()) {
    more = "A driver failed on the way; no answer was lost.";
  } else if (inspection.openGL.gpus.empty() && inspection.openCL.gpus.empty()) {
    more = NoGpuText(inspection) + std::string(".");
  }
  return Element("header class=\"head\"",
                 Element("h1", "GPU report") +
                     Element("time datetime=\"" + time + '"',
                             time.substr(0, 10) + ' ' + time.substr(11, 8) + " UTC")) +
         Element(
             std::string("div class=\"verdict ") + style(headline.tone) + '"',
             icon(headline.tone) + Element("div", Element("strong", headline.text) +
                                                      (more.empty() ? more : Element("p", more)))) +
         '\n';
}

std::string tilesHtml(const host::Inspection& inspection) {
  std::string tiles = Definition("OpenGL", Counted(inspection.openGL.gpus.size(), "GPU")) +
                      Definition("OpenCL", Counted(inspection.openCL.gpus.size(), "GPU")) +
                      Definition("answers", std::to_string(inspection.answeredQuestions())) +
                      Definition("missing", std::to_string(inspection.unansweredQuestions()));
  if (inspection.skippedQuestions() > 0)
    tiles += Definition("not asked", std::to_string(inspection.skippedQuestions()));
  // Nobody knows how long the run behind an existing report took.
  if (inspection.deadlineSeconds) {
    tiles +=
        Definition("wall time, " + Quantity(*inspection.deadlineSeconds, "seconds") + " allowed",
                   seconds(inspection.durationSeconds)) +
        Definition(inspection.attempts == 1 ? "attempt" : "attempts",
                   std::to_string(inspection.attempts));
  }
  return Element("dl class=\"tiles\"", tiles) + '\n';
}

const char* deed(host::Incident::Kind kind) {
  switch (kind) {
    case host::Incident::Kind::Hung:
      return "did not come back";
    case host::Incident::Kind::Crashed:
      return "crashed";
    case host::Incident::Kind::Exited:
      return "ended the probe";
    case host::Incident::Kind::Stuck:
      return "hangs and can't be ended";
  }
  return "";
}

const char* proof(host::Incident::Evidence evidence) {
  switch (evidence) {
    case host::Incident::Evidence::None:
      break;
    case host::Incident::Evidence::CrashLine:
      return "the crash was in it";
    case host::Incident::Evidence::ProgramCounter:
      return "the thread was running in it";
    case host::Incident::Evidence::StackScan:
      return "found on the thread's stack";
    case host::Incident::Evidence::Announced:
      return "only by what was being asked";
  }
  return "";
}

std::string incidentHtml(const host::Incident& incident) {
  const std::string library = incident.library.value_or("");
  const std::string file = LibraryName(incident);
  std::string facts;
  const auto fact = [&facts](const char* name, const std::string& text) {
    facts += text.empty() ? text : Definition(name, Foreign(text));
  };
  fact("While asking", incident.question);
  fact("GPU", incident.gpu.value_or(""));
  fact("Signal", incident.signal);
  fact("State of the thread", incident.threadState);
  facts += Definition("After", seconds(incident.seconds));
  fact("Attempt", std::to_string(incident.attempt));
  fact("Package", incident.package.value_or(""));
  char offset[32] = "";
  if (incident.libraryOffset) {
    std::snprintf(offset, sizeof offset, " + 0x%llx",
                  static_cast<unsigned long long>(*incident.libraryOffset));
  }
  facts += library.empty() ? library : Definition("Library", Foreign(library + offset), "wide");
  fact("How that is known", proof(incident.evidence));
  const std::string command = SkipCommand(incident);
  const std::string skip = command.empty() ? ""
                                           : " Until then, " + Element("code", Foreign(command)) +
                                                 " asks everything else.";
  return Element(
             "article class=\"card incident bad\"",
             Element("h3", Foreign(file.empty() ? "A driver" : file) + ' ' + deed(incident.kind)) +
                 Element("dl class=\"facts\"", facts) +
                 Element("p class=\"todo\"", Element("strong", "What to do") + ' ' +
                                                 Foreign(Advice(incident)) + skip)) +
         '\n';
}

std::string incidentsHtml(const host::Inspection& inspection) {
  std::string html;
  for (const host::Incident& incident : inspection.incidents) {
    html += incidentHtml(incident);
  }
  return html.empty() ? html
                      : Element("section id=\"incidents\"", Element("h2", "Incidents") + html);
}

std::string apiHtml(const char* title, const char* id, const host::Api& api, const Scales& scales) {
  struct Said {
    const char* word;
    Tone tone;
    const char* whenEmpty;
  };
  const auto said = [&]() -> Said {
    if (api.notAsked) return {"not asked", Tone::Neutral, "It was left out by request."};
    switch (api.status) {
      case host::ApiStatus::Ok:
        return {"works", Tone::Good, "It works, but has no GPU."};
      case host::ApiStatus::Absent:
        return {"none", Tone::Neutral, "Nothing could answer: there is no library, or no device."};
      case host::ApiStatus::Hung:
        return {"driver hung", Tone::Bad, "The driver hung before it told its GPUs."};
      case host::ApiStatus::Crashed:
        return {"driver crashed", Tone::Bad, "The driver crashed before it told its GPUs."};
      case host::ApiStatus::Failed:
        return {"driver error", Tone::Bad, "The driver returned an error before it told its GPUs."};
    }
    return {"", Tone::Bad, ""};
  }();
  std::string cards;
  for (const host::Gpu& gpu : api.gpus) {
    cards += Card(gpu, scales);
  }
  return Element("section class=\"" + std::string(id) + "\" id=\"" + id + '"',
                 Element("h2", title + (' ' + Element(std::string("span class=\"pill ") +
                                                          style(said.tone) + '"',
                                                      said.word))) +
                     (cards.empty() ? Element("p class=\"card empty\"", said.whenEmpty)
                                    : Element("div class=\"cards\"", cards)));
}

/// A folded table of what came beside the answers; empty without rows.
template <typename Rows, typename Cells>
std::string looseEnds(const char* title, const char* head, const Rows& rows, Cells cells) {
  if (rows.empty()) {
    return {};
  }
  std::string html;
  std::size_t number = 0;
  for (const auto& row : rows) {
    if (number++ == kMostRows) {
      break;
    }
    html += Element("tr", cells(row)) + '\n';
  }
  std::string table =
      Element("table class=\"stack\"", Element("thead", head) + Element("tbody", html));
  if (rows.size() > kMostRows) {
    table += Element("p class=\"missing\"",
                     Counted(rows.size() - kMostRows, "more line") + "; the JSON has them all.");
  }
  return Element("section class=\"fold\"", Folded(title, std::to_string(rows.size()), table));
}

}  // namespace

std::string Html(const host::Inspection& inspection) {
  const Scales scales = ScalesFor(inspection);
  // Where nothing ran, there is nothing to tell about the GPUs.
  const std::string answers = inspection.status == host::Status::FailedToStart
                                  ? ""
                                  : tilesHtml(inspection) + incidentsHtml(inspection) +
                                        apiHtml("OpenGL", "opengl", inspection.openGL, scales) +
                                        apiHtml("OpenCL", "opencl", inspection.openCL, scales);
  const std::string body =
      headHtml(inspection) + answers +
      looseEnds("What drivers wrote", "<tr><th>Attempt</th><th>While asking</th><th>Text</th></tr>",
                inspection.messages,
                [](const host::Message& message) {
                  return Element("td", std::to_string(message.attempt)) +
                         Element("td", Foreign(message.question)) +
                         Element("td", Element("code", Foreign(message.text)));
                }) +
      looseEnds("Lines of the report that this version doesn't know",
                "<tr><th>Key</th><th>Value</th></tr>", inspection.unknownKeys,
                [](const auto& line) {
                  return Element("td", Element("code", Foreign(line.first))) +
                         Element("td", Foreign(line.second));
                });
  // The policy holds even where an escape would be forgotten: nothing runs, nothing is loaded.
  return "<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" "
         "content=\"default-src 'none'; style-src 'unsafe-inline'\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"color-scheme\" content=\"light dark\">\n" +
         Element("title", "GPU report: " + std::string(headlineOf(inspection).text)) +
         Element("style", kPageStyle) + "</head>\n" +
         Element("body", Element("main data-status=\"" + std::string(name(inspection.status)) + '"',
                                 body)) +
         "</html>\n";
}

}  // namespace gpureport
