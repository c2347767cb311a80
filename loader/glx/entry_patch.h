// The entry points of libGL rewritten to jump straight into the driver, an optimisation that libglvnd offers to vendors.
#pragma once

// Before the GL headers, which would define APIENTRY otherwise.
#include "platform/win32.h"
//
#include <glvnd/libglxabi.h>

namespace qv::loader {

// Whether entry points of this kind and size can be written.
GLboolean isPatchSupported(int type, int stubSize);
// Writes every entry point for which the driver has a routine; the others keep libglvnd's code, which does nothing.
GLboolean initiatePatch(int type, int stubSize, DispatchPatchLookupStubOffset lookUp);

}  // namespace qv::loader
