// The built probe, on both systems, with OpenCL's fault layer below it: see with_opencl in ./test.
#include <gmock/gmock.h>

#include <cstdlib>

#include "host/Inspect.h"

namespace {

using namespace testing;
using namespace host;

TEST(HostProbe, LosesOneQuestionToOneDriver) {
  for (const auto& [fault, kind, reason] :
       {std::tuple("clBuildProgram:1:crash", Incident::Kind::Crashed, Reason::Crashed),
        {"clBuildProgram:1:sleep=60000", Incident::Kind::Hung, Reason::Hung}}) {
    Options options;
    options.probe = std::getenv("GPUPROBE");
    options.deadline = nkutil::Milliseconds{60000};
    options.environment = {{"GPUPROBE_FAULT", fault}, {"POCL_DEVICES", "pthread"}};
    const Inspection result = Inspect(nkutil::systemLauncher(), options);
    ASSERT_EQ(result.incidents.size(), 1U) << fault << result.startError;
    const Incident& incident = result.incidents[0];
    EXPECT_EQ(incident.kind, kind);
    EXPECT_EQ(incident.question, "CLCompute");
    EXPECT_NE(incident.evidence, Incident::Evidence::None);
    ASSERT_EQ(result.openCL.gpus.size(), 1U);
    const std::vector<Answer>& answers = result.openCL.gpus[0].answers;
    EXPECT_EQ(answers.back(), Answer(reason));
    // The one before it is a measurement, cut short.
    for (std::size_t i = 0; i + 2 < answers.size(); ++i)
      EXPECT_NE(answers[i], Answer(Reason::NotReached)) << i;
    EXPECT_EQ(result.attempts, 1);
    std::printf("%s: %s %s\n", fault, incident.library.value_or("?").c_str(),
                name(incident.evidence));
  }
}

}  // namespace
