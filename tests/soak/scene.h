// A small animation of OpenGL 1.1 that any implementation can draw, and Mesa drawing it without the driver.
#pragma once

#include <map>
#include <utility>

#include "peer/host/egl_display.h"
#include "peer/replay/gl_functions.h"
#include "tests/soak/machine.h"

namespace qv::test {

// Lit, turning geometry: a toothed wheel and a ball from nested display lists, and a fan of triangles vertex by vertex. A frame
// depends on its number and size alone.
class Scene {
 public:
  explicit Scene(const peer::GlFunctions& gl) : gl_(gl) {}
  // Once per context, which is current.
  void init();
  void draw(int frame, int width, int height) const;
  void end() const { gl_.glDeleteLists(lists_, 3); }

 private:
  void wheel(float inner, float outer, float width, int teeth) const;
  void ball(int rings, int sides) const;
  void fan(int blades) const;

  const peer::GlFunctions& gl_;
  GLuint lists_ = 0;
};

// The scene as Mesa draws it when it is called directly, on the calling thread. Use the peer first: it loads the functions.
class Reference {
 public:
  Reference();
  ~Reference();
  Picture draw(int frame, int width, int height);

 private:
  struct Canvas {
    EGLSurface surface;
    EGLContext context;
    Scene scene;
  };
  Canvas& canvas(int width, int height);

  peer::EglDisplay* display_;
  std::map<std::pair<int, int>, Canvas> canvases_;
};

}  // namespace qv::test
