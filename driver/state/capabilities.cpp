// The switches of client arrays, which live in the current vertex array object.
#include "driver/state/capabilities.h"

#include "driver/state/shared_objects.h"

namespace qv {

const uint8_t* clientStateByte(GlContext* context, GLenum array) {
  if (array == GL_PRIMITIVE_RESTART_NV) return &context->nvRestartEnabled;
  const uint32_t row = conventionalRow(array, context->clientActiveUnit);
  return row == kNoArrayRow ? nullptr : &currentVertexArray(context)->conventional[row].enabled;
}

bool storeClientState(GlContext* context, GLenum array, bool on) {
  if (array == GL_PRIMITIVE_RESTART_NV) {
    context->nvRestartEnabled = on;
    return true;
  }
  const uint32_t row = conventionalRow(array, context->clientActiveUnit);
  if (row == kNoArrayRow) return false;
  currentVertexArray(context)->conventional[row].setEnabled(on);
  return true;
}

}  // namespace qv
