// Pacing: at most one present of a context per vertical blank.
#pragma once

namespace qv {

class GlContext;

// Waits when the context has swap interval 1 and no vertical blank has come since its last present.
void pacePresent(GlContext* context);

}  // namespace qv
