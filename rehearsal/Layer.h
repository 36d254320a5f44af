#pragma once

#include "zor/ocl/Library.h"
// The table comes after the version it is written in.
#include <CL/cl_layer.h>

#include <cstring>

/// The entries that every layer has, over one function of its own: Install() gets the table of
/// what lies below and a copy of it, in which it puts its own functions.
void Install(const cl_icd_dispatch& below, cl_icd_dispatch& own);

extern "C" CL_API_ENTRY cl_int CL_API_CALL clGetLayerInfo(cl_layer_info name, size_t size,
                                                          void* value, size_t* sizeNeeded) {
  if (name != CL_LAYER_API_VERSION) return CL_INVALID_VALUE;
  const cl_layer_api_version version = CL_LAYER_API_VERSION_100;
  if (value && size < sizeof version) return CL_INVALID_VALUE;
  if (value) std::memcpy(value, &version, sizeof version);
  if (sizeNeeded) *sizeNeeded = sizeof version;
  return CL_SUCCESS;
}

extern "C" CL_API_ENTRY cl_int CL_API_CALL clInitLayer(cl_uint entries,
                                                       const cl_icd_dispatch* below,
                                                       cl_uint* entriesNeeded,
                                                       const cl_icd_dispatch** own) {
  static cl_icd_dispatch table;
  constexpr cl_uint known = sizeof table / sizeof(void*);
  if (!below || !entriesNeeded || !own || entries < known) return CL_INVALID_VALUE;
  table = *below;
  Install(*below, table);
  *entriesNeeded = known;
  *own = &table;
  return CL_SUCCESS;
}
