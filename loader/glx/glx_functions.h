// The GLX functions of this library, by the names and prototypes of GLX with `q` in front, for the table in glx_main.cpp.
#pragma once

// Before the GL headers, which would define APIENTRY otherwise.
#include "platform/win32.h"
//
#include <GL/glx.h>
#include <GL/glxext.h>

namespace qv::loader::glx {

// Configurations and strings.
XVisualInfo* chooseVisual(Display* display, int screen, int* attributes);
int getConfig(Display* display, XVisualInfo* visual, int attribute, int* value);
GLXFBConfig* chooseFBConfig(Display* display, int screen, const int* attributes, int* count);
GLXFBConfig* getFBConfigs(Display* display, int screen, int* count);
int getFBConfigAttrib(Display* display, GLXFBConfig config, int attribute, int* value);
XVisualInfo* getVisualFromFBConfig(Display* display, GLXFBConfig config);
Bool queryExtension(Display* display, int* errorBase, int* eventBase);
Bool queryVersion(Display* display, int* major, int* minor);
const char* queryExtensionsString(Display* display, int screen);
const char* queryServerString(Display* display, int screen, int name);
const char* getClientString(Display* display, int name);

// Contexts.
GLXContext createContext(Display* display, XVisualInfo* visual, GLXContext share, Bool direct);
GLXContext createNewContext(Display* display, GLXFBConfig config, int renderType, GLXContext share, Bool direct);
GLXContext createContextAttribsARB(Display* display, GLXFBConfig config, GLXContext share, Bool direct, const int* attributes);
void destroyContext(Display* display, GLXContext context);
void copyContext(Display* display, GLXContext source, GLXContext destination, unsigned long mask);
Bool isDirect(Display* display, GLXContext context);
int queryContext(Display* display, GLXContext context, int attribute, int* value);
Bool makeCurrent(Display* display, GLXDrawable drawable, GLXContext context);
Bool makeContextCurrent(Display* display, GLXDrawable draw, GLXDrawable read, GLXContext context);

// Drawables.
GLXWindow createWindow(Display* display, GLXFBConfig config, Window window, const int* attributes);
void destroyWindow(Display* display, GLXWindow window);
GLXPixmap createPixmap(Display* display, GLXFBConfig config, Pixmap pixmap, const int* attributes);
void destroyPixmap(Display* display, GLXPixmap pixmap);
GLXPixmap createGLXPixmap(Display* display, XVisualInfo* visual, Pixmap pixmap);
void destroyGLXPixmap(Display* display, GLXPixmap pixmap);
GLXPbuffer createPbuffer(Display* display, GLXFBConfig config, const int* attributes);
void destroyPbuffer(Display* display, GLXPbuffer pbuffer);
void queryDrawable(Display* display, GLXDrawable drawable, int attribute, unsigned* value);
void selectEvent(Display* display, GLXDrawable drawable, unsigned long mask);
void getSelectedEvent(Display* display, GLXDrawable drawable, unsigned long* mask);

// Frames.
void swapBuffers(Display* display, GLXDrawable drawable);
void waitGL();
void waitX();
void swapIntervalEXT(Display* display, GLXDrawable drawable, int interval);
int swapIntervalMESA(unsigned interval);
int getSwapIntervalMESA();
int swapIntervalSGI(int interval);
void useXFont(Font font, int first, int count, int listBase);

}  // namespace qv::loader::glx
