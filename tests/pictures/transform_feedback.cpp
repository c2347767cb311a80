// Vertices that are captured, read back and drawn: interleaved and separate, with queries, paused, and as a draw of its own.
#include "gl_shaders.h"
#include "picture.h"

static GLuint capture, show, buffers[3], feedback, query;

static void init() {
  capture = glCreateProgram();
  const GLuint shader =
      compileShader(GL_VERTEX_SHADER,
                    "#version 150 compatibility\n"
                    "in vec2 at; out vec2 place; out vec3 tint;\n"
                    "void main() { place = at * 0.5 + 0.25; tint = vec3(at, 1.0); gl_Position = vec4(at, 0, 1); }");
  glAttachShader(capture, shader);
  glBindAttribLocation(capture, 0, "at");
  const char* varyings[] = {"place", "tint"};
  glTransformFeedbackVaryings(capture, 2, varyings, GL_INTERLEAVED_ATTRIBS);
  glLinkProgram(capture);
  GLint linked = 0, number = 0, mode = 0;
  glGetProgramiv(capture, GL_LINK_STATUS, &linked);
  glGetProgramiv(capture, GL_TRANSFORM_FEEDBACK_VARYINGS, &number);
  glGetProgramiv(capture, GL_TRANSFORM_FEEDBACK_BUFFER_MODE, &mode);
  std::printf("linked %d, %d varyings, mode %x\n", linked, number, mode);
  for (GLuint i = 0; i < 2; ++i) {
    char name[20] = "";
    GLsizei length = 0, size = 0;
    GLenum type = 0;
    glGetTransformFeedbackVarying(capture, i, sizeof name, &length, &size, &type, name);
    std::printf("varying %s: %d %d %x\n", name, length, size, type);
  }
  show = linkProgram("#version 120\nvarying vec4 c; void main() { gl_Position = gl_Vertex; c = gl_Color; }",
                     "#version 120\nvarying vec4 c; void main() { gl_FragColor = c; }");
  glGenBuffers(3, buffers);
  glGenQueries(1, &query);
  glGenTransformFeedbacks(1, &feedback);
  const GLfloat corners[] = {-1, -1, 1, -1, 0, 1, -1, 1, 1, 1, 0, -1};
  glBindBuffer(GL_ARRAY_BUFFER, buffers[0]);
  glBufferData(GL_ARRAY_BUFFER, sizeof corners, corners, GL_STATIC_DRAW);
  glBindBuffer(GL_TRANSFORM_FEEDBACK_BUFFER, buffers[1]);
  glBufferData(GL_TRANSFORM_FEEDBACK_BUFFER, 6 * 20, nullptr, GL_STATIC_READ);
}

static void draw(int) {
  glClearColor(0, 0, 0.2f, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  glUseProgram(capture);
  glBindBuffer(GL_ARRAY_BUFFER, buffers[0]);
  glVertexAttribPointer(0, 2, GL_FLOAT, GL_FALSE, 0, nullptr);
  glEnableVertexAttribArray(0);
  glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, feedback);
  glBindBufferBase(GL_TRANSFORM_FEEDBACK_BUFFER, 0, buffers[1]);
  glEnable(GL_RASTERIZER_DISCARD);
  glBeginQuery(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN, query);
  glBeginTransformFeedback(GL_TRIANGLES);
  glDrawArrays(GL_TRIANGLES, 0, 3);
  glPauseTransformFeedback();
  glDrawArrays(GL_TRIANGLES, 0, 6);
  glResumeTransformFeedback();
  glDrawArrays(GL_TRIANGLES, 3, 3);
  glEndTransformFeedback();
  glEndQuery(GL_TRANSFORM_FEEDBACK_PRIMITIVES_WRITTEN);
  glDisable(GL_RASTERIZER_DISCARD);
  GLuint written = 0;
  glGetQueryObjectuiv(query, GL_QUERY_RESULT, &written);
  GLint bound = 0;
  glGetIntegerv(GL_TRANSFORM_FEEDBACK_BINDING, &bound);
  std::printf("%u primitives, object %d, is one %d\n", written, static_cast<GLuint>(bound) == feedback,
              glIsTransformFeedback(feedback));
  GLfloat values[30] = {};
  glGetBufferSubData(GL_TRANSFORM_FEEDBACK_BUFFER, 0, sizeof values, values);
  for (int i = 0; i < 6; ++i) {
    std::printf("%g %g %g %g %g\n", values[5 * i], values[5 * i + 1], values[5 * i + 2], values[5 * i + 3], values[5 * i + 4]);
  }
  const auto* const mapped = static_cast<const GLfloat*>(glMapBuffer(GL_TRANSFORM_FEEDBACK_BUFFER, GL_READ_ONLY));
  std::printf("mapped %g\n", mapped == nullptr ? -1.0 : static_cast<double>(mapped[7]));
  glUnmapBuffer(GL_TRANSFORM_FEEDBACK_BUFFER);
  glDisableVertexAttribArray(0);
  glBindBuffer(GL_ARRAY_BUFFER, buffers[1]);
  glUseProgram(show);
  glVertexPointer(2, GL_FLOAT, 20, nullptr);
  glColorPointer(3, GL_FLOAT, 20, reinterpret_cast<const void*>(8));
  glEnableClientState(GL_VERTEX_ARRAY);
  glEnableClientState(GL_COLOR_ARRAY);
  glDrawTransformFeedback(GL_TRIANGLES, feedback);
  glDisableClientState(GL_COLOR_ARRAY);
  glColor3f(1, 0.5f, 0);
  glDrawArrays(GL_LINE_LOOP, 0, 6);
  glDisableClientState(GL_VERTEX_ARRAY);
  glBindTransformFeedback(GL_TRANSFORM_FEEDBACK, 0);
}

extern const Picture kPicture{.frames = 2, .init = init, .draw = draw};
