#include <gmock/gmock.h>

#include <sstream>

#include "log/Clock.h"
#include "log/Diagnostic.h"
#include "tests/app/Probe.h"

namespace {

using testing::HasSubstr;

// The whole report in order: the kind of GPU that a row is asked of (none for the run's own steps),
// what each step writes, and the steps as "key=value" or, where the answer is the text named after
// the operation, "key". In the text # is the key, $ the value, % whether that is odd, ^ the number
// of GPUs and @ the tag.
const struct {
  const char* kind;
  const char* pattern;
  const char* steps;
} rows[] = {
    {"", "", "name"},
    {"", "Tester=\"LarkspanApp\"\n#=$\n", "snifferStart=\"now\""},
    {"", "#=$\n", "ZORCoreInitialized=1 ZOROGLInitialized=1 OGLContextCreated=1 NumGLGPUs=^"},
    {"glgpu", "@.#=$\n",
     "GLVersion IsIntegratedGLGPU=1 GLMemoryMB=2048 GLName GLVendor=\"a\"b\\c\" GLVendorID=4318 "
     "GLDriverVersion GLRectTextureSize=4294967295 GLRenderer GLRendererID=7 HasGLNPOTSupport=1 "
     "GLDriver=\"\" GLDriverDate CanCompileProgramGLSL=0 GLFrameBufferOK=1"},
    {"glgpu", "gputag.#=$\n@.glGetString[#]=\"@ DoGLGetString\"\n",
     "GL_SHADING_LANGUAGE_VERSION=35724"},
    {"glgpu",
     "gputag.GL_FRAGMENT_PROGRAM_ARB=34820\ngputag.#=$\n"
     "@.glGetProgramivARB[GL_FRAGMENT_PROGRAM_ARB][#]=[69797]\n",
     "GL_MAX_PROGRAM_INSTRUCTIONS_ARB=34977"},
    {"glgpu", "gputag.GL_MAX_#=$\n@.glGetIntegerv[GL_MAX_#]=[$]\n",
     "TEXTURE_UNITS=34018 COMBINED_TEXTURE_IMAGE_UNITS=35661 VERTEX_TEXTURE_IMAGE_UNITS=35660 "
     "TEXTURE_IMAGE_UNITS=34930 DRAW_BUFFERS=34852 VERTEX_UNIFORM_COMPONENTS=35658 "
     "FRAGMENT_UNIFORM_COMPONENTS=35657 VARYING_FLOATS=35659 VERTEX_ATTRIBS=34921"},
    {"glgpu", "gputag.ZOR::OGL::GL_#=$\n@.extension[ZOR::OGL::GL_#]=%\n",
     "ARB_VERTEX_PROGRAM=69 ARB_FRAGMENT_PROGRAM=27 ARB_VERTEX_SHADER=70 ARB_FRAGMENT_SHADER=28 "
     "EXT_FRAMEBUFFER_OBJECT=81 ARB_TEXTURE_RECTANGLE=58 ARB_TEXTURE_FLOAT=53 "
     "ARB_OCCLUSION_QUERY=37 ARB_VERTEX_BUFFER_OBJECT=68 ARB_SHADER_TEXTURE_LOD=47"},
    {"", "#=$\n", "NumCLGPUs=^"},
    {"clgpu", "@.#=$\n",
     "CLPlatformVersion CLDeviceVersion IsIntegratedCLGPU=1 CLMemoryMB=1536 CLName CLVendor "
     "CLVendorID=9 CLDriverVersion CUDASupported=1 CUDAVersion CLBandwidth=1.23457e+10 "
     "CLCompute=0.25"},
    {"", "#=$\n", "NumNativeGPUs=^"},
    {"nativegpu", "@.#=$\n", "NativeName"},
    {"", "#=$\n", "snifferEnd=\"now\""},
    {"", "", "end"},
};

struct Stage {
  std::string text;
  bool question;
  bool counts;
};

std::string Fill(const std::string& text, char mark, const std::string& value) {
  std::string filled;
  for (const char c : text) filled += c == mark ? value : std::string(1, c);
  return filled;
}

std::vector<Stage> StagesOf(unsigned gpus, bool ocl) {
  std::vector<Stage> stages;
  for (const auto& row : rows) {
    if (!ocl && std::string(row.steps).find("CLGPU") != std::string::npos) continue;
    const std::string kind = row.kind;
    std::istringstream words(row.steps);
    for (std::string word; words >> word;) {
      const size_t end = std::min(word.find('='), word.size());
      const std::string key = word.substr(0, end);
      const std::string value = end < word.size() ? word.substr(end + 1) : "\"@ DoGet" + key + "\"";
      std::string text = Fill(Fill(row.pattern, '#', key), '$', value);
      text = Fill(Fill(text, '%', value.back() % 2 ? "1" : "0"), '^', std::to_string(gpus));
      const bool counts = text.find("glGetString") == std::string::npos;
      for (unsigned i = 0; i < (kind.empty() ? 1 : gpus); ++i) {
        const std::string tag = kind + "[" + std::to_string(i) + "]";
        stages.push_back({Fill(text, '@', tag), !kind.empty(), counts});
      }
    }
  }
  return stages;
}

constexpr unsigned kNever = ~0U;

void ExpectRun(const std::vector<Stage>& stages, unsigned throwAfter, unsigned crashAfter) {
  std::string out, err;
  unsigned taken = 0;
  for (const Stage& stage : stages) {
    out += stage.text;
    if (!stage.counts) continue;
    const bool crashes = taken >= crashAfter;
    const bool throws = taken == throwAfter;
    ++taken;
    if (!crashes && !throws) continue;
    err += crashes ? "exception: programmed failure\n" : "exception: Programmed throw\n";
    if (!stage.question) break;
  }
  const auto option = [](const char* name, unsigned n) {
    return name + (n == kNever ? "-1" : std::to_string(n));
  };
  const ArgumentList options = {option("-throwAfter=", throwAfter),
                                option("-crashAfter=", crashAfter)};
  Probe probe;
  EXPECT_EQ(probe.RunWith(options), err.empty() ? 0 : 2) << testing::PrintToString(options);
  EXPECT_EQ(probe.out, out) << testing::PrintToString(options);
  EXPECT_EQ(probe.err, err) << testing::PrintToString(options);
}

TEST(TesterTest, ProgrammedFailuresAtEveryStep) {
  fakeMachine = {};
  fakeMachine.texts = {{"DoGetGLDriver", ""}, {"DoGetGLVendor", "a\"b\\c"}};
  std::istringstream numbers(
      "DoIsIntegratedGLGPU 1 DoGetGLMemoryMB 2048 DoGetGLVendorID 4318 DoGetGLRectTextureSize "
      "4294967295 DoGetGLRendererID 7 DoHasGLNPOTSupport 1 DoGLFramebufferOK 1 DoGetCLCompute 0.25 "
      "DoIsIntegratedCLGPU 1 DoGetCLMemoryMB 1536 DoGetCLVendorID 9 DoIsCUDASupported 1 "
      "DoGetCLBandwidth 12345678901");
  for (std::string operation; numbers >> operation;) numbers >> fakeMachine.numbers[operation];
  for (const unsigned gpus : {2, 1, 0}) {
    fakeMachine.gl = fakeMachine.cl = fakeMachine.native = gpus;
    for (const bool ocl : {false, true}) {
      Probe::hasOCL = ocl;
      const std::vector<Stage> stages = StagesOf(gpus, ocl);
      ExpectRun(stages, kNever, kNever);
      for (unsigned n = 0; n < stages.size() + 2; ++n) {
        ExpectRun(stages, n, kNever);
        ExpectRun(stages, n, n);
        ExpectRun(stages, n, n + 3);
      }
    }
  }
}

// Diagnostics go to the real standard output, beside the report.
TEST(TesterTest, DiagnosticsOnlyWhenAskedFor) {
  fakeMachine = {};
  fakeMachine.cl = 1;
  fakeMachine.onQuestion = [](const std::string&, const std::string& operation) {
    if (operation == "DoGetCLBandwidth") throw std::runtime_error("busy");
  };
  const char* const texts[] = {
      "] ZOR::OGL::Library::initialize() failed: ZOR::LogicalException: no window system",
      "] Cannot create default ContextOffscreen: ZOR::LogicalException: no context",
      "] BEGIN GPUSnifferTester::DoRunCLBandwidth",
      "] END GPUSnifferTester::DoRunCLBandwidth, duration=", "] Testing terminated for clgpu[0]"};
  for (const int level : {1, -1, 0}) {
    Probe probe;
    probe.gl.initializeError = "no window system";
    probe.gl.failingDevices[probe.gl.devices[0].deviceName] = "no context";
    testing::internal::CaptureStdout();
    EXPECT_EQ(probe.RunWith({"-verbose=" + std::to_string(level)}), 2);
    std::istringstream lines(testing::internal::GetCapturedStdout());
    EXPECT_THAT(probe.out, HasSubstr("\nZOROGLInitialized=0\nOGLContextCreated=0\nNumGLGPUs=0\n"));
    EXPECT_EQ(probe.err, "exception: busy\n");
    std::string line;
    for (size_t i = 0; level != 0 && i < std::size(texts); ++i) {
      std::getline(lines, line);
      EXPECT_EQ(line.find("# "), 0u);
      EXPECT_THAT(line, HasSubstr(texts[i]));
    }
    EXPECT_FALSE(std::getline(lines, line)) << line;
  }
  // Nor does a diagnostic for which there is no memory change the report.
  Probe probe;
  probe.gl.initializeError = std::string(1'000'000, 'x');
  largestAllocation = 1'500'000;
  testing::internal::CaptureStdout();
  probe.RunWith({"-verbose=1"});
  largestAllocation = SIZE_MAX;
  EXPECT_THAT(testing::internal::GetCapturedStdout(), testing::Not(HasSubstr("xxx")));
  EXPECT_THAT(probe.out, HasSubstr("\nZOROGLInitialized=0\nOGLContextCreated=1\n"));
}

TEST(TesterTest, SingleQuestions) {
  fakeMachine = {};
  fakeMachine.texts["DoGLGetString"] = "";
  Probe probe;
  const auto tester = probe.GetTester();
  GLGPU glgpu(MakeGPUImpl());
  tester->DoRunGLGetString("T", glgpu, "GL_X", 3);
  tester->DoRunGLGetIntegerv("T", glgpu, "GL_X", 3, 2);
  EXPECT_EQ(
      probe.out,
      "gputag.GL_X=3\nT.glGetString[GL_X]=\"\"\ngputag.GL_X=3\nT.glGetIntegerv[GL_X]=[3, 0]\n");

  const boost::shared_ptr<GPU> cl = boost::make_shared<CLGPU>(MakeGPUImpl());
  EXPECT_DEATH_IF_SUPPORTED(tester->RunTests({{"glgpu[0]", nullptr}}, GLStringTest()), "px != 0");
  EXPECT_DEATH_IF_SUPPORTED(tester->RunTests({{"glgpu[0]", cl}}, ProgramvTest()), "px != 0");

  LogChannel delay{"GPUSnifferOCLDelay", 0};
  double start = 0, asked = 0;
  fakeMachine.onQuestion = [&](const std::string&, const std::string&) { asked = nowSeconds(); };
  for (const int seconds : {1, 0, -1}) {
    channelLevel(delay) = seconds;
    start = nowSeconds();
    tester->DoRunCLBandwidth("T", static_cast<CLGPU&>(*cl));
    EXPECT_EQ(asked - start >= 1.0, seconds == 1);
  }
  channelLevel(delay) = 0;
}

}  // namespace
