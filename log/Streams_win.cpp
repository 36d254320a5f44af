#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include "LogPort.h"

namespace {

bool isOpen(std::FILE* stream) {
  // Negative for a process that was started without the stream.
  return _fileno(stream) >= 0;
}

}  // namespace

std::FILE* logport::privateCopy(std::FILE* stream) {
  if (!isOpen(stream)) return nullptr;
  const auto handle = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
  const HANDLE process = GetCurrentProcess();
  HANDLE copy = nullptr;
  if (!DuplicateHandle(process, handle, process, &copy, 0, FALSE, DUPLICATE_SAME_ACCESS))
    return nullptr;
  const int descriptor = _open_osfhandle(reinterpret_cast<intptr_t>(copy), _O_TEXT);
  // The descriptor owns the handle, and the stream will own the descriptor.
  return descriptor == -1 ? nullptr : _fdopen(descriptor, "w");
}

void logport::leadToStandardError(std::FILE* stream) {
  if (!isOpen(stderr)) std::freopen("NUL", "w", stderr);
  const int descriptor = _fileno(stream);
  // The duplicate mostly gets the number of the handle that is closed here, so that a C library
  // that noted it at its own start follows, too.
  if (_dup2(_fileno(stderr), descriptor) == 0)
    SetStdHandle(STD_OUTPUT_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(descriptor)));
}
