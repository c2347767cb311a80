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
