// Programs that behave badly, one a mode: zoo MODE [ARGUMENT].
#include "Zoo.h"

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>

namespace {

using Arguments = std::vector<std::string>;

volatile bool endless = true;

int overflow(volatile char* above) {
  volatile char room[4096];
  room[0] = above ? above[0] : '\0';
  return endless ? overflow(room) + room[0] : 0;
}

/// Lines of 64 bytes, `mebibytes` in all.
void flood(std::FILE* stream, long mebibytes) {
  std::string block;
  while (block.size() < 65536) block += std::string(63, 'x') + "\n";
  for (long i = 0; i < mebibytes * 16; ++i) std::fwrite(block.data(), 1, block.size(), stream);
  std::fflush(stream);
}

void say(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

void sleepOn() {
  zoo::sleepMs(60000);
}

int copyInput() {
  for (int c = 0; (c = std::getchar()) != EOF;) std::putchar(c);
  return 0;
}

const std::map<std::string, std::function<int(const Arguments&)>> kModes = {
    {"exit", [](const Arguments& a) { return std::atoi(a[0].c_str()); }},
    {"say", [](const Arguments& a) { return say(a[0]), 0; }},
    {"say-then-sleep", [](const Arguments& a) { return say(a[0]), sleepOn(), 0; }},
    {"unfinished", [](const Arguments&) { return say("one\ntwo"), 0; }},
    {"zeros", [](const Arguments&) { return say(std::string("a\0b\n", 4)), 0; }},
    {"cut-crlf", [](const Arguments&) { return say("a\r"), zoo::sleepMs(60), say("\nb\r\n"), 0; }},
    {"one-long-line",
     [](const Arguments& a) {
       return say(std::string(static_cast<std::size_t>(std::atoi(a[0].c_str())), 'x') + "\n"), 0;
     }},
    {"arguments",
     [](const Arguments& a) {
       for (const std::string& each : a) say(each + '\0');
       return 0;
     }},
    {"variable",
     [](const Arguments& a) {
       const char* value = std::getenv(a[0].c_str());
       return say(value ? value : "(none)"), 0;
     }},
    {"copy", [](const Arguments&) { return copyInput(); }},
    {"print", [](const Arguments& a) { return flood(stdout, std::atol(a[0].c_str())), 0; }},
    {"flood-errors", [](const Arguments&) { return flood(stderr, 8), say("after\n"), 0; }},
    {"drip",
     [](const Arguments&) {
       for (;;) say("x"), zoo::sleepMs(1000);
       return 0;
     }},
    {"spin",
     [](const Arguments&) {
       for (volatile int i = 0;;) i = i + 1;
       return 0;
     }},
    {"sleep", [](const Arguments&) { return sleepOn(), 0; }},
    {"ignore", [](const Arguments&) { return zoo::ignoreRequests(), say("x"), sleepOn(), 0; }},
    {"closed", [](const Arguments&) { return zoo::closeStreams(), sleepOn(), 0; }},
    {"abort", [](const Arguments&) { return std::abort(), 0; }},
    {"overflow", [](const Arguments&) { return overflow(nullptr); }},
    {"grandchild",
     [](const Arguments&) { return zoo::startSelf({"sleep"}, zoo::Apart::No), say("x"), 0; }},
    {"grandchild-id",
     [](const Arguments&) {
       return say(std::to_string(zoo::startSelf({"sleep"}, zoo::Apart::No))), 0;
     }},
    {"left-session",
     [](const Arguments&) {
       return zoo::startSelf({"start-apart"}, zoo::Apart::No), zoo::sleepMs(100), say("x"), 0;
     }},
    {"start-apart",
     [](const Arguments&) { return zoo::startSelf({"sleep"}, zoo::Apart::Session), 0; }},
    {"storm",
     [](const Arguments& a) {
       for (int i = std::atoi(a[0].c_str()); i > 0; --i) zoo::startSelf({"sleep"}, zoo::Apart::No);
       return say("x"), sleepOn(), 0;
     }},
};

}  // namespace

int zoo::run(Arguments arguments) {
  begin();
  if (arguments.size() < 2) return 2;
  const std::string mode = arguments[1];
  arguments.erase(arguments.begin(), arguments.begin() + 2);
  const auto found = kModes.find(mode);
  if (found != kModes.end()) return found->second(arguments);
  return special(mode, arguments) ? 0 : 2;
}
