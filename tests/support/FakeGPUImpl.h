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
  std::string DoGetGLVersion() override { return Text(__func__); }
  unsigned DoGetGLMemoryMB() override { return Number<unsigned>(__func__); }
  std::string DoGetGLName() override { return Text(__func__); }
  std::string DoGetGLVendor() override { return Text(__func__); }
  unsigned DoGetGLVendorID() override { return Number<unsigned>(__func__); }
  std::string DoGetGLDriverVersion() override { return Text(__func__); }
  unsigned DoGetGLRectTextureSize() override { return Number<unsigned>(__func__); }
  std::string DoGetGLRenderer() override { return Text(__func__); }
  unsigned DoGetGLRendererID() override { return Number<unsigned>(__func__); }
  bool DoHasGLNPOTSupport() override { return Number<bool>(__func__); }
  std::string DoGetGLDriver() override { return Text(__func__); }
  std::string DoGetGLDriverDate() override { return Text(__func__); }
  std::string DoGetGLCaption() override { return Text(__func__); }
  bool DoCompileProgramGLSL() override { return Number<bool>(__func__); }
  bool DoGLFramebufferOK() override { return Number<bool>(__func__); }
  const char* DoGLGetString(unsigned) override {
    fDriverText = Text(__func__);
    return fDriverText.empty() ? nullptr : fDriverText.c_str();
  }
  void DoGLGetIntegerv(unsigned name, int* out) override { *out = Echo(__func__, name); }
  void DoGLGetProgramivARB(unsigned target, unsigned code, int* out) override {
    *out = Echo(__func__, target + code);
  }
  bool DoGLIsExtensionSupported(unsigned number) override { return Echo(__func__, number) % 2; }
  bool DoIsIntegratedGLGPU() override { return Number<bool>(__func__); }
  GPUList DoGetCLGPUs() override { return List<CLGPU>(__func__, "clgpu", fakeMachine.cl); }
  std::string DoGetCLPlatformVersion() override { return Text(__func__); }
  unsigned DoGetCLMemoryMB() override { return Number<unsigned>(__func__); }
  std::string DoGetCLName() override { return Text(__func__); }
  std::string DoGetCLVendor() override { return Text(__func__); }
  unsigned DoGetCLVendorID() override { return Number<unsigned>(__func__); }
  std::string DoGetCLDriverVersion() override { return Text(__func__); }
  bool DoIsCUDASupported() override { return Number<bool>(__func__); }
  std::string DoGetCUDAVersion() override { return Text(__func__); }
  double DoGetCLBandwidth() override { return Number<double>(__func__); }
  double DoGetCLCompute() override { return Number<double>(__func__); }
  double DoGetCLComputeScore() override { return Number<double>(__func__); }
  std::string DoGetCLDeviceVersion() override { return Text(__func__); }
  bool DoIsIntegratedCLGPU() override { return Number<bool>(__func__); }
  GPUList DoGetNativeGPUs() override {
    return List<NativeGPU>(__func__, "nativegpu", fakeMachine.native);
  }
  std::string DoGetNativeName() override { return Text(__func__); }

 private:
  void Ask(const char* operation) const {
    if (fakeMachine.onQuestion) fakeMachine.onQuestion(fTag, operation);
  }
  std::string Text(const char* operation) const {
    Ask(operation);
    const auto text = fakeMachine.texts.find(operation);
    return text == fakeMachine.texts.end() ? fTag + " " + operation : text->second;
  }
  template <class Value>
  Value Number(const char* operation) const {
    Ask(operation);
    return static_cast<Value>(fakeMachine.numbers[operation]);
  }
  int Echo(const char* operation, unsigned number) const {
    Ask(operation);
    return static_cast<int>(number);
  }
  template <class Kind>
  GPUList List(const char* operation, const std::string& word, unsigned count) const {
    Ask(operation);
    GPUList list;
    while (list.size() < count) {
      const std::string tag = word + "[" + std::to_string(list.size()) + "]";
      list.emplace_back(new Kind(boost::shared_ptr<GPUImpl>(new FakeGPUImpl(tag))));
    }
    return list;
  }

  std::string fTag;
  std::string fDriverText;
};
