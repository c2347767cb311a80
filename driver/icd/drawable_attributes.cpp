// What each kind of list says.
#include "driver/icd/drawable_attributes.h"

#include "driver/base/pixel_formats.h"
#include "driver/base/wgl_api.h"
#include "wire/gl_api.h"

namespace qv {

AttributeList windowAttributes(int32_t format) {
  AttributeList list;
  if (isDoubleBuffered(format)) list.add(GL_DOUBLEBUFFER);
  if (pixelFormatSamples(format) != 0) list.add(GL_SAMPLES, pixelFormatSamples(format));
  if (isSrgbCapable(format)) list.add(GL_FRAMEBUFFER_SRGB);
  return list;
}

AttributeList contextAttributes(int32_t format, uint16_t version, uint8_t compatibility) {
  AttributeList list = windowAttributes(format);
  list.add(GL_VERSION, version);
  list.add(GL_CONTEXT_PROFILE_MASK, compatibility != 0 ? GL_CONTEXT_COMPATIBILITY_PROFILE_BIT : GL_CONTEXT_CORE_PROFILE_BIT);
  return list;
}

AttributeList pbufferAttributes(int32_t format, int32_t textureFormat, int32_t textureTarget, bool mipmaps) {
  AttributeList list;
  if (isDoubleBuffered(format)) list.add(GL_DOUBLEBUFFER);
  if (pixelFormat(format).cColorBits > 32) list.add(GL_RGBA32F);
  if (textureFormat == WGL_TEXTURE_RGB_ARB) list.add(GL_RGB);
  if (textureFormat == WGL_TEXTURE_RGBA_ARB) list.add(GL_RGBA);
  if (textureTarget == WGL_TEXTURE_CUBE_MAP_ARB) list.add(GL_TEXTURE_CUBE_MAP);
  if (textureTarget == WGL_TEXTURE_2D_ARB) list.add(GL_TEXTURE_2D);
  if (mipmaps) list.add(GL_GENERATE_MIPMAP);
  return list;
}

}  // namespace qv
