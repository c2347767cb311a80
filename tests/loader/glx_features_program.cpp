// An ordinary GLX program that asks for everything GLX offers beyond windows and default contexts: contexts by attributes and
// their errors, shared lists at creation, swap intervals, queries. Prints a line for everything that is not as it should be.
#include <GL/gl.h>
#include <GL/glx.h>
#include <GL/glxext.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

int errorCode = 0;

int noteError(Display*, XErrorEvent* event) {
  errorCode = event->error_code;
  return 0;
}

void expect(bool holds, const char* what) {
  if (!holds) std::printf("not so: %s\n", what);
}

template <typename Function>
Function function(const char* name) {
  const auto found = reinterpret_cast<Function>(glXGetProcAddressARB(reinterpret_cast<const GLubyte*>(name)));
  if (!found) {
    std::printf("no %s\n", name);
    std::exit(1);
  }
  return found;
}

double secondsFor(Display* display, GLXDrawable drawable, int frames) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < frames; ++i) {
    glClear(GL_COLOR_BUFFER_BIT);
    glXSwapBuffers(display, drawable);
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool begins(const char* text, const char* with) { return text && !std::strncmp(text, with, std::strlen(with)); }

}  // namespace

int main() {
  Display* const display = XOpenDisplay(nullptr);
  if (!display) return 1;
  XSetErrorHandler(noteError);
  int errorBase = 0, eventBase = 0;
  expect(glXQueryExtension(display, &errorBase, &eventBase), "GLX is there");
  const int wanted[] = {GLX_DOUBLEBUFFER, True, GLX_DEPTH_SIZE, 24, GLX_RED_SIZE, 8, None};
  int count = 0;
  GLXFBConfig* const configs = glXChooseFBConfig(display, DefaultScreen(display), wanted, &count);
  if (!configs) return 1;
  GLXFBConfig const config = configs[0];
  XVisualInfo* const visual = glXGetVisualFromFBConfig(display, config);
  XSetWindowAttributes set{};
  set.colormap = XCreateColormap(display, DefaultRootWindow(display), visual->visual, AllocNone);
  const Window window = XCreateWindow(display, DefaultRootWindow(display), 0, 0, 64, 64, 0, visual->depth, InputOutput,
                                      visual->visual, CWColormap, &set);
  XMapWindow(display, window);

  // Contexts by attributes.
  const auto create = function<PFNGLXCREATECONTEXTATTRIBSARBPROC>("glXCreateContextAttribsARB");
  GLXContext const plain = create(display, config, nullptr, True, nullptr);
  expect(plain && glXIsDirect(display, plain), "a context without attributes, direct");
  expect(glXMakeCurrent(display, window, plain), "it becomes current");
  expect(begins(reinterpret_cast<const char*>(glGetString(GL_VERSION)), "4.") ||
             begins(reinterpret_cast<const char*>(glGetString(GL_VERSION)), "3.") ||
             begins(reinterpret_cast<const char*>(glGetString(GL_VERSION)), "2."),
         "it has a version");
  const GLuint list = glGenLists(1);
  glNewList(list, GL_COMPILE);
  glBegin(GL_POINTS);
  glVertex2f(0.0f, 0.0f);
  glEnd();
  glEndList();
  expect(glGetError() == GL_NO_ERROR, "no error after a list");

  const int compatibility[] = {GLX_CONTEXT_MAJOR_VERSION_ARB,
                               3,
                               GLX_CONTEXT_MINOR_VERSION_ARB,
                               2,
                               GLX_CONTEXT_PROFILE_MASK_ARB,
                               GLX_CONTEXT_COMPATIBILITY_PROFILE_BIT_ARB,
                               GLX_RENDER_TYPE,
                               GLX_RGBA_TYPE,
                               None};
  GLXContext const sharing = create(display, config, plain, True, compatibility);
  expect(sharing && glXMakeCurrent(display, window, sharing), "a 3.2 compatibility context that shares");
  expect(glIsList(list), "which sees the list of the first");
  GLXContext const alone = create(display, config, nullptr, True, compatibility);
  expect(alone && glXMakeCurrent(display, window, alone), "one that does not share");
  expect(!glIsList(list), "which does not see it");
  const int core[] = {GLX_CONTEXT_MAJOR_VERSION_ARB, 3, GLX_CONTEXT_MINOR_VERSION_ARB, 3, None};
  GLXContext const modern = create(display, config, nullptr, True, core);
  expect(modern && glXMakeCurrent(display, window, modern), "a 3.3 core context");
  GLint profile = 0;
  glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
  expect(profile == 1, "which is one");

  // What cannot be made is refused with the right X error.
  const auto refused = [&](const int* attributes, int code, const char* what) {
    errorCode = 0;
    GLXContext const context = create(display, config, nullptr, True, attributes);
    XSync(display, False);
    expect(!context && errorCode == code, what);
  };
  const int future[] = {GLX_CONTEXT_MAJOR_VERSION_ARB, 5, GLX_CONTEXT_MINOR_VERSION_ARB, 7, None};
  refused(future, BadMatch, "BadMatch for version 5.7");
  const int both[] = {GLX_CONTEXT_MAJOR_VERSION_ARB, 3, GLX_CONTEXT_MINOR_VERSION_ARB, 2, GLX_CONTEXT_PROFILE_MASK_ARB, 3, None};
  refused(both, errorBase + 13, "GLXBadProfileARB for both profiles at once");
  const int unknown[] = {0x7777, 1, None};
  refused(unknown, BadValue, "BadValue for an unknown attribute");

  // Queries of a context.
  int value = 0, id = 0;
  glXGetFBConfigAttrib(display, config, GLX_FBCONFIG_ID, &id);
  expect(!glXQueryContext(display, plain, GLX_FBCONFIG_ID, &value) && value == id, "a context knows its configuration");
  expect(!glXQueryContext(display, plain, GLX_SCREEN, &value) && value == 0, "and its screen");

  // Swap intervals: with one, sixty frames a second at most; with none, as many as there are.
  expect(glXMakeCurrent(display, window, plain), "the first context again");
  const auto intervalExt = function<PFNGLXSWAPINTERVALEXTPROC>("glXSwapIntervalEXT");
  const auto intervalMesa = function<int (*)(unsigned)>("glXSwapIntervalMESA");
  const auto getIntervalMesa = function<int (*)()>("glXGetSwapIntervalMESA");
  const auto intervalSgi = function<int (*)(int)>("glXSwapIntervalSGI");
  unsigned interval = 7;
  intervalExt(display, window, 1);
  glXQueryDrawable(display, window, GLX_SWAP_INTERVAL_EXT, &interval);
  expect(interval == 1 && getIntervalMesa() == 1, "an interval of 1 is told back");
  secondsFor(display, window, 3);
  const double paced = secondsFor(display, window, 30);
  expect(paced > 0.4, "30 paced frames take most of half a second");
  expect(intervalMesa(0) == 0 && getIntervalMesa() == 0, "an interval of 0 is told back");
  const double free = secondsFor(display, window, 30);
  expect(free < paced, "unpaced frames are faster");
  expect(intervalSgi(0) == GLX_BAD_VALUE, "the SGI call refuses 0");
  expect(intervalSgi(1) == 0 && getIntervalMesa() == 1, "and takes 1");
  errorCode = 0;
  intervalExt(display, window, -1);
  XSync(display, False);
  expect(errorCode == BadValue, "BadValue for a negative interval");

  // A context may be destroyed while it is current, and a window while it is drawn to.
  glXDestroyContext(display, plain);
  glClear(GL_COLOR_BUFFER_BIT);
  glXSwapBuffers(display, window);
  expect(glXMakeCurrent(display, None, nullptr), "released at last");
  expect(glXMakeCurrent(display, window, sharing), "another one on the same window");
  XDestroyWindow(display, window);
  glClear(GL_COLOR_BUFFER_BIT);
  errorCode = 0;
  glXSwapBuffers(display, window);
  XSync(display, False);
  expect(errorCode == errorBase + 2 || errorCode == BadDrawable || errorCode == BadWindow,
         "an error for a swap of a dead window");
  glXMakeCurrent(display, None, nullptr);
  for (GLXContext const context : {sharing, alone, modern}) glXDestroyContext(display, context);
  XFree(configs);
  XCloseDisplay(display);
  return 0;
}
