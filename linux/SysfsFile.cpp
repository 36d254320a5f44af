#include "linux/SysfsFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdlib>
#include <system_error>

#include "log/Diagnostic.h"

namespace {

/// What the kernel gives an attribute file: one page.
constexpr size_t kMaxFileSize = 4096;

std::nullopt_t complain(const std::filesystem::path& file, std::string_view reason) {
  Diagnostic{}(file.native(), ": ", reason);
  return std::nullopt;
}

std::nullopt_t complainOfError(const std::filesystem::path& file, int error) {
  if (error == ENOENT) return std::nullopt;
  return complain(file, std::generic_category().message(error));
}

class Descriptor {
 public:
  // Neither a pipe without a writer nor a terminal may hold the program up.
  explicit Descriptor(const std::filesystem::path& file)
      : fNumber(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
  ~Descriptor() {
    if (fNumber != -1) close(fNumber);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Number() const { return fNumber; }
  bool IsRegularFile() const {
    struct stat status = {};
    return fstat(fNumber, &status) == 0 && S_ISREG(status.st_mode);
  }

 private:
  int fNumber;
};

/// At most one byte more than the limit. False with errno set when reading fails.
bool readSome(int descriptor, std::string& text) {
  char piece[kMaxFileSize + 1];
  while (text.size() <= kMaxFileSize) {
    const ssize_t count = read(descriptor, piece, sizeof piece - text.size());
    if (count == 0) break;
    if (count > 0)
      text.append(piece, static_cast<size_t>(count));
    else if (errno != EINTR)
      return false;
  }
  return true;
}

bool isText(char c) {
  return (c >= ' ' && c <= '~') || c == '\n' || c == '\t';
}

}  // namespace

std::optional<uint64_t> ParseSysfsNumber(std::string_view text, uint64_t limit) {
  if (!text.empty() && text.back() == '\n') text.remove_suffix(1);
  const bool hexadecimal = text.substr(0, 2) == "0x";
  if (hexadecimal) text.remove_prefix(2);
  const char* const end = text.data() + text.size();
  uint64_t number = 0;
  const auto result = std::from_chars(text.data(), end, number, hexadecimal ? 16 : 10);
  if (result.ec != std::errc() || result.ptr != end || number > limit) return std::nullopt;
  return number;
}

std::optional<std::string> ReadSysfsText(const std::filesystem::path& file) {
  const Descriptor descriptor(file);
  if (descriptor.Number() == -1) return complainOfError(file, errno);
  if (!descriptor.IsRegularFile()) return complain(file, "not a file");
  std::string text;
  if (!readSome(descriptor.Number(), text)) return complainOfError(file, errno);
  if (text.empty()) return complain(file, "empty");
  if (text.size() > kMaxFileSize) return complain(file, "too long");
  if (!std::all_of(text.begin(), text.end(), isText)) return complain(file, "not a text");
  return text;
}

std::optional<std::string> ReadSysfsLine(const std::filesystem::path& file) {
  std::optional<std::string> text = ReadSysfsText(file);
  if (!text) return std::nullopt;
  if (text->back() == '\n') text->pop_back();
  if (text->empty()) return complain(file, "empty");
  if (text->find('\n') != std::string::npos) return complain(file, "more than one line");
  return text;
}

std::optional<uint64_t> ReadSysfsNumber(const std::filesystem::path& file, uint64_t limit) {
  const std::optional<std::string> text = ReadSysfsText(file);
  if (!text) return std::nullopt;
  const std::optional<uint64_t> number = ParseSysfsNumber(*text, limit);
  if (!number) return complain(file, "not a number, or out of range");
  return number;
}

std::string ReadSysfsLinkName(const std::filesystem::path& link) {
  char target[PATH_MAX];
  const ssize_t count = readlink(link.c_str(), target, sizeof target);
  if (count < 0) {
    complainOfError(link, errno);
    return {};
  }
  return std::filesystem::path(target, target + count).filename();
}

// The devices are told apart by their real folders, which lead to the bus they hang on.
std::optional<std::filesystem::path> ResolveSysfsFolder(const std::filesystem::path& folder) {
  char resolved[PATH_MAX];
  if (!realpath(folder.c_str(), resolved)) return complainOfError(folder, errno);
  return resolved;
}
