// host_bench ONE_LINE ZOO: what nkutil costs beside the plain system calls, as "name value" lines.
// Each pair is measured in turn, so that what else runs on the machine meets both.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "nkutil/ConsoleApp.h"

namespace {

using namespace std::chrono_literals;
using nkutil::Clock;

void require(bool right, const char* what) {
  if (right) return;
  std::fprintf(stderr, "host_bench: %s\n", what);
  std::exit(1);
}

double milliseconds(const std::function<void()>& work) {
  const auto start = Clock::now();
  work();
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

pid_t spawn(std::vector<std::string> words, int in, int out, int err) {
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in, 0);
  posix_spawn_file_actions_adddup2(&actions, out, 1);
  posix_spawn_file_actions_adddup2(&actions, err, 2);
  pid_t pid = 0;
  require(posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ) == 0,
          "posix_spawn");
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

/// What a host writes without a library: no deadline, no tree, no cap.
std::string plainRun(const std::string& program) {
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  int out[2];
  int err[2];
  require(pipe2(out, O_CLOEXEC) == 0 && pipe2(err, O_CLOEXEC) == 0, "pipe2");
  const pid_t pid = spawn({program}, null, out[1], err[1]);
  close(out[1]);
  close(err[1]);
  std::string text;
  pollfd polled[] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
  while (polled[0].fd >= 0 || polled[1].fd >= 0) {
    poll(polled, 2, -1);
    for (pollfd& each : polled) {
      char piece[65536];
      if (each.fd < 0 || each.revents == 0) continue;
      const ssize_t count = read(each.fd, piece, sizeof piece);
      if (count > 0) text.append(piece, static_cast<std::size_t>(count));
      if (count <= 0) close(std::exchange(each.fd, -1));
    }
  }
  waitpid(pid, nullptr, 0);
  close(null);
  return text;
}

void launches(const std::string& program) {
  constexpr int kRounds = 1001;
  nkutil::Command command;
  command.program = program;
  std::vector<double> ours;
  std::vector<double> plain;
  for (int i = 0; i < kRounds; ++i) {
    plain.push_back(milliseconds([&] { require(!plainRun(program).empty(), "no line"); }));
    ours.push_back(milliseconds([&] {
      const auto result = nkutil::Run(nkutil::systemLauncher(), command, Clock::now() + 60s);
      require(!result.out.text.empty(), "no line of ours");
    }));
  }
  std::printf("launch_ms %.4f\nplain_launch_ms %.4f\n", median(ours), median(plain));
}

void catOfGibibyte(const std::string& zoo) {
  const int null = open("/dev/null", O_RDWR | O_CLOEXEC);
  int ends[2];
  require(pipe2(ends, O_CLOEXEC) == 0, "pipe2");
  const pid_t writer = spawn({zoo, "print", "1024"}, null, ends[1], null);
  const pid_t cat = spawn({"/bin/cat"}, ends[0], null, null);
  for (const int descriptor : {ends[0], ends[1], null}) close(descriptor);
  waitpid(writer, nullptr, 0);
  waitpid(cat, nullptr, 0);
}

void linesOfGibibyte(const std::string& zoo) {
  nkutil::Command command;
  command.program = zoo;
  command.arguments = {"print", "1024"};
  command.out.cap = std::size_t{2} << 30;  // every line counts
  nkutil::LaunchError error;
  const auto app = nkutil::systemLauncher().launch(command, Clock::now() + 60s, error);
  require(app != nullptr, "launch");
  nkutil::Line line;
  long lines = 0;
  const nkutil::Time deadline = Clock::now() + 60s;
  while (app->nextLine(line, deadline) == nkutil::Channel::Taken::Line)
    lines += line.text.size() == 63;
  require(lines == 1 << 24, "lines are missing");
  require(app->waitForEnd(Clock::now() + 60s), "no end");
}

void gibibytes(const std::string& zoo) {
  std::vector<double> ours;
  std::vector<double> cat;
  for (int i = 0; i < 5; ++i) {
    cat.push_back(milliseconds([&] { catOfGibibyte(zoo); }));
    ours.push_back(milliseconds([&] { linesOfGibibyte(zoo); }));
  }
  std::printf("lines_ms %.1f\ncat_ms %.1f\n", median(ours), median(cat));
}

void kills(const std::string& zoo) {
  nkutil::Command command;
  command.program = zoo;
  command.arguments = {"storm", "49"};
  std::vector<double> times;
  for (int i = 0; i < 21; ++i) {
    nkutil::LaunchError error;
    const auto app = nkutil::systemLauncher().launch(command, Clock::now() + 60s, error);
    require(app != nullptr, "launch");
    while (app->bytesRead(nkutil::Stream::Out) == 0) std::this_thread::sleep_for(10ms);
    times.push_back(milliseconds([&] { require(app->Kill(10s), "kill"); }));
    require(app->killedProcesses() == 50, "not a tree of 50");
  }
  std::printf("kill_ms %.2f\n", median(times));
}

}  // namespace

int main(int count, char** values) {
  require(count == 3, "usage: host_bench ONE_LINE ZOO");
  launches(values[1]);
  gibibytes(values[2]);
  kills(values[2]);
}
