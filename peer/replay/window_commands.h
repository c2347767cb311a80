// WindowCommands: what commands on windows, which OpenGL knows nothing of, ask of the context that replays them.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv::peer {

// Routines that return a text return null, or why the command is passed over. None is called between glBegin and glEnd.
class WindowCommands {
 public:
  // The context has lost its drawable over the command; nothing more can be replayed.
  static constexpr const char* kDrawableLost = "the drawable cannot be bound again";

  // From now on drawing to the pbuffer, which is the current window, goes to this face and level.
  virtual const char* selectImage(uint32_t windowId, GLenum face, uint32_t level) = 0;
  // Gives the pbuffer's images to the texture that is bound at its target.
  virtual const char* bindTexImage(uint32_t windowId) = 0;
  virtual const char* releaseTexImage(uint32_t windowId) = 0;

  // Whether the two routines below apply: not in a core profile, nor while a framebuffer object is bound.
  virtual bool accumulates() const = 0;
  // glAccum with a valid operation, and glClear of the accumulation buffer.
  virtual const char* accumulate(GLenum operation, GLfloat value) = 0;
  virtual const char* clearAccumulation() = 0;

 protected:
  ~WindowCommands() = default;
};

}  // namespace qv::peer
