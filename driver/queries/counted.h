// The stamped entry points whose number of values comes from the tables of value counts.
#pragma once

#include "driver/stream/entry_template.h"

namespace qv {

// Values of glGetMap for an evaluator target; 0 for a bad target or query. GL_COEFF asks the host for the order.
int32_t mapValueCount(GLenum target, GLenum query);

// The plan of a call whose pname decides how many values there are; `first` is its first argument. A count below 1 refuses the
// call. GL_SHADER_BINARY_FORMATS has no row in the tables: its count is the cached limit, and it is refused without an error.
Plan planCount(const GlContext* context, CountRule rule, GLenum first, GLenum pname);

template <CountRule Rule, typename... A>
struct Writer<Query<CountedReply<Rule>>, A...> {
  using L = Layout<Query<CountedReply<Rule>>, A...>;
  static Plan make(GlContext* context, A... args) {
    constexpr size_t kPname = Rule == CountRule::ValueFirst ? 0 : Arguments<A...>::kLastScalar;
    Plan plan = planCount(context, Rule, static_cast<GLenum>(argument<0>(args...)), static_cast<GLenum>(argument<kPname>(args...)));
    plan.payload = L::kPayload;
    return plan;
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    uint8_t* const at = beginCommand(stream, opcode, plan.payload);
    L::store(at, args...);
    put(at + L::kExtraAt, plan.count);
  }
};

template <CountRule Rule, typename... A>
struct Writer<Counted<Rule>, A...> : DataWriter<Counted<Rule>, A...> {
  static Plan make(GlContext* context, A... args) {
    constexpr size_t kPname = Arguments<A...>::kFirstPointer - 1;
    const Plan count =
        planCount(context, Rule, static_cast<GLenum>(argument<0>(args...)), static_cast<GLenum>(argument<kPname>(args...)));
    Plan plan = Writer::plan(count.count, count.count);
    plan.error = count.error;
    plan.refused = count.refused;
    return plan;
  }
};

}  // namespace qv
