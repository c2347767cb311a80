// Vertex and fragment programs in assembly, with parameters of the environment and of the program.
#include "gl_shaders.h"

#include <cstring>

#include "picture.h"

static GLuint names[2];

static void load(GLenum target, GLuint name, const char* text) {
  glBindProgramARB(target, name);
  glProgramStringARB(target, GL_PROGRAM_FORMAT_ASCII_ARB, static_cast<GLsizei>(std::strlen(text)), text);
  GLint position = 0, length = 0;
  glGetIntegerv(GL_PROGRAM_ERROR_POSITION_ARB, &position);
  glGetProgramivARB(target, GL_PROGRAM_LENGTH_ARB, &length);
  char back[1000] = "";
  glGetProgramStringARB(target, GL_PROGRAM_STRING_ARB, back);
  std::printf("error at %d, %s; length %d, the same %d\n", position,
              reinterpret_cast<const char*>(glGetString(GL_PROGRAM_ERROR_STRING_ARB)), length, std::strcmp(back, text) == 0);
}

static void init() {
  glGenProgramsARB(2, names);
  load(GL_VERTEX_PROGRAM_ARB, names[0],
       "!!ARBvp1.0\nPARAM m[4] = { state.matrix.mvp };\nPARAM off = program.env[3];\nTEMP p;\nADD p, vertex.position, off;\n"
       "DP4 result.position.x, m[0], p;\nDP4 result.position.y, m[1], p;\nDP4 result.position.z, m[2], p;\nDP4 "
       "result.position.w, m[3], p;\n"
       "MOV result.color, vertex.color;\nMOV result.texcoord[0], vertex.texcoord[0];\nEND\n");
  load(GL_FRAGMENT_PROGRAM_ARB, names[1],
       "!!ARBfp1.0\nPARAM tint = program.local[2];\nPARAM more = program.env[1];\nTEMP c;\nMUL c, fragment.color, tint;\n"
       "MAD result.color, fragment.texcoord[0].xyxx, more, c;\nEND\n");
  load(GL_FRAGMENT_PROGRAM_ARB, names[1] + 10, "!!ARBfp1.0\nMOVE nothing;\nEND\n");
  glBindProgramARB(GL_FRAGMENT_PROGRAM_ARB, names[1]);
}

static void draw(int) {
  glClearColor(0.2f, 0.2f, 0.2f, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  glEnable(GL_VERTEX_PROGRAM_ARB);
  glEnable(GL_FRAGMENT_PROGRAM_ARB);
  glProgramEnvParameter4fARB(GL_VERTEX_PROGRAM_ARB, 3, 0.1f, 0.05f, 0, 0);
  const GLdouble tint[4] = {0.5, 0.9, 0.3, 1.0};
  glProgramLocalParameter4dvARB(GL_FRAGMENT_PROGRAM_ARB, 2, tint);
  const GLfloat more[4] = {0.4f, 0.4f, 0.1f, 0};
  glProgramEnvParameters4fvEXT(GL_FRAGMENT_PROGRAM_ARB, 1, 1, more);
  glColor3f(1, 0.5f, 0.8f);
  quad(-0.8f, -0.7f, 0.6f, 0.7f);
  glDisable(GL_VERTEX_PROGRAM_ARB);
  glDisable(GL_FRAGMENT_PROGRAM_ARB);
  GLfloat back[4] = {};
  glGetProgramLocalParameterfvARB(GL_FRAGMENT_PROGRAM_ARB, 2, back);
  std::printf("tint %g %g %g %g, program %d %d\n", back[0], back[1], back[2], back[3], glIsProgramARB(names[0]),
              glIsProgramARB(99));
}

extern const Picture kPicture{.init = init, .draw = draw};
