// A context's part in commands on windows: which drawables it holds and binds meanwhile.
#include <algorithm>

#include "peer/host/context.h"
#include "peer/host/guest.h"
#include "peer/host/side_context.h"
#include "peer/replay/gl_functions.h"

namespace qv::peer {
namespace {

constexpr const char* kNoWindow = "there is no such window";
constexpr const char* kNoTexture = "the window is no pbuffer for textures";
constexpr const char* kNoMemory = "there is no memory for an accumulation buffer";
constexpr const char* kNoDrawable = "there can be no such drawable";

WindowCommands::Result resultOf(const char* why) {
  return why == nullptr ? WindowCommands::Result{} : WindowCommands::passOver(why);
}

bool isForTextures(const Window& window) { return window.attributes.textureTarget != 0 && window.attributes.textureFormat != 0; }

}  // namespace

WindowCommands::Result Context::selectImage(uint32_t windowId, GLenum face, uint32_t level) {
  const std::shared_ptr<Window> window = guest_.windows().find(windowId);
  if (window == nullptr) return passOver(kNoWindow);
  if (window != window_) return passOver("the pbuffer is not the current drawable");
  if (!isForTextures(*window)) return passOver(kNoTexture);
  // A pbuffer without faces is addressed by any of them.
  if (face < GL_TEXTURE_CUBE_MAP_POSITIVE_X || face > GL_TEXTURE_CUBE_MAP_NEGATIVE_Z) return passOver("there is no such face");
  if (level >= window->levels()) return passOver("there is no such level");
  const WindowImage image = {window->faces() == 1 ? 0 : face - GL_TEXTURE_CUBE_MAP_POSITIVE_X, level};
  if (image == window->selected) return {};
  if (!guest_.windows().select(*window_, image)) return passOver(kNoDrawable);
  return bindDrawable() ? Result{} : drawableLost();
}

WindowCommands::Result Context::bindTexImage(uint32_t windowId) {
  const std::shared_ptr<Window> pbuffer = guest_.windows().find(windowId);
  if (pbuffer == nullptr) return passOver(kNoWindow);
  if (!isForTextures(*pbuffer)) return passOver(kNoTexture);
  const GLenum target = pbuffer->attributes.textureTarget;
  GLint texture = 0;
  gl.glGetIntegerv(target == GL_TEXTURE_CUBE_MAP ? GL_TEXTURE_BINDING_CUBE_MAP : GL_TEXTURE_BINDING_2D, &texture);

  const char* why = nullptr;
  if (pbuffer == window_) {
    why = sideContext().copyTexImages(*pbuffer, static_cast<GLuint>(texture));
    if (!bindDrawable()) return drawableLost();
  } else {
    // Whoever has the pbuffer bound may be waiting for this context's drawable just now: nothing is held while waiting.
    const std::shared_ptr<Window> drawable = window_;
    const int32_t width = drawable->width, height = drawable->height;
    unbindWindow();
    if (guest_.windows().acquire(*pbuffer, *this, 0, 0, stop_)) {
      why = sideContext().copyTexImages(*pbuffer, static_cast<GLuint>(texture));
      guest_.display().release();
      guest_.windows().release(*pbuffer);
    } else {
      why = kNoDrawable;
    }
    if (!guest_.windows().acquire(*drawable, *this, width, height, stop_)) return drawableLost();
    window_ = drawable;
    if (!bindDrawable()) return drawableLost();
  }
  // What another context has changed is seen from the next binding on. (An open list would record it.)
  if (!replayer_->listOpen()) gl.glBindTexture(target, static_cast<GLuint>(texture));
  return resultOf(why);
}

// The texture has copies, so that the pbuffer is never out of use. What the texture holds after the release is undefined.
WindowCommands::Result Context::releaseTexImage(uint32_t windowId) {
  const std::shared_ptr<Window> pbuffer = guest_.windows().find(windowId);
  if (pbuffer == nullptr) return passOver(kNoWindow);
  return isForTextures(*pbuffer) ? Result{} : passOver(kNoTexture);
}

WindowCommands::Result Context::resolvePicture(GLuint& renderbuffer) {
  renderbuffer = 0;
  if (window_->offer.samples == 0) return {};
  const char* const why = sideContext().resolvePicture(*window_, renderbuffer);
  return bindDrawable() ? resultOf(why) : drawableLost();
}

bool Context::accumulates() const {
  GLint drawn = 0, read = 0;
  gl.glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &drawn);
  gl.glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &read);
  return !attributes_.core() && drawn == 0 && read == 0;
}

PixelRect Context::scissored() const {
  const int32_t width = window_->widthOf(window_->selected.level), height = window_->heightOf(window_->selected.level);
  if (!gl.glIsEnabled(GL_SCISSOR_TEST)) return {0, 0, width, height};
  GLint box[4] = {};
  gl.glGetIntegerv(GL_SCISSOR_BOX, box);
  const auto clip = [](int64_t at, int32_t size) { return static_cast<int32_t>(std::clamp<int64_t>(at, 0, size)); };
  PixelRect rect = {clip(box[0], width), clip(box[1], height)};
  rect.width = clip(int64_t{box[0]} + box[2], width) - rect.x;
  rect.height = clip(int64_t{box[1]} + box[3], height) - rect.y;
  return rect;
}

WindowCommands::Result Context::accumulate(GLenum operation, GLfloat value) {
  AccumulationBuffer& buffer = window_->accumulation;
  const PixelRect rect = scissored();
  if (rect.empty()) return {};
  if (!window_->makeAccumulation()) return passOver(kNoMemory);
  if (operation == GL_ADD || operation == GL_MULT) {
    buffer.change(rect, operation == GL_MULT ? value : 1, operation == GL_ADD ? value : 0);
    return {};
  }
  const char* why = nullptr;
  if (operation == GL_RETURN) {
    GLboolean mask[4] = {};
    gl.glGetBooleanv(GL_COLOR_WRITEMASK, mask);
    GLint drawBuffer = GL_NONE;
    gl.glGetIntegerv(GL_DRAW_BUFFER, &drawBuffer);
    if (drawBuffer == GL_NONE) return {};
    why = sideContext().returnAccumulation(*window_, rect, value, mask);
  } else {
    why = sideContext().accumulate(*window_, rect, operation == GL_ACCUM ? 1 : 0, value);
  }
  return bindDrawable() ? resultOf(why) : drawableLost();
}

WindowCommands::Result Context::clearAccumulation() {
  GLfloat color[4] = {};
  gl.glGetFloatv(GL_ACCUM_CLEAR_VALUE, color);
  AccumulationBuffer& buffer = window_->accumulation;
  // A new buffer is zero.
  if (buffer.empty() && std::all_of(color, color + 4, [](GLfloat part) { return part == 0; })) return {};
  const PixelRect rect = scissored();
  if (rect.empty()) return {};
  if (!window_->makeAccumulation()) return passOver(kNoMemory);
  buffer.fill(rect, color);
  return {};
}

}  // namespace qv::peer
