#pragma once

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

}  // namespace gpureport
