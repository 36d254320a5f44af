#pragma once

#include <map>
#include <string>

#include "host/Inspection.h"

namespace gpureport {

/// Where the scales of a page end, by protocol::Question::unit: all figures of one unit are drawn
/// on one scale, so that GPUs can be compared.
using Scales = std::map<std::string, double>;

/// The scales on which all of an inspection's figures have room; round numbers.
Scales ScalesFor(const host::Inspection& inspection);

/// All that is known about a GPU, as HTML.
std::string Card(const host::Gpu& gpu, const Scales& scales);

/// "2 answers are missing: driver crashed (1), not reached (1)" for what a fault took from the GPU,
/// as plain text; else empty.
std::string Losses(const host::Gpu& gpu);

}  // namespace gpureport
