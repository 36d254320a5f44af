#include "tests/e2e/Probe.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace {

std::string contentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

Lines linesOf(const std::string& text) {
  Lines lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line); lines.push_back(line))
    if (!line.empty() && line.back() == '\r') line.pop_back();
  return lines;
}

Outcome runOnce(const Start& start, const std::string& wrapper = "") {
  using Clock = std::chrono::steady_clock;
  std::string folder = "/tmp/gpuprobe-XXXXXX";
  if (!mkdtemp(folder.data())) throw std::runtime_error("mkdtemp failed");
  Lines words = {
      "bash", "-c",
      start.before + " exec timeout 300 " + wrapper + start.program + " \"$@\" " + start.streams,
      folder};
  words.insert(words.end(), start.arguments.begin(), start.arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  pid_t process = -1;
  int status = 0;
  const Clock::time_point begin = Clock::now();
  if (posix_spawnp(&process, "bash", nullptr, nullptr, pointers.data(), environ) != 0 ||
      waitpid(process, &status, 0) != process)
    throw std::runtime_error("cannot run bash");

  Outcome outcome;
  outcome.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
  if (WIFEXITED(status)) outcome.code = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
  outcome.text = contentOf(folder + "/out");
  outcome.err = linesOf(contentOf(folder + "/err"));
  std::filesystem::remove_all(folder);
  static const std::regex changing("(sniffer(Start|End)|.*\\.CL(Bandwidth|Compute))=.*");
  for (std::string& line : linesOf(outcome.text)) {
    if (line.size() < 100) line = std::regex_replace(line, changing, "$1=...");
    outcome.out.push_back(line);
    (line.compare(0, 2, "# ") == 0 ? outcome.comments : outcome.report).push_back(line);
  }
  return outcome;
}

/// What says nothing of the program. LeakSanitizer stops the threads to look at them and now and
/// then crashes itself beside those of a driver; Wine's server kills a process that takes more than
/// a second to leave, as on a busy machine.
bool toolFailed(const Outcome& outcome) {
  return outcome.signal == SIGKILL ||
         std::any_of(outcome.err.begin(), outcome.err.end(), [](const std::string& line) {
           return line.find("LeakSanitizer has encountered a fatal error") != std::string::npos;
         });
}

}  // namespace

Outcome RunProbe(const Start& start) {
  Outcome outcome = runOnce(start);
  for (int tries = 1; tries < 8 && toolFailed(outcome); ++tries) outcome = runOnce(start);
  if (!toolFailed(outcome)) return outcome;
  std::cout << "the tool failed eight times: once more without looking for leaks" << std::endl;
  return runOnce(start, "env ASAN_OPTIONS=detect_leaks=0 ");
}

const Lines& PlainReport() {
  static const Lines report = RunProbe({}).out;
  return report;
}
