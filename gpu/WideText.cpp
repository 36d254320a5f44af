#include "gpu/WideText.h"

#include "log/Quoting.h"
#include "zor/core/EscapedAscii.h"

std::string WideToEscapedAscii(const wchar_t* text) {
  return ZOR::Core::EscapedAscii(text);
}

std::string WideToLogText(const wchar_t* text) {
  return quoteString(text);
}
