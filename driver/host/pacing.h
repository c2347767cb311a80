// Pacing: a context that wants it presents at most once per vertical blank.
#pragma once

namespace qv {

class GlContext;

// Holds a context with swap interval 1 to one present per vertical blank; one that is slower never waits.
void pacePresent(GlContext* context);

}  // namespace qv
