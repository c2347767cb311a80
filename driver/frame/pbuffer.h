// The hidden window class that pbuffers are made of.
#pragma once

#include "platform/win32.h"

namespace qv {

// Steps of process attach and detach. 0 when the class could not be registered: no window then counts as a pbuffer.
ATOM registerPbufferClass();
void unregisterPbufferClass();

}  // namespace qv
