// Vertex arrays: pointers, formats, bindings, switches, the objects and the client attribute stack, over a host that only
// records.
#include <cstring>
#include <tuple>

#include "driver/state/shared_objects.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

class VertexArrays : public ContextTest {
 protected:
  VertexArrays() : ContextTest(4, 430, 1) {
    // Pad bytes have no defined value: zeroed memory makes them compare.
    context().reserve(8192);
    std::memset(context().base, 0, 8192);
  }

  VertexArrayObject& arrays() { return *currentVertexArray(&context()); }
  void expectError(GLenum error) {
    EXPECT_EQ(takeError(), error);
    EXPECT_TRUE(pending().empty());
  }
};

const void* at(uintptr_t address) { return reinterpret_cast<const void*>(address); }

// A conventional pointer keeps the stride as given, makes the binding's stride effective, and tells the host the bound buffer.
TEST_F(VertexArrays, PointersFillTheirRows) {
  QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, 9);
  drop();
  QV_CALL(glVertexPointer)(3, GL_FLOAT, 0, at(0x1122334455667788));
  expectStream(Stream().add(kVertexPointer, 3, GL_FLOAT, 0, 0x55667788, 9));
  const VertexAttribRecord& row = arrays().conventional[kArrayVertex];
  EXPECT_EQ(row.elementSize, 12u);
  EXPECT_EQ(row.stride, 0u);
  EXPECT_EQ(row.pointer, 0x1122334455667788u);
  EXPECT_EQ(arrays().bindings[kArrayVertex].stride, 12u);
  EXPECT_EQ(arrays().bindings[kArrayVertex].buffer, 9u);
  EXPECT_EQ(arrays().bindings[kArrayVertex].offset, 0x1122334455667788u);
  QV_CALL(glVertexPointer)(3, GL_FLOAT, 40, at(8));
  EXPECT_EQ(row.stride, 40u);
  EXPECT_EQ(arrays().bindings[kArrayVertex].stride, 40u);
}

// Every conventional pointer call has its row and its command.
TEST_F(VertexArrays, ConventionalPointersHaveTheirCommands) {
  QV_CALL(glWeightPointerARB)(2, GL_FLOAT, 1, at(2));
  QV_CALL(glNormalPointer)(GL_SHORT, 2, at(3));
  QV_CALL(glColorPointer)(4, GL_UNSIGNED_BYTE, 3, at(4));
  QV_CALL(glSecondaryColorPointer)(3, GL_FLOAT, 4, at(5));
  QV_CALL(glFogCoordPointer)(GL_DOUBLE, 5, at(6));
  QV_CALL(glIndexPointer)(GL_UNSIGNED_BYTE, 6, at(7));
  QV_CALL(glEdgeFlagPointer)(7, at(8));
  QV_CALL(glTexCoordPointer)(2, GL_FLOAT, 8, at(9));
  expectStream(Stream()
                   .add(kWeightPointerARB, 2, GL_FLOAT, 1, 2, 0)
                   .add(kNormalPointer, GL_SHORT, 2, 3, 0)
                   .add(kColorPointer, 4, GL_UNSIGNED_BYTE, 3, 4, 0)
                   .add(kSecondaryColorPointer, 3, GL_FLOAT, 4, 5, 0)
                   .add(kFogCoordPointer, GL_DOUBLE, 5, 6, 0)
                   .add(kIndexPointer, GL_UNSIGNED_BYTE, 6, 7, 0)
                   .add(kEdgeFlagPointer, 7, 8, 0)
                   .add(kTexCoordPointer, 2, GL_FLOAT, 8, 9, 0));
  const uint32_t sizes[] = {16, 8, 6, 4, 12, 8, 1, 1, 8};
  for (uint32_t row = 0; row < 9; ++row) EXPECT_EQ(arrays().conventional[row].elementSize, sizes[row]) << row;
  EXPECT_EQ(arrays().conventional[kArrayEdgeFlag].type, 0u);
}

// GL_BGRA counts four bytes and stays the size; it needs unsigned bytes.
TEST_F(VertexArrays, BgraIsFourBytes) {
  QV_CALL(glColorPointer)(GL_BGRA, GL_UNSIGNED_BYTE, 0, at(4));
  EXPECT_EQ(arrays().conventional[kArrayColor].elementSize, 4u);
  EXPECT_EQ(arrays().conventional[kArrayColor].size, static_cast<uint32_t>(GL_BGRA));
  QV_CALL(glSecondaryColorPointer)(GL_BGRA, GL_UNSIGNED_BYTE, 0, at(4));
  QV_CALL(glVertexAttribPointer)(1, GL_BGRA, GL_UNSIGNED_BYTE, GL_TRUE, 0, at(4));
  drop();
  QV_CALL(glColorPointer)(GL_BGRA, GL_FLOAT, 0, at(4));
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glSecondaryColorPointer)(GL_BGRA, GL_FLOAT, 0, at(4));
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glVertexAttribPointer)(1, GL_BGRA, GL_UNSIGNED_BYTE, GL_FALSE, 0, at(4));
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glVertexAttribPointer)(1, GL_BGRA, GL_FLOAT, GL_TRUE, 0, at(4));
  expectError(GL_INVALID_OPERATION);
  for (const GLenum packed : {GL_INT_2_10_10_10_REV, GL_UNSIGNED_INT_2_10_10_10_REV}) {
    QV_CALL(glColorPointer)(GL_BGRA, packed, 0, at(4));
    expectError(GL_INVALID_OPERATION);
    QV_CALL(glSecondaryColorPointer)(GL_BGRA, packed, 0, at(4));
    expectError(GL_INVALID_OPERATION);
    QV_CALL(glVertexAttribPointer)(1, GL_BGRA, packed, GL_TRUE, 0, at(4));
    expectError(GL_INVALID_OPERATION);
  }
}

// Secondary colours always have three components, four in a packed type, and the host is told so.
TEST_F(VertexArrays, SecondaryColorSizesAreReplaced) {
  QV_CALL(glSecondaryColorPointer)(77, GL_FLOAT, 0, at(4));
  QV_CALL(glSecondaryColorPointer)(3, GL_INT_2_10_10_10_REV, 0, at(4));
  expectStream(
      Stream().add(kSecondaryColorPointer, 3, GL_FLOAT, 0, 4, 0).add(kSecondaryColorPointer, 4, GL_INT_2_10_10_10_REV, 0, 4, 0));
}

// A packed attribute is kept with four components though the host is told the given size; small floats count no bytes.
TEST_F(VertexArrays, PackedTypesHaveFourComponents) {
  QV_CALL(glVertexAttribPointer)(1, 3, GL_INT_2_10_10_10_REV, GL_TRUE, 0, at(4));
  expectStream(Stream().add(kVertexAttribPointer, 1, 3, GL_INT_2_10_10_10_REV, 1, 0, 4, 0));
  EXPECT_EQ(arrays().generic[1].size, 4u);
  EXPECT_EQ(arrays().generic[1].elementSize, 4u);
  EXPECT_EQ(arrays().generic[1].normalized, 1);
  QV_CALL(glVertexAttribPointer)(2, 3, GL_UNSIGNED_INT_10F_11F_11F_REV, GL_FALSE, 0, at(4));
  EXPECT_EQ(arrays().generic[2].elementSize, 0u);
  EXPECT_EQ(arrays().bindings[18].stride, 0u);
}

