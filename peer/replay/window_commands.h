// WindowCommands: what commands on windows, which OpenGL does not know, ask of the context that replays them.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv::peer {

// No routine is called between glBegin and glEnd.
class WindowCommands {
 public:
  enum class Outcome : uint8_t {
    Done,
    PassedOver,
    DrawableLost,  // the context lost its drawable during the command; nothing more can be replayed
  };
  // `why` is null for a command that is done.
  struct Result {
    Outcome outcome = Outcome::Done;
    const char* why = nullptr;
  };
  static Result passOver(const char* why) { return {Outcome::PassedOver, why}; }
  static Result drawableLost() { return {Outcome::DrawableLost, "the drawable cannot be bound again"}; }

  // From now on drawing to the pbuffer, which is the current window, goes to this face and level.
  virtual Result selectImage(uint32_t windowId, GLenum face, uint32_t level) = 0;
  // Gives the pbuffer's images to the texture that is bound at its target.
  virtual Result bindTexImage(uint32_t windowId) = 0;
  virtual Result releaseTexImage(uint32_t windowId) = 0;

  // Gives OpenGL's name of a renderbuffer with the current window's picture, the samples of each pixel averaged, which the caller
  // deletes; 0 for a window of one sample.
  virtual Result resolvePicture(GLuint& renderbuffer) = 0;

  // Whether the two routines below apply: not in a core profile, nor while a framebuffer object is bound.
  virtual bool accumulates() const = 0;
  // glAccum with a valid operation, and glClear of the accumulation buffer.
  virtual Result accumulate(GLenum operation, GLfloat value) = 0;
  virtual Result clearAccumulation() = 0;

 protected:
  ~WindowCommands() = default;
};

}  // namespace qv::peer
