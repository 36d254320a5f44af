#pragma once

#include <string>

#include "host/Inspection.h"

namespace gpureport {

inline constexpr char kLabelPrefix[] = "feature.node.kubernetes.io/";

/// Whether Kubernetes takes it before a label's name: a DNS name and a slash, or nothing.
bool IsLabelPrefix(const std::string& prefix);

/// Lines for a file in Node Feature Discovery's features.d,
/// "feature.node.kubernetes.io/gpuprobe.status=complete". They expire three hours after the
/// inspection.
std::string Labels(const host::Inspection& inspection, const std::string& prefix = kLabelPrefix);

}  // namespace gpureport
