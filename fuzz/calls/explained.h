// The differences that have a reason: fuzz/calls/explained.def and what the peer withholds.
#pragma once

#include "fuzz/core/call_maker.h"
#include "wire/row_facts.h"

namespace qv::fuzz {

// Whether programs call the routine.
bool isCompared(const RowFacts& row);
// Whether they call it while a list is being compiled. The driver does not follow yet what a called list does to the state that
// it keeps.
bool isComparedInList(const RowFacts& row);
// Whether they call it with these arguments.
bool isCompared(const Call& call);
// Whether the call uploads or reads an image, a pixel map or a buffer's contents, and whether it is compared in a context whose
// images lie as `pixels` says.
bool isOnImages(const RowFacts& row);
bool isImageCompared(const Call& call, const PixelState& pixels, bool readsFromWindow);
// Whether the answer of this query is compared.
bool isAnswerCompared(const Call& call);
// Whether it is a query of reals that may be rounded otherwise.
bool isRounded(const Call& call);

}  // namespace qv::fuzz
