// Records of selection and feedback. `pointer` is the low word of the program's buffer, where no host writes: what belongs there
// comes with the second reply of the glRenderMode that ends the mode.
#pragma once

#include "wire/gl_api.h"
#include "wire/record.h"

namespace qv {

struct SelectBufferRecord {
  GLsizei size;  // words
  uint32_t pointer;

  static constexpr const char* kWords[] = {"size", "pointer"};
};

struct FeedbackBufferRecord {
  GLsizei size;  // floats
  GLenum type;
  uint32_t pointer;

  static constexpr const char* kWords[] = {"size", "type", "pointer"};
};

}  // namespace qv
