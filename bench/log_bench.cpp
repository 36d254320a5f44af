#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "app/MySniffer.h"
#include "app/ReportLine.h"
#include "log/Diagnostic.h"

namespace {

void SilentStatement(benchmark::State& state) {
  channelLevel(gpuSnifferChannel) = 0;
  int index = 0;
  for (auto _ : state) {  // NOLINT(clang-analyzer-deadcode.DeadStores)
    benchmark::DoNotOptimize(++index);
    Diagnostic{}("zorDevice[", index, "]=", "software");
  }
}
BENCHMARK(SilentStatement);

/// Standard output on something else for the object's lifetime.
class StandardOutput {
 public:
  explicit StandardOutput(const std::string& target) : fSaved(dup(STDOUT_FILENO)) {
    if (target == "null") fTarget = open("/dev/null", O_WRONLY);
    if (target == "file") fTarget = makeFile();
    if (target == "pipe") fTarget = makePipe();
    std::fflush(stdout);
    if (fTarget == -1 || dup2(fTarget, STDOUT_FILENO) == -1) std::abort();
  }
  ~StandardOutput() {
    std::fflush(stdout);
    dup2(fSaved, STDOUT_FILENO);
    close(fSaved);
    close(fTarget);
    if (fReader.joinable()) fReader.join();
  }
  StandardOutput(const StandardOutput&) = delete;
  StandardOutput& operator=(const StandardOutput&) = delete;

  /// Keeps a file small however many lines are written.
  void rewind() const { lseek(fTarget, 0, SEEK_SET); }

 private:
  static int makeFile() {
    char name[] = "/tmp/log_bench-XXXXXX";
    const int file = mkstemp(name);
    unlink(name);
    return file;
  }
  int makePipe() {
    int ends[2];
    if (pipe(ends) == -1) return -1;
    fReader = std::thread([from = ends[0]] {
      char bytes[65536];
      while (read(from, bytes, sizeof bytes) > 0) {
      }
      close(from);
    });
    return ends[1];
  }

  int fSaved;
  int fTarget = -1;
  std::thread fReader;
};

const std::string key = "glgpu[0].GLRenderer";
const std::string renderer = "llvmpipe (LLVM 15.0.6, 256 bits)";

template <class Write>
void writeLines(benchmark::State& state, const char* target, const Write& write) {
  const StandardOutput output(target);
  int count = 0;
  for (auto _ : state) {
    write();
    if ((++count & 0xFFFF) == 0) output.rewind();
  }
}

void BareLine(benchmark::State& state, const char* target) {
  const std::string line = ReportLine(key, renderer) + "\n";
  writeLines(state, target, [&] {
    std::fputs(line.c_str(), stdout);
    std::fflush(stdout);
  });
}

void ReportedLine(benchmark::State& state, const char* target) {
  MySniffer app;
  writeLines(state, target, [&] { app.DoStdout(ReportLine(key, renderer)); });
}

BENCHMARK_CAPTURE(BareLine, null, "null");
BENCHMARK_CAPTURE(ReportedLine, null, "null");
BENCHMARK_CAPTURE(BareLine, file, "file");
BENCHMARK_CAPTURE(ReportedLine, file, "file");
BENCHMARK_CAPTURE(BareLine, pipe, "pipe");
BENCHMARK_CAPTURE(ReportedLine, pipe, "pipe");

}  // namespace
