#include <gtest/gtest.h>

#include "tests/e2e/Probe.h"

namespace {

/// What a run that fails on purpose writes, worked out from the lines of one that does not.
struct Model {
  bool once;       // else from that step on
  unsigned after;  // steps
  Lines out = {};
  Lines err = {};
  unsigned steps = 0;

  void run(const Lines& report) {
    for (const std::string& line : report) {
      const bool first = line.rfind("Tester=", 0) == 0;
      if (first && stepFails()) return;
      out.push_back(line);
      const bool stepless =
          first || line.rfind("gputag.", 0) == 0 || line.find(".glGetString[") != std::string::npos;
      const bool question = line.find("gpu[") != std::string::npos;
      if (!stepless && stepFails() && !question) return;
    }
    stepFails();
  }

  bool stepFails() {
    const unsigned taken = steps++;
    if (once ? taken != after : taken < after) return false;
    err.emplace_back(once ? "exception: Programmed throw" : "exception: programmed failure");
    return true;
  }
};

struct Option {
  const char* name;
  bool once;
  int code;  // asked for by -exit=
};

class Sweep : public testing::TestWithParam<Option> {};

TEST_P(Sweep, FailsAtTheStepAskedFor) {
  const auto [name, once, code] = GetParam();
  const std::string option = "-" + std::string(name) + "=", exit = "-exit=" + std::to_string(code);
  Model healthy{once, ~0U};
  healthy.run(PlainReport());
  ASSERT_GE(healthy.steps, 35U);
  // Every one is taken over fake GPUs; every third reaches each kind of step over real ones.
  for (unsigned after = 0; after <= healthy.steps + 1; after += 3) {
    const Outcome outcome = RunProbe({{exit, option + std::to_string(after)}});
    Model model{once, after};
    model.run(PlainReport());
    EXPECT_EQ(outcome.out, model.out) << option << after;
    EXPECT_EQ(outcome.err, model.err) << option << after;
    EXPECT_EQ(outcome.code, model.err.empty() ? code : 2) << option << after;
  }
}

INSTANTIATE_TEST_SUITE_P(EveryStep, Sweep,
                         testing::Values(Option{"throwAfter", true, 7},
                                         Option{"crashAfter", false, 0}),
                         nameOf);

}  // namespace
