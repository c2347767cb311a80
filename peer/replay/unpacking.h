// The pixel store parameters that OpenGL itself has, as the host sets them image by image.
#pragma once

#include "wire/gl_api.h"

namespace qv::peer {

struct ReplayState;

struct Unpacking {
  GLint alignment = 4, rowLength = 0, imageHeight = 0, lsbFirst = 0;
};
struct Packing {
  GLint alignment = 4, rowLength = 0, imageHeight = 0, swapBytes = 0;
};

// Hand OpenGL what differs from what it has. Not inside a primitive.
void setUnpacking(ReplayState& state, const Unpacking& wanted);
void setPacking(ReplayState& state, const Packing& wanted);

}  // namespace qv::peer
