#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>

#include "gpureport/Platform.h"

namespace gpureport {

namespace {

std::atomic<bool> interrupted{false};

void interrupt(int) {
  interrupted = true;
}

int descriptor(StandardStream stream) {
  return stream == StandardStream::Out ? STDOUT_FILENO : STDERR_FILENO;
}

}  // namespace

void PrepareProcess() {
  // A file that is opened later must not take the place of a standard stream.
  for (int stream = 0; stream <= 2; ++stream)
    if (fcntl(stream, F_GETFD) < 0) open("/dev/null", O_RDWR);
  signal(SIGPIPE, SIG_IGN);
  // Inherited as ignored it would hide how children end.
  signal(SIGCHLD, SIG_DFL);
}

std::vector<std::string> Arguments(int argc, char** argv) {
  return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

std::string OwnFolder() {
  char path[PATH_MAX];
  const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
  if (size <= 0) return {};
  const std::string own(path, static_cast<std::size_t>(size));
  return own.substr(0, own.rfind('/') + 1);
}

const char* ProbeName() {
  return "gpuprobe";
}

int TerminalColumns(StandardStream stream) {
  if (isatty(descriptor(stream)) == 0) return 0;
  winsize size{};
  const bool known = ioctl(descriptor(stream), TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

bool WriteBytes(StandardStream stream, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t done = write(descriptor(stream), bytes.data(), bytes.size());
    if (done < 0 && errno == EAGAIN) {
      // Whoever shares the stream with us may have made it one that does not wait.
      pollfd full{descriptor(stream), POLLOUT, 0};
      poll(&full, 1, -1);
    } else if (done < 0 && errno != EINTR) {
      return false;
    }
    if (done > 0) bytes.remove_prefix(static_cast<std::size_t>(done));
  }
  return true;
}

bool MakeFile(const std::string& path) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  return file >= 0 && close(file) == 0;
}

const std::atomic<bool>& WatchInterrupts() {
  struct sigaction action {};
  action.sa_handler = interrupt;
  action.sa_flags = static_cast<int>(SA_RESETHAND | SA_RESTART);
  for (const int each : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction before {};
    // What nohup and the like had ignored stays so.
    if (sigaction(each, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
      sigaction(each, &action, nullptr);
  }
  return interrupted;
}

void Leave(int code) {
  _exit(code);
}

}  // namespace gpureport
