// Construction and destruction of the context record.
#include "driver/state/gl_context.h"

#include <cstdlib>

#include "driver/base/pixel_formats.h"
#include "driver/objects/display_list_stream.h"
#include "driver/objects/share_group.h"
#include "driver/state/debug_state.h"

namespace qv {

namespace {

constexpr uint32_t kDeferredNames = 32;

}  // namespace

GlContext::GlContext(int32_t pixelFormat, uint16_t version, uint8_t compatibility)
    : nextSharer(this),
      pixelFormatIndex(pixelFormat),
      contextVersion(version),
      compatibilityProfile(compatibility),
      shareGroup(new ShareGroup),
      drawBufferMode(isDoubleBuffered(pixelFormat) ? GL_BACK : GL_FRONT) {
  deferredDeletes.names = static_cast<uint32_t*>(std::malloc(sizeof(uint32_t) * kDeferredNames));
  deferredDeletes.capacity = kDeferredNames;
  for (MatrixStack*& stack : textureMatrices) stack = new MatrixStack(GL_MAX_TEXTURE_STACK_DEPTH);
  currentMatrixStack = &modelview;  // the default of matrixMode
  quirkFlags = applyQuirks(version);
}

GlContext::~GlContext() {
  delete debugLog;
  if (recordingList != nullptr) recordingList->release();
  releaseShareGroup(shareGroup);
  // Nodes left on the client attribute stack are not freed: required oddity 28.
  queryTable.clear();
  vertexArrayTable.clear();
  for (MatrixStack* const stack : textureMatrices) delete stack;
  std::free(deferredDeletes.names);
}

}  // namespace qv
