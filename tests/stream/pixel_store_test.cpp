// glPixelStore: what is stored, what is sent, and what is refused.
#include "driver/objects/display_list_stream.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"
#include "wire/pixel_store.h"

namespace qv::test {
namespace {

class PixelStore : public ContextTest {};

struct Name {
  GLenum pname;
  int32_t PixelStoreHalf::*field;
  bool pack;
};
constexpr Name kCounts[] = {
    {GL_UNPACK_ROW_LENGTH, &PixelStoreHalf::rowLength, false},   {0x0D02, &PixelStoreHalf::rowLength, true},
    {0x0CF3, &PixelStoreHalf::skipRows, false},    {0x0D03, &PixelStoreHalf::skipRows, true},
    {0x0CF4, &PixelStoreHalf::skipPixels, false},  {0x0D04, &PixelStoreHalf::skipPixels, true},
    {0x806E, &PixelStoreHalf::imageHeight, false}, {0x806C, &PixelStoreHalf::imageHeight, true},
    {0x806D, &PixelStoreHalf::skipImages, false},  {0x806B, &PixelStoreHalf::skipImages, true},
};

// Every count goes into its own field of its own half, is sent as it is, and is refused when negative.
TEST_F(PixelStore, CountsHaveAFieldEach) {
  int32_t value = 100;
  for (const Name& name : kCounts) {
    SCOPED_TRACE(name.pname);
    QV_CALL(glPixelStorei)(name.pname, ++value);
    expectStream(words({0xC0FA, name.pname, static_cast<uint32_t>(value)}));
    PixelStoreState& state = context().pixelStore;
    EXPECT_EQ((name.pack ? state.pack : state.unpack).*name.field, value);
    QV_CALL(glPixelStorei)(name.pname, -1);
    EXPECT_EQ(QV_CALL(glGetError)(), static_cast<GLenum>(GL_INVALID_VALUE));
    EXPECT_EQ((name.pack ? state.pack : state.unpack).*name.field, value);
    drop();
  }
  // Ten names, ten fields: none was overwritten by another.
  value = 100;
  for (const Name& name : kCounts) {
    EXPECT_EQ((name.pack ? context().pixelStore.pack : context().pixelStore.unpack).*name.field, ++value) << name.pname;
  }
}

// Flags are stored as 0 or 1, and the host gets the value as the program gave it.
TEST_F(PixelStore, FlagsAreStoredAsOneBit) {
  const std::pair<GLenum, uint8_t PixelStoreHalf::*> names[] = {
      {0x0CF0, &PixelStoreHalf::swapBytes}, {0x0CF1, &PixelStoreHalf::lsbFirst}};
  for (const auto& [pname, field] : names) {
    QV_CALL(glPixelStorei)(pname, 256);
    expectStream(Stream().add(kPixelStorei, pname, 256));
    EXPECT_EQ(context().pixelStore.unpack.*field, 1);
    EXPECT_EQ(context().pixelStore.pack.*field, 0);
    QV_CALL(glPixelStorei)(pname + 16, -1);
    expectStream(Stream().add(kPixelStorei, pname + 16, 0xFFFFFFFF));
    EXPECT_EQ(context().pixelStore.pack.*field, 1);
    QV_CALL(glPixelStorei)(pname, 0);
    drop();
    EXPECT_EQ(context().pixelStore.unpack.*field, 0);
    EXPECT_EQ(context().pixelStore.pack.*field, 1);
  }
}

// An alignment is 1, 2, 4 or 8; another one is refused with nothing sent and the state as it was.
TEST_F(PixelStore, AlignmentIsAPowerUpToEight) {
  for (const GLenum pname : {GL_UNPACK_ALIGNMENT, GL_PACK_ALIGNMENT}) {
    int32_t& field = pname == GL_UNPACK_ALIGNMENT ? context().pixelStore.unpack.alignment : context().pixelStore.pack.alignment;
    EXPECT_EQ(field, 4);
    for (const int32_t value : {1, 2, 8, 4}) {
      QV_CALL(glPixelStorei)(pname, value);
      EXPECT_EQ(field, value);
      expectStream(Stream().add(kPixelStorei, pname, static_cast<uint32_t>(value)));
    }
    for (const int32_t value : {0, 3, 5, 16, -4}) {
      QV_CALL(glPixelStorei)(pname, value);
      EXPECT_EQ(field, 4);
      expectStream(Stream());
      EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_VALUE));
      context().recordedError = 0;
    }
  }
}

// A name that is not one of the sixteen is refused, the compressed block sizes among them.
TEST_F(PixelStore, OtherNamesAreRefused) {
  for (const GLenum pname : {0x9127u, 0x8758u, 0x0CF6u, 0x0CEFu, 0u}) {
    QV_CALL(glPixelStorei)(pname, 1);
    expectStream(Stream());
    EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_ENUM)) << pname;
    EXPECT_EQ(context().lastOpcode, 250);
    context().recordedError = 0;
  }
}

// The float form rounds halves upward, stores the integer and sends it as a float.
TEST_F(PixelStore, FloatsAreRoundedAndSentRounded) {
  QV_CALL(glPixelStoref)(GL_UNPACK_ALIGNMENT, 3.6f);
  expectStream(Stream().add(kPixelStoref, GL_UNPACK_ALIGNMENT, 4.0f));
  EXPECT_EQ(context().pixelStore.unpack.alignment, 4);
  QV_CALL(glPixelStoref)(GL_UNPACK_ROW_LENGTH, 2.5f);
  expectStream(Stream().add(kPixelStoref, GL_UNPACK_ROW_LENGTH, 3.0f));
  QV_CALL(glPixelStoref)(GL_UNPACK_ROW_LENGTH, -0.5f);
  expectStream(Stream().add(kPixelStoref, GL_UNPACK_ROW_LENGTH, 0.0f));
  EXPECT_EQ(context().pixelStore.unpack.rowLength, 0);
  QV_CALL(glPixelStoref)(GL_UNPACK_ROW_LENGTH, -0.6f);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_VALUE));
  context().recordedError = 0;
  // What has no integer is refused as a negative count is.
  QV_CALL(glPixelStoref)(GL_UNPACK_ROW_LENGTH, 1e20f);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(context().lastOpcode, 249);
  expectStream(Stream());
}

// Inside glBegin both are refused before the state is looked at.
TEST_F(PixelStore, InsideBeginTheStateStays) {
  QV_CALL(glBegin)(GL_POINTS);
  const auto before = pending();
  QV_CALL(glPixelStorei)(GL_UNPACK_ALIGNMENT, 1);
  QV_CALL(glPixelStoref)(GL_UNPACK_ALIGNMENT, 1.0f);
  EXPECT_EQ(pending(), before);
  EXPECT_EQ(context().pixelStore.unpack.alignment, 4);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
}

// A list being compiled does not record it: pixel store is client state, and takes effect and is sent at once.
TEST_F(PixelStore, ListsDoNotRecordIt) {
  QV_CALL(glNewList)(1, GL_COMPILE);
  drop();
  QV_CALL(glPixelStorei)(GL_UNPACK_ALIGNMENT, 1);
  expectStream(Stream().add(kPixelStorei, GL_UNPACK_ALIGNMENT, 1));
  EXPECT_EQ(context().recordingList->cursor, context().recordingList->base);
  EXPECT_EQ(context().pixelStore.unpack.alignment, 1);
  QV_CALL(glEndList)();
}

}  // namespace
}  // namespace qv::test