// The pointer calls of the conventional arrays refuse unknown types and GL_FIXED before they look for a primitive.
TEST_F(VertexArrays, TypesAreCheckedFirst) {
  for (const GLenum type : {GLenum{GL_FIXED}, GLenum{0x1234}, GLenum{GL_RGBA}}) {
    QV_CALL(glVertexPointer)(3, type, 0, at(4));
    expectError(GL_INVALID_ENUM);
    QV_CALL(glNormalPointer)(type, 0, at(4));
    expectError(GL_INVALID_ENUM);
  }
  QV_CALL(glVertexAttribPointer)(1, 3, 0x1234, GL_FALSE, 0, at(4));
  EXPECT_EQ(takeError(), 0u);
  QV_CALL(glBegin)(GL_POINTS);
  drop();
  context().runOpen = 0;
  QV_CALL(glVertexPointer)(3, 0x1234, 0, at(4));
  expectError(GL_INVALID_ENUM);
  QV_CALL(glVertexPointer)(3, GL_FLOAT, 0, at(4));
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glEdgeFlagPointer)(0, at(4));
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glVertexAttribPointer)(1, 3, GL_FLOAT, GL_FALSE, 0, at(4));
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glVertexAttribLPointer)(1, 3, GL_DOUBLE, 0, nullptr);
  expectError(GL_INVALID_OPERATION);
  // The integer form does not look.
  QV_CALL(glVertexAttribIPointer)(1, 3, GL_INT, 0, at(4));
  expectStream(Stream().add(kVertexAttribIPointer, 1, 3, GL_INT, 0, 4, 0));
  EXPECT_EQ(arrays().generic[1].isInteger, 1);
}

// Attributes beyond the sixteenth are refused; the double form checks type, size, stride and buffer.
TEST_F(VertexArrays, AttributeCallsCheckTheirArguments) {
  QV_CALL(glVertexAttribPointer)(16, 3, GL_FLOAT, GL_FALSE, 0, at(4));
  expectError(GL_INVALID_VALUE);
  QV_CALL(glVertexAttribIPointer)(16, 3, GL_INT, 0, at(4));
  expectError(GL_INVALID_VALUE);
  QV_CALL(glVertexAttribIPointerEXT)(0xFFFFFFFF, 3, GL_INT, 0, at(4));
  expectError(GL_INVALID_VALUE);
  QV_CALL(glVertexAttribLPointer)(16, 3, GL_DOUBLE, 0, nullptr);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glVertexAttribLPointer)(1, 3, GL_FLOAT, 0, nullptr);
  expectError(GL_INVALID_ENUM);
  for (const GLint size : {0, 5, -1, GL_BGRA}) {
    QV_CALL(glVertexAttribLPointer)(1, size, GL_DOUBLE, 0, nullptr);
    expectError(GL_INVALID_VALUE);
  }
  QV_CALL(glVertexAttribLPointer)(1, 3, GL_DOUBLE, -1, nullptr);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glVertexAttribLPointer)(1, 3, GL_DOUBLE, 0, at(8));
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, 3);
  drop();
  QV_CALL(glVertexAttribLPointer)(1, 3, GL_DOUBLE, 0, at(8));
  expectStream(Stream().add(kVertexAttribLPointer, 1, 3, GL_DOUBLE, 0, 8, 3));
  EXPECT_EQ(arrays().generic[1].isLong, 1);
  EXPECT_EQ(arrays().generic[1].elementSize, 24u);
  QV_CALL(glEnableVertexAttribArray)(16);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glDisableVertexAttribArray)(16);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glEnableVertexAttribArray)(15);
  expectStream(Stream().add(kEnableVertexAttribArray, 15));
  EXPECT_EQ(arrays().generic[15].enabled, 1);
  EXPECT_EQ(arrays().enabledRows, 0x80000000u);
  QV_CALL(glDisableVertexAttribArray)(15);
  expectStream(Stream().add(kDisableVertexAttribArray, 15));
  EXPECT_EQ(arrays().enabledRows, 0u);
}

// A divisor goes to the host unchecked, and takes the attribute back to its own binding.
TEST_F(VertexArrays, DivisorsAreNotChecked) {
  QV_CALL(glBindVertexArray)(1);
  QV_CALL(glVertexAttribBinding)(2, 5);
  drop();
  QV_CALL(glVertexAttribDivisor)(2, 7);
  QV_CALL(glVertexAttribDivisor)(16, 8);
  expectStream(Stream().add(kVertexAttribDivisor, 2, 7).add(kVertexAttribDivisor, 16, 8));
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(arrays().generic[2].bindingIndex, 2);
  EXPECT_EQ(arrays().bindings[18].divisor, 7u);
}

// The separate format calls need a vertex array object, and check in their order.
TEST_F(VertexArrays, FormatsCheckInTheirOrder) {
  context().limits.maxVertexAttribRelativeOffset = 2048;
  QV_CALL(glVertexAttribFormat)(1, 3, GL_FLOAT, GL_FALSE, 0);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glBindVertexArray)(1);
  drop();
  struct {
    GLint size;
    GLenum type;
    GLboolean normalized;
    GLuint offset;
    GLenum error;
  } const cases[] = {{9, 0x1234, 0, 9999, GL_INVALID_ENUM},
                     {5, GL_FLOAT, 0, 9999, GL_INVALID_VALUE},
                     {0, GL_FLOAT, 0, 0, GL_INVALID_VALUE},
                     {4, GL_FLOAT, 0, 2048, GL_INVALID_VALUE},
                     {3, GL_INT_2_10_10_10_REV, 0, 0, GL_INVALID_OPERATION},
                     {GL_BGRA, GL_FLOAT, 1, 0, GL_INVALID_OPERATION},
                     {4, GL_UNSIGNED_INT_10F_11F_11F_REV, 0, 0, GL_INVALID_OPERATION},
                     {GL_BGRA, GL_UNSIGNED_BYTE, 0, 0, GL_INVALID_OPERATION}};
  for (const auto& one : cases) {
    QV_CALL(glVertexAttribFormat)(1, one.size, one.type, one.normalized, one.offset);
    expectError(one.error);
  }
  QV_CALL(glVertexAttribFormat)(1, 4, GL_FIXED, GL_TRUE, 2047);
  QV_CALL(glVertexAttribIFormat)(2, 2, GL_SHORT, 4);
  QV_CALL(glVertexAttribLFormat)(3, 2, GL_DOUBLE, 8);
  expectStream(Stream()
                   .add(kVertexAttribFormat, 1, 4, GL_FIXED, 1, 2047)
                   .add(kVertexAttribIFormat, 2, 2, GL_SHORT, 4)
                   .add(kVertexAttribLFormat, 3, 2, GL_DOUBLE, 8));
  EXPECT_EQ(arrays().generic[1].relativeOffset, 2047u);
  EXPECT_EQ(arrays().generic[2].isInteger, 1);
  EXPECT_EQ(arrays().generic[3].isLong, 1);
  QV_CALL(glVertexAttribIFormat)(2, 3, GL_UNSIGNED_INT_10F_11F_11F_REV, 0);
  expectError(GL_INVALID_ENUM);
  QV_CALL(glVertexAttribLFormat)(2, 3, GL_UNSIGNED_INT_10F_11F_11F_REV, 0);
  expectError(GL_INVALID_ENUM);
  // Beyond the rows that the guest keeps the host decides.
  QV_CALL(glVertexAttribFormat)(16, 4, GL_FLOAT, GL_FALSE, 0);
  QV_CALL(glVertexAttribBinding)(4000000000u, 1);
  expectStream(Stream().add(kVertexAttribFormat, 16, 4, GL_FLOAT, 0, 0).add(kVertexAttribBinding, 4000000000u, 1));
}

