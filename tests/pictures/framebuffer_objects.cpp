// Drawing into framebuffer objects with renderbuffers, multisampled ones too, and their way into the window.
#include "gl_shaders.h"
#include "picture.h"

static GLuint framebuffers[2], renderbuffers[4];

static void attach(GLenum target, GLuint name, GLenum attachment, GLenum format, GLsizei samples) {
  glBindRenderbuffer(GL_RENDERBUFFER, name);
  glRenderbufferStorageMultisample(GL_RENDERBUFFER, samples, format, 100, 80);
  glFramebufferRenderbuffer(target, attachment, GL_RENDERBUFFER, name);
  GLint width = 0, type = 0, object = 0, taken = 0;
  glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_WIDTH, &width);
  glGetRenderbufferParameteriv(GL_RENDERBUFFER, GL_RENDERBUFFER_SAMPLES, &taken);
  glGetFramebufferAttachmentParameteriv(target, attachment, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, &type);
  glGetFramebufferAttachmentParameteriv(target, attachment, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME, &object);
  std::printf("width %d, samples %d, type %x, the object %d\n", width, taken, type, static_cast<GLuint>(object) == name);
}

static void init() {
  glGenFramebuffers(2, framebuffers);
  glGenRenderbuffers(4, renderbuffers);
  std::printf("framebuffer before its bind: %d\n", glIsFramebuffer(framebuffers[0]));
  for (int i = 0; i < 2; ++i) {
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffers[i]);
    std::printf("status %x\n", glCheckFramebufferStatus(GL_FRAMEBUFFER));
    attach(GL_FRAMEBUFFER, renderbuffers[2 * i], GL_COLOR_ATTACHMENT0, GL_RGBA8, i * 4);
    attach(GL_FRAMEBUFFER, renderbuffers[2 * i + 1], GL_DEPTH_STENCIL_ATTACHMENT, GL_DEPTH24_STENCIL8, i * 4);
    std::printf("status %x\n", glCheckFramebufferStatus(GL_FRAMEBUFFER));
  }
  GLint draw = 0, read = 0, red = 0, samples = 0;
  glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
  glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &draw);
  glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &read);
  glGetIntegerv(GL_RED_BITS, &red);
  glGetIntegerv(GL_SAMPLES, &samples);
  std::printf("bound %d %d, red %d, samples %d\n", static_cast<GLuint>(draw) == framebuffers[1], read, red, samples);
  GLint formats = 0;
  GLint64 wide[4] = {-1, -1, -1, -1};
  glGetInternalformativ(GL_RENDERBUFFER, GL_RGBA8, GL_NUM_SAMPLE_COUNTS, 1, &formats);
  glGetInternalformati64v(GL_RENDERBUFFER, GL_RGBA8, GL_NUM_SAMPLE_COUNTS, 1, wide);
  std::printf("sample counts %d %lld %lld\n", formats, static_cast<long long>(wide[0]), static_cast<long long>(wide[1]));
  glFramebufferParameteri(GL_DRAW_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_WIDTH, 33);
  GLint width = 0;
  glGetFramebufferParameteriv(GL_DRAW_FRAMEBUFFER, GL_FRAMEBUFFER_DEFAULT_WIDTH, &width);
  std::printf("default width %d\n", width);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
}

static void scene() {
  glEnable(GL_DEPTH_TEST);
  glClearColor(0.1f, 0.3f, 0.5f, 1);
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glBegin(GL_TRIANGLES);
  glColor3f(1, 0, 0);
  glVertex3f(-0.9f, -0.9f, 0.5f);
  glVertex3f(0.9f, -0.7f, -0.5f);
  glVertex3f(0.0f, 0.9f, 0.0f);
  glColor3f(0, 1, 0);
  glVertex3f(-0.9f, 0.7f, -0.5f);
  glVertex3f(0.9f, 0.9f, 0.5f);
  glVertex3f(0.1f, -0.9f, 0.1f);
  glEnd();
  glDisable(GL_DEPTH_TEST);
}

static void draw(int) {
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glViewport(0, 0, kPicture.width, kPicture.height);
  glClearColor(0, 0, 0, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  for (int i = 1; i >= 0; --i) {
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffers[i]);
    glViewport(0, 0, 100, 80);
    scene();
    if (i == 1) {
      // A multisampled picture is resolved at its own size first.
      glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffers[0]);
      glBlitFramebuffer(0, 0, 100, 80, 0, 0, 100, 80, GL_COLOR_BUFFER_BIT, GL_NEAREST);
      glBindFramebuffer(GL_READ_FRAMEBUFFER, framebuffers[0]);
    }
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, 0);
    glBlitFramebuffer(0, 0, 100, 80, 10 + 120 * i, 20, 110 + 120 * i, 160, GL_COLOR_BUFFER_BIT, GL_LINEAR);
  }
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glViewport(0, 0, kPicture.width, kPicture.height);
}

extern const Picture kPicture{.init = init, .draw = draw};
