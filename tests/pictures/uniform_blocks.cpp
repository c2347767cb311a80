// Blocks of uniforms and of storage: a compute program fills the storage, another one draws with both.
#include "gl_shaders.h"
#include "picture.h"

static GLuint fill, show, buffers[3];

static void init() {
  fill = glCreateProgram();
  const GLuint shader = compileShader(
      GL_COMPUTE_SHADER,
      "#version 430\n"
      "layout(local_size_x = 8, local_size_y = 2) in; layout(std430, binding = 1) buffer Cells { vec4 cell[]; };\n"
      "layout(binding = 0) uniform atomic_uint counter;\n"
      "void main() { uint i = gl_GlobalInvocationID.x + 16u * gl_GlobalInvocationID.y;\n"
      "  cell[i] = vec4(float(i % 16u) / 16.0, float(i / 16u) / 4.0, 0.5, 1.0); atomicCounterIncrement(counter); }");
  glAttachShader(fill, shader);
  glLinkProgram(fill);
  GLint size[3] = {};
  glGetProgramiv(fill, GL_COMPUTE_WORK_GROUP_SIZE, size);
  GLint counters = 0, dataSize = 0;
  glGetProgramiv(fill, GL_ACTIVE_ATOMIC_COUNTER_BUFFERS, &counters);
  glGetActiveAtomicCounterBufferiv(fill, 0, GL_ATOMIC_COUNTER_BUFFER_DATA_SIZE, &dataSize);
  GLint index = -1;
  glGetActiveAtomicCounterBufferiv(fill, 0, GL_ATOMIC_COUNTER_BUFFER_ACTIVE_ATOMIC_COUNTER_INDICES, &index);
  char name[20] = "";
  if (index >= 0) glGetActiveUniformName(fill, static_cast<GLuint>(index), sizeof name, nullptr, name);
  std::printf("groups of %d %d %d, %d counters of %d: %s\n", size[0], size[1], size[2], counters, dataSize, name);
  show = linkProgram(
      "#version 430 compatibility\n"
      "layout(std140) uniform Place { mat4 turn; vec2 scale; }; out vec2 at;\n"
      "void main() { at = gl_MultiTexCoord0.xy; gl_Position = turn * vec4(gl_Vertex.xy * scale, 0, 1); }",
      "#version 430 compatibility\n"
      "layout(std430) buffer Cells { vec4 cell[]; }; in vec2 at; out vec4 colour;\n"
      "void main() { colour = cell[int(at.x * 15.99) + 16 * int(at.y * 3.99)]; }");
  glGenBuffers(3, buffers);
  const GLfloat place[20] = {0.9f, 0.2f, 0, 0, -0.2f, 0.9f, 0, 0, 0, 0, 1, 0, 0.05f, 0, 0, 1, 0.8f, 0.7f, 0, 0};
  glBindBuffer(GL_UNIFORM_BUFFER, buffers[0]);
  glBufferData(GL_UNIFORM_BUFFER, sizeof place, place, GL_STATIC_DRAW);
  glBindBuffer(GL_SHADER_STORAGE_BUFFER, buffers[1]);
  glBufferData(GL_SHADER_STORAGE_BUFFER, 64 * 16, nullptr, GL_DYNAMIC_COPY);
  const GLuint zero = 0;
  glBindBuffer(GL_ATOMIC_COUNTER_BUFFER, buffers[2]);
  glBufferData(GL_ATOMIC_COUNTER_BUFFER, sizeof zero, &zero, GL_DYNAMIC_COPY);
}

static void draw(int) {
  glClearColor(0, 0, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  glUseProgram(fill);
  glBindBufferBase(GL_SHADER_STORAGE_BUFFER, 1, buffers[1]);
  glBindBufferBase(GL_ATOMIC_COUNTER_BUFFER, 0, buffers[2]);
  glDispatchCompute(2, 2, 1);
  glMemoryBarrier(GL_ALL_BARRIER_BITS);
  glUseProgram(show);
  glBindBufferBase(GL_UNIFORM_BUFFER, 3, buffers[0]);
  glUniformBlockBinding(show, glGetUniformBlockIndex(show, "Place"), 3);
  glShaderStorageBlockBinding(show, glGetProgramResourceIndex(show, GL_SHADER_STORAGE_BLOCK, "Cells"), 2);
  glBindBufferRange(GL_SHADER_STORAGE_BUFFER, 2, buffers[1], 0, 64 * 16);
  quad(-1, -1, 1, 1);
  glUseProgram(0);
  GLuint counted = 0;
  GLfloat cell[4] = {};
  glGetBufferSubData(GL_ATOMIC_COUNTER_BUFFER, 0, sizeof counted, &counted);
  glBindBuffer(GL_SHADER_STORAGE_BUFFER, buffers[1]);
  glGetBufferSubData(GL_SHADER_STORAGE_BUFFER, 37 * 16, sizeof cell, cell);
  std::printf("counted %u, cell %g %g %g %g\n", counted, cell[0], cell[1], cell[2], cell[3]);
}

extern const Picture kPicture{.init = init, .draw = draw};
