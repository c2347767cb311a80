// Replay of the commands on framebuffers and renderbuffers, on texture units and attribute stacks, with notes of what GL keeps.
#pragma once

#include "peer/replay/kept_objects.h"
#include "peer/replay/row_replay.h"

namespace qv::peer {

#define QV_NOTED(name, note)                                                                 \
  template <>                                                                                \
  struct FormReplay<op::name, Fixed> {                                                       \
    using L = LayoutOf<op::name>;                                                            \
    static void replay(Replayer& replayer, [[maybe_unused]] const uint8_t* fixed, Reader&) { \
      callAndNote(                                                                           \
          replayer, [&] { RowCall<op::name>::call(fixed, nullptr); }, [&] { note; });        \
    }                                                                                        \
  };
QV_NOTED(glBindFramebuffer, noteFramebuffersBound(replayer))
QV_NOTED(glBindFramebufferEXT, noteFramebuffersBound(replayer))
QV_NOTED(glBindRenderbuffer, noteRenderbufferBound(replayer))
QV_NOTED(glBindRenderbufferEXT, noteRenderbufferBound(replayer))
QV_NOTED(glFramebufferRenderbuffer,
         noteRenderbufferAttached(replayer, L::scalar<0>(fixed), L::scalar<1>(fixed), L::scalar<3>(fixed)))
QV_NOTED(glFramebufferRenderbufferEXT,
         noteRenderbufferAttached(replayer, L::scalar<0>(fixed), L::scalar<1>(fixed), L::scalar<3>(fixed)))
#undef QV_NOTED

// Frequent commands, whose notes are right also for those that GL refuses.
template <>
struct FormReplay<op::glActiveTexture, Fixed> {
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) {
    replayer.state().bindings.unit = ObjectBindings::kUnknown;
    RowCall<op::glActiveTexture>::call(fixed, nullptr);
  }
};
template <>
struct FormReplay<op::glPushAttrib, Fixed> {
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) {
    RowCall<op::glPushAttrib>::call(fixed, nullptr);
    noteAttributesPushed(replayer, LayoutOf<op::glPushAttrib>::scalar<0>(fixed));
  }
};
template <>
struct FormReplay<op::glPopAttrib, Fixed> {
  static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) {
    RowCall<op::glPopAttrib>::call(fixed, nullptr);
    noteAttributesPopped(replayer);
  }
};

#define QV_STORAGE(name, format, width, height, samples)                                          \
  template <>                                                                                     \
  struct FormReplay<op::name, Fixed> {                                                            \
    using L = LayoutOf<op::name>;                                                                 \
    static void replay(Replayer& replayer, const uint8_t* fixed, Reader&) {                       \
      defineRenderbuffer(                                                                         \
          replayer, opcodeOf<op::name>, #name,                                                    \
          {L::scalar<format>(fixed), L::scalar<width>(fixed), L::scalar<height>(fixed), samples}, \
          [](const uint8_t* arguments) { RowCall<op::name>::call(arguments, nullptr); }, fixed);  \
    }                                                                                             \
  };
QV_STORAGE(glRenderbufferStorage, 1, 2, 3, 1)
QV_STORAGE(glRenderbufferStorageEXT, 1, 2, 3, 1)
QV_STORAGE(glRenderbufferStorageMultisample, 2, 3, 4, L::scalar<1>(fixed))
QV_STORAGE(glRenderbufferStorageMultisampleEXT, 2, 3, 4, L::scalar<1>(fixed))
#undef QV_STORAGE

// The names of a deletion, in the memory of the command's own copy.
template <typename Note>
void deleteNames(Replayer& replayer, GLsizei count, Reader& rest, void(APIENTRY* call)(GLsizei, const GLuint*), Note&& note) {
  if (count < 0) return refuse(replayer, GL_INVALID_VALUE);
  const auto elements = rest.elements<GLuint>(static_cast<uint32_t>(count));
  std::vector<GLuint> names(elements.size());
  elements.copyTo(names.data());
  const auto given = [&] { call(static_cast<GLsizei>(names.size()), names.data()); };
  if (!notesObjects(replayer)) return given();
  note(names, given);
}

#define QV_DELETES_FRAMEBUFFERS(name)                                              \
  template <>                                                                      \
  struct FormReplay<op::name, Array<1>> {                                          \
    static void replay(Replayer& replayer, const uint8_t* fixed, Reader& rest) {   \
      deleteNames(replayer, LayoutOf<op::name>::scalar<0>(fixed), rest, gl.name,   \
                  [&](const std::vector<GLuint>& names, const auto& call) {        \
                    call();                                                        \
                    noteFramebuffersDeleted(replayer, names.data(), names.size()); \
                  });                                                              \
    }                                                                              \
  };
QV_DELETES_FRAMEBUFFERS(glDeleteFramebuffers)
QV_DELETES_FRAMEBUFFERS(glDeleteFramebuffersEXT)
#undef QV_DELETES_FRAMEBUFFERS

#define QV_DELETES_RENDERBUFFERS(name)                                              \
  template <>                                                                       \
  struct FormReplay<op::name, Array<1>> {                                           \
    static void replay(Replayer& replayer, const uint8_t* fixed, Reader& rest) {    \
      deleteNames(replayer, LayoutOf<op::name>::scalar<0>(fixed), rest, gl.name,    \
                  [&](const std::vector<GLuint>& names, const auto& call) {         \
                    noteRenderbuffersDeleted(replayer, names.data(), names.size()); \
                    call();                                                         \
                  });                                                               \
    }                                                                               \
  };
QV_DELETES_RENDERBUFFERS(glDeleteRenderbuffers)
QV_DELETES_RENDERBUFFERS(glDeleteRenderbuffersEXT)
#undef QV_DELETES_RENDERBUFFERS

}  // namespace qv::peer
