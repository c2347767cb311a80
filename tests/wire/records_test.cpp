// The commands that no form lays out: their words as bytes, and the lengths of the data behind them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "wire/records/images.h"
#include "wire/records/lists.h"
#include "wire/records/pbuffers.h"
#include "wire/records/vertex_run.h"

namespace qv::test {
namespace {

using Bytes = std::vector<uint8_t>;

template <typename Record>
Bytes bytesOf(const Record& record) {
  Bytes out(sizeof record);
  std::memcpy(out.data(), &record, sizeof record);
  return out;
}
template <typename Record>
std::string wordsOf() {
  std::string out;
  for (const char* const word : Record::kWords) out += (out.empty() ? "" : " ") + std::string(word);
  return out;
}

// The choice of a pbuffer's image is window, face and level.
TEST(Records, PbufferAttribIsWindowFaceLevel) {
  EXPECT_EQ(bytesOf(PbufferAttribRecord{7, GL_TEXTURE_CUBE_MAP_NEGATIVE_X, 2}),
            (Bytes{7, 0, 0, 0, 0x16, 0x85, 0, 0, 2, 0, 0, 0}));
  EXPECT_EQ(wordsOf<PbufferAttribRecord>(), "window face level");
  EXPECT_FALSE(HasTail<PbufferAttribRecord>);
}

// The binding of a pbuffer's image is window and buffer.
TEST(Records, PbufferImageIsWindowBuffer) {
  EXPECT_EQ(bytesOf(PbufferImageRecord{0x0102, GL_BACK}), (Bytes{2, 1, 0, 0, 5, 4, 0, 0}));
  EXPECT_EQ(wordsOf<PbufferImageRecord>(), "window buffer");
  EXPECT_FALSE(HasTail<PbufferImageRecord>);
}

// The call of several lists is their number, the type of their names and the bytes of the names.
TEST(Records, CallListsIsCountTypeBytes) {
  EXPECT_EQ(bytesOf(CallListsRecord::of(3, GL_UNSIGNED_SHORT, nullptr)), (Bytes{3, 0, 0, 0, 3, 0x14, 0, 0, 6, 0, 0, 0}));
  EXPECT_EQ(wordsOf<CallListsRecord>(), "n type bytes");
  EXPECT_TRUE(HasSizedTail<CallListsRecord>);
}

// List names take 1, 2, 3 or 4 bytes by their type, and a type that is none counts as a byte.
TEST(Records, ListNamesHaveTheirBytes) {
  for (const GLenum type : {GL_BYTE, GL_UNSIGNED_BYTE}) EXPECT_EQ(listNameBytes(type), 1u) << type;
  for (const GLenum type : {GL_SHORT, GL_UNSIGNED_SHORT, GL_2_BYTES}) EXPECT_EQ(listNameBytes(type), 2u) << type;
  EXPECT_EQ(listNameBytes(GL_3_BYTES), 3u);
  for (const GLenum type : {GL_INT, GL_UNSIGNED_INT, GL_FLOAT, GL_4_BYTES}) EXPECT_EQ(listNameBytes(type), 4u) << type;
  EXPECT_EQ(listNameBytes(0), 1u);
  EXPECT_EQ(listNameBytes(GL_DOUBLE), 1u);
}

// A negative number of lists has no names; the bytes of many names are counted in 64 bits, and their word holds the low 32.
TEST(Records, CallListsCountsItsNamesIn64Bits) {
  for (const GLsizei count : {-1, static_cast<GLsizei>(0x80000000)}) {
    const CallListsRecord record = CallListsRecord::of(count, GL_UNSIGNED_INT, nullptr);
    EXPECT_EQ(record.tailBytes(), 0u) << count;
    EXPECT_EQ(record.bytes, 0u) << count;
  }
  const CallListsRecord many = CallListsRecord::of(0x40000001, GL_UNSIGNED_INT, nullptr);
  EXPECT_EQ(many.tailBytes(), 0x100000004u);
  EXPECT_EQ(many.bytes, 4u);
  const CallListsRecord most = CallListsRecord::of(0x7FFFFFFF, GL_4_BYTES, nullptr);
  EXPECT_EQ(most.tailBytes(), 0x1FFFFFFFCu);
  EXPECT_EQ(most.bytes, 0xFFFFFFFCu);
}

// The length follows from count and type, and not from the word that says it.
TEST(Records, CallListsDoesNotBelieveItsByteWord) { EXPECT_EQ((CallListsRecord{2, GL_SHORT, 0xFFFFFFFF}.tailBytes()), 4u); }

// The members of each record of images stand in the order of its words, a word each.
TEST(Records, ImagesHaveTheirWordsInOrder) {
  const auto expectOrder = [](const auto& record, const std::string& named) {
    using Record = std::decay_t<decltype(record)>;
    Bytes numbers;
    for (uint8_t i = 1; i <= sizeof(Record) / 4; ++i) numbers.insert(numbers.end(), {i, 0, 0, 0});
    EXPECT_EQ(bytesOf(record), numbers) << named;
    EXPECT_EQ(wordsOf<Record>(), named);
  };
  expectOrder(ReadPixelsRecord{.x = 1, .y = 2, .width = 3, .height = 4, .format = 5, .type = 6, .bytes = 7, .pointer = 8},
              "x y width height format type bytes pointer");
  expectOrder(GetTexImageRecord{.target = 1, .level = 2, .format = 3, .type = 4, .bytes = 5, .pointer = 6},
              "target level format type bytes pointer");
  expectOrder(GetCompressedTexImageRecord{.target = 1, .level = 2, .bytes = 3, .pointer = 4}, "target level bytes pointer");
  expectOrder(GetPolygonStippleRecord{.bytes = 1, .pointer = 2}, "bytes pointer");
  expectOrder(GetPixelMapRecord{.map = 1, .bytes = 2, .pointer = 3}, "map bytes pointer");
  expectOrder(GetColorTableRecord{.target = 1, .format = 2, .type = 3, .bytes = 4}, "target format type bytes");
  expectOrder(GetColorTableParameterRecord{.target = 1, .pname = 2}, "target pname");
  expectOrder(GetConvolutionFilterRecord{.target = 1, .format = 2, .type = 3, .bytes = 4, .pointer = 5},
              "target format type bytes pointer");
  expectOrder(GetHistogramRecord{.target = 1, .reset = 2, .format = 3, .type = 4, .bytes = 5, .pointer = 6},
              "target reset format type bytes pointer");
  expectOrder(GetSeparableFilterRecord{.target = 1, .format = 2, .type = 3, .span = 4, .rowBytes = 5, .columnBytes = 6, .row = 7, .column = 8},
              "target format type span rowBytes columnBytes row column");
  expectOrder(SeparableFilterRecord{.target = 1,
                                    .internalFormat = 2,
                                    .width = 3,
                                    .height = 4,
                                    .format = 5,
                                    .type = 6,
                                    .row = 7,
                                    .column = 8,
                                    .rowBytes = 9,
                                    .columnBytes = 10},
              "target internalFormat width height format type row column rowBytes columnBytes");
  expectOrder(AreTexturesResidentRecord{.count = 1}, "count");
}

// The tail of a separable filter is row and column in 64 bits; a negative number of textures has no names.
TEST(Records, TailsOfImagesAreCountedIn64Bits) {
  EXPECT_EQ((SeparableFilterRecord{0, 0, 0, 0, 0, 0, 0, 0, 0xFFFFFFFF, 2}.tailBytes()), 0x100000001u);
  EXPECT_EQ((AreTexturesResidentRecord{0x7FFFFFFF}.tailBytes()), 0x1FFFFFFFCu);
  EXPECT_EQ((AreTexturesResidentRecord{-1}.tailBytes()), 0u);
}

// A run is one word: mode, slots and bytes of a vertex.
TEST(Records, RunIsModeSlotsStride) {
  const VertexRunRecord record = VertexRunRecord::of(GL_TRIANGLES, 2, 24);
  EXPECT_EQ(bytesOf(record), (Bytes{24, 0, 2, 4}));
  EXPECT_EQ(record.mode(), 4u);
  EXPECT_EQ(record.slots(), 2u);
  EXPECT_EQ(record.stride(), 24u);
  const VertexRunRecord full = VertexRunRecord::of(255, 255, 0xFFFF);
  EXPECT_EQ(full.packed, 0xFFFFFFFFu);
  EXPECT_EQ(full.mode(), 255u);
  EXPECT_EQ(full.slots(), 255u);
  EXPECT_EQ(full.stride(), 0xFFFFu);
  EXPECT_EQ(wordsOf<VertexRunRecord>(), "packed");
  EXPECT_TRUE(HasOpenTail<VertexRunRecord>);
  EXPECT_FALSE(HasSizedTail<VertexRunRecord>);
  EXPECT_EQ(kRunHeadBytes, 12u);
}

// A tag is components, type and attribute number; there are eight types and up to four components.
TEST(Records, TagIsComponentsTypeNumber) {
  const RunTag color = RunTag::of(3, 1, 3);
  EXPECT_EQ(color.bits, 0x3103);
  EXPECT_EQ(color.components(), 3u);
  EXPECT_EQ(color.type(), 1u);
  EXPECT_EQ(color.number(), 3u);
  const uint16_t valid[] = {0x1000, 0x1700, 0x4000, 0x47FF}, invalid[] = {0x0100, 0x5100, 0xF100, 0x1800, 0x1F00};
  for (const uint16_t bits : valid) EXPECT_TRUE(RunTag{bits}.valid()) << bits;
  for (const uint16_t bits : invalid) EXPECT_FALSE(RunTag{bits}.valid()) << bits;
}

// Each type of a component has its code and its bytes.
TEST(Records, RunTypesHaveTheirCodes) {
  EXPECT_EQ(runTypeCode<GLdouble>(), 0u);
  EXPECT_EQ(runTypeCode<GLfloat>(), 1u);
  EXPECT_EQ(runTypeCode<GLint>(), 2u);
  EXPECT_EQ(runTypeCode<GLuint>(), 3u);
  EXPECT_EQ(runTypeCode<GLshort>(), 4u);
  EXPECT_EQ(runTypeCode<GLushort>(), 5u);
  EXPECT_EQ(runTypeCode<GLbyte>(), 6u);
  EXPECT_EQ(runTypeCode<GLubyte>(), 7u);
  const std::vector<uint32_t> bytes(kRunTypeBytes, kRunTypeBytes + kRunTypes);
  EXPECT_EQ(bytes, (std::vector<uint32_t>{8, 4, 4, 4, 2, 2, 1, 1}));
}

// Attributes and the tags of a run fill whole words.
TEST(Records, AttributesAndTagsFillWords) {
  EXPECT_EQ(runAttributeBytes(3, 1), 4u);
  EXPECT_EQ(runAttributeBytes(3, 2), 8u);
  EXPECT_EQ(runAttributeBytes(4, 8), 32u);
  EXPECT_EQ(runTagBytes(0), 0u);
  EXPECT_EQ(runTagBytes(1), 4u);
  EXPECT_EQ(runTagBytes(2), 4u);
  EXPECT_EQ(runTagBytes(15), 32u);
  EXPECT_EQ(runTagBytes(16), 32u);
}

}  // namespace
}  // namespace qv::test
