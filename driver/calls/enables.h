// Enables: the shadow of glEnable and its kin, and of the client arrays.
#pragma once

#include "driver/state/capabilities.h"
#include "wire/entry_table.h"

namespace qv {

// True when `array` is a client array; otherwise records GL_INVALID_ENUM.
bool setClientState(GlContext* context, GLenum array, uint8_t value);

// The capabilities that have no byte of their own in the context: client arrays given to glEnable, and debug output.
bool setDistantCapability(GlContext* context, GLenum capability, uint8_t value);

// True when the shadow knows the capability. False is no error: the host decides, and later queries go there. Inlined into
// glEnable and glDisable, which are called often.
[[gnu::always_inline]] inline bool setCapability(GlContext* context, GLenum capability, uint8_t value) {
  if (storeCapability(context, capabilityHome(context, capability), value)) [[likely]]
    return true;
  return setDistantCapability(context, capability, value);
}

inline void shadow(op::glEnable, GlContext* c, GLenum capability) { setCapability(c, capability, 1); }
inline void shadow(op::glDisable, GlContext* c, GLenum capability) { setCapability(c, capability, 0); }

inline void setIndexedCapability(GlContext* c, GLenum capability, GLuint index, uint8_t value) {
  if (!setUnitCapability(c, capability, index, value) && index == 0) setCapability(c, capability, value);
}
inline void shadow(op::glEnablei, GlContext* c, GLenum capability, GLuint index) { setIndexedCapability(c, capability, index, 1); }
inline void shadow(op::glDisablei, GlContext* c, GLenum capability, GLuint index) { setIndexedCapability(c, capability, index, 0); }
inline void shadow(op::glEnableIndexedEXT, GlContext* c, GLenum capability, GLuint index) {
  setIndexedCapability(c, capability, index, 1);
}
inline void shadow(op::glDisableIndexedEXT, GlContext* c, GLenum capability, GLuint index) {
  setIndexedCapability(c, capability, index, 0);
}

}  // namespace qv
