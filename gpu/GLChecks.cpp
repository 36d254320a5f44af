#include <iterator>

#include "gpu/GLQueries.h"
#include "log/Diagnostic.h"
#include "zor/ogl/Objects.h"
#include "zor/ogl/OpenGLInterceptor.h"

using ZOR::OGL::OpenGLInterceptor;

namespace {

// The driver joins the pieces with nothing in between, so each program is one line.
constexpr const char* kVertexPieces[] = {
    "void V_Sampler(void){}",
    "void V_Trackmatte(void){}",
    "void V_Blend(void){gl_TexCoord[1] = gl_MultiTexCoord1;}",
    "void V_Texture(void){gl_TexCoord[0] = gl_MultiTexCoord0;}",
    "void V_Position(void){gl_Position = ftransform();}",
    "void main(void)",
    "{",
    "V_Sampler();",
    "V_Texture();",
    "V_Blend();",
    "V_Trackmatte();",
    "V_Position();",
    "}",
};

constexpr const char* kFragmentPieces[] = {
    "uniform sampler2D layer_texture;",
    "uniform float offset_x[9];",
    "uniform float offset_y[9];",
    "uniform float weight[9];",
    "uniform float sample_scale; ",
    "void F_Sampler(out vec4 color)",
    "{",
    "vec2 tex_coord;",
    "vec2 duvdx,duvdy;",
    "float ht, wt;",
    "int i,j;",
    "float sum_wt = 0.0;",
    "color = vec4(0.0);",
    "vec2 texture_coord_2d = gl_TexCoord[0].st;",
    "duvdx = vec2(1.0, 1.0);",
    "duvdy = vec2(1.0, 1.0);",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[0] * duvdy;",
    "tex_coord += sample_scale * offset_x[0] * duvdx;",
    "color += weight[0] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[0];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[1] * duvdy;",
    "tex_coord += sample_scale * offset_x[1] * duvdx;",
    "color += weight[1] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[1];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[2] * duvdy;",
    "tex_coord += sample_scale * offset_x[2] * duvdx;",
    "color += weight[2] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[2];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[3] * duvdy;",
    "tex_coord += sample_scale * offset_x[3] * duvdx;",
    "color += weight[3] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[3];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[4] * duvdy;",
    "tex_coord += sample_scale * offset_x[4] * duvdx;",
    "color += weight[4] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[4];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[5] * duvdy;",
    "tex_coord += sample_scale * offset_x[5] * duvdx;",
    "color += weight[5] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[5];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[6] * duvdy;",
    "tex_coord += sample_scale * offset_x[6] * duvdx;",
    "color += weight[6] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[6];tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[7] * duvdy;",
    "tex_coord += sample_scale * offset_x[7] * duvdx;",
    "color += weight[7] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[7];",
    "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[8] * duvdy;",
    "tex_coord += sample_scale * offset_x[8] * duvdx;",
    "color += weight[8] * texture2D(layer_texture, tex_coord);",
    "sum_wt += weight[8];",
    "color /= sum_wt;",
    "}",
    "void F_TrackMatte(inout vec4 color){}",
    "void F_PreserveAlpha(in vec4 background, inout vec4 foreground){}",
    "void F_Matte(inout vec4 color){}",
    "void F_Dematte(inout vec4 color){}",
    "uniform sampler2D background_texture;",
    "void F_Blend(inout vec4 color)",
    "{",
    "vec4 bg;",
    "bg = texture2DProj(background_texture, gl_TexCoord[1]);",
    "F_Matte(bg);",
    "color.rgb = color.rgb + (1.0 - color.a) * bg.rgb;",
    "color.a += (1.0 - color.a) * bg.a;",
    "F_Dematte(color);",
    "F_PreserveAlpha(bg, color);",
    "}",
    "void main(void)",
    "{",
    "vec4 color = vec4(0.0);",
    "F_Sampler(color);",
    "F_TrackMatte(color);",
    "F_Blend(color);",
    "gl_FragColor = color;",
    "}",
};

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

/// A driver that throws in between leaves no primitive open: every later question would fail.
template <class Corners>
void drawQuad(const OpenGLInterceptor& gl, const Corners& corners) {
  gl.glBegin(ZOR_HERE, GL_QUADS);
  try {
    corners();
    gl.glEnd(ZOR_HERE);
  } catch (...) {
    gl.glEnd(ZOR_HERE);
    throw;
  }
}

void drawMultiTexturedQuad(const OpenGLInterceptor& gl) {
  const GLint corners[][2] = {{0, 0}, {100, 0}, {100, 100}, {0, 100}};
  drawQuad(gl, [&] {
    for (const auto& [s, t] : corners) {
      gl.glMultiTexCoord2i(ZOR_HERE, GL_TEXTURE0, s, t);
      gl.glVertex3f(ZOR_HERE, static_cast<GLfloat>(s), static_cast<GLfloat>(t), 0.0F);
    }
  });
}

void drawTexturedQuad(const OpenGLInterceptor& gl) {
  const GLint corners[][4] = {
      {100, 0, 100, 100}, {0, 0, 0, 100}, {0, 100, 0, 0}, {100, 100, 100, 0}};
  drawQuad(gl, [&] {
    for (const auto& [s, t, x, y] : corners) {
      gl.glTexCoord2i(ZOR_HERE, s, t);
      gl.glVertex2i(ZOR_HERE, x, y);
    }
  });
}

void disableFog(const OpenGLInterceptor& gl) {
  gl.glDisable(ZOR_HERE, GL_FOG);
  gl.glDisable(ZOR_HERE, GL_LIGHTING);
  gl.glDisable(ZOR_HERE, GL_TEXTURE_RECTANGLE_ARB);
}

}  // namespace

void CompileAndLinkTestProgram() {
  ZOR::OGL::Program program;
  program.loadVertexShader(static_cast<int>(std::size(kVertexPieces)), kVertexPieces, nullptr);
  program.loadFragmentShader(static_cast<int>(std::size(kFragmentPieces)), kFragmentPieces,
                             nullptr);
  program.link(true);
}

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
