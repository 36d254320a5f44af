#include "gpu/GLChecks.h"

#include "log/Diagnostic.h"
#include "zor/ogl/Framebuffer.h"
#include "zor/ogl/OpenGLInterceptor.h"
#include "zor/ogl/Texture2D.h"

using ZOR::OGL::OpenGLInterceptor;

namespace {

// Drivers are known to fail at one particular call of this sequence or another, so it stays as
// hosts have always seen it: odd arguments, repeats and order included.

/// Both matrix stacks are back before anything is drawn.
void saveAndRestoreMatrices(const OpenGLInterceptor& gl) {
  gl.glMatrixMode(ZOR_HERE, GL_PROJECTION);
  gl.glPushMatrix(ZOR_HERE);
  gl.glLoadIdentity(ZOR_HERE);
  gl.glMatrixMode(ZOR_HERE, GL_MODELVIEW);
  gl.glPushMatrix(ZOR_HERE);
  gl.glLoadIdentity(ZOR_HERE);
  gl.glMatrixMode(ZOR_HERE, GL_MODELVIEW);
  gl.glPopMatrix(ZOR_HERE);
  gl.glMatrixMode(ZOR_HERE, GL_PROJECTION);
  gl.glPopMatrix(ZOR_HERE);
}

void transform(const OpenGLInterceptor& gl) {
  gl.glRotatef(ZOR_HERE, 10.0F, 0.0F, 0.0F, 0.0F);
  gl.glTranslatef(ZOR_HERE, 0.0F, 0.0F, 0.0F);
  gl.glColor4f(ZOR_HERE, 1.0F, 1.0F, 1.0F, 1.0F);
  gl.glScalef(ZOR_HERE, 1.0F, 1.0F, 1.0F);
}

void clearWhite(const OpenGLInterceptor& gl) {
  // Far above 1: the driver has to clamp.
  gl.glClearColor(ZOR_HERE, 255.0F, 255.0F, 255.0F, 255.0F);
  gl.glClear(ZOR_HERE, GL_COLOR_BUFFER_BIT);
}

void enableFogAndBlending(const OpenGLInterceptor& gl) {
  const GLfloat fogColor[] = {255.0F, 255.0F, 255.0F, 255.0F};
  gl.glFogfv(ZOR_HERE, GL_FOG_COLOR, fogColor);
  gl.glEnable(ZOR_HERE, GL_FOG);
  gl.glEnable(ZOR_HERE, GL_AUTO_NORMAL);
  gl.glEnable(ZOR_HERE, GL_NORMALIZE);
  gl.glEnable(ZOR_HERE, GL_BLEND);
  gl.glEnable(ZOR_HERE, GL_TEXTURE_RECTANGLE_ARB);
  gl.glFogf(ZOR_HERE, GL_FOG_START, 0.0F);
  gl.glFogf(ZOR_HERE, GL_FOG_END, 0.0F);
  gl.glFogi(ZOR_HERE, GL_FOG_MODE, GL_LINEAR);
  gl.glHint(ZOR_HERE, GL_FOG_HINT, GL_NICEST);
  gl.glEnable(ZOR_HERE, GL_BLEND);
  gl.glBlendFunc(ZOR_HERE, GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
  gl.glClearDepth(ZOR_HERE, 1.0);
  gl.glViewport(ZOR_HERE, 0, 0, 100, 100);
}

void drawMultiTexturedQuad(const OpenGLInterceptor& gl) {
  const GLint corners[][2] = {{0, 0}, {100, 0}, {100, 100}, {0, 100}};
  gl.glBegin(ZOR_HERE, GL_QUADS);
  for (const auto& [s, t] : corners) {
    gl.glMultiTexCoord2i(ZOR_HERE, GL_TEXTURE0, s, t);
    gl.glVertex3f(ZOR_HERE, static_cast<GLfloat>(s), static_cast<GLfloat>(t), 0.0F);
  }
  gl.glEnd(ZOR_HERE);
}

void drawTexturedQuad(const OpenGLInterceptor& gl) {
  const GLint corners[][4] = {
      {100, 0, 100, 100}, {0, 0, 0, 100}, {0, 100, 0, 0}, {100, 100, 100, 0}};
  gl.glBegin(ZOR_HERE, GL_QUADS);
  for (const auto& [s, t, x, y] : corners) {
    gl.glTexCoord2i(ZOR_HERE, s, t);
    gl.glVertex2i(ZOR_HERE, x, y);
  }
  gl.glEnd(ZOR_HERE);
}

void disableFog(const OpenGLInterceptor& gl) {
  gl.glDisable(ZOR_HERE, GL_FOG);
  gl.glDisable(ZOR_HERE, GL_LIGHTING);
  gl.glDisable(ZOR_HERE, GL_TEXTURE_RECTANGLE_ARB);
}

}  // namespace

bool DrawToTextureLeavesNoError() {
  const OpenGLInterceptor& gl = OpenGLInterceptor::Instance();
  ZOR::OGL::Texture2D texture(ZOR::OGL::InternalFormat::RGBA8, 32, 32, false, nullptr,
                              ZOR::OGL::Type::Default);
  ZOR::OGL::Framebuffer framebuffer;
  saveAndRestoreMatrices(gl);
  transform(gl);
  framebuffer.bind();
  framebuffer.attach(&texture, 0, 0);
  clearWhite(gl);
  enableFogAndBlending(gl);
  drawMultiTexturedQuad(gl);
  drawTexturedQuad(gl);
  disableFog(gl);
  framebuffer.unbind();
  const GLenum glStatus = gl.glGetError(ZOR_HERE);
  if (glStatus == GL_NO_ERROR) return true;
  Diagnostic{}("DoGLFramebufferOK", ": glGetError() returns", glStatus);
  return false;
}