// Below version 4.3 the limit of relative offsets is no name, so that no offset passes.
TEST_F(VertexArrays, FormatsNeedTheLimit) {
  context().contextVersion = 330;
  QV_CALL(glBindVertexArray)(1);
  drop();
  QV_CALL(glVertexAttribFormat)(1, 4, GL_FLOAT, GL_FALSE, 0);
  EXPECT_EQ(context().lastOpcode, static_cast<int32_t>(kVertexAttribFormat));
  expectError(GL_INVALID_VALUE);
  // Nor does one when the host tells a limit that is none.
  context().contextVersion = 430;
  host.answerAll(std::vector<GLint>{-5});
  QV_CALL(glVertexAttribFormat)(1, 4, GL_FLOAT, GL_FALSE, 0);
  expectError(GL_INVALID_VALUE);
  EXPECT_EQ(host.submissions.size(), 1u);
}

// Bindings need a vertex array object; the bound-checked index is that of the binding.
TEST_F(VertexArrays, BindingsCheckTheirArguments) {
  QV_CALL(glVertexAttribBinding)(0, 16);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glVertexAttribBinding)(0, 0);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glVertexBindingDivisor)(16, 1);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glVertexBindingDivisor)(0, 1);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glBindVertexBuffer)(16, 0, 0, 0);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glBindVertexBuffer)(0, 0, 0, 0);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glBindVertexArray)(1);
  QV_CALL(glBindBuffer)(GL_COPY_READ_BUFFER, 8);
  drop();
  QV_CALL(glBindVertexBuffer)(0, 0, -1, 0);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glBindVertexBuffer)(0, 0, 0, 2049);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glBindVertexBuffer)(0, 9, 0, 0);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glBindVertexBuffer)(3, 8, 64, 2048);
  QV_CALL(glVertexAttribBinding)(2, 3);
  QV_CALL(glVertexBindingDivisor)(3, 5);
  expectStream(Stream().add(kBindVertexBuffer, 3, 8, 64, 2048).add(kVertexAttribBinding, 2, 3).add(kVertexBindingDivisor, 3, 5));
  const VertexBindingRecord& binding = arrays().bindingOf(arrays().generic[2]);
  EXPECT_EQ(binding.buffer, 8u);
  EXPECT_EQ(binding.offset, 64u);
  EXPECT_EQ(binding.stride, 2048u);
  EXPECT_EQ(binding.divisor, 5u);
  QV_CALL(glBindVertexBuffer)(3, 0, 0, -1);
  EXPECT_EQ(takeError(), 0u);
  QV_CALL(glBindVertexBuffer)(3, 0, 0, 0);
  EXPECT_EQ(binding.stride, 0u);
}

// The switches of client arrays: unknown tokens are refused, the restart token stays in the guest.
TEST_F(VertexArrays, ClientStatesAreSwitched) {
  for (const GLenum token : {GLenum{GL_PRIMITIVE_RESTART}, GLenum{0x1234}}) {
    QV_CALL(glEnableClientState)(token);
    QV_CALL(glDisableClientState)(token);
    expectError(GL_INVALID_ENUM);
  }
  QV_CALL(glEnableClientState)(GL_PRIMITIVE_RESTART_NV);
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(context().nvRestartEnabled, 1);
  QV_CALL(glClientActiveTexture)(GL_TEXTURE3);
  QV_CALL(glEnableClientState)(GL_TEXTURE_COORD_ARRAY);
  EXPECT_EQ(arrays().enabledRows, 1u << 11);
  EXPECT_EQ(QV_CALL(glIsEnabled)(GL_TEXTURE_COORD_ARRAY), GL_TRUE);
  QV_CALL(glDisableClientState)(GL_TEXTURE_COORD_ARRAY);
  EXPECT_EQ(arrays().enabledRows, 0u);
  QV_CALL(glEnable)(GL_VERTEX_ARRAY);
  EXPECT_EQ(arrays().enabledRows, 1u);
}

// The ninth client unit goes to the host and leaves the guest's unit as it was, so that the pointer behind it counts for that.
TEST_F(VertexArrays, HighClientUnitsAreTheHosts) {
  QV_CALL(glClientActiveTexture)(GL_TEXTURE2);
  QV_CALL(glClientActiveTexture)(GL_TEXTURE8);
  QV_CALL(glTexCoordPointer)(2, GL_FLOAT, 0, at(64));
  expectStream(Stream()
                   .add(kClientActiveTexture, GL_TEXTURE2)
                   .add(kClientActiveTexture, GL_TEXTURE8)
                   .add(kTexCoordPointer, 2, GL_FLOAT, 0, 64, 0));
  EXPECT_EQ(arrays().conventional[kArrayTexCoord0 + 2].pointer, 64u);
}

// Any name makes a vertex array object; deleting the bound one falls back to the default.
TEST_F(VertexArrays, AnyNameMakesAnObject) {
  QV_CALL(glVertexPointer)(2, GL_FLOAT, 0, at(16));
  drop();
  QV_CALL(glBindVertexArray)(77);
  expectStream(Stream().add(kBindVertexArray, 77));
  EXPECT_NE(&arrays(), &context().defaultVertexArray);
  QV_CALL(glBindVertexArray)(1);
  EXPECT_NE(&arrays(), &context().defaultVertexArray);
  QV_CALL(glBindVertexArray)(77);
  drop();
  EXPECT_EQ(arrays().conventional[kArrayVertex].pointer, 0u);
  EXPECT_EQ(QV_CALL(glIsVertexArray)(77), GL_TRUE);
  const GLuint names[] = {5, 77};
  QV_CALL(glDeleteVertexArrays)(2, names);
  expectStream(Stream().add(kDeleteVertexArrays, 2, 5, 77));
  EXPECT_EQ(context().boundVertexArray, 0u);
  EXPECT_EQ(arrays().conventional[kArrayVertex].pointer, 16u);
  EXPECT_EQ(QV_CALL(glIsVertexArray)(77), GL_FALSE);
  EXPECT_EQ(takeError(), 0u);
}

