// The guest's names of textures, which the contexts of a share set have in common.
//
// Guests name textures themselves, while a core context takes only names that GL has generated. A compatible context takes any
// name: there the guest's own name serves as long as no other name of the guest's has it, so that a list that binds a texture
// means the name, as it should, and not what the name meant when the list was compiled.
#pragma once

#include "wire/gl_api.h"

namespace qv::peer {

class Replayer;

// GL's name of a texture; one that GL refuses for a name without a texture.
GLuint realTexture(Replayer& replayer, GLuint guest);
// The same for a command that makes the texture when there is none.
GLuint realTextureForBind(Replayer& replayer, GLuint guest);
// The guest's name of a texture of GL's.
GLuint guestTexture(Replayer& replayer, GLuint real);

// While it lives, OpenGL makes no more levels of a target's texture than the first one's size has. Where a texture of compressed
// blocks has an image beyond these levels, an OpenGL makes levels up to that image and writes behind its memory.
class LevelLimit {
 public:
  LevelLimit(Replayer& replayer, GLenum target);
  ~LevelLimit();
  LevelLimit(const LevelLimit&) = delete;
  LevelLimit& operator=(const LevelLimit&) = delete;
  // False where a list is open, which would record the limit.
  bool holds() const { return holds_; }

 private:
  GLenum target_ = 0;
  GLint most_ = -1;  // to be set again
  bool holds_ = true;
};

// While it lives, OpenGL makes no levels by itself of the image that a command fills (GL_GENERATE_MIPMAP): they are made at its
// end, with the limit, unless OpenGL has refused the command.
class LevelsAtEnd {
 public:
  // `target` and `level` are the command's.
  LevelsAtEnd(Replayer& replayer, GLenum target, GLint level);
  ~LevelsAtEnd();
  LevelsAtEnd(const LevelsAtEnd&) = delete;
  LevelsAtEnd& operator=(const LevelsAtEnd&) = delete;

 private:
  Replayer& replayer_;
  GLenum target_ = 0;  // of the texture; 0: there is nothing to do
};

// The names of glGet that answer a texture.
constexpr bool isTextureBinding(GLenum name) {
  switch (name) {
    case GL_TEXTURE_BINDING_1D:
    case GL_TEXTURE_BINDING_2D:
    case GL_TEXTURE_BINDING_3D:
    case GL_TEXTURE_BINDING_1D_ARRAY:
    case GL_TEXTURE_BINDING_2D_ARRAY:
    case GL_TEXTURE_BINDING_RECTANGLE:
    case GL_TEXTURE_BINDING_CUBE_MAP:
    case GL_TEXTURE_BINDING_CUBE_MAP_ARRAY:
    case GL_TEXTURE_BINDING_BUFFER:
    case GL_TEXTURE_BINDING_2D_MULTISAMPLE:
    case GL_TEXTURE_BINDING_2D_MULTISAMPLE_ARRAY:
    case GL_IMAGE_BINDING_NAME:
      return true;
    default:
      return false;
  }
}

}  // namespace qv::peer
