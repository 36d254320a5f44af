#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "gpu/GPU.h"

class GPUSnifferTester;

/// A GPU and the name by which the report speaks of it, for example "glgpu[0]".
using TaggedGPU = std::pair<std::string, boost::shared_ptr<GPU>>;
using TaggedGPUList = std::vector<TaggedGPU>;

/// The record as the kind that a question needs. No record, or one of another kind, fails the
/// assertion "px != 0". Valid as long as the tagged GPU.
template <class Kind>
Kind& RecordOf(const TaggedGPU& gpu) {
  return *boost::dynamic_pointer_cast<Kind>(gpu.second);
}

/// One question that a tester can ask any GPU of a list.
class GPUTest {
 public:
  virtual ~GPUTest() = default;
  /// Asks the question. Lets every exception of it through: the tester counts them.
  virtual void run(GPUSnifferTester& tester, const TaggedGPU& gpu) const = 0;
};

/// A named question of a tester, bound to the kind of GPU it is for.
template <class Tester, class Kind>
class TestFunc : public GPUTest {
 public:
  using Question = void (Tester::*)(std::string tag, Kind& gpu);

  explicit TestFunc(Question question) : fQuestion(question) {}

  void run(GPUSnifferTester& tester, const TaggedGPU& gpu) const override {
    // A tester of another class is a programming error: std::bad_cast.
    (dynamic_cast<Tester&>(tester).*fQuestion)(gpu.first, RecordOf<Kind>(gpu));
  }

 private:
  Question fQuestion;
};

/// glGetString of the one text that the named questions leave out.
class GLStringTest : public GPUTest {
 public:
  void run(GPUSnifferTester& tester, const TaggedGPU& gpu) const override;

 private:
  const char* fName = "GL_SHADING_LANGUAGE_VERSION";
  uint32_t fEnumerant = 0x8B8C;
};

/// glGetIntegerv of one limit.
class IntegervTest : public GPUTest {
 public:
  IntegervTest(const char* name, int32_t enumerant) : fName(name), fEnumerant(enumerant) {}
  void run(GPUSnifferTester& tester, const TaggedGPU& gpu) const override;

 private:
  const char* fName;
  int32_t fEnumerant;
  /// Values that the answer lists.
  uint64_t fCount = 1;
};

/// glGetProgramivARB of the fragment program target.
class ProgramvTest : public GPUTest {
 public:
  void run(GPUSnifferTester& tester, const TaggedGPU& gpu) const override;

 private:
  const char* fName = "GL_MAX_PROGRAM_INSTRUCTIONS_ARB";
  int32_t fEnumerant = 0x88A1;
  uint64_t fCount = 1;
};

/// Extension support, by the GPU library's own extension number.
class ExtensionTest : public GPUTest {
 public:
  ExtensionTest(const char* name, uint32_t extension) : fName(name), fExtension(extension) {}
  void run(GPUSnifferTester& tester, const TaggedGPU& gpu) const override;

 private:
  const char* fName;
  uint32_t fExtension;
};
