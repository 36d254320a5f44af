#pragma once

#include <map>
#include <string>
#include <vector>

#include "zor/ogl/Backend.h"
#include "zor/ogl/Context.h"
#include "zor/ogl/OpenGLInterceptor.h"

/// An OpenGL binding whose driver is the test: it records every GL call with its arguments, and
/// answers, fails and lacks what the test sets. In place of the system's for its own lifetime;
/// one at a time.
class FakeGL : public ZOR::OGL::Backend {
 public:
  FakeGL();
  ~FakeGL() override;

  // What the driver is like.
  std::vector<ZOR::OGL::DisplayDeviceKey> devices{{"/dev/dri/card0", "Board X", "0"}};
  std::map<std::string, std::string> failingDevices;  // device name -> text of the exception
  std::function<void()> onContext = [] {};            // called before a context is made
  std::string version = "4.5 (Compatibility Profile) Fake 1.0";
  std::vector<std::string> extensions;
  std::map<GLenum, std::string> strings;
  std::map<GLenum, GLint> integers;
  std::map<std::string, GLenum> errorAfter;  // function -> error that it leaves pending
  std::vector<std::string> lacking;          // functions without an address
  GLenum pendingError = GL_NO_ERROR;
  GLuint nextName = 1;
  GLint shaderStatus = GL_TRUE;
  GLint linkStatus = GL_TRUE;
  std::string informationLog;

  // What was done.
  std::vector<std::string> calls;  // "glEnable(2912)", from the end of loading on
  std::string sources;             // all shader texts, joined as a driver does, one a line
  int contextsAlive = 0;
  const void* current = nullptr;

  void initialize() override {}
  std::vector<ZOR::OGL::DisplayDeviceKey> displayDevices() override { return devices; }
  ZOR::OGL::DisplayDeviceKey primaryDisplayDevice() override;
  std::unique_ptr<ZOR::OGL::NativeContext> createContext(
      const ZOR::OGL::DisplayDeviceKey& key) override;
  std::function<void()> saveCurrent() override;
  ZOR::Core::EntryPoint entryPoint(const char* name) override;

  static FakeGL* active;
};
