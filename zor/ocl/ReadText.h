#pragma once

#include <functional>
#include <string>

#include "ocl/CLHeaders.h"

namespace ZOR::OCL {

/// No driver's text comes near this; a larger size is a driver's mistake.
constexpr size_t kLongestText = 1U << 20;

/// One of the clGet...Info functions with its object and property already chosen.
using TextQuery = std::function<cl_int(size_t size, void* value, size_t* sizeNeeded)>;

/// Asks for the size, then for the bytes, and sets text to them, terminator and whatever follows
/// it included; a size of 0 is an empty text. The status of the call that failed, else CL_SUCCESS;
/// a size beyond kLongestText is CL_INVALID_VALUE.
cl_int ReadText(const TextQuery& query, std::string& text);

}  // namespace ZOR::OCL
