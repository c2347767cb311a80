// Textures of a core context, which takes only names that it has generated: images of several targets, a framebuffer, an image
// that a program writes, a copy, a view, and what is told of all their names.
#define GL_GLEXT_PROTOTYPES
#include <GL/glx.h>

#include <array>
#include <cstdint>
#include <vector>

#include "gl_shaders.h"
#include "picture_x11.h"

namespace {

constexpr int kWidth = 240, kHeight = 160;
enum { kPlain, kArray, kDrawn, kWritten, kCopied, kView, kCube, kTextures };
std::array<GLuint, kTextures> textures;

void tell(const char* what, GLenum name, GLuint expected) {
  GLint value = -1;
  glGetIntegerv(name, &value);
  std::printf("%s: %d\n", what, static_cast<GLuint>(value) == expected);
}

void nearest(GLenum target) {
  glTexParameteri(target, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
  glTexParameteri(target, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
}

std::vector<uint8_t> pattern(size_t bytes) {
  std::vector<uint8_t> out(bytes);
  for (size_t i = 0; i < bytes; ++i) out[i] = static_cast<uint8_t>(i * 37 + i / 16 * 11);
  return out;
}

void makeTextures() {
  // Names that have been in use and are free again are met with others behind them.
  std::array<GLuint, 5> gone{};
  glGenTextures(5, gone.data());
  for (const GLuint name : gone) glBindTexture(GL_TEXTURE_2D, name);
  glDeleteTextures(4, gone.data());
  glGenTextures(kTextures, textures.data());
  const std::vector<uint8_t> data = pattern(4096);
  glBindTexture(GL_TEXTURE_2D, textures[kPlain]);
  nearest(GL_TEXTURE_2D);
  glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, 16, 16, 0, GL_RGBA, GL_UNSIGNED_BYTE, data.data());
  glTexSubImage2D(GL_TEXTURE_2D, 0, 4, 4, 8, 8, GL_RGBA, GL_UNSIGNED_BYTE, data.data() + 1000);
  glBindTexture(GL_TEXTURE_2D_ARRAY, textures[kArray]);
  nearest(GL_TEXTURE_2D_ARRAY);
  glTexStorage3D(GL_TEXTURE_2D_ARRAY, 1, GL_RGBA8, 8, 8, 3);
  glTexSubImage3D(GL_TEXTURE_2D_ARRAY, 0, 0, 0, 0, 8, 8, 3, GL_BGRA, GL_UNSIGNED_BYTE, data.data());
  tell("array binding", GL_TEXTURE_BINDING_2D_ARRAY, textures[kArray]);
  for (const int one : {kDrawn, kWritten, kCopied}) {
    glBindTexture(GL_TEXTURE_2D, textures[static_cast<size_t>(one)]);
    nearest(GL_TEXTURE_2D);
    glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA8, 16, 16);
  }
  glTextureView(textures[kView], GL_TEXTURE_2D, textures[kArray], GL_RGBA8, 0, 1, 1, 1);
  glBindTexture(GL_TEXTURE_2D, textures[kView]);
  nearest(GL_TEXTURE_2D);
  glBindTexture(GL_TEXTURE_CUBE_MAP, textures[kCube]);
  nearest(GL_TEXTURE_CUBE_MAP);
  for (GLenum face = 0; face < 6; ++face)
    glTexImage2D(GL_TEXTURE_CUBE_MAP_POSITIVE_X + face, 0, GL_RGB8, 4, 4, 0, GL_RGB, GL_UNSIGNED_BYTE, data.data() + 100 * face);
  std::printf("textures: %d %d %d\n", glIsTexture(textures[kPlain]), glIsTexture(textures[kView]), glIsTexture(gone[4]));
}

void drawIntoTexture() {
  GLuint framebuffer = 0;
  glGenFramebuffers(1, &framebuffer);
  glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
  glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, textures[kDrawn], 0);
  glFramebufferTextureLayer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT1, textures[kArray], 0, 2);
  glFramebufferTexture(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT2, textures[kView], 0);
  for (GLenum at = 0; at < 3; ++at) {
    GLint name = 0;
    glGetFramebufferAttachmentParameteriv(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0 + at, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME,
                                          &name);
    const GLuint expected[] = {textures[kDrawn], textures[kArray], textures[kView]};
    std::printf("attachment %u: %d\n", at, static_cast<GLuint>(name) == expected[at]);
  }
  std::printf("framebuffer %x\n", glCheckFramebufferStatus(GL_FRAMEBUFFER));
  glDrawBuffer(GL_COLOR_ATTACHMENT0);
  glViewport(0, 0, 16, 16);
  glClearColor(0.2f, 0.9f, 0.4f, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  glEnable(GL_SCISSOR_TEST);
  glScissor(3, 5, 7, 6);
  glClearColor(0.9f, 0.1f, 0.4f, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  glDisable(GL_SCISSOR_TEST);
  glBindFramebuffer(GL_FRAMEBUFFER, 0);
  glDeleteFramebuffers(1, &framebuffer);
}

void writeImage() {
  const GLuint program = glCreateProgram(),
               shader = compileShader(GL_COMPUTE_SHADER,
                                      "#version 430\n"
                                      "layout(local_size_x = 4, local_size_y = 4) in; layout(rgba8) uniform image2D image;\n"
                                      "void main() { ivec2 at = ivec2(gl_GlobalInvocationID.xy);\n"
                                      "  imageStore(image, at, vec4(vec2(at) / 16.0, 0.5, 1)); }");
  glAttachShader(program, shader);
  glLinkProgram(program);
  glUseProgram(program);
  glBindImageTexture(0, textures[kWritten], 0, GL_FALSE, 0, GL_WRITE_ONLY, GL_RGBA8);
  GLint bound = 0;
  glGetIntegeri_v(GL_IMAGE_BINDING_NAME, 0, &bound);
  std::printf("image: %d\n", static_cast<GLuint>(bound) == textures[kWritten]);
  glDispatchCompute(4, 4, 1);
  glMemoryBarrier(GL_ALL_BARRIER_BITS);
  glUseProgram(0);
  glCopyImageSubData(textures[kPlain], GL_TEXTURE_2D, 0, 0, 0, 0, textures[kCopied], GL_TEXTURE_2D, 0, 0, 0, 0, 16, 16, 1);
  glCopyImageSubData(textures[kWritten], GL_TEXTURE_2D, 0, 4, 4, 0, textures[kCopied], GL_TEXTURE_2D, 0, 8, 8, 0, 8, 8, 1);
}

void draw() {
  const GLuint program = linkProgram(
      "#version 330\n"
      "out vec2 at; void main() { at = vec2(gl_VertexID & 1, gl_VertexID >> 1); gl_Position = vec4(at * 1.8 - 0.9, 0, 1); }",
      "#version 330\n"
      "in vec2 at; out vec4 colour; uniform int kind; uniform sampler2D flat_; uniform sampler2DArray array; uniform samplerCube "
      "cube;\n"
      "void main() { if (kind == 0) colour = texture(flat_, at); else if (kind == 1) colour = texture(array, vec3(at, 0));\n"
      "  else colour = texture(cube, vec3(at - 0.5, 0.3)); colour.a = 1.0; }");
  GLuint vertexArray = 0;
  glGenVertexArrays(1, &vertexArray);
  glBindVertexArray(vertexArray);
  glUseProgram(program);
  glUniform1i(glGetUniformLocation(program, "array"), 1);
  glUniform1i(glGetUniformLocation(program, "cube"), 2);
  glClearColor(0, 0, 0.2f, 1);
  glClear(GL_COLOR_BUFFER_BIT);
  for (int i = 0; i < kTextures; ++i) {
    glViewport(i % 4 * 60, i / 4 * 80, 60, 80);
    const int kind = i == kArray ? 1 : i == kCube ? 2 : 0;
    glUniform1i(glGetUniformLocation(program, "kind"), kind);
    glActiveTexture(GL_TEXTURE0 + static_cast<GLenum>(kind));
    const GLenum targets[] = {GL_TEXTURE_2D, GL_TEXTURE_2D_ARRAY, GL_TEXTURE_CUBE_MAP};
    glBindTexture(targets[kind], textures[static_cast<size_t>(i)]);
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
  }
  glActiveTexture(GL_TEXTURE0);
  glBindTexture(GL_TEXTURE_2D, textures[kCopied]);
  std::vector<uint8_t> back(1024);
  glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, back.data());
  uint32_t sum = 0;
  for (const uint8_t byte : back) sum = sum * 31 + byte;
  std::printf("copied: %08x\n", sum);
  tell("flat binding", GL_TEXTURE_BINDING_2D, textures[kCopied]);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) fail("usage: PROGRAM OUTPUT.ppm");
  Display* const display = XOpenDisplay(nullptr);
  if (!display) fail("no display");
  XVisualInfo* const visual = chooseVisual(display);
  const int wanted[] = {GLX_RENDER_TYPE, GLX_RGBA_BIT, GLX_DOUBLEBUFFER, True, GLX_X_RENDERABLE, True, None};
  int count = 0;
  GLXFBConfig* const configs = glXChooseFBConfig(display, DefaultScreen(display), wanted, &count);
  GLXFBConfig config = nullptr;
  for (int i = 0; i < count && config == nullptr; ++i) {
    XVisualInfo* const one = glXGetVisualFromFBConfig(display, configs[i]);
    if (one != nullptr && one->visualid == visual->visualid) config = configs[i];
    if (one != nullptr) XFree(one);
  }
  if (config == nullptr) fail("no configuration");
  const auto create = reinterpret_cast<PFNGLXCREATECONTEXTATTRIBSARBPROC>(
      glXGetProcAddress(reinterpret_cast<const GLubyte*>("glXCreateContextAttribsARB")));
  const int attributes[] = {GLX_CONTEXT_MAJOR_VERSION_ARB,    4,   GLX_CONTEXT_MINOR_VERSION_ARB, 3, GLX_CONTEXT_PROFILE_MASK_ARB,
                            GLX_CONTEXT_CORE_PROFILE_BIT_ARB, None};
  GLXContext const context = create(display, config, nullptr, True, attributes);
  if (!context) fail("no core context");
  const Window window = openWindow(display, visual, 0, 0, kWidth, kHeight);
  if (!glXMakeCurrent(display, window, context)) fail("glXMakeCurrent failed");
  makeTextures();
  drawIntoTexture();
  writeImage();
  draw();
  glXSwapBuffers(display, window);
  glXWaitGL();
  printGlErrors();
  writePpm(argv[1], kWidth, kHeight, windowPixels(display, window, kWidth, kHeight));
  glDeleteTextures(kTextures, textures.data());
  glXMakeCurrent(display, None, nullptr);
  glXDestroyContext(display, context);
  XDestroyWindow(display, window);
  XCloseDisplay(display);
  return 0;
}
