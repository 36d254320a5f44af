#include "ocl/EntryPoints.h"

const char* const ZOR::OCL::kLoaderLibrary = "libOpenCL.so.1";