// An interleaved format becomes the ordinary calls, in their order; an unknown one is ignored.
TEST_F(VertexArrays, InterleavedArraysAreOrdinaryCalls) {
  QV_CALL(glInterleavedArrays)(GL_T2F_C4UB_V3F, 0, at(0x1000));
  expectStream(Stream()
                   .add(kDisableClientState, GL_EDGE_FLAG_ARRAY)
                   .add(kDisableClientState, GL_INDEX_ARRAY)
                   .add(kDisableClientState, GL_SECONDARY_COLOR_ARRAY)
                   .add(kDisableClientState, GL_FOG_COORD_ARRAY)
                   .add(kEnableClientState, GL_TEXTURE_COORD_ARRAY)
                   .add(kTexCoordPointer, 2, GL_FLOAT, 24, 0x1000, 0)
                   .add(kEnableClientState, GL_COLOR_ARRAY)
                   .add(kColorPointer, 4, GL_UNSIGNED_BYTE, 24, 0x1008, 0)
                   .add(kDisableClientState, GL_NORMAL_ARRAY)
                   .add(kEnableClientState, GL_VERTEX_ARRAY)
                   .add(kVertexPointer, 3, GL_FLOAT, 24, 0x100C, 0));
  QV_CALL(glInterleavedArrays)(0x1234, 0, at(0x1000));
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(takeError(), 0u);
  struct {
    GLenum format;
    GLsizei stride;
    GLint tex, color, vertex;
    bool normal;
    uint32_t colorAt, normalAt, vertexAt;
    uint32_t colorSize;
  } const formats[] = {{GL_V2F, 8, 0, 0, 2, false, 0, 0, 0, 0},
                       {GL_V3F, 12, 0, 0, 3, false, 0, 0, 0, 0},
                       {GL_C4UB_V2F, 12, 0, 4, 2, false, 0, 0, 4, 4},
                       {GL_C4UB_V3F, 16, 0, 4, 3, false, 0, 0, 4, 4},
                       {GL_C3F_V3F, 24, 0, 3, 3, false, 0, 0, 12, 12},
                       {GL_N3F_V3F, 24, 0, 0, 3, true, 0, 0, 12, 0},
                       {GL_C4F_N3F_V3F, 40, 0, 4, 3, true, 0, 16, 28, 16},
                       {GL_T2F_V3F, 20, 2, 0, 3, false, 0, 0, 8, 0},
                       {GL_T4F_V4F, 32, 4, 0, 4, false, 0, 0, 16, 0},
                       {GL_T2F_C3F_V3F, 32, 2, 3, 3, false, 8, 0, 20, 12},
                       {GL_T2F_N3F_V3F, 32, 2, 0, 3, true, 0, 8, 20, 0},
                       {GL_T2F_C4F_N3F_V3F, 48, 2, 4, 3, true, 8, 24, 36, 16},
                       {GL_T4F_C4F_N3F_V4F, 60, 4, 4, 4, true, 16, 32, 44, 16}};
  for (const auto& one : formats) {
    SCOPED_TRACE(one.format);
    QV_CALL(glInterleavedArrays)(one.format, 0, at(0x1000));
    const auto& rows = arrays().conventional;
    EXPECT_EQ(rows[kArrayTexCoord0].enabled, one.tex != 0);
    EXPECT_EQ(rows[kArrayColor].enabled, one.color != 0);
    EXPECT_EQ(rows[kArrayNormal].enabled, one.normal);
    EXPECT_EQ(rows[kArrayVertex].enabled, 1);
    EXPECT_EQ(rows[kArrayVertex].size, static_cast<uint32_t>(one.vertex));
    EXPECT_EQ(rows[kArrayVertex].stride, static_cast<uint32_t>(one.stride));
    EXPECT_EQ(rows[kArrayVertex].pointer, 0x1000u + one.vertexAt);
    if (one.tex) {
      EXPECT_EQ(rows[kArrayTexCoord0].size, static_cast<uint32_t>(one.tex));
    }
    if (one.color) {
      EXPECT_EQ(rows[kArrayColor].pointer, 0x1000u + one.colorAt);
    }
    if (one.color) {
      EXPECT_EQ(rows[kArrayColor].elementSize, one.colorSize);
    }
    if (one.normal) {
      EXPECT_EQ(rows[kArrayNormal].pointer, 0x1000u + one.normalAt);
    }
  }
}

// Queries of rows are answered from the record; the current value is the host's, and attribute 0 has none.
TEST_F(VertexArrays, QueriesReadTheRecord) {
  QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, 6);
  QV_CALL(glVertexAttribIPointer)(3, 2, GL_SHORT, 20, at(40));
  QV_CALL(glEnableVertexAttribArray)(3);
  QV_CALL(glVertexAttribDivisor)(3, 4);
  drop();
  const std::pair<GLenum, GLint> values[] = {
      {GL_VERTEX_ATTRIB_BINDING, 3},       {GL_VERTEX_ATTRIB_RELATIVE_OFFSET, 0},  {GL_VERTEX_ATTRIB_ARRAY_ENABLED, 1},
      {GL_VERTEX_ATTRIB_ARRAY_SIZE, 2},    {GL_VERTEX_ATTRIB_ARRAY_STRIDE, 20},    {GL_VERTEX_ATTRIB_ARRAY_TYPE, GL_SHORT},
      {GL_VERTEX_ATTRIB_ARRAY_LONG, 0},    {GL_VERTEX_ATTRIB_ARRAY_NORMALIZED, 0}, {GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING, 6},
      {GL_VERTEX_ATTRIB_ARRAY_INTEGER, 1}, {GL_VERTEX_ATTRIB_ARRAY_DIVISOR, 4}};
  for (const auto& [name, expected] : values) {
    GLint integer = -1;
    GLfloat real = -1;
    GLdouble wide = -1;
    QV_CALL(glGetVertexAttribiv)(3, name, &integer);
    QV_CALL(glGetVertexAttribfv)(3, name, &real);
    QV_CALL(glGetVertexAttribdv)(3, name, &wide);
    EXPECT_EQ(integer, expected) << name;
    EXPECT_EQ(real, static_cast<GLfloat>(expected)) << name;
    EXPECT_EQ(wide, expected) << name;
  }
  EXPECT_TRUE(pending().empty());
  EXPECT_TRUE(host.submissions.empty());
  GLfloat current[4] = {};
  host.answerAll(std::vector<GLfloat>{1, 2, 3, 4});
  QV_CALL(glGetVertexAttribfv)(3, GL_CURRENT_VERTEX_ATTRIB, current);
  EXPECT_EQ(host.submissions.back().stream, Stream().add(kGetVertexAttribfv, 3, GL_CURRENT_VERTEX_ATTRIB).data);
  EXPECT_EQ(host.submissions.back().replySize, 16u);
  EXPECT_EQ(current[3], 4.0f);
  GLdouble doubles[4];
  QV_CALL(glGetVertexAttribdv)(3, GL_CURRENT_VERTEX_ATTRIB, doubles);
  EXPECT_EQ(host.submissions.back().replySize, 32u);
  QV_CALL(glGetVertexAttribfv)(0, GL_CURRENT_VERTEX_ATTRIB, current);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glGetVertexAttribfv)(16, GL_VERTEX_ATTRIB_ARRAY_SIZE, current);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glGetVertexAttribfv)(1, 0x1234, current);
  expectError(GL_INVALID_ENUM);
  GLint integers[4];
  QV_CALL(glGetVertexAttribIiv)(3, GL_CURRENT_VERTEX_ATTRIB, integers);
  EXPECT_EQ(host.submissions.back().stream, Stream().add(kGetVertexAttribIiv, 3, GL_CURRENT_VERTEX_ATTRIB).data);
  EXPECT_EQ(host.submissions.back().replySize, 16u);
  QV_CALL(glGetVertexAttribIiv)(3, GL_VERTEX_ATTRIB_ARRAY_SIZE, integers);
  EXPECT_EQ(host.submissions.back().replySize, 4u);
  void* pointer = nullptr;
  QV_CALL(glGetVertexAttribPointerv)(3, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
  EXPECT_EQ(pointer, at(40));
  QV_CALL(glGetVertexAttribPointerv)(16, GL_VERTEX_ATTRIB_ARRAY_POINTER, &pointer);
  expectError(GL_INVALID_VALUE);
  QV_CALL(glGetVertexAttribPointerv)(3, GL_VERTEX_ATTRIB_ARRAY_SIZE, &pointer);
  expectError(GL_INVALID_ENUM);
}

