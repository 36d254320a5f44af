#include "gpureport/Card.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

#include "gpureport/Markup.h"
#include "gpureport/Values.h"
#include "host/Fields.h"

namespace gpureport {
namespace {

using Group = host::Field::Group;

/// Where on a card an answer stands.
enum class Place { Title, Subtitle, Tile, Scale, Fact, Limit, Extension };

struct Layout {
  const char* field;
  Place place;
  const char* title;
};
/// In the order of a card. What has no row here stands among the extensions, the limits, or, when
/// it is new, after the other facts.
constexpr Layout kLayouts[] = {
    {"name", Place::Title, ""},
    {"vendor", Place::Subtitle, ""},
    {"version", Place::Tile, "OpenGL"},
    {"glsl_version", Place::Tile, "GLSL"},
    {"device_version", Place::Tile, "OpenCL"},
    {"cuda_version", Place::Tile, "CUDA"},
    {"integrated", Place::Tile, "Type"},
    {"memory_bytes", Place::Scale, "Memory"},
    {"copy_bytes_per_second", Place::Scale, "Copy speed"},
    {"kernel_seconds", Place::Scale, "Kernel time (shorter is better)"},
    {"driver", Place::Fact, "Driver"},
    {"driver_version", Place::Fact, "Driver version"},
    {"driver_date", Place::Fact, "Driver date"},
    {"renderer", Place::Fact, "Renderer"},
    {"platform_version", Place::Fact, "Platform version"},
    {"vendor_id", Place::Fact, "Vendor ID"},
    {"device_id", Place::Fact, "Device ID"},
    {"rect_texture_size", Place::Fact, "Largest rectangle texture"},
    {"npot_textures", Place::Fact, "Textures of any size"},
    {"glsl_program_links", Place::Fact, "Shaders compile and link"},
    {"framebuffer_ok", Place::Fact, "Drawing into a texture"},
    {"max_program_instructions", Place::Fact, "Fragment program instructions"},
    {"cuda_supported", Place::Fact, "CUDA platform"},
};

/// An answer with what a card needs to show it.
struct Entry {
  const host::Field* field;
  Layout layout;
  host::Answer answer;  ///< in the field's unit
};

Layout layoutOf(const host::Field& field) {
  for (const Layout& layout : kLayouts) {
    if (field.name == layout.field) {
      return layout;
    }
  }
  return {field.name.c_str(),
          field.group == Group::Extensions ? Place::Extension
          : field.group == Group::Limits   ? Place::Limit
                                           : Place::Fact,
          field.name.c_str()};
}

/// All answers of a GPU in the order of a card.
std::vector<Entry> entriesOf(const host::Gpu& gpu) {
  std::vector<Entry> entries;
  const std::vector<host::Field>& fields = host::Fields(gpu.kind);
  for (std::size_t i = 0; i < fields.size(); ++i) {
    entries.push_back({&fields[i], layoutOf(fields[i]),
                       i < gpu.answers.size() ? host::Converted(fields[i], gpu.answers[i])
                                              : host::Answer(host::Reason::NotReached)});
  }
  const auto row = [](const Entry& entry) {
    return std::find_if(std::begin(kLayouts), std::end(kLayouts),
                        [&](const Layout& layout) { return entry.layout.field == layout.field; });
  };
  std::stable_sort(entries.begin(), entries.end(),
                   [&](const Entry& a, const Entry& b) { return row(a) < row(b); });
  return entries;
}

template <typename T>
const T* valueOf(const host::Answer& answer) {
  const auto* value = std::get_if<host::Value>(&answer);
  return value ? std::get_if<T>(value) : nullptr;
}

std::optional<double> figureOf(const host::Answer& answer) {
  if (const auto* integer = valueOf<std::int64_t>(answer)) {
    return static_cast<double>(*integer);
  }
  const auto* number = valueOf<double>(answer);
  return number ? std::optional(*number) : std::nullopt;
}

/// An answer as the JSON has it and as people read it.
struct Shown {
  std::string value;
  std::string html;
  const char* style = "";
};

Shown shown(const Entry& entry) {
  const bool isTile = entry.layout.place == Place::Tile;
  if (const auto* flag = valueOf<bool>(entry.answer)) {
    const char* value = *flag ? "true" : "false";
    if (isTile) {
      return {value, *flag ? "Integrated" : "Discrete"};
    }
    return {value, *flag ? "yes" : "no", *flag ? "yes" : "no"};
  }
  if (const auto* text = valueOf<std::string>(entry.answer)) {
    // A tile has room for the number that most versions begin with.
    return {*text, Foreign(isTile ? text->substr(0, text->find(' ')) : *text)};
  }
  const std::string unit = entry.field->question->unit;
  const auto* integer = valueOf<std::int64_t>(entry.answer);
  if (integer && entry.layout.place != Place::Scale) {
    return {std::to_string(*integer), std::to_string(*integer) + ' ' + unit};
  }
  const double figure = figureOf(entry.answer).value_or(0);
  char value[40];
  std::snprintf(value, sizeof value, "%.15g", figure);
  return {value, Escaped(Quantity(figure, unit))};
}

std::string answerHtml(const host::Gpu& gpu, const Entry& entry) {
  const std::string key = "\" data-key=\"" + std::string(ApiWord(gpu.kind)) + '[' +
                          std::to_string(gpu.index) + "]." + entry.field->path() + '"';
  if (const auto* reason = std::get_if<host::Reason>(&entry.answer)) {
    return Element(std::string("span class=\"missing") + (IsLost(*reason) ? " lost" : "") + key,
                   Words(*reason));
  }
  const Shown value = shown(entry);
  return Element("data class=\"" + std::string(value.style) + "\" value=\"" +
                     Escaped(Cut(value.value, kLongestText)) + key,
                 value.html);
}

/// A round number that is not below the value: half steps between powers of two for bytes, and 1,
/// 2 and 5 of every power of ten.
double scaleEnd(double value, bool isBytes) {
  if (isBytes) {
    const double power = std::exp2(std::ceil(std::log2(value)));
    return power * 0.75 >= value ? power * 0.75 : power;
  }
  const double power = std::pow(10, std::floor(std::log10(value)));
  const double parts = value / power;
  return power * (parts <= 1 ? 1 : parts <= 2 ? 2 : parts <= 5 ? 5 : 10);
}

std::string barHtml(double value, double end) {
  char width[32];
  std::snprintf(width, sizeof width, "%.2f%%", 100 * value / end);
  std::string bar =
      "<rect class=\"track\" width=\"100%\" height=\"100%\"/>"
      "<rect class=\"value\" height=\"100%\" width=\"" +
      std::string(width) + "\"/>";
  for (const char* at : {"25%", "50%", "75%"}) {
    bar += std::string("<line class=\"mark\" y2=\"100%\" x1=\"") + at + "\" x2=\"" + at + "\"/>";
  }
  return Element("svg aria-hidden=\"true\"", bar);
}

std::string scaleHtml(const Entry& entry, const std::string& html, const Scales& scales) {
  std::string content = Element("figcaption", Element("span", Escaped(entry.layout.title)) + html);
  const std::string unit = entry.field->question->unit;
  const auto end = scales.find(unit);
  if (const auto figure = figureOf(entry.answer); figure && end != scales.end()) {
    content +=
        barHtml(*figure, end->second) +
        Element("div class=\"ends\"",
                Element("span", "0") + Element("span", Escaped(Quantity(end->second, unit))));
  }
  return Element("figure class=\"scale\"", content);
}

std::string rowHtml(const Entry& entry, const std::string& html) {
  return Element("tr", Element("td", Element("code", Escaped(entry.layout.title))) +
                           Element("td class=\"number\"", html));
}

/// Nothing where there are no rows.
std::string tableHtml(const char* title, const std::string& note, const std::string& rows) {
  return rows.empty() ? rows : Folded(title, note, Element("table", Element("tbody", rows)));
}

}  // namespace

Scales ScalesFor(const host::Inspection& inspection) {
  Scales scales;
  for (const host::Api* api : {&inspection.openGL, &inspection.openCL}) {
    for (const host::Gpu& gpu : api->gpus) {
      for (const Entry& entry : entriesOf(gpu)) {
        const auto figure = figureOf(entry.answer);
        if (figure && *figure > 0 && entry.layout.place == Place::Scale) {
          const char* unit = entry.field->question->unit;
          scales[unit] = std::max(scales[unit], scaleEnd(*figure, std::strcmp(unit, "MiB") == 0));
        }
      }
    }
  }
  return scales;
}

std::string Card(const host::Gpu& gpu, const Scales& scales) {
  std::map<Place, std::string> html;
  std::size_t extensions = 0;
  std::size_t supported = 0;
  for (const Entry& entry : entriesOf(gpu)) {
    const std::string answer = answerHtml(gpu, entry);
    const Place place = entry.layout.place;
    html[place] += place == Place::Tile || place == Place::Fact
                       ? Definition(entry.layout.title, answer)
                   : place == Place::Scale ? scaleHtml(entry, answer, scales)
                   : place == Place::Limit || place == Place::Extension ? rowHtml(entry, answer)
                                                                        : answer;
    if (place == Place::Extension) {
      const auto* has = valueOf<bool>(entry.answer);
      ++extensions;
      supported += has && *has ? 1 : 0;
    }
  }
  const std::string losses = Losses(gpu);
  return Element("article class=\"card\"",
                 Element("header", Element("div", Element("h3", html[Place::Title]) +
                                                      Element("p", html[Place::Subtitle])) +
                                       Element("code", Escaped(gpu.tag()))) +
                     (losses.empty() ? "" : Element("p class=\"losses bad\"", Escaped(losses))) +
                     Element("dl class=\"tiles\"", html[Place::Tile]) + html[Place::Scale] +
                     Element("dl class=\"facts\"", html[Place::Fact]) +
                     tableHtml("Limits", "", html[Place::Limit]) +
                     tableHtml("Extensions",
                               std::to_string(supported) + " of " + std::to_string(extensions),
                               html[Place::Extension])) +
         '\n';
}

std::string Losses(const host::Gpu& gpu) {
  std::map<host::Reason, std::size_t> lost;
  std::size_t total = 0;
  for (const host::Answer& answer : gpu.answers) {
    if (const auto* reason = std::get_if<host::Reason>(&answer); reason && IsLost(*reason)) {
      ++lost[*reason];
      ++total;
    }
  }
  std::string text;
  for (const auto& [reason, number] : lost) {
    text += (text.empty() ? "" : ", ") + std::string(Words(reason)) + " (" +
            std::to_string(number) + ')';
  }
  return text.empty()
             ? text
             : Counted(total, "answer") + (total == 1 ? " is" : " are") + " missing: " + text;
}

}  // namespace gpureport
