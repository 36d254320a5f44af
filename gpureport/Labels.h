#pragma once

#include <string>

#include "host/Inspection.h"

namespace gpureport {

inline constexpr char kLabelPrefix[] = "feature.node.kubernetes.io/";

/// Lines for a file in Node Feature Discovery's features.d,
/// "feature.node.kubernetes.io/gpuprobe.status=complete". They expire three hours after the
/// inspection. The prefix is a DNS name and a slash, or empty.
std::string Labels(const host::Inspection& inspection, const std::string& prefix = kLabelPrefix);

}  // namespace gpureport
