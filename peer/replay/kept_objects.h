// What OpenGL keeps of the guest's textures and renderbuffers beyond their deletion: where they are bound or attached.
#pragma once

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "peer/replay/errors.h"
#include "peer/replay/host_buffer.h"
#include "wire/gl_api.h"

namespace qv::peer {

class Replayer;

// What is attached to a framebuffer, by attachment. Under the lock of the names.
using Attachments = std::map<GLenum, MemoryShare>;

// What a context has bound. A texture that only a display list binds is not among it.
struct ObjectBindings {
  using Textures = std::map<std::pair<GLint, GLenum>, MemoryShare>;  // by unit and target

  // Textures that were bound before, by the guest's name, as long as the set of names has had none deleted since. A name displaces
  // another whose place it takes.
  struct KnownTexture {
    uint64_t generation = 0;
    GLuint guest = 0, real = 0;
    std::weak_ptr<const void> share;  // which this alone does not keep
  };
  static constexpr GLuint kKnown = 16;
  KnownTexture known[kKnown];

  std::shared_ptr<Attachments> drawn, read;
  std::shared_ptr<Held> renderbuffer;
  Textures textures;
  std::map<GLuint, MemoryShare> images;  // by image unit
  GLint unit = kUnknown;                 // of textures, the active one
  struct Saved {
    GLint depth;  // of the attribute stack above it
    Textures textures;
  };
  std::vector<Saved> saved;

  static constexpr GLint kUnknown = -1;  // GL has to be asked

  // What is bound to a target of the active unit.
  MemoryShare& boundTo(GLenum target) {
    const std::pair<GLint, GLenum> key{unit, target};
    if (last_ == nullptr || lastKey_ != key) {
      last_ = &textures[key];
      lastKey_ = key;
    }
    return *last_;
  }
  // Behind every other change of `textures`.
  void texturesChanged() { last_ = nullptr; }

 private:
  std::pair<GLint, GLenum> lastKey_;
  MemoryShare* last_ = nullptr;
};

// Whether what a command binds or attaches now is to be noted: not where nothing is counted, where GL refuses the command anyway,
// nor where a list only records it.
enum class InLists : bool { CarriedOut, Recorded };
bool notesObjects(Replayer& replayer, InLists inLists = InLists::CarriedOut);

// Calls GL and, if it has not refused the command, notes what that means.
template <typename Call, typename Note>
void callAndNote(Replayer& replayer, Call&& call, Note&& note, InLists inLists = InLists::CarriedOut) {
  if (!notesObjects(replayer, inLists)) return call();
  holdGlError(replayer);
  call();
  if (!glRefused(replayer)) note();
}

// Each follows a command that GL has carried out.
void noteFramebuffersBound(Replayer& replayer);
void noteFramebuffersDeleted(Replayer& replayer, const GLuint* names, size_t count);
void noteTextureAttached(Replayer& replayer, GLenum target, GLenum attachment, GLuint real);
void noteRenderbufferAttached(Replayer& replayer, GLenum target, GLenum attachment, GLuint name);
void noteRenderbufferBound(Replayer& replayer);
void noteTextureBound(Replayer& replayer, GLenum target, GLuint guest, GLuint real);
void noteImageBound(Replayer& replayer, GLuint unit, GLuint real);
void noteAttributesPushed(Replayer& replayer, GLbitfield mask);
void noteAttributesPopped(Replayer& replayer);
void noteTextureView(Replayer& replayer, GLuint view, GLuint original);
void noteTextureBuffer(Replayer& replayer, const std::shared_ptr<HostBuffer>& buffer);

// Each stands before the deletion by this context, whose own bindings GL ends.
void noteTextureDeleted(Replayer& replayer, GLuint real);
void noteRenderbuffersDeleted(Replayer& replayer, const GLuint* names, size_t count);

// Counts the storage that a command is about to give to the renderbuffer that is bound, calls it, and counts what it was again
// when GL has refused it. Without room it raises GL_OUT_OF_MEMORY and writes a log line.
struct RenderbufferStorage {
  GLenum internalFormat;
  GLsizei width, height, samples;
};
void defineRenderbuffer(Replayer& replayer, uint32_t opcode, const char* name, const RenderbufferStorage& storage,
                        void (*call)(const uint8_t*), const uint8_t* fixed);

}  // namespace qv::peer
