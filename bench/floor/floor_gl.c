/* The probe's OpenGL report with nothing around it: the same EGL and GL calls in the same order and
 * number, made directly, and the raw answers as lines in the report's keys. The probe's wall time,
 * peak memory and values are held against it, so it shares no code with the probe. */
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "gpu.h"
#include "shader_texts.h"

enum { kMaxDevices = 64 };
static struct Gpu gpus[kMaxDevices];
static int gpuCount;
static int deviceCount;
static EGLDeviceEXT devices[kMaxDevices];
static PFNEGLQUERYDEVICESEXTPROC queryDevices;
static PFNEGLQUERYDEVICESTRINGEXTPROC queryDeviceString;
static PFNEGLGETPLATFORMDISPLAYEXTPROC getPlatformDisplay;
static PFNEGLGETDISPLAYDRIVERNAMEPROC getDriverName;

static void line(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  vprintf(format, arguments);
  va_end(arguments);
  putchar('\n');
  fflush(stdout);
}

static int hasWord(const char* list, const char* word) {
  const size_t length = strlen(word);
  for (const char* at = list; at && (at = strstr(at, word)); at += length)
    if ((at == list || at[-1] == ' ') && (at[length] == ' ' || at[length] == '\0')) return 1;
  return 0;
}

/* Devices and contexts */

static void describeDevices(void) {
  const char* client = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
  if (!hasWord(client, "EGL_EXT_platform_device") ||
      !queryDevices(kMaxDevices, devices, &deviceCount))
    return;
  for (int i = 0; i < deviceCount; ++i) {
    const char* extensions = queryDeviceString(devices[i], EGL_EXTENSIONS);
    const char* file = NULL;
    if (hasWord(extensions, "EGL_EXT_device_drm"))
      file = queryDeviceString(devices[i], EGL_DRM_DEVICE_FILE_EXT);
    if (!file && hasWord(extensions, "EGL_EXT_device_drm_render_node"))
      file = queryDeviceString(devices[i], EGL_DRM_RENDER_NODE_FILE_EXT);
    gpus[i].software = !file && hasWord(extensions, "EGL_MESA_device_software");
    if (hasWord(extensions, "EGL_EXT_device_query_name"))
      queryDeviceString(devices[i], EGL_RENDERER_EXT);
  }
}

static int createContext(struct Gpu* gpu, int device) {
  const EGLint wanted[] = {EGL_SURFACE_TYPE,
                           EGL_PBUFFER_BIT,
                           EGL_RENDERABLE_TYPE,
                           EGL_OPENGL_BIT,
                           EGL_RED_SIZE,
                           8,
                           EGL_GREEN_SIZE,
                           8,
                           EGL_BLUE_SIZE,
                           8,
                           EGL_NONE};
  const EGLint size[] = {EGL_WIDTH, 16, EGL_HEIGHT, 16, EGL_NONE};
  EGLConfig config;
  EGLint count = 0;
  if (device >= deviceCount) return 0;
  gpu->display = getPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[device], NULL);
  if (!eglInitialize(gpu->display, NULL, NULL) || !eglBindAPI(EGL_OPENGL_API) ||
      !eglChooseConfig(gpu->display, wanted, &config, 1, &count) || count == 0)
    return 0;
  gpu->context = eglCreateContext(gpu->display, config, EGL_NO_CONTEXT, NULL);
  if (!gpu->context) return 0;
  gpu->surface = eglCreatePbufferSurface(gpu->display, config, size);
  return gpu->surface != EGL_NO_SURFACE;
}

