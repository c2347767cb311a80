// Where the pictures of presents go: from the simulated Windows into the X drawables behind its windows.
#pragma once

#include "platform/simulated/gpu_link.h"

namespace qv::loader {

// One for the process.
sim::PresentSink* presenter();

// Writes the picture that was presented last, by whatever window, to a PNG file. False when there is none or it cannot be
// written.
bool writeLastPicture(const char* path);

}  // namespace qv::loader
