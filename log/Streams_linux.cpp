#include <fcntl.h>
#include <unistd.h>

#include "LogPort.h"

std::FILE* logport::privateCopy(std::FILE* stream) {
  const int copy = fcntl(fileno(stream), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (copy == -1) return nullptr;
  // Refused where the descriptor is open for reading only.
  std::FILE* const own = fdopen(copy, "w");
  if (!own) close(copy);
  return own;
}

void logport::leadToStandardError(std::FILE* stream) {
  dup2(STDERR_FILENO, fileno(stream));
}
