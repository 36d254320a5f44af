#include <gtest/gtest.h>

#include <thread>

#include "log/Diagnostic.h"
#include "log/ReportFailure.h"
#include "tests/support/LogCapture.h"

namespace {

struct Unprintable {};
std::ostream& operator<<(std::ostream&, const Unprintable&) {
  throw std::runtime_error("no");
}

std::string reported;

}  // namespace

TEST(LogChannel, TableFillsAndThenRefuses) {
  ChannelTable table(2);
  std::string indexes;
  for (const char* name : {"b", "a", "b", "c", "a"})
    indexes += std::to_string(table.indexOf(name, *name == 'a' ? 0xFFFFFFFF : 7));
  EXPECT_EQ(indexes, "12102");
  EXPECT_EQ(std::vector<int>(table.levels(), table.levels() + 3), (std::vector<int>{0, 7, -1}));
}

TEST(LogChannel, RecordsOfOneNameShareOneLevel) {
  static LogChannel first{"LogChannelTest", 3}, second{"LogChannelTest", 8};
  std::thread([] { EXPECT_EQ(channelLevel(first), 3); }).join();
  EXPECT_EQ(first.index, registerChannel("LogChannelTest", 1));
  channelLevel(second) = 5;
  EXPECT_EQ(channelLevel(first), 5);
  initLogging(1);
  EXPECT_EQ(channelLevel(first), 5);
  channelLevel(first) = 3;
}

TEST(Diagnostic, WritesOnlyWhenOnAndNeverThrows) {
  LogCapture logger;
  int& level = channelLevel(gpuSnifferChannel);
  level = 0;
  Diagnostic{}("silent", Unprintable());
  level = 1;
  Diagnostic{}("index=", 3, " 100%s ", 0.5, ' ', true);
  Diagnostic{}("lost", Unprintable());
  // Whatever a driver says is one line, and not the end of the file either.
  Diagnostic{}("a\r\nb\n\vc\x1A", std::string("d\0e", 3), "\xC3\xA4\x7F");
  for (const char* end : {"\r", "\n", "\r\n", "\n\r"}) Diagnostic{}("end", end);
  EXPECT_EQ(logger.text, "index=3 100%s 0.5 1\na  b  c d e\xC3\xA4 \nend\nend\nend\nend\n");
}

TEST(ReportFailure, TextsAndThrow) {
  const ReportSink sink = reportSink;
  reportSink = [](const std::string& text) { reported += text + '\n'; };
  const std::string marker = "<NULL>";  // known by its text, not by its address
  ReportFailure("a.cpp", 12, "broken", false);
  ReportFailure(nullptr, 12, "no place", false);
  ReportFailure(marker.c_str(), 12, "marked", false);
  ReportFailure("", 12, nullptr, false);
  EXPECT_THROW(FailRequirement("Failed requirement: x"), std::runtime_error);
  EXPECT_EQ(reported, "a.cpp(12): broken\nno place\nmarked\n(12): <NULL>\nFailed requirement: x\n");
  reportSink = sink;
}
