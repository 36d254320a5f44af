// compare REPEATS COMMAND... -- COMMAND...: runs both in turn with their output thrown away and
// prints "<median wall ms> <median peak KiB>" of the first, then of the second.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

struct Command {
  std::vector<char*> words;
  std::vector<double> wall;
  std::vector<double> peak;
};

void run(Command& command) {
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&quiet, stream, "/dev/null", O_WRONLY, 0);
  const auto start = std::chrono::steady_clock::now();
  pid_t process = -1;
  int status = 0;
  rusage usage{};
  if (posix_spawnp(&process, command.words[0], &quiet, nullptr, command.words.data(), environ) ||
      wait4(process, &status, 0, &usage) != process || !WIFEXITED(status)) {
    std::fprintf(stderr, "cannot run %s\n", command.words[0]);
    std::exit(1);
  }
  const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
  posix_spawn_file_actions_destroy(&quiet);
  command.wall.push_back(wall.count());
  command.peak.push_back(static_cast<double>(usage.ru_maxrss));
}

double median(std::vector<double>& values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

}  // namespace

int main(int argc, char** argv) {
  Command commands[2];
  size_t current = 0;
  for (int i = 2; i < argc; ++i) {
    if (current == 0 && std::strcmp(argv[i], "--") == 0)
      current = 1;
    else
      commands[current].words.push_back(argv[i]);
  }
  const int repeats = argc > 1 ? std::atoi(argv[1]) : 0;
  if (repeats < 1 || commands[0].words.empty() || commands[1].words.empty()) return 2;
  for (Command& command : commands) command.words.push_back(nullptr);
  // Once each unmeasured, so that neither pays for a cold cache.
  for (int i = -1; i < repeats; ++i) {
    for (Command& command : commands) {
      run(command);
      if (i == -1) command.wall.clear(), command.peak.clear();
    }
  }
  for (Command& command : commands)
    std::printf("%.4f %.0f\n", median(command.wall), median(command.peak));
}
