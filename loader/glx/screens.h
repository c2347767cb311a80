// What a screen of an X server offers: the configurations, and the visuals that stand for them.
#pragma once

#include <X11/Xlib.h>

#include <string>
#include <utility>
#include <vector>

#include "loader/glx/fb_config.h"
#include "loader/glx/x_server.h"

namespace qv::loader {

struct GlxScreen {
  int number = 0;
  XServer* server = nullptr;
  std::vector<const FbConfig*> configs;  // in order of their ids
  // Every visual of the screen that can show a picture, with the configuration that glXGetConfig tells of it.
  std::vector<std::pair<VisualID, const FbConfig*>> visuals;

  const FbConfig* configOfVisual(VisualID visual) const;
};

// Screen `number` of the display's server; null when there is no such screen, when the driver cannot be loaded, or when the
// screen shows no true colour of 8 bits a component. Kept for the life of the process, as the handles that point into it are.
const GlxScreen* glxScreen(Display* display, int number);

// The connection of the library's own to the display's server, null when it cannot be made.
XServer* serverOf(Display* display);

// Whether a handle that a program passes is one of ours.
bool isFbConfig(const void* handle);

}  // namespace qv::loader
