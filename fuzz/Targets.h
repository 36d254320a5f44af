#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// One function per kind of foreign text. Each takes one input and aborts when the parsers break a
// promise; sanitizers find the rest.
int FuzzSysfsNumbers(const uint8_t* data, size_t size);
int FuzzPCIIDs(const uint8_t* data, size_t size);
int FuzzGLVersions(const uint8_t* data, size_t size);

/// Unlike assert, names the promise in words.
inline void Promise(bool kept, const char* promise) {
  if (kept) return;
  std::fprintf(stderr, "broken promise: %s\n", promise);
  std::abort();
}
