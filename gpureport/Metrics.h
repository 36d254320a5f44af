#pragma once

#include <string>

#include "host/Inspection.h"

namespace gpureport {

/// The Prometheus text form (0.0.4), as node-exporter's textfile collector reads it. The same
/// families with HELP and TYPE in every state; what is unknown has no sample.
std::string Prometheus(const host::Inspection& inspection);

}  // namespace gpureport
