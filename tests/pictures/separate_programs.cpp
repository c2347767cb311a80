// Programs of one stage in a pipeline, uniforms of a named program, doubles, and samplers.
#include "gl_shaders.h"
#include "picture.h"

static GLuint vertex, fragments[2], pipeline, sampler;

static void init() {
  const char* vertexSource =
      "#version 430 compatibility\n"
      "out gl_PerVertex { vec4 gl_Position; }; layout(location = 0) out vec2 at; uniform dmat2 turn; uniform dvec2 move;\n"
      "void main() { at = gl_MultiTexCoord0.xy; gl_Position = vec4(vec2(turn * dvec2(gl_Vertex.xy) + move), 0, 1); }";
  const char* fragmentSources[] = {
      "#version 430 compatibility\n"
      "layout(location = 0) in vec2 at; uniform vec4 tint; uniform uvec2 steps; layout(location = 0) out vec4 colour;\n"
      "void main() { colour = tint * vec4(floor(at * vec2(steps)) / vec2(steps), 0.5, 1); }",
      "#version 430 compatibility\n"
      "layout(location = 0) in vec2 at; uniform float level[2]; layout(location = 0) out vec4 colour;\n"
      "void main() { colour = vec4(level[0], level[1], at.y, 1); }"};
  vertex = glCreateShaderProgramv(GL_VERTEX_SHADER, 1, &vertexSource);
  for (int i = 0; i < 2; ++i) fragments[i] = glCreateShaderProgramv(GL_FRAGMENT_SHADER, 1, fragmentSources + i);
  GLint linked = 0;
  glGetProgramiv(vertex, GL_LINK_STATUS, &linked);
  glGenProgramPipelines(1, &pipeline);
  std::printf("linked %d, pipeline before its bind %d\n", linked, glIsProgramPipeline(pipeline));
  glBindProgramPipeline(pipeline);
  glUseProgramStages(pipeline, GL_VERTEX_SHADER_BIT, vertex);
  glUseProgramStages(pipeline, GL_FRAGMENT_SHADER_BIT, fragments[0]);
  GLint used = 0, active = 0;
  glGetProgramPipelineiv(pipeline, GL_FRAGMENT_SHADER, &used);
  glActiveShaderProgram(pipeline, fragments[0]);
  glGetProgramPipelineiv(pipeline, GL_ACTIVE_PROGRAM, &active);
  glValidateProgramPipeline(pipeline);
  char log[100] = "";
  GLsizei length = -1;
  glGetProgramPipelineInfoLog(pipeline, sizeof log, &length, log);
  GLint valid = 0, bound = 0;
  glGetProgramPipelineiv(pipeline, GL_VALIDATE_STATUS, &valid);
  glGetIntegerv(GL_PROGRAM_PIPELINE_BINDING, &bound);
  std::printf("used %d, active %d, valid %d, bound %d, log of %d: %s\n", static_cast<GLuint>(used) == fragments[0],
              static_cast<GLuint>(active) == fragments[0], valid, static_cast<GLuint>(bound) == pipeline, length, log);
  glGenSamplers(1, &sampler);
  glSamplerParameteri(sampler, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
  glBindSampler(3, sampler);
  GLint wrap = 0;
  glGetSamplerParameteriv(sampler, GL_TEXTURE_WRAP_S, &wrap);
  std::printf("wrap %x, sampler %d\n", wrap, glIsSampler(sampler));
}

static void draw(int) {
  glClearColor(0.3f, 0.3f, 0.3f, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  const GLdouble turn[4] = {0.6, 0.3, -0.3, 0.6};
  glProgramUniformMatrix2dv(vertex, glGetUniformLocation(vertex, "turn"), 1, GL_FALSE, turn);
  glProgramUniform2d(vertex, glGetUniformLocation(vertex, "move"), -0.3, 0.1);
  const GLuint steps[2] = {4, 6};
  glUniform2uiv(glGetUniformLocation(fragments[0], "steps"), 1, steps);  // the active program
  glProgramUniform4f(fragments[0], glGetUniformLocation(fragments[0], "tint"), 1, 0.8f, 1, 1);
  quad(-0.8f, -0.8f, 0.8f, 0.8f);
  glUseProgramStages(pipeline, GL_FRAGMENT_SHADER_BIT, fragments[1]);
  const GLfloat level[3] = {0.2f, 0.7f, 9};
  glProgramUniform1fv(fragments[1], glGetUniformLocation(fragments[1], "level"), 3, level);
  glProgramUniform2d(vertex, glGetUniformLocation(vertex, "move"), 0.5, -0.2);
  quad(-0.4f, -0.4f, 0.4f, 0.4f);
  GLdouble back[4] = {};
  glGetUniformdv(vertex, glGetUniformLocation(vertex, "turn"), back);
  std::printf("turn %g %g %g %g\n", back[0], back[1], back[2], back[3]);
  GLuint two[2] = {};
  glGetUniformuiv(fragments[0], glGetUniformLocation(fragments[0], "steps"), two);
  std::printf("steps %u %u\n", two[0], two[1]);
  glBindProgramPipeline(0);
  glColor3f(1, 1, 1);
  quad(-0.1f, -0.1f, 0.1f, 0.1f);
  glBindProgramPipeline(pipeline);
  glUseProgramStages(pipeline, GL_FRAGMENT_SHADER_BIT, fragments[0]);
}

extern const Picture kPicture{.frames = 2, .init = init, .draw = draw};
