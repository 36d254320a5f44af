#pragma once

/// Pieces of HTML, and words that every form for people uses. Functions take plain text unless a
/// parameter says "html".

#include <cstddef>
#include <string>

#include "host/Inspection.h"

namespace gpureport {

/// Of what is shown, in bytes; the longest honest names and messages have half of it.
inline constexpr std::size_t kLongestText = 400;

/// The style sheet, Page.css.
extern const char kPageStyle[];

/// For content and for quoted attributes; what Printable() replaces is replaced.
std::string Escaped(const std::string& text);

/// A driver's text: kept to its own direction of writing, and cut where nobody would read on.
std::string Foreign(const std::string& text);

/// Element("p class=\"x\"", html) is <p class="x">html</p>.
std::string Element(const std::string& opening, const std::string& html);

/// A name and its value in a list of definitions; style is a class of the style sheet.
std::string Definition(const std::string& name, const std::string& html,
                       const std::string& style = "");

/// One that opens at a click.
std::string Folded(const std::string& title, const std::string& note, const std::string& html);

/// A figure with its unit: unit is one of protocol::Question's, the value in bytes for "MiB".
std::string Quantity(double value, const std::string& unit);

/// An amount with the right form of its noun: "1 answer", "2 answers".
std::string Counted(std::size_t number, const std::string& noun);

/// "clgpu[0].CLCompute", "NumCLGPUs Portable Computing Language".
std::string AskedAt(const host::Incident& incident);
/// What a person can do about an incident.
std::string Advice(const host::Incident& incident);
/// The command that asks everything but what led to it; empty where nothing was asked.
std::string SkipCommand(const host::Incident& incident);

/// Why an answer is missing, in words for people.
const char* Words(host::Reason reason);
/// The file name of the incident's library; empty where none is known.
std::string LibraryName(const host::Incident& incident);

}  // namespace gpureport
