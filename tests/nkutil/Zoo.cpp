// Programs that behave badly, one a mode: zoo MODE [ARGUMENT].
#include "tests/nkutil/Zoo.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

using zoo::Apart;
using zoo::Arguments;
using zoo::startSelf;

/// Lines of 64 bytes, `mebibytes` in all.
void flood(std::FILE* stream, long mebibytes) {
  std::string block;
  while (block.size() < 65536) block += std::string(63, 'x') + "\n";
  for (long i = 0; i < mebibytes * 16; ++i)
    if (std::fwrite(block.data(), 1, block.size(), stream) < block.size()) return;
  std::fflush(stream);
}

void say(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

/// Ends when the byte above is 0, which it never is; the compiler can't know.
int overflow(const volatile char* above) {
  volatile char here[4096] = {*above};
  return *above ? overflow(here) + here[0] : 0;
}

void sleepMs(int milliseconds) {
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

// clang-format off
const zoo::Modes kModes = {
    {"exit", [](const Arguments& a) { std::exit(std::stoi(a[0])); }},
    {"abort", [](const Arguments&) { std::abort(); }},
    {"overflow", [](const Arguments&) { overflow("x"); }},
    {"say", [](const Arguments& a) { say(a[0]); }},
    {"zeros", [](const Arguments&) { say(std::string("a\0b\n", 4)); }},
    {"lines", [](const Arguments&) { say("a\r"), sleepMs(500), say("\nb\r\n" + std::string(64 << 20, 'x') + "\n"); }},
    {"arguments", [](const Arguments& a) { for (const std::string& each : a) say(each + '\0'); }},
    {"variables", [](const Arguments& a) { for (const std::string& name : a) { const char* value = std::getenv(name.c_str()); say((value ? value : "(none)") + std::string("|")); } }},
    {"copy", [](const Arguments&) { for (int c = 0; (c = std::getchar()) != EOF;) std::putchar(c); }},
    {"print", [](const Arguments& a) { flood(stdout, std::stol(a[0])); }},
    {"flood-errors", [](const Arguments&) { flood(stderr, 8), say("after\n"); }},
    {"spin", [](const Arguments&) { for (volatile int i = 0;;) i = i + 1; }},
    {"sleep", [](const Arguments&) { sleepMs(60000); }},
    {"ignore", [](const Arguments&) { zoo::ignoreRequests(), startSelf("sleep", Apart::Unmarked), say("x"), sleepMs(1000), say("x"), sleepMs(60000); }},
    {"closed", [](const Arguments&) { for (FILE* each : {stdin, stdout, stderr}) std::fclose(each); sleepMs(60000); }},
    {"grandchild", [](const Arguments&) { startSelf("sleep", Apart::No), say("x"); }},
    {"late-nap", [](const Arguments&) { sleepMs(100), say("late"); for (FILE* each : {stdout, stderr}) std::fclose(each); sleepMs(4000); }},
    {"napping-child", [](const Arguments&) { startSelf("late-nap", Apart::No); }},
    {"flood", [](const Arguments&) { flood(stdout, 65536); }},
    {"flooding-child", [](const Arguments&) { startSelf("flood", Apart::No); }},
    {"left-session", [](const Arguments&) { startSelf("start-apart", Apart::No), sleepMs(100), say("x"); }},
    {"start-apart", [](const Arguments&) { startSelf("sleep", Apart::Session); }},
    {"storm", [](const Arguments& a) { for (int i = std::stoi(a[0]); i > 0; --i) startSelf("sleep", Apart::No); say("x"), sleepMs(60000); }},
};
// clang-format on

}  // namespace

int zoo::run(const Arguments& all, const Modes& systemModes) {
  for (const Modes* modes : {&kModes, &systemModes})
    if (const auto found = modes->find(all.at(1)); found != modes->end())
      return found->second({all.begin() + 2, all.end()}), 0;
  return 2;
}
