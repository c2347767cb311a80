// The setters of uniforms, stamped from their rows: checked against the active uniforms, then sent.
#pragma once

#include <tuple>

#include "driver/objects/uniform_types.h"
#include "driver/state/program_objects.h"
#include "driver/stream/entry_template.h"

namespace qv {

template <uint32_t Per, typename... A>
struct Writer<Matrices<Per>, A...> : DataWriter<Matrices<Per>, A...> {
  using L = Layout<Matrices<Per>, A...>;
  static Plan make(GlContext*, A... args) {
    return {.payload = payloadOf(L::kPayload, bytesOf(argument<L::kCountArg>(args...), L::kEach))};
  }
  template <typename Stream>
  static void write(Stream& stream, uint32_t opcode, const Plan& plan, A... args) {
    uint8_t* const at = beginCommand(stream, opcode, plan.payload);
    put(at + L::kSlots.slot[L::kFlagArg].offset, uint32_t{0});  // the boolean fills a word
    L::store(at, args...);
    // In bounds: the payload was taken as room, and its fixed part has kPayload bytes.
    if (plan.payload != L::kPayload) {
      std::memcpy(at + L::kPayload, argument<L::Args::kFirstPointer>(args...), static_cast<size_t>(plan.payload) - L::kPayload);
    }
  }
};

// The bool type of as many values; the type itself where there is none.
constexpr GLenum boolLike(GLenum type) {
  switch (type) {
    case GL_FLOAT:
    case GL_INT:
    case GL_UNSIGNED_INT:
      return GL_BOOL;
    case GL_FLOAT_VEC2:
    case GL_INT_VEC2:
    case GL_UNSIGNED_INT_VEC2:
      return GL_BOOL_VEC2;
    case GL_FLOAT_VEC3:
    case GL_INT_VEC3:
    case GL_UNSIGNED_INT_VEC3:
      return GL_BOOL_VEC3;
    case GL_FLOAT_VEC4:
    case GL_INT_VEC4:
    case GL_UNSIGNED_INT_VEC4:
      return GL_BOOL_VEC4;
    default:
      return type;
  }
}

template <typename Row, GLenum Type, typename Pointer = typename Row::Prototype::Pointer>
struct UniformEntry;

template <typename Row, GLenum Type, typename... A>
struct UniformEntry<Row, Type, void(APIENTRY*)(A...)> {
  using Args = Arguments<A...>;
  static constexpr bool kNamesProgram = std::is_same_v<typename Args::template Type<0>, GLuint>;
  static constexpr size_t kLocation = kNamesProgram ? 1 : 0;
  static constexpr bool kIsArray = Args::kPointerCount != 0;
  static constexpr size_t kCount = kLocation + 1;  // of array forms
  static constexpr int32_t kSize = [] {
    int32_t components = 0;
    return uniformElementSize(Type, true, &components);
  }();

  // The same while a list is compiled: required oddity 183.
  static void APIENTRY call(A... args) {
    GlContext* const context = currentContext();
    if (context == nullptr || argument<kLocation>(args...) == -1) return;
    if constexpr (kIsArray) {
      if (argument<kCount>(args...) < 0) return refuse(context, opcodeOf<Row>, GL_INVALID_VALUE);
    }
    GLuint program = 0;
    if constexpr (kNamesProgram) program = argument<0>(args...);
    if (program == 0) program = usesCurrentProgram(context);  // the command still says 0: required oddity 116
    const ProgramRecord* const record = findProgram(context, program);
    if (record == nullptr) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
    const LocationCell cell = record->uniforms.cellOf(argument<kLocation>(args...));
    if (cell.type() != Type && cell.type() != boolLike(Type)) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
    if constexpr (kIsArray) {
      const GLsizei given = argument<kCount>(args...);
      GLsizei count = given;
      if (int64_t{kSize} * given > cell.remaining()) {
        if (!cell.isArray()) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
        count = cell.remaining() / kSize;  // GL drops the values behind the end of an array
      }
      if (count == 0) return;
      std::tuple<A...> cut(args...);
      std::get<kCount>(cut) = count;
      std::apply([context](A... arguments) { send<Row>(context, arguments...); }, cut);
    } else {
      if (kSize > cell.remaining() && !cell.isArray()) return refuse(context, opcodeOf<Row>, GL_INVALID_OPERATION);
      send<Row>(context, args...);
    }
  }
};

}  // namespace qv
