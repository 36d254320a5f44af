#pragma once

// Nothing later than 1.1 is called, so every loader in the field has the functions; 1.2 is the
// last version whose header does not call the plain queue constructor deprecated.
#define CL_TARGET_OPENCL_VERSION 120
#include <CL/cl.h>
