// Occlusion queries one by one and in bursts, conditional rendering, counters of primitives, and fences; results are printed.
#include "gl_shaders.h"
#include "picture.h"

static GLuint queries[12];

static void init() { glGenQueries(12, queries); }

static GLuint result(GLuint query) {
  GLuint value = 0;
  glGetQueryObjectuiv(query, GL_QUERY_RESULT, &value);
  return value;
}

static void draw(int frame) {
  glClearColor(0, 0, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  for (int i = 0; i < 8; ++i) {
    glBeginQuery(GL_SAMPLES_PASSED, queries[i]);
    glColor3f(static_cast<float>(i) / 8, 1, 0.3f);
    quad(-1.0f + 0.25f * static_cast<float>(i), -0.9f, -0.8f + 0.25f * static_cast<float>(i),
         -0.9f + 0.1f * static_cast<float>(i));
    GLint current = -1;
    glGetQueryiv(GL_SAMPLES_PASSED, GL_CURRENT_QUERY, &current);
    if (static_cast<GLuint>(current) != queries[i]) std::printf("another query runs\n");
    glEndQuery(GL_SAMPLES_PASSED);
  }
  for (int i = 7; i >= 0; --i) std::printf("query %d: %u\n", i, result(queries[i]));
  GLuint available = 0;
  glGetQueryObjectuiv(queries[3], GL_QUERY_RESULT_AVAILABLE, &available);
  GLint bits = 0;
  glGetQueryiv(GL_SAMPLES_PASSED, GL_QUERY_COUNTER_BITS, &bits);
  std::printf("available %u, counter bits %d\n", available, bits);
  glBeginQuery(GL_ANY_SAMPLES_PASSED, queries[8]);
  glBeginQueryIndexed(GL_PRIMITIVES_GENERATED, 0, queries[9]);
  quad(-0.2f, 0.2f, 0.2f, 0.6f);
  glEndQueryIndexed(GL_PRIMITIVES_GENERATED, 0);
  glEndQuery(GL_ANY_SAMPLES_PASSED);
  std::printf("any %u\n", result(queries[8]));
  GLint64 wide = 0;
  glGetQueryObjecti64v(queries[9], GL_QUERY_RESULT, &wide);
  std::printf("some primitives: %d\n", wide > 0);
  // Nothing of query 10 is seen, so that what depends on it is not drawn.
  glEnable(GL_SCISSOR_TEST);
  glScissor(0, 0, 0, 0);
  glBeginQuery(GL_SAMPLES_PASSED, queries[10]);
  quad(-1, -1, 1, 1);
  glEndQuery(GL_SAMPLES_PASSED);
  glDisable(GL_SCISSOR_TEST);
  glBeginConditionalRender(queries[10], GL_QUERY_WAIT);
  glColor3f(1, 0, 0);
  quad(-0.9f, 0.2f, -0.3f, 0.9f);
  glEndConditionalRender();
  glBeginConditionalRender(queries[8], GL_QUERY_WAIT);
  glColor3f(0, 0, 1);
  quad(0.3f, 0.2f, 0.9f, 0.9f);
  glEndConditionalRender();
  glQueryCounter(queries[11], GL_TIMESTAMP);
  GLuint64 time = 0;
  glGetQueryObjectui64v(queries[11], GL_QUERY_RESULT, &time);
  std::printf("a time: %d, a query %d, none %d\n", time > 0, glIsQuery(queries[0]), glIsQuery(9999));

  const GLsync fence = glFenceSync(GL_SYNC_GPU_COMMANDS_COMPLETE, 0);
  std::printf("a fence: %d\n", glIsSync(fence));
  const GLenum waited = glClientWaitSync(fence, GL_SYNC_FLUSH_COMMANDS_BIT, 10000000000ull);
  std::printf("waited: %d\n", waited == GL_ALREADY_SIGNALED || waited == GL_CONDITION_SATISFIED);
  glWaitSync(fence, 0, GL_TIMEOUT_IGNORED);
  for (const GLenum name : {GL_OBJECT_TYPE, GL_SYNC_CONDITION, GL_SYNC_STATUS, GL_SYNC_FLAGS}) {
    GLint value = -1;
    GLsizei length = -1;
    glGetSynciv(fence, name, 1, &length, &value);
    std::printf("%x: %x, %d\n", name, value, length);
  }
  glDeleteSync(fence);
  std::printf("deleted: %d\n", glIsSync(fence));
  if (frame == 1) glDeleteQueries(12, queries);
}

extern const Picture kPicture{.frames = 2, .init = init, .draw = draw};
