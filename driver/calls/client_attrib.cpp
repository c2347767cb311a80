// The client attribute stack. The host keeps one of its own in step with it, for the arrays and the images' layout.
#include "driver/state/buffer_bindings.h"
#include "driver/state/shared_objects.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"

namespace qv {

namespace {

// The vertex arrays as they were: of each row everything but what it is (whether generic, which, whose).
struct ArraySnapshot {
  uint32_t clientActiveUnit;
  uint32_t vertexArray;
  uint32_t arrayBuffer;
  uint32_t elementArrayBuffer;
  VertexAttribRecord rows[kArrayRows];
  VertexBindingRecord bindings[kArrayRows];
  uint8_t restartEnabled;
  uint32_t restartIndex;
};

}  // namespace

struct ClientAttribNode {
  PixelStoreState* pixelStore = nullptr;  // null: not saved
  ArraySnapshot* arrays = nullptr;
  ClientAttribNode* next = nullptr;
};

namespace {

constexpr int32_t kMostDepth = 16;

ArraySnapshot* saveArrays(GlContext* context) {
  VertexArrayObject* const arrays = currentVertexArray(context);
  auto* const saved = new ArraySnapshot{};
  saved->clientActiveUnit = context->clientActiveUnit;
  saved->vertexArray = context->boundVertexArray;
  saved->arrayBuffer = context->buffers.array;
  saved->elementArrayBuffer = arrays->elementArrayBuffer;
  for (uint32_t row = 0; row < kArrayRows; ++row) {
    saved->rows[row] = arrays->row(row);
    saved->bindings[row] = arrays->bindings[row];
  }
  saved->restartEnabled = context->nvRestartEnabled;
  saved->restartIndex = context->nvRestartIndex;
  return saved;
}

// The rows go back into the vertex array that was bound at the push, whichever is bound now.
void restoreArrays(GlContext* context, const ArraySnapshot& saved) {
  context->buffers.array = saved.arrayBuffer;
  bindVertexArrayName(context, saved.vertexArray);
  VertexArrayObject* const arrays = currentVertexArray(context);
  arrays->elementArrayBuffer = saved.elementArrayBuffer;
  for (uint32_t row = 0; row < kArrayRows; ++row) {
    VertexAttribRecord& to = arrays->row(row);
    VertexArrayObject* const owner = to.owner;
    to = saved.rows[row];
    to.owner = owner;
    to.setEnabled(to.enabled != 0);
    arrays->bindings[row] = saved.bindings[row];
  }
  if (saved.clientActiveUnit < kClientUnits) context->clientActiveUnit = saved.clientActiveUnit;
  context->nvRestartEnabled = saved.restartEnabled;
  context->nvRestartIndex = saved.restartIndex;
}

}  // namespace

namespace gl {

void APIENTRY glPushClientAttrib(GLbitfield mask) {
  using Row = op::glPushClientAttrib;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  if (context->clientAttribDepth >= kMostDepth) return refuse(context, opcodeOf<Row>, GL_STACK_OVERFLOW);
  auto* const node = new ClientAttribNode;
  if ((mask & GL_CLIENT_PIXEL_STORE_BIT) != 0) node->pixelStore = new PixelStoreState(context->pixelStore);
  if ((mask & GL_CLIENT_VERTEX_ARRAY_BIT) != 0) node->arrays = saveArrays(context);
  node->next = context->clientAttribTop;
  context->clientAttribTop = node;
  ++context->clientAttribDepth;
  send<Row>(context, mask);
}

void APIENTRY glPopClientAttrib() {
  using Row = op::glPopClientAttrib;
  GlContext* const context = enter<Row>();
  if (context == nullptr) return;
  ClientAttribNode* const node = context->clientAttribTop;
  if (context->clientAttribDepth == 0 || node == nullptr) return refuse(context, opcodeOf<Row>, GL_STACK_UNDERFLOW);
  context->clientAttribTop = node->next;
  --context->clientAttribDepth;
  // The buffers of images stay bound: required oddity 170.
  if (node->pixelStore != nullptr) context->pixelStore = *node->pixelStore;
  if (node->arrays != nullptr) restoreArrays(context, *node->arrays);
  delete node->pixelStore;
  delete node->arrays;
  delete node;
  send<Row>(context);
}

}  // namespace gl
}  // namespace qv
