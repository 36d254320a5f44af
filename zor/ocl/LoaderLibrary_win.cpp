#include "ocl/EntryPoints.h"

const char* const ZOR::OCL::kLoaderLibrary = "OpenCL.dll";
