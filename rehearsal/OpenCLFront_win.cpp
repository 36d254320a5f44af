// An OpenCL.dll in the place of the system's, for systems whose own knows no layers. It passes on
// to the library that GPUPROBE_REAL_OPENCL names, and in it calls go wrong as in the layer.

#include <windows.h>

#include <cstdio>
#include <cstdlib>

#include "zor/ocl/Library.h"
// The table comes after the version it is written in.
#include <CL/cl_icd.h>

/// The fault layer's own.
void Install(const cl_icd_dispatch& below, cl_icd_dispatch& own);

namespace {

struct AtLoading {
  AtLoading();
} atLoading;

}  // namespace

// Each function is a jump to what stands in front of the real one. A driver's functions are not
// those of the table before the library is loaded.
#define FRONT_EXPORT(name)                                 \
  extern "C" {                                             \
  decltype(cl_icd_dispatch::name) name##Front = nullptr;   \
  }                                                        \
  asm(".text\n.globl " #name "\n" #name ":\n\tjmp *" #name \
      "Front(%rip)\n"                                      \
      "\t.section .drectve,\"yn\"\n\t.ascii \" -export:" #name "\"\n\t.text\n");
ZOR_CL_ENTRY_POINTS(FRONT_EXPORT)
#undef FRONT_EXPORT

AtLoading::AtLoading() {
  const char* const path = std::getenv("GPUPROBE_REAL_OPENCL");
  const HMODULE library = LoadLibraryA(path ? path : "opencl_real.dll");
  if (!library) {
    std::fputs("rehearsal: no OpenCL behind this one, see GPUPROBE_REAL_OPENCL\n", stderr);
    std::abort();
  }
  cl_icd_dispatch below = {}, own = {};
#define FRONT_LOAD(name)                               \
  below.name = reinterpret_cast<decltype(below.name)>( \
      reinterpret_cast<void (*)()>(GetProcAddress(library, #name)));
  ZOR_CL_ENTRY_POINTS(FRONT_LOAD)
#undef FRONT_LOAD
  Install(below, own);
#define FRONT_FILL(name) name##Front = own.name;
  ZOR_CL_ENTRY_POINTS(FRONT_FILL)
#undef FRONT_FILL
}
