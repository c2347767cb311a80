// What a context does with the objects that it shares with others, and with its own vertex arrays.
#pragma once

#include <cstdint>

#include "driver/objects/share_group.h"
#include "driver/objects/vertex_array_object.h"
#include "driver/state/gl_context.h"

namespace qv {

// Moves `context` from its group into that of `source`; its old group, with all objects in it, dies if it was the last user.
void joinGroup(GlContext* context, GlContext* source);

// The guest's side of glDeleteTextures for one name, under the group's lock. A texture that has been bound keeps its row until the
// next flush has given the delete to the host (required oddity 23); any other row goes at once.
void deferTextureDelete(GlContext* context, uint32_t name);

// Removes the rows of the textures deleted since the last flush; for flushStream, after the host has taken the stream.
void releaseDeferredDeletes(GlContext* context);

// The record of the bound vertex array; the context's default one when the name is 0 or has no record.
VertexArrayObject* currentVertexArray(GlContext* context);

}  // namespace qv
