// Answers to queries out of the shadow, so that they cost no round trip. Such an answer writes no command and leaves an open
// vertex run open.
#pragma once

#include <cstdint>

#include "wire/gl_api.h"

namespace qv {

class GlContext;

// One answer before its conversion to the type that was asked for.
struct ShadowAnswer {
  enum class Kind : uint8_t {
    kHost,      // not known here
    kNothing,   // answered, with no value written
    kIntegers,  // sign-extended from what is stored
    kReals,
  };
  static constexpr uint32_t kMaxValues = 16;

  Kind kind = Kind::kHost;
  uint8_t values = 0;
  uint8_t booleans = 1;       // values that glGetBooleanv gives, which may be fewer than all
  uint8_t rounded = 0;        // the 32-bit integer form rounds to nearest, where others truncate
  double integerScale = 1.0;  // what the 32-bit integer form multiplies by
  union {
    int64_t integer[4];
    double real[kMaxValues];
  };
};

// The four forms differ in their conversions only. `T` is GLint, GLint64, GLfloat or GLdouble; `out` has room for 16 values.
// `count` may be null; it gets the number of values that glGetBooleanv gives. False: the host must be asked. The context must be
// the current one, since a few answers need a limit or a text of the host first.
template <typename T>
bool answerFromShadow(GlContext* context, GLenum pname, T* out, int32_t* count = nullptr);

// The same for an indexed pname; one value. `count` is 0 when a bad index has been recorded and nothing written.
template <typename T>
bool answerIndexedFromShadow(GlContext* context, GLenum pname, GLuint index, T* out, int32_t* count = nullptr);

// The stored byte of a capability, client arrays included.
bool answerEnable(GlContext* context, GLenum pname, GLboolean* out);
// The stored byte of one of the five texture targets of a unit below 16.
bool answerUnitEnable(GlContext* context, GLenum pname, GLuint unit, GLboolean* out);

// The answer to `pname` by its row, capabilities not included; for answerFromShadow.
ShadowAnswer readShadow(GlContext* context, GLenum pname);

}  // namespace qv
