// Random calls that set vertex arrays: after each of them the host's copy is the guest's record. A step that one of them loses
// would make every later draw unreadable.
#include <random>

#include "driver/state/shared_objects.h"
#include "peer/replay/replay_state.h"
#include "peer/replay/replayer.h"
#include "tests/support/context_fixture.h"
#include "tests/support/gl_recorder.h"

namespace qv::test {
namespace {

class ArraysModel : public ContextTest {
 protected:
  ArraysModel() : ContextTest(4, 430, 1) {
    context().limits.maxVertexAttribRelativeOffset = 2047;
    for (uint32_t buffer = 1; buffer < 5; ++buffer) QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, buffer);
    follow();
  }
  // The host takes what the guest has written.
  void follow() {
    const std::vector<uint8_t> stream = pending();
    drop();
    recorder.calls.clear();
    replayer.begin();
    const auto bytes = static_cast<uint32_t>(stream.size());
    ASSERT_EQ(replayer.replay(stream.data(), bytes, bytes).outcome, peer::Replayer::Outcome::Done) << replayer.complaint();
  }
  uint32_t below(uint32_t end) { return static_cast<uint32_t>(random() % end); }
  template <typename T>
  T oneOf(std::initializer_list<T> values) {
    return values.begin()[below(static_cast<uint32_t>(values.size()))];
  }
  GLenum type() {
    return oneOf<GLenum>({GL_BYTE, GL_UNSIGNED_BYTE, GL_SHORT, GL_HALF_FLOAT, GL_INT, GL_FLOAT, GL_DOUBLE, GL_FIXED,
                          GL_INT_2_10_10_10_REV, GL_UNSIGNED_INT_10F_11F_11F_REV, 0, 0x1234});
  }
  GLint size() { return oneOf<GLint>({1, 2, 3, 4, GL_BGRA, 0, 5, -1}); }
  GLsizei stride() { return oneOf<GLsizei>({0, 4, 16, 100, -4}); }
  const void* pointer() {
    return reinterpret_cast<const void*>(oneOf<uintptr_t>({0, 64, 0x1000, uintptr_t{5} << 32, 0x123456789}));
  }
  GLboolean flag() { return static_cast<GLboolean>(below(2)); }
  GLenum array() {
    return oneOf<GLenum>({GL_VERTEX_ARRAY, GL_NORMAL_ARRAY, GL_COLOR_ARRAY, GL_INDEX_ARRAY, GL_TEXTURE_COORD_ARRAY,
                          GL_EDGE_FLAG_ARRAY, GL_FOG_COORD_ARRAY, GL_SECONDARY_COLOR_ARRAY, GL_WEIGHT_ARRAY_ARB,
                          GL_PRIMITIVE_RESTART_NV, 0x1234});
  }

