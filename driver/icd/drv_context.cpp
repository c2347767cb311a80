// The exports that create, bind, share, copy and delete contexts.
#include <algorithm>

#include "driver/base/current_context.h"
#include "driver/base/fail.h"
#include "driver/base/pixel_formats.h"
#include "driver/base/process_state.h"
#include "driver/host/host_channel.h"
#include "driver/host/window_record.h"
#include "driver/host/window_tracking.h"
#include "driver/icd/context_registry.h"
#include "driver/icd/drawable_attributes.h"
#include "driver/icd/drv_exports.h"
#include "driver/objects/share_group.h"
#include "driver/queries/limit_cache.h"
#include "driver/state/application_profile.h"
#include "driver/state/gl_context.h"
#include "driver/state/shared_objects.h"
#include "driver/stream/flush.h"
#include "driver/tables/proc_tables.h"
#include "wire/packets.h"

namespace qv {

namespace {

inline constexpr uint16_t kLowestVersion = 210;

// The host may have rewritten the list: its version and profile count. All other words are skipped one at a time, values too
// (required oddity 68).
void readAttributes(const uint16_t (&words)[kAttributeWords], uint16_t& version, uint8_t& compatibility) {
  for (uint32_t i = 0; i < kAttributeWords && words[i] != 0; ++i) {
    if (words[i] == GL_VERSION && i + 1 < kAttributeWords) {
      version = words[++i];
      if (version < kLowestVersion) version = kLowestVersion;
    } else if (words[i] == GL_CONTEXT_PROFILE_MASK && i + 1 < kAttributeWords) {
      compatibility = (words[++i] & GL_CONTEXT_COMPATIBILITY_PROFILE_BIT) != 0 ? 1 : 0;
    }
  }
}

// Binds the context to what it is made current on; the binding is replaced every time.
void bindWindow(GlContext* context, HWND window, HDC hdc, uint32_t hostWindowId) {
  context->window = window;
  context->deviceContext = hdc;
  context->hostWindowId = hostWindowId;
  ViewportState& viewport = context->viewport.current();
  if (viewport.width < 0 && viewport.height < 0) {
    RECT client{};
    GetClientRect(window, &client);
    viewport.x = 0;
    viewport.y = 0;
    viewport.width = client.right - client.left;
    viewport.height = client.bottom - client.top;
  }
}

}  // namespace

}  // namespace qv

using namespace qv;

DHGLRC APIENTRY DrvCreateContext(HDC hdc) {
  auto* const request = static_cast<ContextCreateRequest*>(TlsGetValue(CreateRequestTlsSlot));
  const int32_t format = GetPixelFormat(hdc);
  CreateContextPacket packet;
  packet.processId = GetCurrentProcessId();
  if (!isPixelFormat(format)) return 0;  // no error is set: required oddity 67

  WCHAR path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  if (length != 0 && length != MAX_PATH) {
    packet.imagePath.address = reinterpret_cast<uintptr_t>(path);
    packet.imagePath.size = length * 2;
  }

  uint16_t version = request != nullptr ? request->version : kLowestVersion;
  uint8_t compatibility = request != nullptr ? request->compatibility : 1;
  // This overrides the application's request, too: required oddity 51.
  applyVersionProfile(version, compatibility);
  const AttributeList attributes = contextAttributes(format, version, compatibility);
  std::copy_n(attributes.words(), kAttributeWords, packet.attributes);
  if (!sendPacket(packet)) return failWith(ERROR_INTERNAL_ERROR);

  readAttributes(packet.attributes, version, compatibility);
  if (request != nullptr) *request = {version, compatibility};
  GlContext* const context = new GlContext(format, version, compatibility);
  context->deviceContext = hdc;
  context->hostContextId = packet.contextId;
  return registerContext(context);
}

DHGLRC APIENTRY DrvCreateLayerContext(HDC hdc, INT layer) {
  return layer == 0 ? DrvCreateContext(hdc) : failWith(ERROR_INVALID_PARAMETER);
}

// Does not check whether the context is current on some thread: required oddity 69.
BOOL APIENTRY DrvDeleteContext(DHGLRC handle) {
  DeleteContextPacket packet;
  packet.processId = GetCurrentProcessId();
  GlContext* const context = unregisterContext(static_cast<uint32_t>(handle));
  if (context == nullptr) return failWith(ERROR_INVALID_HANDLE);
  packet.contextId = context->hostContextId;
  sendPacket(packet);
  delete context;
  return 1;
}

GLCLTPROCTABLE* APIENTRY DrvSetContext(HDC hdc, DHGLRC handle, PFN_SETPROCTABLE) {
  GlContext* const context = lookUpContext(handle);
  const HWND window = WindowFromDC(hdc);
  if (context == nullptr || window == nullptr) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  const int32_t format = GetPixelFormat(hdc);
  if (!isPixelFormat(format)) return nullptr;
  const uint32_t hostWindowId = FindOrCreateWindowRecord(window, windowAttributes(format).words());
  if (hostWindowId == 0) {
    return failWith(ERROR_INTERNAL_ERROR);
  }
  if (!TlsSetValue(ContextTlsSlot, context)) return failWith(ERROR_INTERNAL_ERROR);
  bindWindow(context, window, hdc, hostWindowId);
  warmLimits(context);
  return reinterpret_cast<GLCLTPROCTABLE*>(const_cast<GlProcTableRecord*>(&GlProcTable));
}

BOOL APIENTRY DrvReleaseContext(DHGLRC handle) {
  GlContext* const context = currentContext();
  if (handle == 0 || context == nullptr || context->handle != static_cast<uint32_t>(handle)) {
    return failWith(ERROR_INVALID_HANDLE);
  }
  // With a slot that keeps the pointer, the context stays current.
  if (!TlsSetValue(ContextTlsSlot, nullptr)) return failWith(ERROR_INTERNAL_ERROR);
  markFrameEnd(context);
  if (context->cursor != context->base) flushStream(context, 0, nullptr, 0, nullptr, 0);
  return 1;
}

BOOL APIENTRY DrvShareLists(DHGLRC firstHandle, DHGLRC secondHandle) {
  GlContext* const first = lookUpContext(firstHandle);
  GlContext* const second = lookUpContext(secondHandle);
  if (first == nullptr || second == nullptr) return failWith(ERROR_INVALID_HANDLE);
  if (first == second) return 1;
  ShareContextsPacket packet;
  packet.processId = GetCurrentProcessId();
  packet.firstId = first->hostContextId;
  packet.secondId = second->hostContextId;
  if (!sendPacket(packet)) return failWith(ERROR_INTERNAL_ERROR);
  spliceShareRings(first, second);
  joinGroup(second, first);
  return 1;
}

// The shadow of the destination is not copied: required oddity 71.
BOOL APIENTRY DrvCopyContext(DHGLRC sourceHandle, DHGLRC destinationHandle, UINT mask) {
  const GlContext* const source = lookUpContext(sourceHandle);
  const GlContext* const destination = lookUpContext(destinationHandle);
  if (source == nullptr || destination == nullptr) return failWith(ERROR_INVALID_HANDLE);
  CopyContextPacket packet;
  packet.processId = GetCurrentProcessId();
  packet.sourceId = source->hostContextId;
  packet.destinationId = destination->hostContextId;
  packet.mask = mask;
  return sendPacket(packet) ? 1 : failWith(ERROR_INTERNAL_ERROR);
}
