#pragma once

#include "gpureport/CommandLine.h"

namespace gpureport {

/// gpureport [show]: asks or reads, shows, and answers the exit code.
int Show(const ShowOptions& options);

/// gpureport guard, likewise.
int Guard(const GuardOptions& options);

}  // namespace gpureport
