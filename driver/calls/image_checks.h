// What the guest checks of an image before its command goes out: format, type, internal format, sizes.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"
#include "wire/image_size.h"

namespace qv {

// 0, or the GL error of a format and type that do not go together: the type is looked at first.
GLenum checkPixelFormatType(GLenum format, GLenum type);

// The base format of an internal format, -1 for an unknown one.
int32_t internalFormatBase(GLenum internalFormat);

// The internal format that goes to the host: GL_BGRA and six names of an extension become GL_RGBA8 (required oddity 86).
GLenum normalizeInternalFormat(GLenum internalFormat);

bool isDepthFormat(GLenum format);
bool isDepthStencilFormat(GLenum format);

// 0, or the GL error of an image of glTexImage1D, 2D or 3D. `internalFormat` is a normalized one. The level is the host's to
// check.
GLenum checkTextureImage(GLenum internalFormat, const Extent& extent, GLint border, GLenum format, GLenum type);

}  // namespace qv