  const char* call() {
    switch (below(36)) {
      case 0:
        return QV_CALL(glVertexPointer)(size(), type(), stride(), pointer()), "glVertexPointer";
      case 1:
        return QV_CALL(glColorPointer)(size(), type(), stride(), pointer()), "glColorPointer";
      case 2:
        return QV_CALL(glSecondaryColorPointer)(size(), type(), stride(), pointer()), "glSecondaryColorPointer";
      case 3:
        return QV_CALL(glTexCoordPointer)(size(), type(), stride(), pointer()), "glTexCoordPointer";
      case 4:
        return QV_CALL(glWeightPointerARB)(size(), type(), stride(), pointer()), "glWeightPointerARB";
      case 5:
        return QV_CALL(glNormalPointer)(type(), stride(), pointer()), "glNormalPointer";
      case 6:
        return QV_CALL(glFogCoordPointer)(type(), stride(), pointer()), "glFogCoordPointer";
      case 7:
        return QV_CALL(glIndexPointer)(type(), stride(), pointer()), "glIndexPointer";
      case 8:
        return QV_CALL(glEdgeFlagPointer)(stride(), pointer()), "glEdgeFlagPointer";
      case 9:
      case 10:
        return QV_CALL(glVertexAttribPointer)(below(17), size(), type(), flag(), stride(), pointer()), "glVertexAttribPointer";
      case 11:
        return QV_CALL(glVertexAttribIPointer)(below(17), size(), type(), stride(), pointer()), "glVertexAttribIPointer";
      case 12:
        return QV_CALL(glVertexAttribIPointerEXT)(below(17), size(), type(), stride(), pointer()), "glVertexAttribIPointerEXT";
      case 13:
        return QV_CALL(glVertexAttribLPointer)(below(17), size(), GL_DOUBLE, stride(), pointer()), "glVertexAttribLPointer";
      case 14:
        return QV_CALL(glVertexAttribFormat)(below(18), size(), type(), flag(), below(2100)), "glVertexAttribFormat";
      case 15:
        return QV_CALL(glVertexAttribIFormat)(below(18), size(), type(), below(2100)), "glVertexAttribIFormat";
      case 16:
        return QV_CALL(glVertexAttribLFormat)(below(18), size(), type(), below(2100)), "glVertexAttribLFormat";
      case 17:
        return QV_CALL(glVertexAttribBinding)(below(18), below(18)), "glVertexAttribBinding";
      case 18:
        return QV_CALL(glBindVertexBuffer)(below(18), below(6), below(3) * 64, stride()), "glBindVertexBuffer";
      case 19:
        return QV_CALL(glVertexBindingDivisor)(below(18), below(3)), "glVertexBindingDivisor";
      case 20:
        return QV_CALL(glVertexAttribDivisor)(below(18), below(3)), "glVertexAttribDivisor";
      case 21:
        return QV_CALL(glVertexAttribDivisorARB)(below(18), below(3)), "glVertexAttribDivisorARB";
      case 22:
        return QV_CALL(glEnableVertexAttribArray)(below(17)), "glEnableVertexAttribArray";
      case 23:
        return QV_CALL(glDisableVertexAttribArray)(below(17)), "glDisableVertexAttribArray";
      case 24:
        return QV_CALL(glEnableClientState)(array()), "glEnableClientState";
      case 25:
        return QV_CALL(glDisableClientState)(array()), "glDisableClientState";
      case 26:
        return (flag() ? QV_CALL(glEnable) : QV_CALL(glDisable))(array()), "glEnable or glDisable";
      case 27:
        return QV_CALL(glClientActiveTexture)(GL_TEXTURE0 + below(10)), "glClientActiveTexture";
      case 28:
        return QV_CALL(glBindVertexArray)(below(4)), "glBindVertexArray";
      case 29: {
        const GLuint names[] = {below(4), below(40)};
        return QV_CALL(glDeleteVertexArrays)(2, names), "glDeleteVertexArrays";
      }
      case 30:
        return QV_CALL(glPushClientAttrib)(below(4)), "glPushClientAttrib";
      case 31:
        return QV_CALL(glPopClientAttrib)(), "glPopClientAttrib";
      case 32:
        return QV_CALL(glBindBuffer)(oneOf<GLenum>({GL_ARRAY_BUFFER, GL_ELEMENT_ARRAY_BUFFER}), below(5)), "glBindBuffer";
      case 33: {
        const GLuint name = 1 + below(4);
        return QV_CALL(glDeleteBuffers)(1, &name), "glDeleteBuffers";
      }
      case 34:
        return QV_CALL(glInterleavedArrays)(GL_V2F + below(15), stride(), pointer()), "glInterleavedArrays";
      default:
        if (below(4) != 0) return "nothing";
        if (context().recordingList != nullptr) return QV_CALL(glEndList)(), "glEndList";
        return QV_CALL(glNewList)(1, GL_COMPILE + below(2)), "glNewList";
    }
  }

  // One line for each row that differs.
  std::string difference() {
    std::string out;
    VertexArrayObject& guest = *currentVertexArray(&context());
    const peer::ArrayState& host_ = replayer.state().arrays;
    for (uint32_t number = 0; number < kArrayRows; ++number) {
      const VertexAttribRecord& row = guest.row(number);
      const VertexBindingRecord& binding = guest.bindingOf(row);
      const peer::ArrayRow& copy = host_.row(number);
      const peer::ArrayBinding& source = host_.binding(number);
      const auto check = [&](const char* what, uint64_t ours, uint64_t theirs) {
        if (ours != theirs)
          out += std::string(what) + " of row " + std::to_string(number) + ": " + std::to_string(ours) + ", host " +
                 std::to_string(theirs) + "\n";
      };
      check("pointer", static_cast<uint32_t>(row.pointer), copy.pointer);
      check("switch", row.enabled, host_.isEnabled(number));
      check("size", row.size, copy.size);
      check("type", row.type, copy.type);
      check("element size", row.elementSize, copy.elementSize);
      check("normalization", row.normalized, copy.normalized);
      check("relative offset", row.relativeOffset, copy.relativeOffset);
      check("integers", row.isInteger, copy.integer);
      check("doubles", row.isLong, copy.wide);
      check("binding", row.bindingIndex, copy.bindingIndex);
      check("offset", static_cast<uint32_t>(binding.offset), source.offset);
      check("divisor", binding.divisor, source.divisor);
      check("buffer", binding.buffer != 0, source.buffered);
      // GL counts bytes in elements for which the guest has none.
      if (binding.stride != 0 || source.stride != 4) check("stride", binding.stride, source.stride);
    }
    if (host_.clientUnit() != context().clientActiveUnit) out += "client unit\n";
    return out;
  }

  GlRecorder recorder;
  peer::Replayer replayer;
  std::mt19937 random{1};
};

// Twenty thousand calls, good and bad ones.
TEST_F(ArraysModel, HostFollowsTheGuest) {
  for (int step = 0; step < 20000; ++step) {
    const char* const name = call();
    follow();
    ASSERT_EQ(difference(), "") << "after call " << step << ", " << name;
  }
  // What is still saved is lost with the context (required oddity 28).
  for (int depth = 0; depth < 16; ++depth) QV_CALL(glPopClientAttrib)();
}

}  // namespace
}  // namespace qv::test
