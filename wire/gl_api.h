// The published GL prototypes and constants that the table is checked against; declares nothing of its own.
#pragma once

// What <GL/gl.h> needs around it: the system's own header on Windows, nothing elsewhere.
#ifdef _WIN32
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#elif !defined(APIENTRY)
#define APIENTRY
#endif

#ifndef GL_GLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES
#endif
#include <GL/gl.h>
#include <GL/glext.h>
