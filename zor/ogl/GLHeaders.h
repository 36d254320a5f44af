#pragma once

// The prototypes are wanted for their types alone: no function is linked, all are looked up at
// run time.
#define GL_GLEXT_PROTOTYPES
#ifdef _WIN32
#include <windows.h>
#endif
#include <GL/gl.h>
#include <GL/glext.h>
