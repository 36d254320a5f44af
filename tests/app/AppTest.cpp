#include <gmock/gmock.h>

#include <cstdlib>

#include "tests/app/TestApp.h"
#include "zor/core/Exceptions.h"

size_t largestAllocation = SIZE_MAX;

// A sanitizer has an allocator of its own.
#ifndef __SANITIZE_ADDRESS__
void* operator new(size_t size) {
  void* const memory = size > largestAllocation ? nullptr : std::malloc(size);
  return memory ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
#endif

bool MemoryRunsOut() {
  largestAllocation = 0;
  try {
    ::operator delete(::operator new(1));
  } catch (const std::bad_alloc&) {
    largestAllocation = SIZE_MAX;
    return true;
  }
  largestAllocation = SIZE_MAX;
  return false;
}

namespace {

TEST(AppTest, UsageErrorsWriteNoReport) {
  const std::pair<ArgumentList, const char*> cases[] = {
      {{"-help", "-stdout=no"}, ""},
      {{"-exit=7", "-no=1"}, ""},
      {{""}, ""},
      {{"-stdout=before", "stray", "-stdout=after"}, "before\nafter\n"}};
  for (const auto& [arguments, out] : cases) {
    TestApp app;
    EXPECT_EQ(app.RunWith(arguments), 3);
    EXPECT_EQ(app.out, out);
    EXPECT_THAT(app.err, testing::StartsWith("Usage exception: usage\nusage: \n    -help {"));
    EXPECT_EQ(app.fHostApp, "gpuprobe");
  }
}

struct NullText : std::exception {
  const char* what() const noexcept override { return nullptr; }
};

// Outside the questions every kind of exception ends the run; inside, it fails one question.
TEST(AppTest, EveryKindOfExceptionIsNamed) {
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[] { throw ZOR::LogicalException("bad context"); }, "ZOR::LogicalException: bad context\n"},
      {[] { throw ZOR::LogicalException(nullptr); }, "ZOR::LogicalException: <NULL>\n"},
      {[] { throw ZOR::InternalException("f", 1, "inner"); }, "exception: inner\n"},
      {[] { throw NullText(); }, "exception: <NULL>\n"},
      {[] { throw 5; }, "unknown exception\n"},
      // There is memory for this text, but not for the line.
      {[] { throw std::runtime_error(std::string(1'000'000, 'x')); },
       "exception: std::bad_alloc\n"},
      {[] {}, ""}};
  const bool memoryRunsOut = MemoryRunsOut();
  largestAllocation = 1'500'000;
  for (const std::string failing : {"DoGetGLDriver", "DoGetNativeGPUs"}) {
    for (const auto& failure : cases) {
      if (std::string(failure.second) == "exception: std::bad_alloc\n" && !memoryRunsOut) continue;
      fakeMachine = {};
      fakeMachine.gl = 2;
      fakeMachine.onQuestion = [&](const std::string& gpu, const std::string& operation) {
        if (operation == failing && gpu != "glgpu[1]") failure.first();
      };
      const bool fails = *failure.second;
      const bool question = failing == "DoGetGLDriver";
      TestApp app;
      EXPECT_EQ(app.RunWith({"-exit=7"}), fails ? 2 : 7);
      EXPECT_EQ(app.err, failure.second);
      EXPECT_EQ(app.out.find("glgpu[0].GLDriver=") == std::string::npos, fails && question);
      EXPECT_NE(app.out.find("glgpu[1].GLDriver="), std::string::npos);
      EXPECT_EQ(app.out.find("snifferEnd") == std::string::npos, fails && !question);
    }
  }
  largestAllocation = SIZE_MAX;
}

TEST(AppTest, EndsWithTheProcessAndWhatEscapesItIs4) {
  static unsigned alive = 0, told = 0;
  struct Broken : GPUSnifferApp {
    Broken() { ++alive; }
    ~Broken() override { --alive; }
    void DoStderr(const std::string&) override {
      if (++told > 20) throw 5;
    }
  };
  std::string program = "gpuprobe", help = "-help";
  char* arguments[] = {program.data(), help.data()};
  EXPECT_EQ(RunApplication<Broken>(2, arguments), 3);
  EXPECT_EQ(RunApplication<Broken>(2, arguments), 4);
  EXPECT_EQ(alive, 0U);
}

TEST(AppTest, WithoutATesterOfItsOwnItMakesOne) {
  struct Bare : GPUSnifferApp {
    boost::shared_ptr<GPUSnifferTester> CreateTester() override { return {}; }
  } bare;
  const auto tester = bare.GetTester();
  ASSERT_TRUE(tester);
  EXPECT_EQ(bare.GetTester(), tester);
}

}  // namespace
