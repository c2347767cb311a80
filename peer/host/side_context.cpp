// What the host does with windows and textures in its own OpenGL context.
#include "peer/host/side_context.h"

#include <algorithm>

#include "peer/host/frame.h"
#include "peer/replay/gl_functions.h"

namespace qv::peer {
namespace {

constexpr int32_t kStripPixels = 64 * 1024;
constexpr const char* kNoContext = "no OpenGL context beside the guest's";

GLenum internalFormat(const DrawableAttributes& attributes) {
  const bool alpha = attributes.textureFormat == GL_RGBA;
  if (attributes.floatColors) return alpha ? GL_RGBA32F : GL_RGB32F;
  return alpha ? GL_RGBA : GL_RGB;
}

bool generatesMipmaps(GLenum target) {
  GLint generates = GL_FALSE;
  gl.glGetTexParameteriv(target, GL_GENERATE_MIPMAP, &generates);  // stays false in core profiles, which do not have it
  return generates != GL_FALSE;
}

// Makes the levels above 0, whatever levels the guest has set for sampling.
void generateLevels(GLenum target, uint32_t levels) {
  GLint base = 0, last = 0;
  gl.glGetTexParameteriv(target, GL_TEXTURE_BASE_LEVEL, &base);
  gl.glGetTexParameteriv(target, GL_TEXTURE_MAX_LEVEL, &last);
  gl.glTexParameteri(target, GL_TEXTURE_BASE_LEVEL, 0);
  gl.glTexParameteri(target, GL_TEXTURE_MAX_LEVEL, static_cast<GLint>(levels - 1));
  gl.glGenerateMipmap(target);
  gl.glTexParameteri(target, GL_TEXTURE_BASE_LEVEL, base);
  gl.glTexParameteri(target, GL_TEXTURE_MAX_LEVEL, last);
}

void clearErrors() {
  while (gl.glGetError() != GL_NO_ERROR) {
  }
}

}  // namespace

void clearSurface(WindowSurface& surface) {
  gl.glDrawBuffer(GL_BACK);
  gl.glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
  surface.cleared = true;
}

SideContext::~SideContext() {
  if (egl_ == EGL_NO_CONTEXT) return;
  display_.destroyContext(egl_);
  counters_.glContexts.fetch_sub(1);
}

bool SideContext::bind(WindowSurface& surface) {
  if (egl_ == EGL_NO_CONTEXT) {
    egl_ = display_.createContext(attributes_, share_);
    if (egl_ == EGL_NO_CONTEXT) return false;
    counters_.glContexts.fetch_add(1);
  }
  if (!display_.makeCurrent(surface.egl, egl_)) return false;
  if (!surface.cleared) clearSurface(surface);
  return true;
}

const char* SideContext::clear(WindowSurface& surface) { return bind(surface) ? nullptr : kNoContext; }

const char* SideContext::copyTexImages(Window& pbuffer, GLuint texture) {
  if (!bind(pbuffer.surface())) return kNoContext;
  gl.glReadBuffer(GL_BACK);

  const GLenum target = pbuffer.attributes.textureTarget;
  const GLenum format = internalFormat(pbuffer.attributes);
  gl.glBindTexture(target, texture);
  // The texture's own automatic generation replaces what has been drawn to the higher levels.
  const uint32_t levels = generatesMipmaps(target) ? 1 : pbuffer.levels();
  clearErrors();
  for (uint32_t level = 0; level < levels; ++level) {
    for (uint32_t face = 0; face < pbuffer.faces(); ++face) {
      const GLenum image = target == GL_TEXTURE_CUBE_MAP ? GL_TEXTURE_CUBE_MAP_POSITIVE_X + face : target;
      const int32_t width = pbuffer.widthOf(level), height = pbuffer.heightOf(level);
      const auto drawn = pbuffer.surfaces.find({face, level});
      if (drawn != pbuffer.surfaces.end()) {
        if (!bind(drawn->second)) return kNoContext;
        gl.glCopyTexImage2D(image, static_cast<GLint>(level), format, 0, 0, width, height, 0);
      } else if (level == 0) {
        gl.glTexImage2D(image, 0, static_cast<GLint>(format), width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
      }
    }
    if (level == 0 && pbuffer.surfaces.size() < size_t{levels} * pbuffer.faces()) generateLevels(target, levels);
  }
  const bool refused = gl.glGetError() != GL_NO_ERROR;
  // A binding here would keep the texture alive after the guest has deleted it.
  gl.glBindTexture(target, 0);
  return refused ? "the texture does not take the images" : nullptr;
}

SideContext::Resolved::Resolved(const Window& window) {
  const int32_t width = window.widthOf(window.selected.level), height = window.heightOf(window.selected.level);
  gl.glGenFramebuffers(1, &framebuffer_);
  gl.glGenRenderbuffers(1, &renderbuffer_);
  gl.glBindRenderbuffer(GL_RENDERBUFFER, renderbuffer_);
  gl.glRenderbufferStorage(GL_RENDERBUFFER, window.offer.colorBits > 8 ? GL_RGBA16F : GL_RGBA8, width, height);
  gl.glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer_);
  gl.glFramebufferRenderbuffer(GL_DRAW_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, renderbuffer_);
  // Reading pixels of a multisampled window directly gives one of the samples on some OpenGLs; a blit averages on all.
  gl.glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
  gl.glReadBuffer(GL_BACK);
  gl.glBlitFramebuffer(0, 0, width, height, 0, 0, width, height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
  gl.glBindFramebuffer(GL_FRAMEBUFFER, framebuffer_);
}

SideContext::Resolved::~Resolved() {
  gl.glBindFramebuffer(GL_FRAMEBUFFER, 0);
  gl.glDeleteFramebuffers(1, &framebuffer_);
  gl.glBindRenderbuffer(GL_RENDERBUFFER, 0);
  if (renderbuffer_ != 0) gl.glDeleteRenderbuffers(1, &renderbuffer_);
}

const char* SideContext::resolvePicture(Window& window, GLuint& renderbuffer) {
  if (!bind(window.surface())) return kNoContext;
  renderbuffer = Resolved(window).give();
  return nullptr;
}

const char* SideContext::copyResolvedFrame(Window& window, const Allocation& target) {
  if (!bind(window.surface())) return kNoContext;
  const Resolved picture(window);
  readFrame(window.widthOf(window.selected.level), window.heightOf(window.selected.level), target);
  return nullptr;
}

template <typename Work>
void SideContext::forEachStrip(const PixelRect& rect, Work&& work) {
  const int32_t rows = std::max(kStripPixels / rect.width, 1);
  for (int32_t y = 0; y < rect.height; y += rows) {
    const PixelRect strip = {rect.x, rect.y + y, rect.width, std::min(rows, rect.height - y)};
    pixels_.resize(size_t{4} * static_cast<size_t>(strip.width) * static_cast<size_t>(strip.height));
    work(strip);
  }
}

const char* SideContext::accumulate(Window& window, const PixelRect& rect, float keep, float scale) {
  if (!bind(window.surface())) return kNoContext;
  std::optional<Resolved> picture;
  if (window.offer.samples != 0) {
    picture.emplace(window);
  } else {
    gl.glReadBuffer(GL_BACK);
  }
  forEachStrip(rect, [&](const PixelRect& strip) {
    // In bounds: pixels_ has four floats for each pixel of the strip, and the rows have no gaps.
    gl.glReadPixels(strip.x, strip.y, strip.width, strip.height, GL_RGBA, GL_FLOAT, pixels_.data());
    window.accumulation.add(strip, keep, pixels_, scale);
  });
  return nullptr;
}

const char* SideContext::returnAccumulation(Window& window, const PixelRect& rect, float scale, const GLboolean (&mask)[4]) {
  if (!bind(window.surface())) return kNoContext;
  gl.glDrawBuffer(GL_BACK);
  gl.glDisable(GL_DITHER);
  gl.glColorMask(mask[0], mask[1], mask[2], mask[3]);
  forEachStrip(rect, [&](const PixelRect& strip) {
    window.accumulation.read(strip, scale, pixels_);
    gl.glWindowPos2i(strip.x, strip.y);
    gl.glDrawPixels(strip.width, strip.height, GL_RGBA, GL_FLOAT, pixels_.data());
  });
  gl.glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
  return nullptr;
}

}  // namespace qv::peer