static void destroyContext(struct Gpu* gpu) {
  if (eglGetCurrentContext() == gpu->context)
    eglMakeCurrent(gpu->display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
  eglDestroyContext(gpu->display, gpu->context);
  eglDestroySurface(gpu->display, gpu->surface);
}

static void createContexts(void) {
  int made = 0, hardware = 0;
  for (int i = 0; i < deviceCount; ++i) {
    const int software = gpus[i].software;
    if (!createContext(&gpus[made], i)) continue;
    gpus[made++].software = software;
    hardware += !software;
  }
  for (int i = 0; i < made; ++i) {
    if (hardware > 0 && gpus[i].software) {
      destroyContext(&gpus[i]);
      continue;
    }
    gpus[gpuCount] = gpus[i];
    gpus[gpuCount].index = gpuCount;
    ++gpuCount;
  }
}

/* Per context: entry points and extension set, on first use */

static void load(struct Gpu* gpu) {
#define LOAD(entry) gpu->entry = (__typeof__(&entry))eglGetProcAddress(#entry);
  EACH_ENTRY(LOAD)
#undef LOAD
  sscanf((const char*)gpu->glGetString(GL_VERSION), "%d.%d", &gpu->major, &gpu->minor);
  if (gpu->major < 3) {
    gpu->joined = (const char*)gpu->glGetString(GL_EXTENSIONS);
  } else {
    gpu->glGetIntegerv(GL_NUM_EXTENSIONS, &gpu->names);
    gpu->name = calloc((size_t)gpu->names + 1, sizeof *gpu->name);
    for (int i = 0; gpu->name && i < gpu->names; ++i)
      gpu->name[i] = (const char*)gpu->glGetStringi(GL_EXTENSIONS, (GLuint)i);
  }
  gpu->loaded = 1;
}

static int has(const struct Gpu* gpu, const char* extension) {
  for (int i = 0; i < gpu->names; ++i)
    if (strcmp(gpu->name[i], extension) == 0) return 1;
  return hasWord(gpu->joined, extension);
}

/* Questions: each made current and restored for itself */

struct Question {
  void (*ask)(struct Gpu* gpu, const struct Question* question);
  const char* key;
  GLenum name;
};

static void askVersion(struct Gpu* gpu, const struct Question* question) {
  const int highest = gpu->major * 10 + gpu->minor < 41 ? gpu->major * 10 + gpu->minor : 41;
  line("glgpu[%d].%s=\"%d.%d\"", gpu->index, question->key, highest / 10, highest % 10);
}

static void askText(struct Gpu* gpu, const struct Question* question) {
  const char* text = (const char*)gpu->glGetString(question->name);
  if (gpu->glGetError() != GL_NO_ERROR) return;
  line("glgpu[%d].%s=\"%s\"", gpu->index, question->key, text ? text : "");
}

/* The driver's part of "4.5 (Compatibility Profile) Mesa 22.3.6". */
static void askDriverVersion(struct Gpu* gpu, const struct Question* question) {
  const char* text = (const char*)gpu->glGetString(GL_VERSION);
  if (gpu->glGetError() != GL_NO_ERROR) return;
  const char* at = strstr(text, "Profile) ");
  at = at ? at + strlen("Profile) ") : strchr(text, ' ') + 1;
  line("glgpu[%d].%s=\"%s\"", gpu->index, question->key, at);
}

static void askInteger(struct Gpu* gpu, const struct Question* question) {
  GLint value = 0;
  gpu->glGetIntegerv(question->name, &value);
  const int brackets = strchr(question->key, '[') != NULL;
  if (gpu->glGetError() != GL_NO_ERROR) return;
  line(brackets ? "glgpu[%d].%s=[%d]" : "glgpu[%d].%s=%d", gpu->index, question->key, value);
}

static void askProgramInteger(struct Gpu* gpu, const struct Question* question) {
  GLint value = 0;
  gpu->glGetProgramivARB(GL_FRAGMENT_PROGRAM_ARB, question->name, &value);
  if (gpu->glGetError() != GL_NO_ERROR) return;
  line("glgpu[%d].%s=[%d]", gpu->index, question->key, value);
}

static void askNPOT(struct Gpu* gpu, const struct Question* question) {
  line("glgpu[%d].%s=%d", gpu->index, question->key, has(gpu, "GL_ARB_texture_non_power_of_two"));
}

/* The report has the extension in capitals, GL has all but its two prefixes small. */
static void askExtension(struct Gpu* gpu, const struct Question* question) {
  char name[64];
  size_t length = 0;
  for (const char* at = question->key; *at; ++at, ++length)
    name[length] = (char)(length > 6 && *at >= 'A' && *at <= 'Z' ? *at - 'A' + 'a' : *at);
  name[length] = '\0';
  line("glgpu[%d].extension[ZOR::OGL::%s]=%d", gpu->index, question->key, has(gpu, name));
}

static int compile(struct Gpu* gpu, GLuint program, GLenum type, const char* text) {
  GLint compiled = 0;
  const GLuint shader = gpu->glCreateShader(type);
  gpu->glShaderSource(shader, 1, &text, NULL);
  gpu->glCompileShader(shader);
  gpu->glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
  if (compiled) gpu->glAttachShader(program, shader);
  gpu->glDeleteShader(shader);
  return compiled;
}

static void askGLSL(struct Gpu* gpu, const struct Question* question) {
  GLint linked = 0;
  if (gpu->major >= 2) {
    const GLuint program = gpu->glCreateProgram();
    if (compile(gpu, program, GL_VERTEX_SHADER, kVertexText) &&
        compile(gpu, program, GL_FRAGMENT_SHADER, kFragmentText)) {
      gpu->glLinkProgram(program);
      gpu->glGetProgramiv(program, GL_LINK_STATUS, &linked);
    }
    gpu->glDeleteProgram(program);
  }
  line("glgpu[%d].%s=%d", gpu->index, question->key, linked);
}

static void drawQuads(struct Gpu* gpu) {
  static const GLint first[][2] = {{0, 0}, {100, 0}, {100, 100}, {0, 100}};
  static const GLint second[][4] = {
      {100, 0, 100, 100}, {0, 0, 0, 100}, {0, 100, 0, 0}, {100, 100, 100, 0}};
  gpu->glBegin(GL_QUADS);
  for (int i = 0; i < 4; ++i) {
    gpu->glMultiTexCoord2i(GL_TEXTURE0, first[i][0], first[i][1]);
    gpu->glVertex3f((GLfloat)first[i][0], (GLfloat)first[i][1], 0.0F);
  }
  gpu->glEnd();
  gpu->glBegin(GL_QUADS);
  for (int i = 0; i < 4; ++i) {
    gpu->glTexCoord2i(second[i][0], second[i][1]);
    gpu->glVertex2i(second[i][2], second[i][3]);
  }
  gpu->glEnd();
}

static void draw(struct Gpu* gpu, __typeof__(&glBindFramebuffer) bindFramebuffer,
                 __typeof__(&glFramebufferTexture2D) attach, GLuint framebuffer, GLuint texture) {
  static const GLfloat fog[] = {255.0F, 255.0F, 255.0F, 255.0F};
  static const GLenum on[] = {GL_FOG, GL_AUTO_NORMAL, GL_NORMALIZE, GL_BLEND,
                              GL_TEXTURE_RECTANGLE_ARB};
  static const GLenum off[] = {GL_FOG, GL_LIGHTING, GL_TEXTURE_RECTANGLE_ARB};
  static const GLenum stacks[] = {GL_PROJECTION, GL_MODELVIEW};
  for (int i = 0; i < 2; ++i) {
    gpu->glMatrixMode(stacks[i]);
    gpu->glPushMatrix();
    gpu->glLoadIdentity();
  }
  for (int i = 1; i >= 0; --i) {
    gpu->glMatrixMode(stacks[i]);
    gpu->glPopMatrix();
  }
  gpu->glRotatef(10.0F, 0.0F, 0.0F, 0.0F);
  gpu->glTranslatef(0.0F, 0.0F, 0.0F);
  gpu->glColor4f(1.0F, 1.0F, 1.0F, 1.0F);
  gpu->glScalef(1.0F, 1.0F, 1.0F);
  bindFramebuffer(GL_FRAMEBUFFER, framebuffer);
  attach(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
  gpu->glClearColor(255.0F, 255.0F, 255.0F, 255.0F);
  gpu->glClear(GL_COLOR_BUFFER_BIT);
  gpu->glFogfv(GL_FOG_COLOR, fog);
  for (int i = 0; i < 5; ++i) gpu->glEnable(on[i]);
  gpu->glFogf(GL_FOG_START, 0.0F);
  gpu->glFogf(GL_FOG_END, 0.0F);
  gpu->glFogi(GL_FOG_MODE, GL_LINEAR);
  gpu->glHint(GL_FOG_HINT, GL_NICEST);
  gpu->glEnable(GL_BLEND);
  gpu->glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  gpu->glClearDepth(1.0);
  gpu->glViewport(0, 0, 100, 100);
  drawQuads(gpu);
  for (int i = 0; i < 3; ++i) gpu->glDisable(off[i]);
  bindFramebuffer(GL_FRAMEBUFFER, 0);
}

static void askFramebuffer(struct Gpu* gpu, const struct Question* question) {
  GLuint texture, framebuffer;
  const int core = gpu->major >= 3 || has(gpu, "GL_ARB_framebuffer_object");
  if (!core && !has(gpu, "GL_EXT_framebuffer_object")) return;
  gpu->glGenTextures(1, &texture);
  gpu->glBindTexture(GL_TEXTURE_2D, texture);
  gpu->glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
  gpu->glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 32, 32, 0, GL_RGBA, GL_UNSIGNED_BYTE, NULL);
  gpu->glBindTexture(GL_TEXTURE_2D, 0);
  (core ? gpu->glGenFramebuffers : gpu->glGenFramebuffersEXT)(1, &framebuffer);
  draw(gpu, core ? gpu->glBindFramebuffer : gpu->glBindFramebufferEXT,
       core ? gpu->glFramebufferTexture2D : gpu->glFramebufferTexture2DEXT, framebuffer, texture);
  const int ok = gpu->glGetError() == GL_NO_ERROR;
  (core ? gpu->glDeleteFramebuffers : gpu->glDeleteFramebuffersEXT)(1, &framebuffer);
  gpu->glDeleteTextures(1, &texture);
  line("glgpu[%d].%s=%d", gpu->index, question->key, ok);
}

static void askDriver(struct Gpu* gpu, const struct Question* question) {
  const char* name = getDriverName ? getDriverName(gpu->display) : NULL;
  line("glgpu[%d].%s=\"%s\"", gpu->index, question->key, name ? name : "");
}

static const struct Question questions[] = {
    {askVersion, "GLVersion", 0},
    {askText, "GLName", GL_RENDERER},
    {askText, "GLVendor", GL_VENDOR},
    {askDriverVersion, "GLDriverVersion", 0},
    {askInteger, "GLRectTextureSize", GL_MAX_RECTANGLE_TEXTURE_SIZE_ARB},
    {askText, "GLRenderer", GL_RENDERER},
    {askNPOT, "HasGLNPOTSupport", 0},
    {askDriver, "GLDriver", 0},
    {askGLSL, "CanCompileProgramGLSL", 0},
    {askFramebuffer, "GLFrameBufferOK", 0},
    {askText, "glGetString[GL_SHADING_LANGUAGE_VERSION]", GL_SHADING_LANGUAGE_VERSION},
    {askProgramInteger,
     "glGetProgramivARB[GL_FRAGMENT_PROGRAM_ARB][GL_MAX_PROGRAM_INSTRUCTIONS_ARB]",
     GL_MAX_PROGRAM_INSTRUCTIONS_ARB},
#define INTEGER(name) \
  { askInteger, "glGetIntegerv[" #name "]", name }
    INTEGER(GL_MAX_TEXTURE_UNITS),
    INTEGER(GL_MAX_COMBINED_TEXTURE_IMAGE_UNITS),
    INTEGER(GL_MAX_VERTEX_TEXTURE_IMAGE_UNITS),
    INTEGER(GL_MAX_TEXTURE_IMAGE_UNITS),
    INTEGER(GL_MAX_DRAW_BUFFERS),
    INTEGER(GL_MAX_VERTEX_UNIFORM_COMPONENTS),
    INTEGER(GL_MAX_FRAGMENT_UNIFORM_COMPONENTS),
    INTEGER(GL_MAX_VARYING_FLOATS),
    INTEGER(GL_MAX_VERTEX_ATTRIBS),
    {askExtension, "GL_ARB_VERTEX_PROGRAM", 0},
    {askExtension, "GL_ARB_FRAGMENT_PROGRAM", 0},
    {askExtension, "GL_ARB_VERTEX_SHADER", 0},
    {askExtension, "GL_ARB_FRAGMENT_SHADER", 0},
    {askExtension, "GL_EXT_FRAMEBUFFER_OBJECT", 0},
    {askExtension, "GL_ARB_TEXTURE_RECTANGLE", 0},
    {askExtension, "GL_ARB_TEXTURE_FLOAT", 0},
    {askExtension, "GL_ARB_OCCLUSION_QUERY", 0},
    {askExtension, "GL_ARB_VERTEX_BUFFER_OBJECT", 0},
    {askExtension, "GL_ARB_SHADER_TEXTURE_LOD", 0},
};

static void askCurrent(struct Gpu* gpu, const struct Question* question) {
  const EGLContext context = eglGetCurrentContext();
  const EGLDisplay display = eglGetCurrentDisplay();
  const EGLSurface drawing = eglGetCurrentSurface(EGL_DRAW);
  const EGLSurface reading = eglGetCurrentSurface(EGL_READ);
  eglMakeCurrent(gpu->display, gpu->surface, gpu->surface, gpu->context);
  if (!gpu->loaded) load(gpu);
  question->ask(gpu, question);
  if (context != EGL_NO_CONTEXT)
    eglMakeCurrent(display, drawing, reading, context);
  else
    eglMakeCurrent(eglGetCurrentDisplay(), EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
}

int main(void) {
  getPlatformDisplay =
      (PFNEGLGETPLATFORMDISPLAYEXTPROC)eglGetProcAddress("eglGetPlatformDisplayEXT");
  queryDevices = (PFNEGLQUERYDEVICESEXTPROC)eglGetProcAddress("eglQueryDevicesEXT");
  queryDeviceString = (PFNEGLQUERYDEVICESTRINGEXTPROC)eglGetProcAddress("eglQueryDeviceStringEXT");
  getDriverName = (PFNEGLGETDISPLAYDRIVERNAMEPROC)eglGetProcAddress("eglGetDisplayDriverName");

  struct Gpu primary = {0};
  describeDevices();
  const int created = createContext(&primary, 0);
  if (created) destroyContext(&primary);
  line("OGLContextCreated=%d", created);
  createContexts();
  line("NumGLGPUs=%d", gpuCount);
  for (size_t i = 0; i < sizeof questions / sizeof *questions; ++i) {
    for (int g = 0; g < gpuCount; ++g) {
      if (questions[i].ask == askDriver)
        askDriver(&gpus[g], &questions[i]);
      else
        askCurrent(&gpus[g], &questions[i]);
    }
  }
  for (int g = 0; g < gpuCount; ++g) {
    destroyContext(&gpus[g]);
    free(gpus[g].name);
  }
  return 0;
}