// glGetPointerv gives every conventional row's pointer, that of the client active unit for texture coordinates.
TEST_F(VertexArrays, PointersAreRead) {
  QV_CALL(glClientActiveTexture)(GL_TEXTURE1);
  const std::pair<GLenum, uint32_t> rows[] = {{GL_VERTEX_ARRAY_POINTER, kArrayVertex},
                                              {GL_NORMAL_ARRAY_POINTER, kArrayNormal},
                                              {GL_COLOR_ARRAY_POINTER, kArrayColor},
                                              {GL_INDEX_ARRAY_POINTER, kArrayIndex},
                                              {GL_TEXTURE_COORD_ARRAY_POINTER, kArrayTexCoord0 + 1},
                                              {GL_EDGE_FLAG_ARRAY_POINTER, kArrayEdgeFlag},
                                              {GL_FOG_COORD_ARRAY_POINTER, kArrayFogCoord},
                                              {GL_SECONDARY_COLOR_ARRAY_POINTER, kArraySecondaryColor},
                                              {GL_WEIGHT_ARRAY_POINTER_ARB, kArrayWeight}};
  for (const auto& [name, row] : rows) arrays().conventional[row].pointer = 0x100 + row;
  for (const auto& [name, row] : rows) {
    void* pointer = nullptr;
    QV_CALL(glGetPointerv)(name, &pointer);
    EXPECT_EQ(pointer, at(0x100 + row)) << name;
  }
  drop();
  void* pointer = &pointer;
  QV_CALL(glGetPointerv)(0x1234, &pointer);
  expectError(GL_INVALID_ENUM);
  EXPECT_EQ(pointer, &pointer);
  QV_CALL(glGetPointerv)(GL_SELECTION_BUFFER_POINTER, &pointer);
  EXPECT_EQ(pointer, nullptr);
}

// The client attribute stack saves what its mask says, restores it into the vertex array object of the push, and tells the host.
TEST_F(VertexArrays, ClientStackRestores) {
  QV_CALL(glBindVertexArray)(4);
  QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, 6);
  QV_CALL(glBindBuffer)(GL_ELEMENT_ARRAY_BUFFER, 7);
  QV_CALL(glEnableClientState)(GL_COLOR_ARRAY);
  QV_CALL(glColorPointer)(3, GL_FLOAT, 0, at(24));
  QV_CALL(glPixelStorei)(GL_UNPACK_ALIGNMENT, 2);
  QV_CALL(glClientActiveTexture)(GL_TEXTURE5);
  context().nvRestartIndex = 9;
  drop();
  QV_CALL(glPushClientAttrib)(GL_CLIENT_ALL_ATTRIB_BITS);
  EXPECT_EQ(context().clientAttribDepth, 1);
  QV_CALL(glBindVertexArray)(0);
  QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, 0);
  QV_CALL(glClientActiveTexture)(GL_TEXTURE0);
  QV_CALL(glEnableClientState)(GL_PRIMITIVE_RESTART_NV);
  QV_CALL(glPixelStorei)(GL_UNPACK_ALIGNMENT, 8);
  context().nvRestartIndex = 1;
  const GLuint four = 4;
  QV_CALL(glDeleteVertexArrays)(1, &four);
  drop();
  QV_CALL(glPopClientAttrib)();
  expectStream(std::vector<uint8_t>{0x4E, 0x41, 0, 0});
  EXPECT_EQ(context().clientAttribDepth, 0);
  EXPECT_EQ(context().boundVertexArray, 4u);
  EXPECT_NE(&arrays(), &context().defaultVertexArray);
  EXPECT_EQ(context().buffers.array, 6u);
  EXPECT_EQ(arrays().elementArrayBuffer, 7u);
  EXPECT_EQ(arrays().conventional[kArrayColor].elementSize, 12u);
  EXPECT_EQ(arrays().bindings[kArrayColor].buffer, 6u);
  EXPECT_EQ(arrays().enabledRows, 1u << kArrayColor);
  EXPECT_EQ(arrays().conventional[kArrayColor].owner, &arrays());
  EXPECT_EQ(context().clientActiveUnit, 5u);
  EXPECT_EQ(context().nvRestartEnabled, 0);
  EXPECT_EQ(context().nvRestartIndex, 9u);
  GLint alignment = 0;
  QV_CALL(glGetIntegerv)(GL_UNPACK_ALIGNMENT, &alignment);
  EXPECT_EQ(alignment, 2);
}

