#include "tests/support/FakeGL.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <type_traits>
#include <utility>

#include "zor/core/Exceptions.h"

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
std::string textOf(T value) {
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

// What a call does is known by its arguments; most do nothing but to be recorded.

template <class... Arguments>
void act(Arguments...) {}

void act(GLsizei, GLuint* names) {
  *names = FakeGL::active->nextName++;
}

void act(GLenum name, GLint* out) {
  FakeGL& gl = *FakeGL::active;
  if (name == GL_NUM_EXTENSIONS) gl.integers[name] = static_cast<GLint>(gl.extensions.size());
  // ATI_meminfo's queries have four figures.
  const int figures = name >= 0x87FB && name <= 0x87FD ? 4 : 1;
  if (gl.integers.count(name)) std::fill_n(out, figures, gl.integers[name]);
}

void act(GLuint, GLenum name, GLint* out) {
  FakeGL& gl = *FakeGL::active;
  gl.integers[GL_COMPILE_STATUS] = gl.shaderStatus;
  gl.integers[GL_LINK_STATUS] = gl.linkStatus;
  gl.integers[GL_INFO_LOG_LENGTH] = static_cast<GLint>(gl.informationLog.size() + 1);
  act(name, out);
}

void act(GLuint, GLsizei size, GLsizei* length, GLchar* out) {
  *length =
      static_cast<GLsizei>(FakeGL::active->informationLog.copy(out, static_cast<size_t>(size)));
}

void act(GLuint, GLsizei count, const GLchar* const* texts, const GLint*) {
  for (GLsizei i = 0; i < count; ++i) FakeGL::active->sources += texts[i];
  FakeGL::active->sources += '\n';
}

const GLubyte* stringOf(GLenum name) {
  FakeGL& gl = *FakeGL::active;
  gl.strings[GL_VERSION] = gl.version;
  gl.strings[GL_EXTENSIONS].clear();
  for (const std::string& extension : gl.extensions) gl.strings[GL_EXTENSIONS] += extension + ' ';
  const auto found = gl.strings.find(name);
  return found == gl.strings.end() ? nullptr
                                   : reinterpret_cast<const GLubyte*>(found->second.c_str());
}

const GLubyte* stringOf(GLenum, GLuint index) {
  return reinterpret_cast<const GLubyte*>(FakeGL::active->extensions[index].c_str());
}

template <class Function>
struct Fake;

template <class Result, class... Arguments>
struct Fake<Result (*)(Arguments...)> {
  template <const char* const& Name>
  static Result APIENTRY call(Arguments... arguments) {
    FakeGL& gl = *FakeGL::active;
    std::string text;
    ((text += (text.empty() ? "" : ", ") + textOf(arguments)), ...);
    gl.calls.push_back(std::string(Name) + '(' + text + ')');
    act(arguments...);
    const auto error = gl.errorAfter.find(Name);
    if (error != gl.errorAfter.end() && gl.pendingError == GL_NO_ERROR)
      gl.pendingError = error->second;
    if constexpr (std::is_same_v<Result, const GLubyte*>)
      return stringOf(arguments...);
    else if constexpr (std::is_integral_v<Result>)
      return std::string(Name) == "glGetError" ? std::exchange(gl.pendingError, 0U) : gl.nextName++;
  }
};

#define FAKE_NAME(name) constexpr const char* const name##Name = #name;
ZOR_GL_ENTRY_POINTS(FAKE_NAME)

}  // namespace

FakeGL::FakeGL() {
  active = this;
  Replace(this);
}

FakeGL::~FakeGL() {
  Replace(nullptr);
  active = nullptr;
}

ZOR::OGL::DisplayDeviceKey FakeGL::primaryDisplayDevice() {
  if (devices.empty()) throw ZOR::LogicalException("no device");
  return devices.front();
}

std::unique_ptr<ZOR::OGL::NativeContext> FakeGL::createContext(
    const ZOR::OGL::DisplayDeviceKey& key) {
  onContext();
  const auto failing = failingDevices.find(key.deviceName);
  if (failing != failingDevices.end()) throw ZOR::LogicalException(failing->second);
  return std::make_unique<FakeContext>(*this);
}

std::function<void()> FakeGL::saveCurrent() {
  return [this, saved = current] { current = saved; };
}

EntryPoint FakeGL::entryPoint(const char* name) {
  if (std::count(lacking.begin(), lacking.end(), name)) return nullptr;
#define FAKE_ENTRY(function) \
  {#function, reinterpret_cast<EntryPoint>(&Fake<decltype(&::function)>::call<function##Name>)},
  static const std::map<std::string, EntryPoint> table = {ZOR_GL_ENTRY_POINTS(FAKE_ENTRY)};
  return table.at(name);
}
