// The vendor-neutral halves of GLX extension functions: each finds the vendor of a call and passes the call on.
#pragma once

// Before the GL headers, which would define APIENTRY otherwise.
#include "platform/win32.h"
//
#include <glvnd/libglxabi.h>

namespace qv::loader {

void setApiExports(const __GLXapiExports* exports);
// Null for a function that is not a GLX extension of ours.
void* extensionDispatch(const char* name);
void setExtensionIndex(const char* name, int index);

}  // namespace qv::loader
