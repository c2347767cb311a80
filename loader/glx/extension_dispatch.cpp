// libGLX gives every extension function one place in each vendor's table; a dispatch function looks there, in the table of the
// vendor that owns the display, drawable or current context of the call. The call may thus end in another vendor's library than
// ours.
#include "loader/glx/extension_dispatch.h"

#include <GL/glxext.h>

#include <cstring>

namespace qv::loader {
namespace {

const __GLXapiExports* api = nullptr;

enum Extension { CreateContextAttribs, SwapIntervalEXT, SwapIntervalMESA, GetSwapIntervalMESA, SwapIntervalSGI };

struct Row {
  const char* name;
  void* dispatch;
  int index;  // in the tables of libGLX, -1 until it is told
};

template <typename Function>
Function fetch(__GLXvendorInfo* vendor, Extension extension);

GLXContext dispatchCreateContextAttribs(Display* display, GLXFBConfig config, GLXContext share, Bool direct,
                                        const int* attributes) {
  __GLXvendorInfo* const vendor = api->vendorFromFBConfig(display, config);
  const auto function = fetch<PFNGLXCREATECONTEXTATTRIBSARBPROC>(vendor, CreateContextAttribs);
  GLXContext const context = function ? function(display, config, share, direct, attributes) : nullptr;
  // libGLX must learn which vendor owns the context; a context that it cannot note is of no use.
  if (context && api->addVendorContextMapping(display, context, vendor)) return nullptr;
  return context;
}

void dispatchSwapIntervalEXT(Display* display, GLXDrawable drawable, int interval) {
  const auto function = fetch<PFNGLXSWAPINTERVALEXTPROC>(api->vendorFromDrawable(display, drawable), SwapIntervalEXT);
  if (function) function(display, drawable, interval);
}

int dispatchSwapIntervalMESA(unsigned interval) {
  const auto function = fetch<int (*)(unsigned)>(api->getCurrentDynDispatch(), SwapIntervalMESA);
  return function ? function(interval) : GLX_BAD_CONTEXT;
}

int dispatchGetSwapIntervalMESA() {
  const auto function = fetch<int (*)()>(api->getCurrentDynDispatch(), GetSwapIntervalMESA);
  return function ? function() : 0;
}

int dispatchSwapIntervalSGI(int interval) {
  const auto function = fetch<int (*)(int)>(api->getCurrentDynDispatch(), SwapIntervalSGI);
  return function ? function(interval) : GLX_BAD_CONTEXT;
}

// In the order of Extension.
Row rows[] = {
    {"glXCreateContextAttribsARB", reinterpret_cast<void*>(dispatchCreateContextAttribs), -1},
    {"glXSwapIntervalEXT", reinterpret_cast<void*>(dispatchSwapIntervalEXT), -1},
    {"glXSwapIntervalMESA", reinterpret_cast<void*>(dispatchSwapIntervalMESA), -1},
    {"glXGetSwapIntervalMESA", reinterpret_cast<void*>(dispatchGetSwapIntervalMESA), -1},
    {"glXSwapIntervalSGI", reinterpret_cast<void*>(dispatchSwapIntervalSGI), -1},
};

template <typename Function>
Function fetch(__GLXvendorInfo* vendor, Extension extension) {
  const int index = rows[extension].index;
  if (!vendor || index < 0) return nullptr;
  return reinterpret_cast<Function>(reinterpret_cast<void*>(api->fetchDispatchEntry(vendor, index)));
}

Row* find(const char* name) {
  for (Row& row : rows) {
    if (!std::strcmp(row.name, name)) return &row;
  }
  return nullptr;
}

}  // namespace

void setApiExports(const __GLXapiExports* exports) { api = exports; }

void* extensionDispatch(const char* name) {
  const Row* const row = find(name);
  return row ? row->dispatch : nullptr;
}

void setExtensionIndex(const char* name, int index) {
  if (Row* const row = find(name)) row->index = index;
}

}  // namespace qv::loader
