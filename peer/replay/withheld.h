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

// GL would write into memory that the guest has named.
QV_WITHHELD(glRenderMode, "selection and feedback buffers are not kept")
#undef QV_WITHHELD

}  // namespace qv::peer
