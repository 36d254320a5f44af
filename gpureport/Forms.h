#pragma once

/// The forms of a report, each from the whole result.

#include <string>

#include "host/Inspection.h"

namespace gpureport {

struct TextStyle {
  int columns = 80;  ///< at least 40
  bool colours = false;
};

/// What a person wants first: what went wrong and what to do, then a block for each GPU. No line is
/// wider than the columns, whatever the drivers wrote.
std::string Text(const host::Inspection& inspection, const TextStyle& style);

/// One self-contained page: no network, no script, valid UTF-8 whatever drivers said. Every value
/// stands in a <data value="…" data-key="opengl[0].memory_bytes">, with the JSON's name and value.
std::string Html(const host::Inspection& inspection);

/// The Prometheus text form (0.0.4), as node-exporter's textfile collector reads it. The same
/// families with HELP and TYPE in every state; what is unknown has no sample.
std::string Prometheus(const host::Inspection& inspection);

inline constexpr char kLabelPrefix[] = "feature.node.kubernetes.io/";

/// Whether Kubernetes takes it before a label's name: a DNS name and a slash, or nothing.
bool IsLabelPrefix(const std::string& prefix);

/// Lines for a file in Node Feature Discovery's features.d,
/// "feature.node.kubernetes.io/gpuprobe.status=complete". They expire three hours after the
/// inspection.
std::string Labels(const host::Inspection& inspection, const std::string& prefix = kLabelPrefix);

}  // namespace gpureport
