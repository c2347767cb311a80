// The published GL prototypes and constants that the driver's table is checked against; declares nothing of its own.
#pragma once

#include "platform/win32.h"

#ifndef GL_GLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES
#endif
#include <GL/gl.h>
#include <GL/glext.h>
