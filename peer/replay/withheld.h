// The rows that their form could replay and that are not replayed yet, each with its reason.
#pragma once

#include "wire/entry_table.h"

namespace qv::peer {

// Why a row is withheld; null for a row that is replayed.
template <typename Row>
inline constexpr const char* kWithheld = nullptr;

#define QV_WITHHELD(name, why) \
  template <>                  \
  inline constexpr const char* kWithheld<op::name> = why;

// Draws of what was captured. Transform feedback objects have no names of the host's yet.
inline constexpr const char* kGuestArrays = "transform feedback is not replayed";
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
