#include "tests/support/FakeGL.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <type_traits>

#include "zor/core/Exceptions.h"
#include "zor/ogl/GLEntryPoints.h"

using ZOR::Core::EntryPoint;

FakeGL* FakeGL::active = nullptr;

namespace {

class FakeContext : public ZOR::OGL::NativeContext {
 public:
  explicit FakeContext(FakeGL& gl) : fGL(gl) { ++fGL.contextsAlive; }
  ~FakeContext() override {
    --fGL.contextsAlive;
    if (fGL.current == this) fGL.current = nullptr;
  }
  void makeCurrent() override { fGL.current = this; }
  std::string driverName() const override { return "fake"; }

 private:
  FakeGL& fGL;
};

template <class T>
std::string argumentText(T value) {
  std::ostringstream text;
  if constexpr (std::is_same_v<T, const GLfloat*>)  // a colour
    text << value[0] << ' ' << value[1] << ' ' << value[2] << ' ' << value[3];
  else if constexpr (std::is_pointer_v<T>)
    text << (value ? "ptr" : "null");
  else if constexpr (std::is_floating_point_v<T>)
    text << std::showpoint << std::setprecision(4) << value;
  else
    text << +value;
  return text.str();
}

template <class... Arguments>
std::string argumentsText(Arguments... arguments) {
  std::string text;
  ((text += (text.empty() ? "" : ", ") + argumentText(arguments)), ...);
  return text;
}

void giveName(GLsizei, GLuint* names) {
  *names = FakeGL::active->nextName++;
}
template <class... Arguments>
void giveName(Arguments...) {}

/// One recording function per entry point. Those that make objects give new names, as a result or
/// through the pointer.
template <int Index, class Function>
struct Recorder;
template <int Index, class Result, class... Arguments>
struct Recorder<Index, Result (*)(Arguments...)> {
  static const char* fName;
  static Result APIENTRY call(Arguments... arguments) {
    FakeGL::active->record(fName, argumentsText(arguments...));
    giveName(arguments...);
    if constexpr (std::is_integral_v<Result>)
      return Result(FakeGL::active->nextName++);
    else
      return Result();
  }
};
template <int Index, class Result, class... Arguments>
const char* Recorder<Index, Result (*)(Arguments...)>::fName = nullptr;

void APIENTRY getIntegerv(GLenum name, GLint* out) {
  FakeGL& gl = *FakeGL::active;
  gl.record("glGetIntegerv", argumentsText(name));
  if (name == GL_NUM_EXTENSIONS) *out = static_cast<GLint>(gl.extensions.size());
  if (gl.integers.count(name)) *out = gl.integers[name];
}

void APIENTRY getProgramivARB(GLenum target, GLenum name, GLint* out) {
  FakeGL::active->record("glGetProgramivARB", argumentsText(target, name));
  if (FakeGL::active->integers.count(name)) *out = FakeGL::active->integers[name];
}

const GLubyte* APIENTRY getString(GLenum name) {
  FakeGL& gl = *FakeGL::active;
  gl.record("glGetString", argumentsText(name));
  if (name == GL_EXTENSIONS) {
    std::string& joined = gl.strings[name];
    joined.clear();
    for (const std::string& extension : gl.extensions) joined += extension + ' ';
  }
  if (name == GL_VERSION) gl.strings[name] = gl.version;
  const auto found = gl.strings.find(name);
  return found == gl.strings.end() ? nullptr
                                   : reinterpret_cast<const GLubyte*>(found->second.c_str());
}

const GLubyte* APIENTRY getStringi(GLenum name, GLuint index) {
  FakeGL::active->record("glGetStringi", argumentsText(name, index));
  return reinterpret_cast<const GLubyte*>(FakeGL::active->extensions[index].c_str());
}

GLenum APIENTRY getError() {
  FakeGL::active->record("glGetError", "");
  return std::exchange(FakeGL::active->pendingError, static_cast<GLenum>(GL_NO_ERROR));
}

void APIENTRY shaderSource(GLuint shader, GLsizei count, const GLchar* const* texts,
                           const GLint* lengths) {
  FakeGL::active->record("glShaderSource", argumentsText(shader, count, lengths));
  for (GLsizei i = 0; i < count; ++i) FakeGL::active->sources += texts[i];
  FakeGL::active->sources += '\n';
}

GLint objectValue(GLenum name) {
  const FakeGL& gl = *FakeGL::active;
  switch (name) {
    case GL_COMPILE_STATUS:
      return gl.shaderStatus;
    case GL_LINK_STATUS:
      return gl.linkStatus;
    default:
      return static_cast<GLint>(gl.informationLog.size() + 1);
  }
}

void APIENTRY getObjectiv(GLuint, GLenum name, GLint* out) {
  *out = objectValue(name);
}

void APIENTRY getObjectLog(GLuint, GLsizei size, GLsizei* length, GLchar* out) {
  const std::string& log = FakeGL::active->informationLog;
  *length = static_cast<GLsizei>(log.copy(out, static_cast<size_t>(size)));
}

template <class Function>
EntryPoint address(Function* function) {
  return reinterpret_cast<EntryPoint>(function);
}

std::map<std::string, EntryPoint> makeTable() {
  std::map<std::string, EntryPoint> table;
  enum Index {
#define FAKE_INDEX(name) kIndex_##name,
    ZOR_GL_ENTRY_POINTS(FAKE_INDEX)
#undef FAKE_INDEX
  };
#define FAKE_ENTRY(name)                                     \
  Recorder<kIndex_##name, decltype(&::name)>::fName = #name; \
  table[#name] = address(&Recorder<kIndex_##name, decltype(&::name)>::call);
  ZOR_GL_ENTRY_POINTS(FAKE_ENTRY)
#undef FAKE_ENTRY
  table["glGetIntegerv"] = address(&getIntegerv);
  table["glGetProgramivARB"] = address(&getProgramivARB);
  table["glGetString"] = address(&getString);
  table["glGetStringi"] = address(&getStringi);
  table["glGetError"] = address(&getError);
  table["glShaderSource"] = address(&shaderSource);
  table["glGetShaderiv"] = table["glGetProgramiv"] = address(&getObjectiv);
  table["glGetShaderInfoLog"] = table["glGetProgramInfoLog"] = address(&getObjectLog);
  return table;
}

}  // namespace

FakeGL::FakeGL() {
  active = this;
  Replace(this);
}

FakeGL::~FakeGL() {
  Replace(nullptr);
  active = nullptr;
}

void FakeGL::initialize() {
  if (!initializeError.empty()) throw ZOR::LogicalException(initializeError);
}

ZOR::OGL::DisplayDeviceKey FakeGL::primaryDisplayDevice() {
  if (devices.empty()) throw ZOR::LogicalException("no device");
  return devices.front();
}

std::unique_ptr<ZOR::OGL::NativeContext> FakeGL::createContext(
    const ZOR::OGL::DisplayDeviceKey& key) {
  const auto failing = failingDevices.find(key.deviceName);
  if (failing != failingDevices.end()) throw ZOR::LogicalException(failing->second);
  return std::make_unique<FakeContext>(*this);
}

std::function<void()> FakeGL::saveCurrent() {
  return [this, saved = current] { current = saved; };
}

EntryPoint FakeGL::entryPoint(const char* name) {
  if (std::count(lacking.begin(), lacking.end(), name)) return nullptr;
  static const std::map<std::string, EntryPoint> table = makeTable();
  return table.at(name);
}

void FakeGL::record(const std::string& name, const std::string& arguments) {
  calls.push_back(name + '(' + arguments + ')');
  if (errorAfter.count(name) && pendingError == GL_NO_ERROR) pendingError = errorAfter[name];
}