// Every field of every row and binding comes back, and of both image layouts; which row it is and whose stays.
TEST_F(VertexArrays, ClientStackRestoresEveryField) {
  VertexArrayObject& object = arrays();
  const auto fill = [&](uint32_t seed) {
    for (uint32_t i = 0; i < kArrayRows; ++i) {
      VertexAttribRecord& row = object.row(i);
      const uint32_t value = seed + 16 * i;
      row.pointer = uint64_t{value} << 20 | 1;
      row.stride = value + 2;
      row.elementSize = value + 3;
      row.size = value + 4;
      row.type = value + 5;
      row.relativeOffset = value + 6;
      row.normalized = row.isInteger = row.isLong = seed & 1;
      row.bindingIndex = static_cast<uint8_t>((i + seed) % 16);
      row.setEnabled((i & 1) == (seed & 1));
      object.bindings[i] = {uint64_t{value} << 20 | 7, value + 8, value + 9, value + 10};
    }
    int32_t at = static_cast<int32_t>(seed);
    for (PixelStoreHalf* half : {&context().pixelStore.unpack, &context().pixelStore.pack}) {
      for (int32_t* field : {&half->alignment, &half->rowLength, &half->imageHeight, &half->skipPixels, &half->skipRows,
                             &half->skipImages})
        *field = ++at;
      half->swapBytes = half->lsbFirst = seed & 1;
    }
    context().nvRestartEnabled = seed & 1;
    context().nvRestartIndex = seed;
  };
  const auto told = [&] {
    std::vector<uint64_t> out;
    for (uint32_t i = 0; i < kArrayRows; ++i) {
      const VertexAttribRecord& row = object.row(i);
      out.insert(out.end(), {row.pointer, row.enabled, row.stride, row.elementSize, row.size, row.type, row.normalized,
                             row.relativeOffset, row.isInteger, row.isLong, row.bindingIndex, row.isGeneric, row.index});
      EXPECT_EQ(row.owner, &object);
      const VertexBindingRecord& binding = object.bindings[i];
      out.insert(out.end(), {binding.offset, binding.stride, binding.divisor, binding.buffer});
    }
    for (const PixelStoreHalf* half : {&context().pixelStore.unpack, &context().pixelStore.pack}) {
      for (const int32_t field :
           {half->alignment, half->rowLength, half->imageHeight, half->skipPixels, half->skipRows, half->skipImages})
        out.push_back(static_cast<uint64_t>(field));
      out.insert(out.end(), {half->swapBytes, half->lsbFirst});
    }
    out.insert(out.end(), {object.enabledRows, context().nvRestartEnabled, context().nvRestartIndex});
    return out;
  };
  fill(1);
  const std::vector<uint64_t> before = told();
  QV_CALL(glPushClientAttrib)(GL_CLIENT_ALL_ATTRIB_BITS);
  fill(1000);
  EXPECT_NE(told(), before);
  QV_CALL(glPopClientAttrib)();
  EXPECT_EQ(told(), before);
}

// Each bit of the mask saves its own part, and none saves nothing.
TEST_F(VertexArrays, ClientStackSavesByItsMask) {
  QV_CALL(glPushClientAttrib)(GL_CLIENT_PIXEL_STORE_BIT);
  expectStream(std::vector<uint8_t>{0x4F, 0x81, 0, 0, 1, 0, 0, 0});
  QV_CALL(glEnableClientState)(GL_COLOR_ARRAY);
  QV_CALL(glPopClientAttrib)();
  EXPECT_EQ(arrays().enabledRows, 1u << kArrayColor);
  QV_CALL(glPushClientAttrib)(GL_CLIENT_VERTEX_ARRAY_BIT);
  QV_CALL(glPixelStorei)(GL_UNPACK_ALIGNMENT, 8);
  QV_CALL(glDisableClientState)(GL_COLOR_ARRAY);
  QV_CALL(glPopClientAttrib)();
  EXPECT_EQ(arrays().enabledRows, 1u << kArrayColor);
  GLint alignment = 0;
  QV_CALL(glGetIntegerv)(GL_UNPACK_ALIGNMENT, &alignment);
  EXPECT_EQ(alignment, 8);
}

// The buffers that images go to and come from stay bound, whatever is popped.
TEST_F(VertexArrays, ClientStackLeavesPixelBuffers) {
  QV_CALL(glPushClientAttrib)(GL_CLIENT_ALL_ATTRIB_BITS);
  QV_CALL(glBindBuffer)(GL_PIXEL_PACK_BUFFER, 6);
  QV_CALL(glBindBuffer)(GL_PIXEL_UNPACK_BUFFER, 7);
  QV_CALL(glPopClientAttrib)();
  EXPECT_EQ(context().buffers.pixelPack, 6u);
  EXPECT_EQ(context().buffers.pixelUnpack, 7u);
}

// Sixteen pushes fit; the seventeenth and a pop too many are refused and not sent.
TEST_F(VertexArrays, ClientStackHasSixteenLevels) {
  std::vector<uint8_t> sixteen;
  for (int i = 0; i < 16; ++i) {
    QV_CALL(glPushClientAttrib)(0);
    sixteen += words({8u << 12 | kPushClientAttrib, 0});
  }
  EXPECT_EQ(takeError(), 0u);
  expectStream(sixteen);
  QV_CALL(glPushClientAttrib)(0);
  expectError(GL_STACK_OVERFLOW);
  for (int i = 0; i < 16; ++i) QV_CALL(glPopClientAttrib)();
  EXPECT_EQ(takeError(), 0u);
  drop();
  QV_CALL(glPopClientAttrib)();
  expectError(GL_STACK_UNDERFLOW);
}

// Locked arrays are the answer to two queries; unlocked ones are as in a new context.
TEST_F(VertexArrays, LocksAreKept) {
  QV_CALL(glLockArraysEXT)(3, 50);
  expectStream(Stream().add(kLockArraysEXT, 3, 50));
  EXPECT_EQ(context().lockedFirst, 3);
  EXPECT_EQ(context().lockedCount, 50);
  QV_CALL(glUnlockArraysEXT)();
  EXPECT_EQ(context().lockedFirst, -1);
  EXPECT_EQ(context().lockedCount, 0);
}

// The pointer calls of the conventional arrays take these types and no others; the format calls take GL_FIXED, too.
TEST_F(VertexArrays, TypesOfArrays) {
  context().limits.maxVertexAttribRelativeOffset = 2048;
  QV_CALL(glBindVertexArray)(1);
  for (const GLenum type :
       {0, GL_BYTE, GL_UNSIGNED_BYTE, GL_SHORT, GL_UNSIGNED_SHORT, GL_INT, GL_UNSIGNED_INT, GL_FLOAT, GL_DOUBLE, GL_HALF_FLOAT,
        GL_UNSIGNED_INT_2_10_10_10_REV, GL_INT_2_10_10_10_REV, GL_UNSIGNED_INT_10F_11F_11F_REV}) {
    SCOPED_TRACE(type);
    QV_CALL(glVertexPointer)(3, type, 0, at(4));
    QV_CALL(glVertexAttribFormat)(1, type == GL_UNSIGNED_INT_10F_11F_11F_REV ? 3 : 4, type, GL_FALSE, 0);
    EXPECT_EQ(takeError(), 0u);
  }
  drop();
  for (GLenum type = 0x13F0; type < 0x1420; ++type) {
    if ((type >= GL_BYTE && type <= GL_FLOAT) || type == GL_DOUBLE || type == GL_HALF_FLOAT || type == GL_FIXED) continue;
    QV_CALL(glVertexPointer)(3, type, 0, at(4));
    expectError(GL_INVALID_ENUM);
    QV_CALL(glVertexAttribFormat)(1, 4, type, GL_FALSE, 0);
    expectError(GL_INVALID_ENUM);
  }
  const auto expectRefused = [&](GLenum error) {
    EXPECT_EQ(context().errorsRaised, 1u);
    context().errorsRaised = 0;
    expectError(error);
  };
  context().errorsRaised = 0;
  for (const auto& [type, error] : {std::pair<GLenum, GLenum>{GL_FIXED, GL_INVALID_ENUM}, {GL_FLOAT, GL_INVALID_OPERATION}}) {
    context().insideBegin = type == GL_FLOAT;
    QV_CALL(glVertexPointer)(3, type, 0, at(4));
    expectRefused(error);
    QV_CALL(glWeightPointerARB)(3, type, 0, at(4));
    expectRefused(error);
    QV_CALL(glNormalPointer)(type, 0, at(4));
    expectRefused(error);
    QV_CALL(glColorPointer)(3, type, 0, at(4));
    expectRefused(error);
    QV_CALL(glSecondaryColorPointer)(3, type, 0, at(4));
    expectRefused(error);
    QV_CALL(glFogCoordPointer)(type, 0, at(4));
    expectRefused(error);
    QV_CALL(glIndexPointer)(type, 0, at(4));
    expectRefused(error);
    QV_CALL(glTexCoordPointer)(3, type, 0, at(4));
    expectRefused(error);
  }
  context().insideBegin = 0;
  EXPECT_EQ(arrays().conventional[kArrayColor].pointer, 0u);
}

