#pragma once

/// What the forms for machines and the page share.

#include <cstddef>
#include <string>

#include "host/Inspection.h"
#include "host/Text.h"

namespace gpureport {

/// "opengl" or "opencl".
const char* ApiWord(protocol::GPUKind kind);

/// The text of a field, empty where there is none.
std::string TextOf(const host::Gpu& gpu, const char* field);

/// "integrated", "discrete" or an empty text.
std::string TypeOf(const host::Gpu& gpu);

/// At most so many bytes, valid UTF-8.
std::string Cut(const std::string& text, std::size_t bytes);

/// Of a machine on which no GPU answered: whose word that is.
const char* NoGpuText(const host::Inspection& inspection);

using host::UtcTime;

}  // namespace gpureport
