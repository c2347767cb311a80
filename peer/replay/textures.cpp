// Names of textures, and the replay of the commands that name one.
#include "peer/replay/textures.h"

#include <algorithm>

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/kept_objects.h"
#include "peer/replay/images.h"
#include "peer/replay/replay_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

constexpr GLuint kNoTexture = ~0u;

// A name that GL has generated and the guest has not met.
GLuint generate(const NameMap& names) {
  GLuint made = 0;
  do {
    made = 0;
    gl.glGenTextures(1, &made);
  } while (names.guestOf(made) != 0);
  return made;
}

// Whether a context takes the guest's name as it is.
bool isItsOwn(const ReplayState& state, const NameMap& names, GLuint guest) { return !state.core && names.guestOf(guest) == 0; }

GLuint realTextureIn(const ReplayState& state, const NameMap& names, GLuint guest) {
  const GLuint known = names.find(guest);
  if (known != 0 || guest == 0) return known;
  return isItsOwn(state, names, guest) ? guest : kNoTexture;
}

// The names that follow in a command, as GL has them.
std::vector<GLuint> realTextures(Replayer& replayer, Reader& rest, uint32_t count) {
  const auto names = rest.elements<GLuint>(count);
  if (names.size() != count) return {};
  std::vector<GLuint> textures(count);
  names.copyTo(textures.data());
  for (GLuint& texture : textures) texture = realTexture(replayer, texture);
  return textures;
}

// Invalidation permits GL to forget an image and demands nothing. An OpenGL may crash over an image that was never defined, so
// the host hands it nothing and only raises the errors.
void invalidate(Replayer& replayer, GLuint texture, GLint level, bool sizesHold) {
  constexpr GLint kLevels = 32;
  if (level < 0 || level >= kLevels || !sizesHold || !gl.glIsTexture(realTexture(replayer, texture)))
    refuse(replayer, GL_INVALID_VALUE);
}

// One value of an attachment. A texture that is attached has the guest's name.
void getAttachment(Replayer& replayer, decltype(gl.glGetFramebufferAttachmentParameteriv) get, GLenum target, GLenum attachment,
                   GLenum name) {
  // GL decides by the name how much it writes.
  auto* const values = reinterpret_cast<GLint*>(replayer.scratch(Replayer::kScratchBytes));
  const bool inside = replayer.insideBegin();
  if (!inside) holdGlError(replayer);
  get(target, attachment, name, values);
  if (!inside && glRefused(replayer)) return replayer.answer(nullptr, 0);
  GLint value = values[0];
  if (!inside && name == GL_FRAMEBUFFER_ATTACHMENT_OBJECT_NAME) {
    get(target, attachment, GL_FRAMEBUFFER_ATTACHMENT_OBJECT_TYPE, values);
    if (values[0] == GL_TEXTURE) value = static_cast<GLint>(guestTexture(replayer, static_cast<GLuint>(value)));
  }
  replayer.answer(&value, sizeof value);
}

}  // namespace

GLuint realTexture(Replayer& replayer, GLuint guest) {
  return replayer.state().shared->withNames([&](auto& names) { return realTextureIn(replayer.state(), names.textures, guest); });
}

GLuint realTextureForBind(Replayer& replayer, GLuint guest) {
  const ReplayState& state = replayer.state();
  if (guest == 0) return 0;
  const ObjectBindings::KnownTexture& known = state.bindings.known[guest % ObjectBindings::kKnown];
  if (state.shared->isKnown(known, guest)) return known.real;
  return state.shared->withNames([&](auto& names) {
    return names.textures.findOrMake(guest,
                                     [&] { return isItsOwn(state, names.textures, guest) ? guest : generate(names.textures); });
  });
}

GLuint guestTexture(Replayer& replayer, GLuint real) {
  return replayer.state().shared->withNames([&](auto& names) {
    const GLuint known = names.textures.guestOf(real);
    return known != 0 || replayer.state().core ? known : real;
  });
}

