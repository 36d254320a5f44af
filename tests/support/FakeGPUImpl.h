#pragma once

#include <functional>
#include <map>
#include <string>

#include "gpu/GPU.h"

/// What the test build's MakeGPUImpl() finds. Tests reset it.
struct FakeMachine {
  unsigned gl = 0;
  unsigned cl = 0;
  unsigned native = 0;
  /// Answers by operation. Else a text is the GPU's tag, a blank and the operation; a number is 0.
  std::map<std::string, std::string> texts;
  std::map<std::string, double> numbers;
  /// Makes the implementations in place of FakeGPUImpl.
  std::function<boost::shared_ptr<GPUImpl>()> make;
  /// Called before each answer with the GPU's tag (empty for the lists) and the operation; may
  /// throw.
  std::function<void(const std::string& gpu, const std::string& operation)> onQuestion;
};

inline FakeMachine fakeMachine;

/// Answers every question from fakeMachine. A GL name's integer is the name (and the target), an
/// extension is supported when its number is odd, and an empty driver text is null.
class FakeGPUImpl : public GPUImpl {
 public:
  explicit FakeGPUImpl(const std::string& tag = "") : fTag(tag) {}

  GPUList DoGetGPUs() override { return List<GLGPU>(__func__, "glgpu", fakeMachine.gl); }
  GPUList DoGetCLGPUs() override { return List<CLGPU>(__func__, "clgpu", fakeMachine.cl); }
  GPUList DoGetNativeGPUs() override {
    return List<NativeGPU>(__func__, "nativegpu", fakeMachine.native);
  }
  const char* DoGLGetString(unsigned) override {
    fDriverText = Answer(__func__, fDriverText);
    return fDriverText.empty() ? nullptr : fDriverText.c_str();
  }
  void DoGLGetIntegerv(unsigned name, int* out) override { *out = Echo(__func__, name); }
  void DoGLGetProgramivARB(unsigned target, unsigned code, int* out) override {
    *out = Echo(__func__, target + code);
  }
  bool DoGLIsExtensionSupported(unsigned number) override { return Echo(__func__, number) % 2; }

  using Text = std::string;
  // clang-format off
#define FAKE(Value, name) Value name() override { return Answer(#name, Value()); }
  FAKE(Text, DoGetGLVersion) FAKE(Text, DoGetGLName) FAKE(Text, DoGetGLVendor)
  FAKE(Text, DoGetGLDriverVersion) FAKE(Text, DoGetGLRenderer) FAKE(Text, DoGetGLDriver)
  FAKE(Text, DoGetGLDriverDate) FAKE(Text, DoGetGLCaption) FAKE(Text, DoGetCLPlatformVersion)
  FAKE(Text, DoGetCLName) FAKE(Text, DoGetCLVendor) FAKE(Text, DoGetCLDriverVersion)
  FAKE(Text, DoGetCUDAVersion) FAKE(Text, DoGetCLDeviceVersion) FAKE(Text, DoGetNativeName)
  FAKE(unsigned, DoGetGLMemoryMB) FAKE(unsigned, DoGetGLVendorID)
  FAKE(unsigned, DoGetGLRectTextureSize) FAKE(unsigned, DoGetGLRendererID)
  FAKE(unsigned, DoGetCLMemoryMB) FAKE(unsigned, DoGetCLVendorID) FAKE(bool, DoHasGLNPOTSupport)
  FAKE(bool, DoCompileProgramGLSL) FAKE(bool, DoGLFramebufferOK) FAKE(bool, DoIsIntegratedGLGPU)
  FAKE(bool, DoIsCUDASupported) FAKE(bool, DoIsIntegratedCLGPU) FAKE(double, DoGetCLBandwidth)
  FAKE(double, DoGetCLCompute) FAKE(double, DoGetCLComputeScore)
#undef FAKE
  std::string fTag;
  // clang-format on

 private:
  int Echo(const char* operation, unsigned number) const {
    if (fakeMachine.onQuestion) fakeMachine.onQuestion(fTag, operation);
    return static_cast<int>(number);
  }
  std::string Answer(const char* operation, const std::string&) const {
    Echo(operation, 0);
    const auto text = fakeMachine.texts.find(operation);
    return text == fakeMachine.texts.end() ? fTag + " " + operation : text->second;
  }
  template <class Value>
  Value Answer(const char* operation, Value) const {
    Echo(operation, 0);
    return static_cast<Value>(fakeMachine.numbers[operation]);
  }
  template <class Kind>
  GPUList List(const char* operation, const std::string& word, unsigned count) const {
    Echo(operation, 0);
    GPUList list;
    while (list.size() < count) {
      const std::string tag = word + "[" + std::to_string(list.size()) + "]";
      list.emplace_back(new Kind(boost::shared_ptr<GPUImpl>(new FakeGPUImpl(tag))));
    }
    return list;
  }

  std::string fDriverText;
};
