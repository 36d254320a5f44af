#include "WideText.h"

#include "Quoting.h"
#include "core/EscapedAscii.h"

std::string WideToEscapedAscii(const wchar_t* text) {
  return ZOR::Core::EscapedAscii(text);
}

std::string WideToLogText(const wchar_t* text) {
  return quoteString(text);
}
