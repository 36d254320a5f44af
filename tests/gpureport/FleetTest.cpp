#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "gpureport/Html.h"
#include "gpureport/Labels.h"
#include "gpureport/Metrics.h"
#include "host/Text.h"
#include "tests/gpureport/Samples.h"

namespace gpureport {
namespace {

using host::Reason;
using host::Value;
using protocol::GPUKind;
using test::makeGpu;
using ::testing::HasSubstr;
using ::testing::Not;

host::Inspection inspectionOf(const std::string& name) {
  host::Inspection inspection;
  inspection.status = host::Status::Crashed;
  inspection.createdAt = std::chrono::system_clock::from_time_t(951782400);
  inspection.openGL.status = host::ApiStatus::Ok;
  inspection.openGL.gpus = {makeGpu(GPUKind::OpenGL, 0,
                                    {{"GLName", Value(name)},
                                     {"GLVersion", Value("3.3")},
                                     {"GLMemoryMB", Value(std::int64_t{2048})},
                                     {"GLVendorID", Value(std::int64_t{0x10de})}}),
                            makeGpu(GPUKind::OpenGL, 1,
                                    {{"GLVersion", Value("4.1")},
                                     {"GLMemoryMB", Reason::Crashed},
                                     {"IsIntegratedGLGPU", Value(true)}})};
  inspection.openCL.status = host::ApiStatus::Crashed;
  host::Incident incident;
  incident.question = "NumCLGPUs";
  inspection.incidents = {incident, incident};
  return inspection;
}

std::vector<std::string> linesOf(const std::string& text, const char* pattern) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    if (std::regex_search(line, std::regex(pattern))) {
      lines.push_back(line);
    }
  }
  return lines;
}

TEST(Metrics, EscapesTextsAndKeepsThemShort) {
  const std::string text = Prometheus(inspectionOf("a\\b\"c\nd\xff"));
  EXPECT_THAT(text, HasSubstr("gpu=\"0\",name=\"a\\\\b\\\"c\\nd\xef\xbf\xbd\","));
  EXPECT_LT(Prometheus(inspectionOf(std::string(1 << 20, 'x'))).size(), text.size() + 300);
}

TEST(Metrics, UnknownHasNoSampleAndNoSeriesComesTwice) {
  const std::string text = Prometheus(inspectionOf("x"));
  EXPECT_THAT(
      linesOf(text, "^gpuprobe_gpu_memory_bytes"),
      testing::ElementsAre("gpuprobe_gpu_memory_bytes{api=\"opengl\",gpu=\"0\"} 2147483648"));
  EXPECT_THAT(linesOf(text, "^gpuprobe_opencl_"), testing::IsEmpty());
  EXPECT_THAT(linesOf(text, "^gpuprobe_incident_info"), testing::SizeIs(1));
  EXPECT_THAT(text, HasSubstr("gpu=\"1\",reason=\"crashed\"} 1\n"));
  EXPECT_THAT(text, HasSubstr("gpuprobe_last_run_timestamp_seconds 951782400\n"));
  EXPECT_THAT(linesOf(text, "_run_status.* 1$"),
              testing::ElementsAre("gpuprobe_run_status{status=\"crashed\"} 1"));
}

TEST(Metrics, FamiliesAreTheSameInEveryState) {
  EXPECT_EQ(linesOf(Prometheus({}), "^#"), linesOf(Prometheus(inspectionOf("x")), "^#"));
}

TEST(Labels, AreWhatKubernetesTakes) {
  const std::string umlauts = "(TM) M\xc3\xbcller \"GPU\" @ 2 GHz / x86_64 -";
  const std::string text = Labels(inspectionOf(umlauts));
  EXPECT_EQ(text.substr(0, text.find('\n')), "# +expiry-time=2000-02-29T03:00:00Z");
  EXPECT_THAT(linesOf(text, "product"),
              testing::ElementsAre("feature.node.kubernetes.io/gpuprobe.opengl.0.product="
                                   "TM-M-ller-GPU-2-GHz-x86_64"));
  for (const std::string& name : {umlauts, std::string(62, 'a') + "(b)", std::string(1 << 20, '.'),
                                  std::string("\0x", 2), std::string(62, 'a') + "\xc3\xbc"}) {
    for (const std::string& line :
         linesOf(Labels(inspectionOf(name), "gpu.example.com/"), "^[^#]")) {
      EXPECT_TRUE(
          std::regex_match(line, std::regex("gpu\\.example\\.com/gpuprobe(\\.[a-z0-9-]+)+="
                                            "[A-Za-z0-9]([A-Za-z0-9._-]{0,61}[A-Za-z0-9])?")))
          << line;
    }
  }
}

TEST(Labels, TellWhatIsKnown) {
  const std::string text = Labels(inspectionOf("x"), "");
  for (const char* line :
       {"gpuprobe.status=crashed", "gpuprobe.opengl.count=2", "gpuprobe.opengl.version.major=4",
        "gpuprobe.opengl.version.minor=1", "gpuprobe.opengl.0.vendor-id=0x10de",
        "gpuprobe.opengl.0.memory-mib=2048", "gpuprobe.opengl.1.type=integrated"}) {
    EXPECT_THAT(text, HasSubstr('\n' + std::string(line) + '\n'));
  }
  // How many OpenCL has, the driver took with it; a machine without has none.
  EXPECT_THAT(text, Not(HasSubstr("opencl.count")));
  EXPECT_THAT(Labels({}), HasSubstr("gpuprobe.opencl.count=0\n"));
}

TEST(Html, TextsStayTexts) {
  const host::Inspection inspection =
      inspectionOf("<script>\"'&amp;</style>\n\xff\xed\xa0\x80" + std::string(1 << 20, 'x'));
  const std::string page = Html(inspection);
  EXPECT_THAT(page, HasSubstr("<bdi>&lt;script&gt;&quot;&#39;&amp;amp;&lt;/style&gt;\xef\xbf\xbd"));
  EXPECT_THAT(page, Not(HasSubstr("<script")));
  EXPECT_EQ(page, host::ValidUtf8(page));
  EXPECT_LT(page.size(), 40000U);
}

}  // namespace
}  // namespace gpureport
