#pragma once

#include <cstdint>
#include <string>

#include "app/GPUSnifferApp.h"
#include "app/GPUTests.h"
#include "app/ReportLine.h"
#include "gpu/HostSwitches.h"

/// Takes the probing steps in their fixed order and writes each answer as one report line of its
/// host. Every step is counted and may fail on purpose. The virtual operations keep their slot
/// order, which is not the order in which the report asks.
class GPUSnifferTester : public GPUSnifferAppAndHost {
 public:
  /// The host outlives the tester.
  explicit GPUSnifferTester(GPUSnifferApp& host) : fHost(host) {}
  ~GPUSnifferTester() override;
  GPUSnifferTester(const GPUSnifferTester&) = delete;
  GPUSnifferTester& operator=(const GPUSnifferTester&) = delete;

  /// Nothing here; for testers that name themselves.
  virtual void DoRunTesterName();
  // The library's stages: a failure is reported as 0, logged, and goes no further.
  virtual void DoRunZORCoreInitialize();
  virtual void DoRunZOROGLInitialize();
  /// Makes a context on the primary display device and lets it go again.
  virtual void DoRunOGLContextCreated();
  /// Fetches the GPUs anew, writes their number and takes one step, as do the other lists.
  virtual void DoRunGLGPUs();
  virtual void DoRunGLTests();
  /// Takes no step and writes no line; a failure ends the run.
  virtual void DoRunZOROCLInitialize();
  virtual void DoRunCLGPUs();
  virtual void DoRunCLTests();
  virtual void DoRunNativeTests();
  virtual void DoRunNativeGPUs();

  /// Counts one step and returns the count, or throws the failure asked for.
  virtual uint32_t Step();
  /// The failure of -crashAfter=.
  virtual void Crash();
  /// Local time as "2026-11-14_17:48:53"; throws std::runtime_error when there is none.
  virtual std::string GetTimeString();
  /// Writes the time of a run-level event.
  virtual void DoRunEvent(const std::string& name);
  /// Applies the test to every GPU. What it throws is told to standard error and counted.
  virtual void RunTests(const TaggedGPUList& list, const GPUTest& test);

  // Each question writes one line, the answer under the operation's name without its "DoRun",
  // and takes one step. Identifiers are the PCI ones.
  virtual void DoRunGLVersion(std::string tag, GLGPU& gpu);
  virtual void DoRunGLName(std::string tag, GLGPU& gpu);
  virtual void DoRunIsIntegratedGLGPU(std::string tag, GLGPU& gpu);
  /// MiB; 0 when unknown, like the identifiers.
  virtual void DoRunGLMemoryMB(std::string tag, GLGPU& gpu);
  virtual void DoRunGLVendor(std::string tag, GLGPU& gpu);
  virtual void DoRunGLVendorID(std::string tag, GLGPU& gpu);
  virtual void DoRunGLDriverVersion(std::string tag, GLGPU& gpu);
  /// Texels a side.
  virtual void DoRunGLRectTextureSize(std::string tag, GLGPU& gpu);
  virtual void DoRunGLRenderer(std::string tag, GLGPU& gpu);
  virtual void DoRunGLRendererID(std::string tag, GLGPU& gpu);
  virtual void DoRunHasGLNPOTSupport(std::string tag, GLGPU& gpu);
  virtual void DoRunGLDriver(std::string tag, GLGPU& gpu);
  virtual void DoRunGLDriverDate(std::string tag, GLGPU& gpu);
  virtual void DoRunCanCompileProgramGLSL(std::string tag, GLGPU& gpu);
  virtual void DoRunGLFrameBufferOK(std::string tag, GLGPU& gpu);

  virtual void DoRunCLPlatformVersion(std::string tag, CLGPU& gpu);
  virtual void DoRunCLName(std::string tag, CLGPU& gpu);
  virtual void DoRunIsIntegratedCLGPU(std::string tag, CLGPU& gpu);
  /// MiB.
  virtual void DoRunCLMemoryMB(std::string tag, CLGPU& gpu);
  virtual void DoRunCLVendor(std::string tag, CLGPU& gpu);
  virtual void DoRunCLVendorID(std::string tag, CLGPU& gpu);
  virtual void DoRunCLDriverVersion(std::string tag, CLGPU& gpu);
  virtual void DoRunCUDASupported(std::string tag, CLGPU& gpu);
  virtual void DoRunCUDAVersion(std::string tag, CLGPU& gpu);
  /// Bytes per second. Waits first as long as the level of the channel "GPUSnifferOCLDelay" says,
  /// in seconds.
  virtual void DoRunCLBandwidth(std::string tag, CLGPU& gpu);
  virtual void DoRunCLDeviceVersion(std::string tag, CLGPU& gpu);

  virtual void DoRunNativeName(std::string tag, NativeGPU& gpu);

  // The questions about a GL name write first what number the name stands for.
  /// Takes no step, unlike every other question: hosts count on it.
  virtual void DoRunGLGetString(std::string tag, GLGPU& gpu, const char* name, uint32_t enumerant);
  virtual void DoRunGLGetIntegerv(std::string tag, GLGPU& gpu, const char* name, int32_t enumerant,
                                  uint64_t count);
  virtual void DoRunGLGetProgramivARB(std::string tag, GLGPU& gpu, const char* name,
                                      int32_t enumerant, uint64_t count);
  virtual void DoRunExtension(std::string tag, GLGPU& gpu, const char* name, uint32_t extension);

  /// The whole sequence. An exception outside the questions ends it.
  void Run();

  /// Steps before a programmed failure; all ones is never.
  void SetCrashAfter(uint32_t steps) { fCrashAfter = steps; }
  void SetThrowAfter(uint32_t steps) { fThrowAfter = steps; }
  /// Questions that failed.
  int32_t Failures() const { return fFailures; }

 protected:
  /// Every line of the report leaves here.
  template <class Value>
  void WriteLine(const std::string& key, const Value& value) {
    fHost.DoStdout(ReportLine(key, value));
  }

  /// Writes one answer and takes its step.
  template <class Value>
  void Answer(const std::string& key, const Value& value) {
    WriteLine(key, value);
    Step();
  }

  /// One question of one GPU: announced, asked and answered, or skipped, as the host wants it. A
  /// question that is skipped takes its step, too. `question` returns the answer and may write
  /// lines of its own before it.
  template <class Question>
  void Ask(const std::string& tag, const std::string& key, const Question& question) {
    AskWithoutStep(tag, key, question);
    Step();
  }
  template <class Question>
  void AskWithoutStep(const std::string& tag, const std::string& key, const Question& question) {
    if (ActiveSwitches().AdmitsQuestion(tag, key)) WriteLine(tag + "." + key, question());
  }

  bool fOCLAvailable = false;
  uint32_t fCrashAfter = 0xFFFFFFFF;
  uint32_t fStep = 0;
  uint32_t fThrowAfter = 0xFFFFFFFF;
  int32_t fFailures = 0;
  TaggedGPUList fGLGPUs;
  TaggedGPUList fCLGPUs;
  TaggedGPUList fNativeGPUs;
  GPUSnifferApp& fHost;

 private:
  /// Whether an API is to be asked at all; where it is not, the steps of its stages are taken.
  bool admitsAPI(const char* api, int stages);
  /// Does one stage's action and answers whether it went through.
  void initialize(const char* key, const char* failureText, void (*action)());
  /// Writes how many there are and gives each its tag.
  TaggedGPUList listGPUs(const char* key, const std::string& kind, const GPUList& gpus);
};
