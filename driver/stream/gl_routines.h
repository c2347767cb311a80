// Declarations of the hand-written routines of the table: namespace qv::gl, GL's own names and prototypes.
#pragma once

#include "wire/gl_api.h"

namespace qv::gl {

// Every name is declared; only rows marked Custom are defined.
#define QV_ROW(name, ...) decltype(::name) name;
#include "wire/entry_points.def"

}  // namespace qv::gl
