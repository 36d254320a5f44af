#include "gpureport/Markup.h"

#include <cstdio>
#include <iterator>

#include "gpureport/Columns.h"
#include "gpureport/Values.h"
#include "host/Text.h"

namespace gpureport {
namespace {

struct Step {
  const char* unit;  ///< of the question
  double factor;
  const char* symbol;
};
/// From large to small; a value takes the first that it fills.
constexpr Step kSteps[] = {
    {"MiB", 1024.0 * 1024 * 1024, "GiB"},
    {"MiB", 1024.0 * 1024, "MiB"},
    {"bytes per second", 1e12, "TB/s"},
    {"bytes per second", 1e9, "GB/s"},
    {"bytes per second", 1e6, "MB/s"},
    {"bytes per second", 1e3, "kB/s"},
    {"bytes per second", 1, "B/s"},
    {"seconds", 1, "s"},
    {"seconds", 1e-3, "ms"},
    {"seconds", 1e-6, "µs"},
    {"seconds", 1e-9, "ns"},
};

}  // namespace

std::string Escaped(const std::string& text) {
  std::string html;
  for (const char c : Printable(text)) {
    switch (c) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += c;
    }
  }
  return html;
}

std::string Foreign(const std::string& text) {
  std::string html = Element("bdi", Escaped(Cut(text, kLongestText)));
  if (text.size() > kLongestText) {
    html += " <span class=\"missing\">… (" + std::to_string(text.size()) +
            " bytes; the JSON has them all)</span>";
  }
  return html;
}

std::string Element(const std::string& opening, const std::string& html) {
  return '<' + opening + '>' + html + "</" + opening.substr(0, opening.find(' ')) + '>';
}

std::string Definition(const std::string& name, const std::string& html, const std::string& style) {
  return Element(style.empty() ? "div" : "div class=\"" + style + '"',
                 Element("dt", Escaped(name)) + Element("dd", html));
}

std::string Folded(const std::string& title, const std::string& note, const std::string& html) {
  return Element("details",
                 Element("summary", Escaped(title) + Element("small", Escaped(note))) + html) +
         '\n';
}

std::string Quantity(double value, const std::string& unit) {
  const Step* fitting = nullptr;
  for (const Step& step : kSteps) {
    if (unit == step.unit) {
      fitting = &step;
      if (value >= step.factor || value == 0) {
        break;
      }
    }
  }
  char number[400];
  if (!fitting) {
    std::snprintf(number, sizeof number, "%.6g", value);
    return unit.empty() ? number : number + (' ' + unit);
  }
  // Three digits, as far as they say something.
  const double scaled = value / fitting->factor;
  std::snprintf(number, sizeof number, "%.*f", scaled < 10 ? 2 : scaled < 100 ? 1 : 0, scaled);
  std::string text = number;
  if (text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    text.erase(text.find_last_not_of('.') + 1);
  }
  return text + "\u00a0" + fitting->symbol;
}

std::string Counted(std::size_t number, const std::string& noun) {
  return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

std::string AskedAt(const host::Incident& incident) {
  return (incident.gpu ? *incident.gpu + '.' : "") + incident.question;
}

std::string Advice(const host::Incident& incident) {
  const std::string culprit = incident.package   ? "the package " + *incident.package
                              : incident.library ? "the driver that this library belongs to"
                                                 : "the graphics driver";
  const bool isStuck = incident.kind == host::Incident::Kind::Stuck;
  return (isStuck ? "Restart the machine, then update " : "Update ") + culprit + '.';
}

std::string SkipCommand(const host::Incident& incident) {
  if (incident.question.empty() || incident.question == "release") {
    return {};
  }
  return "gpureport --skip '" + host::SkipName(AskedAt(incident)) + "'";
}

const char* Words(host::Reason reason) {
  switch (reason) {
    case host::Reason::Hung:
      return "driver hung";
    case host::Reason::Crashed:
      return "driver crashed";
    case host::Reason::NotReached:
      return "not reached";
    case host::Reason::NotAsked:
      return "not asked";
    case host::Reason::Failed:
      return "driver error";
    case host::Reason::Absent:
      return "none";
    case host::Reason::Unknown:
      return "unknown";
  }
  return "";
}

std::string LibraryName(const host::Incident& incident) {
  const std::string path = incident.library.value_or("");
  return path.substr(path.find_last_of("/\\") + 1);
}

}  // namespace gpureport