LevelLimit::LevelLimit(Replayer& replayer, GLenum target) : target_(target) {
  constexpr GLint kLevels = 32;
  const ReplayState& state = replayer.state();
  if (state.insideBegin) return;
  holdGlError(replayer);
  GLint base = 0, most = 0;
  gl.glGetTexParameteriv(target, GL_TEXTURE_BASE_LEVEL, &base);
  gl.glGetTexParameteriv(target, GL_TEXTURE_MAX_LEVEL, &most);
  const GLenum image = target == GL_TEXTURE_CUBE_MAP ? GLenum{GL_TEXTURE_CUBE_MAP_POSITIVE_X} : target;
  const auto ask = [&](GLint level, GLenum name) {
    GLint value = 0;
    gl.glGetTexLevelParameteriv(image, level, name, &value);
    return value;
  };
  GLint size = std::max(ask(base, GL_TEXTURE_WIDTH), target == GL_TEXTURE_1D_ARRAY ? 0 : ask(base, GL_TEXTURE_HEIGHT));
  if (target == GL_TEXTURE_3D) size = std::max(size, ask(base, GL_TEXTURE_DEPTH));
  bool beyond = false;
  GLint last = base;
  if (size > 0 && base >= 0 && base < kLevels) {  // OpenGL refuses the rest
    for (; size > 1; size /= 2) ++last;
    for (GLint level = last + 1; level < kLevels && level <= most; ++level) beyond |= ask(level, GL_TEXTURE_WIDTH) > 0;
  }
  gl.glGetError();
  if (!beyond) return;
  if (state.listOpen) {
    holds_ = false;
    return;
  }
  most_ = most;
  gl.glTexParameteri(target, GL_TEXTURE_MAX_LEVEL, last);
}
LevelLimit::~LevelLimit() {
  if (most_ >= 0) gl.glTexParameteri(target_, GL_TEXTURE_MAX_LEVEL, most_);
}

LevelsAtEnd::LevelsAtEnd(Replayer& replayer, GLenum target, GLint level) : replayer_(replayer) {
  const ReplayState& state = replayer.state();
  // In a list the parameter would be recorded.
  if (state.core || state.insideBegin || state.listOpen) return;
  const bool face = target >= GL_TEXTURE_CUBE_MAP_POSITIVE_X && target <= GL_TEXTURE_CUBE_MAP_NEGATIVE_Z;
  const GLenum texture = face ? GLenum{GL_TEXTURE_CUBE_MAP} : target;
  GLint generates = GL_FALSE, base = 0;
  holdGlError(replayer);
  gl.glGetTexParameteriv(texture, GL_GENERATE_MIPMAP, &generates);
  gl.glGetTexParameteriv(texture, GL_TEXTURE_BASE_LEVEL, &base);
  gl.glGetError();
  if (generates == GL_FALSE || level != base) return;
  target_ = texture;
  gl.glTexParameteri(texture, GL_GENERATE_MIPMAP, GL_FALSE);
}
LevelsAtEnd::~LevelsAtEnd() {
  if (target_ == 0) return;
  if (!glRefused(replayer_)) {
    const LevelLimit limit(replayer_, target_);
    gl.glGenerateMipmap(target_);
    gl.glGetError();  // of a cube whose faces are not all there
  }
  gl.glTexParameteri(target_, GL_GENERATE_MIPMAP, GL_TRUE);
}

