// The lists of active uniforms and attributes that a program has after a link.
#pragma once

#include <cstdint>

namespace qv {

class GlContext;
struct ResourceCache;

// Asks the host for the list and adds it to the cache, which is empty. False when the host's answer contradicts itself.
bool fetchUniforms(GlContext* context, uint32_t program, ResourceCache& cache);
bool fetchAttributes(GlContext* context, uint32_t program, ResourceCache& cache);

}  // namespace qv