// The integer and double formats check what the real ones check, but for the double ones' types and primitives; neither takes
// small floats, or GL_BGRA of other types than the real ones do.
TEST_F(VertexArrays, OtherFormatsCheckInTheirOrder) {
  context().limits.maxVertexAttribRelativeOffset = 2048;
  const auto refused = [&](GLint size, GLenum type, GLuint offset, GLenum error) {
    SCOPED_TRACE(size);
    QV_CALL(glVertexAttribIFormat)(1, size, type, offset);
    expectError(error);
    QV_CALL(glVertexAttribLFormat)(1, size, type, offset);
    expectError(error);
  };
  refused(3, GL_UNSIGNED_INT_10F_11F_11F_REV, 0, GL_INVALID_ENUM);  // before the object is missed
  refused(3, GL_INT, 0, GL_INVALID_OPERATION);
  QV_CALL(glBindVertexArray)(1);
  drop();
  refused(5, GL_UNSIGNED_INT_10F_11F_11F_REV, 0, GL_INVALID_VALUE);
  refused(0, GL_INT, 0, GL_INVALID_VALUE);
  refused(-1, GL_INT, 0, GL_INVALID_VALUE);
  refused(4, GL_UNSIGNED_INT_10F_11F_11F_REV, 2048, GL_INVALID_VALUE);
  refused(3, GL_INT_2_10_10_10_REV, 0, GL_INVALID_OPERATION);
  refused(GL_BGRA, GL_INT, 0, GL_INVALID_OPERATION);
  QV_CALL(glVertexAttribIFormat)(1, 4, 0x1234, 0);
  expectError(GL_INVALID_ENUM);
  context().insideBegin = 1;
  QV_CALL(glVertexAttribIFormat)(1, 4, GL_INT, 0);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glVertexAttribFormat)(1, 4, GL_FLOAT, GL_FALSE, 0);
  expectError(GL_INVALID_OPERATION);
  context().insideBegin = 0;
  EXPECT_EQ(arrays().generic[1].size, 4u);
  EXPECT_EQ(arrays().generic[1].type, static_cast<uint32_t>(GL_FLOAT));
  QV_CALL(glVertexAttribLFormat)(1, 4, 0x1234, 0);
  QV_CALL(glVertexAttribIFormat)(2, GL_BGRA, GL_UNSIGNED_BYTE, 0);
  QV_CALL(glVertexAttribIFormat)(3, 4, GL_UNSIGNED_INT_2_10_10_10_REV, 2047);
  expectStream(Stream()
                   .add(kVertexAttribLFormat, 1, 4, 0x1234, 0)
                   .add(kVertexAttribIFormat, 2, GL_BGRA, GL_UNSIGNED_BYTE, 0)
                   .add(kVertexAttribIFormat, 3, 4, GL_UNSIGNED_INT_2_10_10_10_REV, 2047));
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(arrays().generic[1].elementSize, 0u);
  EXPECT_EQ(arrays().generic[1].isInteger, 0);
  EXPECT_EQ(arrays().generic[2].isLong, 0);
  EXPECT_EQ(arrays().generic[3].relativeOffset, 2047u);
}

// A normalized format takes GL_BGRA of bytes and of the packed types.
TEST_F(VertexArrays, FormatsTakeBgra) {
  context().limits.maxVertexAttribRelativeOffset = 2048;
  QV_CALL(glBindVertexArray)(1);
  for (const GLenum type : {GL_UNSIGNED_BYTE, GL_INT_2_10_10_10_REV, GL_UNSIGNED_INT_2_10_10_10_REV}) {
    QV_CALL(glVertexAttribFormat)(1, GL_BGRA, type, GL_TRUE, 0);
    EXPECT_EQ(takeError(), 0u);
    EXPECT_EQ(arrays().generic[1].size, static_cast<uint32_t>(GL_BGRA));
    EXPECT_EQ(arrays().generic[1].elementSize, 4u);
    EXPECT_EQ(arrays().generic[1].type, type);
    EXPECT_EQ(arrays().generic[1].normalized, 1);
    drop();
    QV_CALL(glVertexAttribFormat)(1, GL_BGRA, type, GL_FALSE, 0);
    expectError(GL_INVALID_OPERATION);
  }
  QV_CALL(glVertexAttribFormat)(1, 3, GL_UNSIGNED_INT_10F_11F_11F_REV, GL_FALSE, 0);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(arrays().generic[1].elementSize, 0u);
}

// A format leaves pointer, stride and binding of its attribute alone; a pointer takes back what formats and bindings have set.
TEST_F(VertexArrays, PointersTakeTheirRowsBack) {
  context().limits.maxVertexAttribRelativeOffset = 2048;
  QV_CALL(glBindVertexArray)(1);
  QV_CALL(glVertexAttribPointer)(2, 2, GL_FLOAT, GL_TRUE, 20, at(64));
  QV_CALL(glVertexAttribBinding)(2, 5);
  QV_CALL(glVertexAttribIFormat)(2, 1, GL_SHORT, 12);
  const VertexAttribRecord& row = arrays().generic[2];
  EXPECT_EQ(row.pointer, 64u);
  EXPECT_EQ(row.stride, 20u);
  EXPECT_EQ(row.bindingIndex, 5);
  EXPECT_EQ(row.elementSize, 2u);
  EXPECT_EQ(row.normalized, 0);
  EXPECT_EQ(row.isInteger, 1);
  EXPECT_EQ(row.relativeOffset, 12u);
  EXPECT_EQ(arrays().bindings[18].offset, 64u);
  EXPECT_EQ(arrays().bindings[21].offset, 0u);
  QV_CALL(glVertexAttribPointer)(2, 3, GL_DOUBLE, GL_FALSE, 0, at(96));
  EXPECT_EQ(row.bindingIndex, 2);
  EXPECT_EQ(row.isInteger, 0);
  EXPECT_EQ(row.relativeOffset, 0u);
  EXPECT_EQ(row.elementSize, 24u);
  EXPECT_EQ(arrays().bindings[18].offset, 96u);
  EXPECT_EQ(arrays().bindings[18].stride, 24u);
}

