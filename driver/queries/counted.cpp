// Counts that decide about a call, and the count of an evaluator query, which is a call itself.
#include "driver/queries/counted.h"

#include "driver/queries/limit_cache.h"
#include "driver/queries/value_count.h"
#include "wire/map_points.h"

namespace qv {

int32_t mapValueCount(GLenum target, GLenum query) {
  const MapShape shape = mapShape(target);
  if (shape.dimensions == 0) return 0;
  switch (query) {
    case GL_COEFF: {
      GLint order[2] = {1, 1};
      Entry<op::glGetMapiv>::call(target, GL_ORDER, order);
      return boundedCount(order[0], kMostEvaluatorOrder) * boundedCount(order[1], kMostEvaluatorOrder) * shape.components;
    }
    case GL_ORDER:
      return shape.dimensions;
    case GL_DOMAIN:
      return shape.dimensions * 2;
    default:
      return 0;
  }
}

Plan planCount(const GlContext* context, CountRule rule, GLenum first, GLenum pname) {
  Plan plan;
  int32_t count = 0;
  plan.error = GL_INVALID_ENUM;
  if (rule == CountRule::Value || rule == CountRule::ValueFirst) {
    if (pname == GL_SHADER_BINARY_FORMATS) {
      count = shaderBinaryFormatCount(context);
      plan.error = 0;
    } else {
      count = valueCount(context->contextVersion, pname);
    }
  } else if (rule == CountRule::TexEnv) {
    count = texEnvValueCount(pname);
  } else {
    count = mapValueCount(first, pname);
  }
  plan.refused = count < 1;
  plan.count = plan.refused ? 0 : static_cast<uint32_t>(count);
  return plan;
}

}  // namespace qv
