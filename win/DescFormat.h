#pragma once

#include <windows.h>

#include <dxgi.h>

#include <ostream>

#include "zor/ogl/Context.h"

// Descriptors as they stand in log lines. Each writes into the stream and returns it.

std::ostream& FormatAdapterDesc(std::ostream& stream, const DXGI_ADAPTER_DESC& desc);
/// Has no closing brace: readers of the log take the rest of the line as the device name.
std::ostream& FormatOutputDesc(std::ostream& stream, const DXGI_OUTPUT_DESC& desc);
std::ostream& FormatRect(std::ostream& stream, const RECT& rect);
std::ostream& FormatDisplayDevice(std::ostream& stream, const ZOR::OGL::DisplayDeviceKey& key);

/// A formatter with its descriptor as one piece of a log line, run only when the line is really
/// written.
template <class Desc>
struct Formatted {
  using Formatter = std::ostream& (*)(std::ostream&, const Desc&);

  Formatted(Formatter formatter, const Desc& desc) : fFormatter(formatter), fDesc(desc) {}

  friend std::ostream& operator<<(std::ostream& stream, const Formatted& piece) {
    return piece.fFormatter(stream, piece.fDesc);
  }

 private:
  Formatter fFormatter;
  const Desc& fDesc;
};