namespace replay {

void glBindTexture(Replayer& replayer, GLenum target, GLuint texture) {
  const GLuint real = realTextureForBind(replayer, texture);
  if (real == 0 && texture != 0) return refuse(replayer, GL_OUT_OF_MEMORY);
  callAndNote(
      replayer, [&] { gl.glBindTexture(target, real); }, [&] { noteTextureBound(replayer, target, texture, real); }, InLists::Recorded);
}

void glDeleteTextures(Replayer& replayer, GLsizei count, Reader& rest) {
  if (count < 0) return refuse(replayer, GL_INVALID_VALUE);
  if (replayer.state().insideBegin) return refuse(replayer, GL_INVALID_OPERATION);
  const auto names = rest.elements<GLuint>(static_cast<uint32_t>(count));
  std::vector<GLuint> textures(names.size());
  names.copyTo(textures.data());
  replayer.state().shared->withNames([&](auto& shared) {
    for (GLuint& texture : textures) {
      const GLuint guest = texture;
      texture = realTextureIn(replayer.state(), shared.textures, guest);
      shared.textures.remove(guest);
    }
    replayer.state().shared->texturesDeleted();
  });
  for (const GLuint texture : textures) noteTextureDeleted(replayer, texture);
  gl.glDeleteTextures(count, textures.data());
}

void glPrioritizeTextures(Replayer& replayer, GLsizei count, Reader& rest) {
  if (count < 0) return refuse(replayer, GL_INVALID_VALUE);
  const auto number = static_cast<uint32_t>(count);
  const std::vector<GLuint> textures = realTextures(replayer, rest, number);
  const auto values = rest.elements<GLfloat>(number);
  if (textures.size() != number || values.size() != number) return;
  std::vector<GLfloat> priorities(number);
  values.copyTo(priorities.data());
  gl.glPrioritizeTextures(count, textures.data(), priorities.data());
}

void glAreTexturesResident(Replayer& replayer, const AreTexturesResidentRecord& c, Reader& rest) {
  if (c.count < 0) {
    refuse(replayer, GL_INVALID_VALUE);
    return replayer.answer(nullptr, 0);
  }
  const auto count = static_cast<uint32_t>(c.count);
  const std::vector<GLuint> textures = realTextures(replayer, rest, count);
  if (textures.size() != count) return replayer.answer(nullptr, 0);
  std::vector<GLboolean> residences(count);
  holdGlError(replayer);
  // Where all are resident OpenGL says so and leaves the array alone.
  if (gl.glAreTexturesResident(c.count, textures.data(), residences.data()))
    std::fill(residences.begin(), residences.end(), GL_TRUE);
  replayer.answer(residences.data(), glRefused(replayer) ? 0 : count);
}

// The view's name must be one that GL has generated and nobody has bound.
void glTextureView(Replayer& replayer, GLuint texture, GLenum target, GLuint original, GLenum internalFormat, GLuint minLevel,
                   GLuint levels, GLuint minLayer, GLuint layers) {
  const GLuint view = replayer.state().shared->withNames(
      [&](auto& names) { return names.textures.findOrMake(texture, [&] { return generate(names.textures); }); });
  const GLuint real = realTexture(replayer, original);
  callAndNote(
      replayer, [&] { gl.glTextureView(view, target, real, internalFormat, minLevel, levels, minLayer, layers); },
      [&] { noteTextureView(replayer, view, real); });
}

void glCopyImageSubData(Replayer& replayer, GLuint from, GLenum fromTarget, GLint fromLevel, GLint fromX, GLint fromY,
                        GLint fromZ, GLuint to, GLenum toTarget, GLint toLevel, GLint toX, GLint toY, GLint toZ, GLsizei width,
                        GLsizei height, GLsizei depth) {
  const auto real = [&](GLuint name, GLenum target) { return target == GL_RENDERBUFFER ? name : realTexture(replayer, name); };
  gl.glCopyImageSubData(real(from, fromTarget), fromTarget, near(fromLevel), near(fromX), near(fromY), near(fromZ),
                        real(to, toTarget), toTarget, near(toLevel), near(toX), near(toY), near(toZ), near(width), near(height),
                        near(depth));
}

void glGetFramebufferAttachmentParameteriv(Replayer& replayer, GLenum target, GLenum attachment, GLenum name) {
  getAttachment(replayer, gl.glGetFramebufferAttachmentParameteriv, target, attachment, name);
}
void glGetFramebufferAttachmentParameterivEXT(Replayer& replayer, GLenum target, GLenum attachment, GLenum name) {
  getAttachment(replayer, gl.glGetFramebufferAttachmentParameterivEXT, target, attachment, name);
}

void glInvalidateTexSubImage(Replayer& replayer, GLuint texture, GLint level, GLint, GLint, GLint, GLsizei width, GLsizei height,
                             GLsizei depth) {
  invalidate(replayer, texture, level, width >= 0 && height >= 0 && depth >= 0);
}
void glInvalidateTexImage(Replayer& replayer, GLuint texture, GLint level) { invalidate(replayer, texture, level, true); }

}  // namespace replay

}  // namespace qv::peer
