#pragma once

#include <string>
#include <vector>

#include "host/Inspection.h"

namespace gpureport {

/// How a text stands out, where there are colours.
enum class Look { Plain, Bold, Dim, Good, Bad };

/// A line of a GPU's block: the value as the driver wrote it, not yet fit for a terminal.
struct Row {
  std::string label;
  std::string text;
  Look look = Look::Plain;
};

/// The GPU's name, else its renderer's, or why there is none.
Row GpuTitle(const host::Gpu& gpu);

/// What a person wants to know of the GPU, limits and extensions folded. An answer that a fault
/// took is always told; one that is unknown only where it is a row's first.
std::vector<Row> GpuRows(const host::Gpu& gpu);

}  // namespace gpureport
