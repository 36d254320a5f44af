#pragma once

#include <string_view>
#include <vector>

namespace rehearsal {

/// A library of the kit that a variable of the system's loaders puts in front of the drivers.
struct Front {
  const char* variable;                     ///< a list of libraries or folders
  const char* place;                        ///< what the list gets, below the kit's folder
  std::vector<std::string_view> functions;  ///< those that can go wrong in it
};

/// Those of this system.
const std::vector<Front>& Fronts();

/// Between the entries of their lists.
extern const char kListSeparator;

}  // namespace rehearsal
