// Texture names and bindings in the shadow, and the entry points of textures that are more than their command.
#include "driver/calls/textures.h"

#include "driver/objects/share_group.h"
#include "driver/objects/tracked_object.h"
#include "driver/state/capabilities.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {

void bindTextureName(GlContext* context, GLenum target, GLuint name) {
  {
    const ShareLock lock(context->shareGroup);
    NameTable& textures = context->shareGroup->table(ShareSlot::kTextures);
    if (name != 0 && textures.find(name) == nullptr) textures.set(name, new LabelRecord);
  }
  const int32_t byte = textureTargetByte(target);
  if (byte < 0) return;
  TextureState& state = context->texture.current();
  state.units[state.activeUnit].binding(static_cast<uint32_t>(byte)) = name;
}

bool textureExists(GlContext* context, GLuint name) {
  const ShareLock lock(context->shareGroup);
  return context->shareGroup->table(ShareSlot::kTextures).contains(name);
}

// Whether the name has been bound once, and so has an object.
static bool textureIsBound(GlContext* context, GLuint name) {
  const ShareLock lock(context->shareGroup);
  return context->shareGroup->table(ShareSlot::kTextures).find(name) != nullptr;
}

template <typename T>
GLenum filterTexParameter(GLenum target, GLenum pname, T* value) {
  // Compared as the caller's type: 10496.0f is GL_CLAMP.
  const auto is = [value](GLenum name) { return *value == static_cast<T>(name); };
  const bool rectangle = target == GL_TEXTURE_RECTANGLE;
  switch (pname) {
    case GL_TEXTURE_BASE_LEVEL:
      return rectangle && *value != T{0} ? GL_INVALID_OPERATION : GL_NO_ERROR;
    case GL_TEXTURE_MIN_FILTER:
      return rectangle && !is(GL_NEAREST) && !is(GL_LINEAR) ? GL_INVALID_ENUM : GL_NO_ERROR;
    case GL_TEXTURE_WRAP_S:
    case GL_TEXTURE_WRAP_T:
    case GL_TEXTURE_WRAP_R:
      if (rectangle && (is(GL_REPEAT) || is(GL_MIRRORED_REPEAT) || is(GL_MIRROR_CLAMP_EXT) || is(GL_MIRROR_CLAMP_TO_EDGE_EXT) ||
                        is(GL_MIRROR_CLAMP_TO_BORDER_EXT)))
        return GL_INVALID_ENUM;
      // GL_CLAMP, which samples half of the border, never reaches the host: required oddity 19.
      if (is(GL_CLAMP)) *value = static_cast<T>(GL_CLAMP_TO_EDGE);
      return GL_NO_ERROR;
    default:
      return GL_NO_ERROR;
  }
}
template GLenum filterTexParameter(GLenum, GLenum, GLint*);
template GLenum filterTexParameter(GLenum, GLenum, GLuint*);
template GLenum filterTexParameter(GLenum, GLenum, GLfloat*);

namespace gl {
namespace {

// A refused value goes into neither the stream nor a recording.
template <typename Row, typename T>
void texParameter(GLenum target, GLenum pname, T value) {
  GlContext* const context = currentContext();
  if (!context) return;
  if (const GLenum error = filterTexParameter(target, pname, &value)) return refuse(context, opcodeOf<Row>, error);
  Entry<Row>::call(target, pname, value);
}

// The replacement of GL_CLAMP goes into the caller's array: required oddity 20.
template <typename Row, typename T>
void texParameterArray(GLenum target, GLenum pname, const T* values) {
  GlContext* const context = currentContext();
  if (!context) return;
  if (const GLenum error = filterTexParameter(target, pname, const_cast<T*>(values)))
    return refuse(context, opcodeOf<Row>, error);
  Entry<Row>::call(target, pname, values);
}

}  // namespace

void APIENTRY glTexParameterf(GLenum target, GLenum pname, GLfloat value) {
  texParameter<op::glTexParameterf>(target, pname, value);
}
void APIENTRY glTexParameteri(GLenum target, GLenum pname, GLint value) {
  texParameter<op::glTexParameteri>(target, pname, value);
}
void APIENTRY glTexParameterfv(GLenum target, GLenum pname, const GLfloat* values) {
  texParameterArray<op::glTexParameterfv>(target, pname, values);
}
void APIENTRY glTexParameteriv(GLenum target, GLenum pname, const GLint* values) {
  texParameterArray<op::glTexParameteriv>(target, pname, values);
}
void APIENTRY glTexParameterIiv(GLenum target, GLenum pname, const GLint* values) {
  texParameterArray<op::glTexParameterIiv>(target, pname, values);
}
void APIENTRY glTexParameterIuiv(GLenum target, GLenum pname, const GLuint* values) {
  texParameterArray<op::glTexParameterIuiv>(target, pname, values);
}
void APIENTRY glTexParameterIivEXT(GLenum target, GLenum pname, const GLint* values) {
  texParameterArray<op::glTexParameterIivEXT>(target, pname, values);
}
void APIENTRY glTexParameterIuivEXT(GLenum target, GLenum pname, const GLuint* values) {
  texParameterArray<op::glTexParameterIuivEXT>(target, pname, values);
}

// The active unit remembers the view as bound to `target`, though the host binds nothing: required oddity 21.
void APIENTRY glTextureView(GLuint texture, GLenum target, GLuint origtexture, GLenum internalformat, GLuint minlevel,
                            GLuint numlevels, GLuint minlayer, GLuint numlayers) {
  GlContext* const context = currentContext();
  if (!context) return;
  constexpr uint32_t kOpcode = opcodeOf<op::glTextureView>;
  if (origtexture == 0 || !textureExists(context, origtexture)) return refuse(context, kOpcode, GL_INVALID_VALUE);
  if (!textureIsBound(context, origtexture)) return refuse(context, kOpcode, GL_INVALID_OPERATION);
  if (texture == 0) return refuse(context, kOpcode, GL_INVALID_VALUE);
  if (!textureExists(context, texture)) return refuse(context, kOpcode, GL_INVALID_OPERATION);
  bindTextureName(context, target, texture);
  Entry<op::glTextureView>::call(texture, target, origtexture, internalformat, minlevel, numlevels, minlayer, numlayers);
}

}  // namespace gl
}  // namespace qv