// The queries tell what is set of each row, not what is usual.
TEST_F(VertexArrays, QueriesTellUnusualRows) {
  context().limits.maxVertexAttribRelativeOffset = 2048;
  QV_CALL(glBindVertexArray)(1);
  QV_CALL(glBindBuffer)(GL_ARRAY_BUFFER, 6);
  QV_CALL(glVertexAttribFormat)(3, 2, GL_BYTE, GL_TRUE, 24);
  QV_CALL(glVertexAttribBinding)(3, 9);
  QV_CALL(glBindVertexBuffer)(9, 6, 32, 48);
  QV_CALL(glVertexBindingDivisor)(9, 4);
  QV_CALL(glVertexAttribLPointer)(4, 2, GL_DOUBLE, 40, at(8));
  drop();
  const std::tuple<GLuint, GLenum, GLint> values[] = {
      {3, GL_VERTEX_ATTRIB_BINDING, 9},          {3, GL_VERTEX_ATTRIB_RELATIVE_OFFSET, 24},
      {3, GL_VERTEX_ATTRIB_ARRAY_NORMALIZED, 1}, {3, GL_VERTEX_ATTRIB_ARRAY_STRIDE, 0},
      {3, GL_VERTEX_ATTRIB_ARRAY_ENABLED, 0},    {3, GL_VERTEX_ATTRIB_ARRAY_BUFFER_BINDING, 6},
      {3, GL_VERTEX_ATTRIB_ARRAY_DIVISOR, 4},    {3, GL_VERTEX_ATTRIB_ARRAY_INTEGER, 0},
      {4, GL_VERTEX_ATTRIB_ARRAY_LONG, 1},       {4, GL_VERTEX_ATTRIB_ARRAY_STRIDE, 40},
      {15, GL_VERTEX_ATTRIB_ARRAY_SIZE, 4}};
  for (const auto& [index, name, expected] : values) {
    GLint value = -1;
    QV_CALL(glGetVertexAttribiv)(index, name, &value);
    EXPECT_EQ(value, expected) << index << " " << name;
  }
  EXPECT_TRUE(pending().empty());
  EXPECT_TRUE(host.submissions.empty());
}

// The integer and double queries all go to the host, under their own numbers.
TEST_F(VertexArrays, OtherQueriesAreTheHosts) {
  GLint integers[4];
  GLuint words[4];
  GLdouble doubles[4];
  const auto expectQuery = [&](uint32_t opcode, GLenum pname, uint32_t bytes) {
    EXPECT_EQ(host.submissions.back().stream, Stream().add(opcode, 3, pname).data);
    EXPECT_EQ(host.submissions.back().replySize, bytes);
  };
  for (const auto& [pname, values] :
       {std::pair<GLenum, uint32_t>{GL_CURRENT_VERTEX_ATTRIB, 4}, {GL_VERTEX_ATTRIB_ARRAY_TYPE, 1}}) {
    QV_CALL(glGetVertexAttribIivEXT)(3, pname, integers);
    expectQuery(1479, pname, 4 * values);
    QV_CALL(glGetVertexAttribIuivEXT)(3, pname, words);
    expectQuery(1480, pname, 4 * values);
    QV_CALL(glGetVertexAttribIuiv)(3, pname, words);
    expectQuery(2065, pname, 4 * values);
    QV_CALL(glGetVertexAttribLdv)(3, pname, doubles);
    expectQuery(2332, pname, 8 * values);
  }
}

// The extension's divisor is the core's; beyond the rows it leaves no trace in the guest.
TEST_F(VertexArrays, ExtensionDivisors) {
  QV_CALL(glBindVertexArray)(1);
  QV_CALL(glVertexAttribBinding)(15, 3);
  drop();
  QV_CALL(glVertexAttribDivisorARB)(15, 7);
  QV_CALL(glVertexAttribDivisorARB)(16, 8);
  QV_CALL(glVertexAttribDivisorARB)(0x80000000, 8);
  expectStream(Stream().add(2150, 15, 7).add(2150, 16, 8).add(2150, 0x80000000, 8));
  EXPECT_EQ(arrays().bindings[31].divisor, 7u);
  EXPECT_EQ(arrays().generic[15].bindingIndex, 15);
  for (uint32_t row = 0; row < 31; ++row) EXPECT_EQ(arrays().bindings[row].divisor, 0u) << row;
  EXPECT_EQ(takeError(), 0u);
}

// The last binding is one, too; what a refused call names stays as it was.
TEST_F(VertexArrays, LastBindingsAreBindings) {
  QV_CALL(glBindVertexArray)(1);
  QV_CALL(glBindBuffer)(GL_COPY_READ_BUFFER, 8);
  QV_CALL(glBindVertexBuffer)(15, 8, 4, 12);
  QV_CALL(glVertexBindingDivisor)(15, 2);
  QV_CALL(glVertexAttribBinding)(15, 15);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(arrays().bindings[31].buffer, 8u);
  EXPECT_EQ(arrays().bindings[31].divisor, 2u);
  drop();
  QV_CALL(glBindVertexBuffer)(15, 99, 64, 64);
  expectError(GL_INVALID_OPERATION);
  QV_CALL(glBindVertexBuffer)(16, 99, -1, 64);
  expectError(GL_INVALID_VALUE);
  EXPECT_EQ(arrays().bindings[31].buffer, 8u);
  EXPECT_EQ(arrays().bindings[31].offset, 4u);
  EXPECT_EQ(arrays().bindings[31].stride, 12u);
}

// An interleaved block with a stride of its own, and inside a primitive.
TEST_F(VertexArrays, InterleavedArraysTakeTheirStride) {
  QV_CALL(glInterleavedArrays)(GL_C3F_V3F, 100, at(0x1000));
  EXPECT_EQ(arrays().conventional[kArrayColor].stride, 100u);
  EXPECT_EQ(arrays().conventional[kArrayColor].type, static_cast<uint32_t>(GL_FLOAT));
  EXPECT_EQ(arrays().conventional[kArrayVertex].stride, 100u);
  drop();
  context().insideBegin = 1;
  QV_CALL(glInterleavedArrays)(GL_V2F, 0, at(0x1000));
  expectError(GL_INVALID_OPERATION);
  context().insideBegin = 0;
  EXPECT_EQ(arrays().conventional[kArrayVertex].size, 3u);
}

}  // namespace
}  // namespace qv::test
