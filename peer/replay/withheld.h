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

// Vertex arrays. An array that is enabled without data of the host's would make GL read at an address of the guest.
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
// GL would write into memory that the guest has named.
QV_WITHHELD(glRenderMode, "selection and feedback buffers are not kept")
#undef QV_WITHHELD

}  // namespace qv::peer
