// FbConfig: a pixel format of the driver as GLX sees it, with the rules by which GLX picks and sorts such configurations.
#pragma once

// Before the GL headers, which would define APIENTRY otherwise.
#include "platform/win32.h"
//
#include <GL/glx.h>

#include <cstddef>
#include <vector>

namespace qv::loader {

// A GLXFBConfig handle is a pointer to one of these; they live as long as the library.
struct FbConfig {
  int format = 0;  // pixel format of the driver, 1..14
  int id = 0;      // GLX_FBCONFIG_ID
  int screen = 0;
  VisualID visualId = 0;  // 0: no visual, not for windows
  int visualDepth = 0;
  // Whether glXChooseVisual may give the visual: it stands for this configuration and no other.
  bool ownsVisual = false;
  bool doubleBuffer = false;
  bool window = false;  // may be used with windows and pixmaps
  bool floating = false;
  bool srgb = false;
  int bufferSize = 0, red = 0, green = 0, blue = 0, alpha = 0;
  int depth = 0, stencil = 0, accum = 0;  // accum: bits of each component
  int auxBuffers = 0;
  int samples = 0;
};

inline constexpr int kMaxPbufferWidth = 2048, kMaxPbufferHeight = 2048;

// The value of a GLX attribute, for glXGetFBConfigAttrib and glXGetConfig alike. Returns 0 (Success) or GLX_BAD_ATTRIBUTE.
int fbConfigAttribute(const FbConfig& config, int attribute, int* value);

// The configurations that match the list of glXChooseFBConfig, best first. Null or an empty list asks for the defaults. Empty
// when none matches or when the list names an attribute that is not known.
std::vector<const FbConfig*> chooseFbConfigs(const std::vector<const FbConfig*>& all, const int* attributes);

// The configuration whose visual glXChooseVisual gives for its list, null if there is none.
const FbConfig* chooseVisualConfig(const std::vector<const FbConfig*>& all, const int* attributes);

}  // namespace qv::loader
