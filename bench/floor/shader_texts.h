#pragma once

/* What a driver makes of the test program's pieces: each shader joined to one line. */

static const char kVertexText[] =
    "void V_Sampler(void){}void V_Trackmatte(void){}"
    "void V_Blend(void){gl_TexCoord[1] = gl_MultiTexCoord1;}"
    "void V_Texture(void){gl_TexCoord[0] = gl_MultiTexCoord0;}"
    "void V_Position(void){gl_Position = ftransform();}"
    "void main(void){V_Sampler();V_Texture();V_Blend();V_Trackmatte();V_Position();}";

#define TAP(i)                                                 \
  "tex_coord = gl_TexCoord[0].st + sample_scale * offset_y[" i \
  "] * duvdy;"                                                 \
  "tex_coord += sample_scale * offset_x[" i                    \
  "] * duvdx;"                                                 \
  "color += weight[" i                                         \
  "] * texture2D(layer_texture, tex_coord);"                   \
  "sum_wt += weight[" i "];"
static const char kFragmentText[] =
    "uniform sampler2D layer_texture;uniform float offset_x[9];uniform float offset_y[9];"
    "uniform float weight[9];uniform float sample_scale; "
    "void F_Sampler(out vec4 color){vec2 tex_coord;vec2 duvdx,duvdy;float ht, wt;int i,j;"
    "float sum_wt = 0.0;color = vec4(0.0);vec2 texture_coord_2d = gl_TexCoord[0].st;"
    "duvdx = vec2(1.0, 1.0);duvdy = vec2(1.0, 1.0);"
    TAP("0") TAP("1") TAP("2") TAP("3") TAP("4") TAP("5") TAP("6") TAP("7") TAP("8")
    "color /= sum_wt;}"
    "void F_TrackMatte(inout vec4 color){}"
    "void F_PreserveAlpha(in vec4 background, inout vec4 foreground){}"
    "void F_Matte(inout vec4 color){}void F_Dematte(inout vec4 color){}"
    "uniform sampler2D background_texture;"
    "void F_Blend(inout vec4 color){vec4 bg;"
    "bg = texture2DProj(background_texture, gl_TexCoord[1]);F_Matte(bg);"
    "color.rgb = color.rgb + (1.0 - color.a) * bg.rgb;color.a += (1.0 - color.a) * bg.a;"
    "F_Dematte(color);F_PreserveAlpha(bg, color);}"
    "void main(void){vec4 color = vec4(0.0);F_Sampler(color);F_TrackMatte(color);F_Blend(color);"
    "gl_FragColor = color;}";
