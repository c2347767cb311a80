// The notes of bindings and attachments.
#include "peer/replay/kept_objects.h"

#include "peer/replay/errors.h"
#include "peer/replay/gl_functions.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"

namespace qv::peer {
namespace {

using Names = SharedObjects::Names;

GLint integer(GLenum name) {
  GLint value = 0;
  gl.glGetIntegerv(name, &value);
  return value;
}

std::shared_ptr<Attachments> attachmentsOf(Names& names, GLint framebuffer) {
  if (framebuffer == 0) return nullptr;
  std::shared_ptr<Attachments>& one = names.framebuffers[static_cast<GLuint>(framebuffer)];
  if (one == nullptr) one = std::make_shared<Attachments>();
  return one;
}

MemoryShare textureShare(Names& names, GLuint real) { return real == 0 ? nullptr : names.textureMemory[real].share(); }

std::shared_ptr<Held> renderbufferShare(Names& names, GLuint name) {
  if (name == 0) return nullptr;
  std::shared_ptr<Held>& one = names.renderbufferMemory[name];
  if (one == nullptr) one = std::make_shared<Held>();
  return one;
}

void attach(ObjectBindings& bindings, GLenum target, GLenum attachment, MemoryShare share) {
  const std::shared_ptr<Attachments>& to = target == GL_READ_FRAMEBUFFER ? bindings.read : bindings.drawn;
  if (to == nullptr) return;
  const auto set = [&](GLenum point) {
    if (share == nullptr) {
      to->erase(point);
    } else {
      (*to)[point] = share;
    }
  };
  if (attachment != GL_DEPTH_STENCIL_ATTACHMENT) return set(attachment);
  set(GL_DEPTH_ATTACHMENT);
  set(GL_STENCIL_ATTACHMENT);
}

// GL takes what a context deletes out of the framebuffers that this context has bound.
void detach(ObjectBindings& bindings, const MemoryShare& share) {
  for (const std::shared_ptr<Attachments>& from : {bindings.drawn, bindings.read}) {
    if (from != nullptr) std::erase_if(*from, [&](const auto& one) { return one.second == share; });
  }
}

}  // namespace

bool notesObjects(Replayer& replayer, InLists inLists) {
  const ReplayState& state = replayer.state();
  const bool onlyRecorded = inLists == InLists::Recorded && state.listOpen && !state.listExecutes;
  return state.shared->textureBytes != nullptr && !state.insideBegin && !onlyRecorded;
}

void noteFramebuffersBound(Replayer& replayer) {
  ReplayState& state = replayer.state();
  const GLint drawn = integer(GL_DRAW_FRAMEBUFFER_BINDING), read = integer(GL_READ_FRAMEBUFFER_BINDING);
  state.shared->withNames([&](Names& names) {
    state.bindings.drawn = attachmentsOf(names, drawn);
    state.bindings.read = attachmentsOf(names, read);
  });
}

void noteFramebuffersDeleted(Replayer& replayer, const GLuint* deleted, size_t count) {
  replayer.state().shared->withNames([&](Names& names) {
    for (size_t i = 0; i < count; ++i) names.framebuffers.erase(deleted[i]);
  });
  noteFramebuffersBound(replayer);
}

void noteTextureAttached(Replayer& replayer, GLenum target, GLenum attachment, GLuint real) {
  ReplayState& state = replayer.state();
  state.shared->withNames([&](Names& names) { attach(state.bindings, target, attachment, textureShare(names, real)); });
}

void noteRenderbufferAttached(Replayer& replayer, GLenum target, GLenum attachment, GLuint name) {
  ReplayState& state = replayer.state();
  state.shared->withNames([&](Names& names) { attach(state.bindings, target, attachment, renderbufferShare(names, name)); });
}

void noteRenderbufferBound(Replayer& replayer) {
  ReplayState& state = replayer.state();
  const auto name = static_cast<GLuint>(integer(GL_RENDERBUFFER_BINDING));
  state.bindings.renderbuffer = state.shared->withNames([&](Names& names) { return renderbufferShare(names, name); });
}

void noteTextureBound(Replayer& replayer, GLenum target, GLuint guest, GLuint real) {
  ReplayState& state = replayer.state();
  ObjectBindings& bindings = state.bindings;
  if (bindings.unit == ObjectBindings::kUnknown) bindings.unit = integer(GL_ACTIVE_TEXTURE);
  MemoryShare& share = bindings.boundTo(target);
  if (real == 0) {
    share = nullptr;
    return;
  }
  ObjectBindings::KnownTexture& known = bindings.known[guest % ObjectBindings::kKnown];
  if (!state.shared->isKnown(known, guest)) {
    known = state.shared->withNames([&](Names& names) {
      return ObjectBindings::KnownTexture{state.shared->texturesGeneration.load(), guest, real, textureShare(names, real)};
    });
  }
  share = known.share.lock();
}

void noteImageBound(Replayer& replayer, GLuint unit, GLuint real) {
  ReplayState& state = replayer.state();
  state.bindings.images[unit] = state.shared->withNames([&](Names& names) { return textureShare(names, real); });
}

void noteAttributesPushed(Replayer& replayer, GLbitfield mask) {
  if ((mask & GL_TEXTURE_BIT) == 0 || !notesObjects(replayer, InLists::Recorded)) return;
  ObjectBindings& bindings = replayer.state().bindings;
  bindings.saved.push_back({integer(GL_ATTRIB_STACK_DEPTH), bindings.textures});
}

void noteAttributesPopped(Replayer& replayer) {
  ObjectBindings& bindings = replayer.state().bindings;
  bindings.unit = ObjectBindings::kUnknown;
  if (bindings.saved.empty() || !notesObjects(replayer, InLists::Recorded)) return;
  const GLint depth = integer(GL_ATTRIB_STACK_DEPTH);
  while (!bindings.saved.empty() && bindings.saved.back().depth > depth) {
    bindings.textures = std::move(bindings.saved.back().textures);
    bindings.texturesChanged();
    bindings.saved.pop_back();
  }
}

void noteTextureView(Replayer& replayer, GLuint view, GLuint original) {
  replayer.state().shared->withNames(
      [&](Names& names) { names.textureMemory[view].keep(names.textureMemory[original].imageShare()); });
}

void noteTextureBuffer(Replayer& replayer, const std::shared_ptr<HostBuffer>& buffer) {
  const auto real = static_cast<uint32_t>(integer(GL_TEXTURE_BINDING_BUFFER));
  const uint64_t key = real != 0 ? real : uint64_t{GL_TEXTURE_BINDING_BUFFER} << 32;
  replayer.state().shared->withNames([&](Names& names) { names.textureMemory[key].keep(shareOf(buffer)); });
}

void noteTextureDeleted(Replayer& replayer, GLuint real) {
  ReplayState& state = replayer.state();
  ObjectBindings& bindings = state.bindings;
  state.shared->withNames([&](Names& names) {
    const auto at = names.textureMemory.find(real);
    if (at == names.textureMemory.end()) return;
    if (at->second.isShared()) {
      const MemoryShare share = at->second.share();
      detach(bindings, share);
      std::erase_if(bindings.textures, [&](const auto& one) { return one.second == share; });
      bindings.texturesChanged();
      std::erase_if(bindings.images, [&](const auto& one) { return one.second == share; });
    }
    at->second.leave();
    names.textureMemory.erase(at);
  });
}

void noteRenderbuffersDeleted(Replayer& replayer, const GLuint* deleted, size_t count) {
  ReplayState& state = replayer.state();
  state.shared->withNames([&](Names& names) {
    for (size_t i = 0; i < count; ++i) {
      const auto at = names.renderbufferMemory.find(deleted[i]);
      if (at == names.renderbufferMemory.end()) continue;
      detach(state.bindings, at->second);
      if (state.bindings.renderbuffer == at->second) state.bindings.renderbuffer = nullptr;
      names.renderbufferMemory.erase(at);
    }
  });
}

void defineRenderbuffer(Replayer& replayer, uint32_t opcode, const char* name, const RenderbufferStorage& storage,
                        void (*call)(const uint8_t*), const uint8_t* fixed) {
  ReplayState& state = replayer.state();
  SharedObjects& shared = *state.shared;
  const std::shared_ptr<Held> memory = state.bindings.renderbuffer;
  if (shared.renderbufferBytes == nullptr || memory == nullptr || !notesObjects(replayer)) return call(fixed);
  const uint64_t bytes = textureImageBytes(
      {.internalFormat = storage.internalFormat, .width = storage.width, .height = storage.height, .samples = storage.samples});
  uint64_t before = 0;
  const auto resize = [&](uint64_t amount) {
    return shared.withNames([&](Names&) {
      before = memory->amount();
      return memory->resize(*shared.renderbufferBytes, amount);
    });
  };
  if (!resize(bytes)) {
    replayer.passOver(opcode, name, "over the guest's quota of renderbuffer memory");
    return refuse(replayer, GL_OUT_OF_MEMORY);
  }
  holdGlError(replayer);
  call(fixed);
  if (glRefused(replayer)) resize(before);
}

}  // namespace qv::peer
