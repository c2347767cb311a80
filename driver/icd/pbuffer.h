// The hidden window class that pbuffers are made of.
#pragma once

#include <cstdint>

#include "platform/win32.h"

namespace qv {

// Steps of process attach and detach. 0 when the class could not be registered: no window then counts as a pbuffer.
ATOM registerPbufferClass();
void unregisterPbufferClass();

// Levels of a full mipmap chain, counted on height OR width; at most 32.
uint32_t countMipmapLevels(int width, int height);

}  // namespace qv
