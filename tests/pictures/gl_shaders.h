// Compiling and linking for the picture programs.
#pragma once

#ifndef GL_GLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES
#endif
#include <GL/gl.h>
#include <GL/glext.h>

#include <cstdio>
#include <initializer_list>

inline GLuint compileShader(GLenum type, const char* source) {
  const GLuint shader = glCreateShader(type);
  glShaderSource(shader, 1, &source, nullptr);
  glCompileShader(shader);
  GLint compiled = 0;
  glGetShaderiv(shader, GL_COMPILE_STATUS, &compiled);
  char log[2000] = "";
  GLsizei length = 0;
  glGetShaderInfoLog(shader, sizeof log, &length, log);
  std::printf("shader: compiled %d, log of %d: %s\n", compiled, length, log);
  return shader;
}

inline GLuint linkProgram(const char* vertex, const char* fragment) {
  const GLuint program = glCreateProgram();
  const GLuint shaders[] = {compileShader(GL_VERTEX_SHADER, vertex), compileShader(GL_FRAGMENT_SHADER, fragment)};
  for (const GLuint shader : shaders) glAttachShader(program, shader);
  glLinkProgram(program);
  for (const GLuint shader : shaders) glDeleteShader(shader);
  GLint linked = 0;
  glGetProgramiv(program, GL_LINK_STATUS, &linked);
  char log[2000] = "";
  glGetProgramInfoLog(program, sizeof log, nullptr, log);
  std::printf("program: linked %d, log: %s\n", linked, log);
  return program;
}

inline void quad(float left, float bottom, float right, float top) {
  glBegin(GL_QUADS);
  glTexCoord2f(0, 0);
  glVertex2f(left, bottom);
  glTexCoord2f(1, 0);
  glVertex2f(right, bottom);
  glTexCoord2f(1, 1);
  glVertex2f(right, top);
  glTexCoord2f(0, 1);
  glVertex2f(left, top);
  glEnd();
}
