#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>
#include <thread>

#include "log/Diagnostic.h"
#include "log/ReportFailure.h"
#include "tests/support/LogCapture.h"

namespace {

// Cannot be printed.
struct Unprintable {};
std::ostream& operator<<(std::ostream&, const Unprintable&) {
  throw std::runtime_error("no");
}

std::string reported;

}  // namespace

TEST(LogChannel, TableFillsAndThenRefuses) {
  ChannelTable table(2);
  EXPECT_EQ(table.indexOf("b", 7), 1);
  EXPECT_EQ(table.indexOf("a", 0xFFFFFFFF), 2);
  EXPECT_EQ(table.indexOf("b", 9), 1);
  EXPECT_EQ(table.indexOf("c", 5), 0);
  EXPECT_EQ(table.indexOf("a", 5), 2);
  EXPECT_EQ(table.levels()[0], 0);
  EXPECT_EQ(table.levels()[1], 7);
  EXPECT_EQ(table.levels()[2], -1);
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
  const int before = level;
  level = 0;
  Diagnostic{}("silent", Unprintable());
  level = 1;
  Diagnostic{}("index=", 3, " 100%s ", 0.5, ' ', true);
  Diagnostic{}("lost", Unprintable());
  // Whatever a driver says is one line, and not the end of the file either.
  Diagnostic{}("a\r\nb\n\vc\x1A", std::string("d\0e", 3), "\xC3\xA4\x7F");
  for (const char* end : {"\r", "\n", "\r\n", "\n\r"}) Diagnostic{}("end", end);
  level = before;
  EXPECT_EQ(logger.text, "index=3 100%s 0.5 1\na  b  c d e\xC3\xA4 \nend\nend\nend\nend\n");
}

TEST(ReportFailure, TextsAndThrow) {
  const ReportSink sink = reportSink;
  reportSink = [](const std::string& text) { reported = text; };
  const auto report = [](const char* file, const char* message) {
    ReportFailure(file, 12, message, false);
    return reported;
  };
  const std::string marker = "<NULL>";  // known by its text, not by its address
  EXPECT_EQ(report("a.cpp", "broken"), "a.cpp(12): broken");
  EXPECT_EQ(report(nullptr, "broken"), "broken");
  EXPECT_EQ(report(marker.c_str(), "broken"), "broken");
  EXPECT_EQ(report("", nullptr), "(12): <NULL>");
  EXPECT_THROW(FailRequirement("Failed requirement: x"), std::runtime_error);
  EXPECT_EQ(reported, "Failed requirement: x");
  reportSink = sink;
}
