#pragma once

#include <cstdint>

class GPUImpl;

/// Bytes of video memory that the maker's own OpenGL query tells (AMD and NVIDIA); 0 for other
/// vendors, and when the query throws, which is logged as "<operation>: vendorID=..., ...".
/// The driver's KiB are sign-extended, so a negative figure is a huge one.
uint64_t GLMemoryBytes(GPUImpl& impl, uint32_t vendorID, const char* operation);
