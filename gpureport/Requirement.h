#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/Inspection.h"

namespace gpureport {

/// One term of --require.
struct Term {
  enum class Kind { OpenGL, OpenCL, Memory, Discrete, Glsl, Framebuffer };
  Kind kind = Kind::OpenGL;
  int major = 0;  ///< of an API's version
  int minor = 0;
  std::int64_t bytes = 0;  ///< of memory
};

/// "opengl>=3.3,memory>=2GiB,discrete". None when a term is not understood; `error` names it.
std::optional<std::vector<Term>> ParseRequirement(const std::string& text, std::string& error);

/// Exit code: 0 met, 9 not met, else the code of the answer without which it can't be told. The
/// terms of an API are met by one GPU of that API, memory and discrete by that same GPU, or by any
/// GPU where no API is named. Above OpenGL 4.1, where the probe's scale ends, the version of GLSL
/// decides.
int Evaluate(const std::vector<Term>& terms, const host::Inspection& inspection);

}  // namespace gpureport
