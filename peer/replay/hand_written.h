// The rows whose replay is more than their form, and the rows that are not replayed, each with its reason.
#pragma once

#include "driver/stream/entry_table.h"
#include "peer/replay/opcode_table.h"

namespace qv::peer {

// Of the rows that a function of this folder replays: that function and the payload sizes it takes.
template <typename Row>
struct HandWritten {
  static constexpr bool kIs = false;
};

bool replayBegin(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayEnd(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayFlush(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayNewList(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayEndList(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayCallLists(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayClientState(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayPushClientAttrib(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayEnable(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayDisable(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayBlendFunc(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayLoadMatrixf(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayAccum(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayClear(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayGetString(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
// Of commands that have no row.
bool replayBrokenRun(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayEndedRun(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayPbufferAttrib(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayBindTexImage(Replayer& replayer, const uint8_t* payload, uint32_t bytes);
bool replayReleaseTexImage(Replayer& replayer, const uint8_t* payload, uint32_t bytes);

#define QV_HAND_WRITTEN(name, handler, least, span)                \
  template <>                                                      \
  struct HandWritten<op::name> {                                   \
    static constexpr bool kIs = true;                              \
    static constexpr OpcodeEntry kEntry = {&handler, least, span}; \
  };
QV_HAND_WRITTEN(glBegin, replayBegin, 4, 0)
QV_HAND_WRITTEN(glEnd, replayEnd, 0, 0)
QV_HAND_WRITTEN(glFlush, replayFlush, 0, 0)
QV_HAND_WRITTEN(glFinish, replayFlush, 0, 0)
QV_HAND_WRITTEN(glNewList, replayNewList, 8, 0)
QV_HAND_WRITTEN(glEndList, replayEndList, 0, 0)
QV_HAND_WRITTEN(glCallLists, replayCallLists, 12, kAnySpan)
QV_HAND_WRITTEN(glEnableClientState, replayClientState, 4, 0)
QV_HAND_WRITTEN(glDisableClientState, replayClientState, 4, 0)
QV_HAND_WRITTEN(glClientActiveTexture, replayClientState, 4, 0)
QV_HAND_WRITTEN(glEnable, replayEnable, 4, 0)
QV_HAND_WRITTEN(glDisable, replayDisable, 4, 0)
QV_HAND_WRITTEN(glBlendFunc, replayBlendFunc, 8, 0)
QV_HAND_WRITTEN(glLoadMatrixf, replayLoadMatrixf, 64, 0)
QV_HAND_WRITTEN(glAccum, replayAccum, 8, 0)
QV_HAND_WRITTEN(glClear, replayClear, 4, 0)
QV_HAND_WRITTEN(glPushClientAttrib, replayPushClientAttrib, 4, 0)
QV_HAND_WRITTEN(glGetString, replayGetString, 4, 0)
#undef QV_HAND_WRITTEN

// Why a row that its form could replay is not: null for a row that is.
template <typename Row>
inline constexpr const char* kWithheld = nullptr;

#define QV_WITHHELD(name, why) \
  template <>                  \
  inline constexpr const char* kWithheld<op::name> = why;

// Vertex arrays. An array that is on without data of its own would make GL read at an address of the guest.
inline constexpr const char* kGuestArrays = "vertex arrays are not replayed";
QV_WITHHELD(glEnableVertexAttribArray, kGuestArrays)
QV_WITHHELD(glDisableVertexAttribArray, kGuestArrays)
QV_WITHHELD(glLockArraysEXT, kGuestArrays)
QV_WITHHELD(glUnlockArraysEXT, kGuestArrays)
QV_WITHHELD(glBindVertexArray, kGuestArrays)
QV_WITHHELD(glDeleteVertexArrays, kGuestArrays)
QV_WITHHELD(glVertexAttribDivisor, kGuestArrays)
QV_WITHHELD(glVertexAttribDivisorARB, kGuestArrays)
QV_WITHHELD(glBindVertexBuffer, kGuestArrays)
QV_WITHHELD(glVertexAttribFormat, kGuestArrays)
QV_WITHHELD(glVertexAttribIFormat, kGuestArrays)
QV_WITHHELD(glVertexAttribLFormat, kGuestArrays)
QV_WITHHELD(glVertexAttribBinding, kGuestArrays)
QV_WITHHELD(glVertexBindingDivisor, kGuestArrays)
QV_WITHHELD(glDrawTransformFeedback, kGuestArrays)
QV_WITHHELD(glDrawTransformFeedbackStream, kGuestArrays)
QV_WITHHELD(glDrawTransformFeedbackInstanced, kGuestArrays)
QV_WITHHELD(glDrawTransformFeedbackStreamInstanced, kGuestArrays)
// Sync objects. A real handle is a pointer, the guest's is a 32-bit name.
inline constexpr const char* kSyncNames = "sync objects have no names yet";
QV_WITHHELD(glFenceSync, kSyncNames)
QV_WITHHELD(glIsSync, kSyncNames)
QV_WITHHELD(glDeleteSync, kSyncNames)
QV_WITHHELD(glClientWaitSync, kSyncNames)
QV_WITHHELD(glWaitSync, kSyncNames)
// GL would write into memory that the guest has named.
QV_WITHHELD(glRenderMode, "selection and feedback buffers are not kept")
#undef QV_WITHHELD

}  // namespace qv::peer
