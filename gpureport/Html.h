#pragma once

#include <string>

#include "host/Inspection.h"

namespace gpureport {

/// One self-contained page: no network, no script, valid UTF-8 whatever drivers said. Every value
/// stands in a <data value="…" data-key="opengl[0].memory_bytes">, with the JSON's name and value.
std::string Html(const host::Inspection& inspection);

}  // namespace gpureport
