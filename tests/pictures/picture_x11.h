// The X11 and file side of the picture programs.
#pragma once

#include <GL/glx.h>
#include <X11/Xlib.h>

#include <string>

[[noreturn]] void fail(const char* what);

// A visual for double-buffered drawing with 24 bits of depth and 8 of stencil; ends the program when there is none.
XVisualInfo* chooseVisual(Display* display);
// A window that the server has mapped when this returns.
Window openWindow(Display* display, const XVisualInfo* visual, int x, int y, int width, int height);
// The window's pixels as rows of R, G, B.
std::string windowPixels(Display* display, Window window, int width, int height);
void writePpm(const char* path, int width, int height, const std::string& pixels);
// Every GL error flag that is set, one line each on standard output.
void printGlErrors();
