// The built probe on either system, with OpenCL's fault layer below it. The fault (clBuildProgram
// sleeps) is the suite's, since Wine hands a child's environment to Windows programs alone.
#include <gmock/gmock.h>

#include <cstdlib>

#include "host/Inspect.h"

namespace {

using namespace testing;
using namespace host;

TEST(HostProbe, LosesOneQuestionOfEachGpu) {
  Options options;
  options.probe = std::getenv("GPUPROBE");
  options.deadline = nkutil::Milliseconds{60000};
  const Inspection result = Inspect(nkutil::systemLauncher(), options);
  EXPECT_EQ(result.status, Status::Hung) << result.startError;
  ASSERT_EQ(result.openCL.gpus.size(), 2U);
  ASSERT_EQ(result.incidents.size(), 2U);
  for (std::size_t gpu = 0; gpu < 2; ++gpu) {
    const Incident& incident = result.incidents[gpu];
    EXPECT_EQ(incident.gpu, result.openCL.gpus[gpu].tag());
    EXPECT_EQ(incident.question, "CLCompute");
    EXPECT_EQ(incident.kind, Incident::Kind::Hung);
    EXPECT_NEAR(incident.seconds, 10, 3);
    const std::vector<Answer>& answers = result.openCL.gpus[gpu].answers;
    EXPECT_EQ(answers.back(), Answer(Reason::Hung));
    EXPECT_THAT(answers, Not(Contains(Answer(Reason::NotReached))));
  }
}

}  // namespace
