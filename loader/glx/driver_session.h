// The driver in this process: brought up with its host when a program first asks for a screen, taken down when the process ends.
#pragma once

#include <X11/Xlib.h>

#include "platform/win32.h"

namespace qv::peer {
class HostClientGpu;
}

namespace qv::loader {

// Starts or joins a qv-host, sets up the simulated Windows with the display's screen as its monitor and loads the driver. Tries
// once; a failure is written to the report and stays.
bool startDriver(Display* display);

// The connection to the host; null before startDriver has succeeded.
peer::HostClientGpu* host();

// A device context of some window that is never shown, for questions that need one.
HDC anyDeviceContext();
// A device context with this pixel format, for the creation of contexts; null when the format is refused.
HDC deviceContextOfFormat(int format);

}  // namespace qv::loader
