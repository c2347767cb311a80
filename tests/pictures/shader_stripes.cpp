// Stripes whose colours are uniforms, set in every way: arrays with too many values, single elements, matrices, integers,
// booleans.
#include "gl_shaders.h"
#include "picture.h"

static GLuint program;

static void init() {
  program = linkProgram(
      "#version 120\n"
      "uniform mat4 place; uniform mat3x2 move; attribute float lift; varying vec2 at;\n"
      "void main() { at = gl_MultiTexCoord0.xy; gl_Position = place * gl_Vertex + vec4(move * vec3(1.0), 0.0, 0.0) + vec4(0, "
      "lift, 0, 0); }",
      "#version 120\n"
      "uniform vec4 c[4]; uniform int which; uniform bool dark; uniform vec2 scale; varying vec2 at;\n"
      "void main() { vec4 v = c[which + int(at.x * 3.99)]; gl_FragColor = vec4(v.rgb * (dark ? 0.5 : 1.0) * mix(1.0, scale.y, "
      "at.y), 1.0); }");
}

static void draw(int) {
  glClearColor(0.1f, 0.1f, 0.2f, 1.0f);
  glClear(GL_COLOR_BUFFER_BIT);
  glUseProgram(program);
  const auto at = [](const char* name) { return glGetUniformLocation(program, name); };
  GLfloat colours[40];
  for (int i = 0; i < 40; ++i) colours[i] = static_cast<float>(i % 7) / 6.0f;
  glUniform4fv(at("c"), 10, colours);
  glUniform4f(at("c[2]"), 1.0f, 0.9f, 0.1f, 1.0f);
  glUniform4fv(at("c[3]"), 3, colours + 8);
  const GLfloat place[16] = {0.9f, 0.1f, 0, 0, 0, 0.8f, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
  glUniformMatrix4fv(at("place"), 1, GL_TRUE, place);
  const GLfloat move[6] = {0.05f, 0, 0, 0.05f, 0, 0.02f};
  glUniformMatrix3x2fv(at("move"), 1, GL_FALSE, move);
  glUniform2f(at("scale"), 1.0f, 0.25f);
  glUniform1i(at("which"), 0);
  glVertexAttrib1f(static_cast<GLuint>(glGetAttribLocation(program, "lift")), 0.1f);
  glUniform1f(at("dark"), 0.0f);
  quad(-0.9f, 0.05f, 0.9f, 0.9f);
  glUniform1i(at("dark"), 1);
  quad(-0.9f, -0.9f, 0.9f, -0.05f);
  for (const char* const name : {"c", "c[0]", "c[3]", "c[4]", "c[-1]", "place", "move", "which", "dark", "nothing", "c[2].x"}) {
    std::printf("%s: %d\n", name, at(name));
  }
  GLfloat values[16];
  glGetUniformfv(program, at("c[2]"), values);
  std::printf("c[2] = %g %g %g %g\n", values[0], values[1], values[2], values[3]);
  glGetUniformfv(program, at("place"), values);
  std::printf("place[1] = %g %g %g %g\n", values[4], values[5], values[6], values[7]);
  GLint dark = 0;
  glGetUniformiv(program, at("dark"), &dark);
  std::printf("dark = %d\n", dark);
  glUniform1f(at("which"), 1.0f);  // a float for an int: refused
  glUseProgram(0);
  glColor3f(1, 1, 1);
  quad(-0.05f, -0.05f, 0.05f, 0.05f);
}

extern const Picture kPicture{.frames = 2, .init = init, .draw = draw};
