// Recording of display lists: what goes into the guest's copy, what goes to the host, and the names of lists.
#include "driver/objects/display_list_stream.h"
#include "driver/objects/share_group.h"
#include "driver/state/shared_objects.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

class Lists : public ContextTest {
 protected:
  // What the open list of this name has, or else the defined one.
  std::vector<uint8_t> recording(GLuint name) {
    DisplayListStream* list = context().recordingList;
    if (list == nullptr || list->listId != name) {
      list = static_cast<DisplayListStream*>(context().shareGroup->table(ShareSlot::kLists).findAs<CommandStream>(name));
    }
    return list != nullptr ? std::vector<uint8_t>(list->base, list->cursor) : std::vector<uint8_t>{};
  }
};

// glNewList(0) reaches the host, which complains; the guest records nothing.
TEST_F(Lists, ListZeroIsTheHostsToRefuse) {
  QV_CALL(glNewList)(0, GL_COMPILE);
  expectStream(Stream().add(kNewList, 0, GL_COMPILE));
  EXPECT_EQ(context().listMode, 0u);
  EXPECT_EQ(context().recordingList, nullptr);
  QV_CALL(glNewList)(1, 77);
  EXPECT_EQ(context().recordingList, nullptr);
  EXPECT_EQ(context().recordedError, 0u);
}

// Generated names are consecutive from 1, and count as lists before they are defined.
TEST_F(Lists, GeneratedNamesAreConsecutive) {
  EXPECT_EQ(QV_CALL(glGenLists)(3), 1u);
  EXPECT_EQ(context().lastOpcode, kGenLists);
  EXPECT_EQ(QV_CALL(glIsList)(2), GL_TRUE);
  EXPECT_EQ(context().lastOpcode, kIsList);
  EXPECT_EQ(QV_CALL(glIsList)(4), GL_FALSE);
  EXPECT_EQ(QV_CALL(glGenLists)(2000), 4u);
  EXPECT_EQ(context().recordedError, 0u);
  EXPECT_TRUE(pending().empty());
}

// A negative range is GL_INVALID_OPERATION, and so is an empty one, as for every call that makes names.
TEST_F(Lists, NegativeAndEmptyRangesAreRefused) {
  EXPECT_EQ(QV_CALL(glGenLists)(0), 0u);
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(QV_CALL(glGenLists)(-1), 0u);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
}

// Under GL_COMPILE a state call is recorded and sent, and the shadow stays; the errors of checks are dropped.
TEST_F(Lists, CompileRecordsAndLeavesTheShadow) {
  QV_CALL(glNewList)(5, GL_COMPILE);
  drop();
  QV_CALL(glEnable)(GL_LIGHTING);
  expectStream(Stream().add(kEnable, GL_LIGHTING));
  EXPECT_EQ(recording(5), Stream().add(kEnable, GL_LIGHTING).data);
  EXPECT_EQ(context().lighting.current().lightingEnabled, 0);
  EXPECT_EQ(context().recordingList->lastOpcode, kEnable);
  QV_CALL(glEndList)();
  expectStream(Stream().add(kEndList));
  EXPECT_EQ(context().listMode, 0u);
  EXPECT_EQ(context().recordingList, nullptr);
  EXPECT_EQ(context().lastOpcode, kEndList);
}

// Under GL_COMPILE_AND_EXECUTE the shadow changes at the call.
TEST_F(Lists, CompileAndExecuteChangesTheShadow) {
  QV_CALL(glNewList)(5, GL_COMPILE_AND_EXECUTE);
  QV_CALL(glEnable)(GL_LIGHTING);
  EXPECT_EQ(context().lighting.current().lightingEnabled, 1);
  EXPECT_EQ(recording(5), Stream().add(kEnable, GL_LIGHTING).data);
  QV_CALL(glEndList)();
}

// glBlendFunc under GL_COMPILE changes the shadow at once; this is required.
TEST_F(Lists, BlendFuncActsAtOnce) {
  QV_CALL(glNewList)(5, GL_COMPILE);
  QV_CALL(glBlendFunc)(GL_ZERO, GL_ONE);
  EXPECT_EQ(context().colorBuffer.current().blendSrc, static_cast<uint32_t>(GL_ZERO));
  EXPECT_EQ(context().colorBuffer.current().blendDstAlpha, static_cast<uint32_t>(GL_ONE));
  QV_CALL(glEndList)();
}

// Under GL_COMPILE the other calls whose effect no replay of a list repeats change the shadow at once too; this is required.
TEST_F(Lists, CallsThatNoReplayRepeatsActAtOnce) {
  QV_CALL(glNewList)(5, GL_COMPILE);
  QV_CALL(glBlendFuncSeparate)(2, 3, 4, 5);
  EXPECT_EQ(context().colorBuffer.current().blendSrcRgb, 2u);
  EXPECT_EQ(context().colorBuffer.current().blendDstRgb, 3u);
  EXPECT_EQ(context().colorBuffer.current().blendSrcAlpha, 4u);
  EXPECT_EQ(context().colorBuffer.current().blendDstAlpha, 5u);
  QV_CALL(glPolygonOffset)(6.0f, 7.0f);
  EXPECT_EQ(context().polygon.current().offsetFactor, 6.0f);
  EXPECT_EQ(context().polygon.current().offsetUnits, 7.0f);
  QV_CALL(glClientActiveTexture)(GL_TEXTURE3);
  EXPECT_EQ(context().clientActiveUnit, 3u);
  QV_CALL(glPrimitiveRestartIndex)(8);
  EXPECT_EQ(context().restartIndex, 8u);
  QV_CALL(glPrimitiveRestartIndexNV)(9);
  EXPECT_EQ(context().nvRestartIndex, 9u);
  QV_CALL(glEndList)();
}

// Vertices in a list go to the host as plain commands and not into the recording; no run is made.
TEST_F(Lists, VerticesStayPlain) {
  QV_CALL(glNewList)(5, GL_COMPILE);
  drop();
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glVertex3f)(0, 0, 0);
  QV_CALL(glEnd)();
  expectStream(Stream().add(kBegin, GL_POINTS).add(kVertex3f, 0.0f, 0.0f, 0.0f).add(kEnd));
  EXPECT_EQ(recording(5), Stream().add(kBegin, GL_POINTS).add(kEnd).data);
  EXPECT_EQ(context().insideBegin, 0);
  QV_CALL(glEndList)();
}

// Between glBegin and glEnd a recorded call lands in the list although it is refused, and nothing goes to the host.
TEST_F(Lists, RefusedCallIsStillRecorded) {
  QV_CALL(glNewList)(5, GL_COMPILE_AND_EXECUTE);
  QV_CALL(glBegin)(GL_POINTS);
  drop();
  QV_CALL(glEnable)(GL_BLEND);
  EXPECT_TRUE(pending().empty());
  EXPECT_EQ(recording(5), Stream().add(kBegin, GL_POINTS).add(kEnable, GL_BLEND).data);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
  QV_CALL(glEnd)();
  QV_CALL(glEndList)();
}

// An unknown pname is refused before anything is written, the recording included.
TEST_F(Lists, UnknownPnameIsNotRecorded) {
  QV_CALL(glNewList)(5, GL_COMPILE_AND_EXECUTE);
  drop();
  const float values[4] = {};
  QV_CALL(glLightfv)(GL_LIGHT0, 12345, values);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(context().lastOpcode, kLightfv);
  EXPECT_TRUE(pending().empty());
  EXPECT_TRUE(recording(5).empty());
  QV_CALL(glEndList)();
}

// Defining a list again replaces its recording at the end, not before; a glNewList during a recording changes nothing here.
TEST_F(Lists, RedefinitionReplacesAtItsEnd) {
  QV_CALL(glNewList)(5, GL_COMPILE);
  QV_CALL(glEnable)(GL_BLEND);
  DisplayListStream* const list = context().recordingList;
  QV_CALL(glNewList)(6, GL_COMPILE);
  EXPECT_EQ(context().recordingList, list);
  QV_CALL(glEndList)();
  EXPECT_EQ(QV_CALL(glIsList)(6), GL_FALSE);
  QV_CALL(glNewList)(5, GL_COMPILE);
  QV_CALL(glDisable)(GL_BLEND);
  NameTable& lists = context().shareGroup->table(ShareSlot::kLists);
  EXPECT_EQ(lists.findAs<CommandStream>(5), static_cast<CommandStream*>(list));
  QV_CALL(glEndList)();
  EXPECT_EQ(recording(5), Stream().add(kDisable, GL_BLEND).data);
}

// A list that is defined again has the room of its last recording from the beginning.
TEST_F(Lists, RedefinitionKeepsTheCapacity) {
  QV_CALL(glNewList)(5, GL_COMPILE);
  EXPECT_EQ(context().recordingList->capacity, 0u);
  for (int i = 0; i < 100; ++i) QV_CALL(glLoadIdentity)();
  EXPECT_EQ(context().recordingList->capacity, 512u);
  for (int i = 0; i < 100; ++i) QV_CALL(glLoadIdentity)();
  EXPECT_EQ(context().recordingList->capacity, 1024u);
  QV_CALL(glEndList)();
  QV_CALL(glNewList)(5, GL_COMPILE);
  const DisplayListStream* const list = context().recordingList;
  EXPECT_EQ(list->capacity, 1024u);
  EXPECT_EQ(list->remaining, 1024u);
  EXPECT_EQ(list->cursor, list->base);
  QV_CALL(glEnable)(GL_BLEND);
  QV_CALL(glEndList)();
  EXPECT_EQ(list->capacity, 1024u);
  EXPECT_EQ(recording(5), Stream().add(kEnable, GL_BLEND).data);
}

// A list is in use from glNewList on, and its recording outlives the deletion of the name: glEndList defines it.
TEST_F(Lists, RecordingOutlivesItsDeletion) {
  QV_CALL(glNewList)(5, GL_COMPILE);
  EXPECT_EQ(QV_CALL(glIsList)(5), GL_TRUE);
  QV_CALL(glEnable)(GL_BLEND);
  QV_CALL(glDeleteLists)(5, 1);
  EXPECT_EQ(QV_CALL(glIsList)(5), GL_FALSE);
  QV_CALL(glDisable)(GL_BLEND);
  QV_CALL(glEndList)();
  EXPECT_EQ(QV_CALL(glIsList)(5), GL_TRUE);
  EXPECT_EQ(recording(5), Stream().add(kEnable, GL_BLEND).add(kDisable, GL_BLEND).data);
}

// A context that joins a group while it records defines the list there.
TEST_F(Lists, RecordingMovesAlongIntoAnotherGroup) {
  GlContext other(4, 210, 1);
  QV_CALL(glNewList)(5, GL_COMPILE);
  joinGroup(&context(), &other);
  QV_CALL(glEnable)(GL_BLEND);
  QV_CALL(glEndList)();
  EXPECT_EQ(recording(5), Stream().add(kEnable, GL_BLEND).data);
  EXPECT_TRUE(other.shareGroup->table(ShareSlot::kLists).contains(5));
}

// A context that goes while it records takes its recording along.
TEST_F(Lists, RecordingGoesWithItsContext) {
  QV_CALL(glNewList)(5, GL_COMPILE);
  QV_CALL(glEnable)(GL_BLEND);
  EXPECT_NE(context().recordingList, nullptr);
}

// A range beyond all names is deleted at once, whatever its length; names wrap around behind the last one.
TEST_F(Lists, LongRangesAreDeletedAtOnce) {
  for (const GLuint name : {3u, 7u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
    QV_CALL(glNewList)(name, GL_COMPILE);
    QV_CALL(glEndList)();
  }
  QV_CALL(glDeleteLists)(4, INT32_MAX - 4);
  EXPECT_EQ(QV_CALL(glIsList)(3), GL_TRUE);
  EXPECT_EQ(QV_CALL(glIsList)(7), GL_FALSE);
  EXPECT_EQ(QV_CALL(glIsList)(0x7FFFFFFF), GL_TRUE);
  QV_CALL(glDeleteLists)(0x7FFFFFFF, 2);
  EXPECT_EQ(QV_CALL(glIsList)(0x80000000), GL_FALSE);
  QV_CALL(glNewList)(4, GL_COMPILE);
  QV_CALL(glEndList)();
  QV_CALL(glDeleteLists)(0xFFFFFFF0, 20);
  EXPECT_EQ(QV_CALL(glIsList)(0xFFFFFFFF), GL_FALSE);
  EXPECT_EQ(QV_CALL(glIsList)(3), GL_FALSE);
  EXPECT_EQ(QV_CALL(glIsList)(4), GL_TRUE);
}

// glCallList and glCallLists are recorded and sent, and need no glEnd.
TEST_F(Lists, CallsAreRecorded) {
  QV_CALL(glNewList)(5, GL_COMPILE);
  drop();
  QV_CALL(glCallList)(9);
  const GLushort names[3] = {1, 2, 3};
  QV_CALL(glCallLists)(3, GL_UNSIGNED_SHORT, names);
  std::vector<uint8_t> expected =
      words({8u << 12 | kCallList, 9, 22u << 12 | kCallLists, 3, GL_UNSIGNED_SHORT, 6, 0x00020001, 3});
  std::vector<uint8_t> bytes = pending();
  bytes[bytes.size() - 2] = bytes[bytes.size() - 1] = 0;
  EXPECT_EQ(bytes, expected);
  bytes = recording(5);
  bytes[bytes.size() - 2] = bytes[bytes.size() - 1] = 0;
  EXPECT_EQ(bytes, expected);
  QV_CALL(glEndList)();
}

// A command beyond the small form goes in large form, to the host and into a recording alike.
TEST_F(Lists, LargeFormIsRecorded) {
  const std::vector<uint8_t> names(0x100000, 3);
  QV_CALL(glNewList)(5, GL_COMPILE);
  drop();
  QV_CALL(glCallLists)(0x100000, GL_UNSIGNED_BYTE, names.data());
  std::vector<uint8_t> expected = words({kCallLists, 8 + 12 + 0x100000, 0x100000, GL_UNSIGNED_BYTE, 0x100000});
  expected += names;
  EXPECT_EQ(pending(), expected);
  EXPECT_EQ(recording(5), expected);
  QV_CALL(glEndList)();
  EXPECT_EQ(recording(5), expected);
}

// glNewList and glEndList inside glBegin are refused: no recording begins, and one that is under way goes on.
TEST_F(Lists, PrimitivesRefuseNewListAndEndList) {
  QV_CALL(glBegin)(GL_POINTS);
  QV_CALL(glNewList)(5, GL_COMPILE);
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(context().recordingList, nullptr);
  EXPECT_EQ(context().listMode, 0u);
  EXPECT_EQ(QV_CALL(glIsList)(5), GL_FALSE);
  takeError();
  QV_CALL(glEnd)();
  QV_CALL(glNewList)(6, GL_COMPILE_AND_EXECUTE);
  QV_CALL(glBegin)(GL_POINTS);
  const DisplayListStream* const list = context().recordingList;
  drop();
  QV_CALL(glNewList)(7, GL_COMPILE);
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  QV_CALL(glEndList)();
  EXPECT_EQ(takeError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(context().recordingList, list);
  EXPECT_EQ(context().listMode, static_cast<uint32_t>(GL_COMPILE_AND_EXECUTE));
  EXPECT_TRUE(pending().empty());
  QV_CALL(glEnd)();
  QV_CALL(glEndList)();
  EXPECT_EQ(context().recordingList, nullptr);
}

// The size of a list name by type: 2, 3 and 4 bytes where the type says so, else 1.
TEST_F(Lists, CallListsSizesItsNamesByType) {
  const uint8_t names[16] = {};
  const std::pair<GLenum, uint32_t> sizes[] = {{GL_BYTE, 1},    {GL_UNSIGNED_BYTE, 1}, {GL_SHORT, 2}, {GL_UNSIGNED_SHORT, 2},
                                               {GL_INT, 4},     {GL_UNSIGNED_INT, 4},  {GL_FLOAT, 4}, {GL_2_BYTES, 2},
                                               {GL_3_BYTES, 3}, {GL_4_BYTES, 4},       {0x9999, 1}};
  for (const auto& [type, size] : sizes) {
    QV_CALL(glCallLists)(4, type, names);
    const std::vector<uint8_t> bytes = pending();
    ASSERT_GE(bytes.size(), 16u);
    EXPECT_EQ(std::vector<uint8_t>(bytes.begin(), bytes.begin() + 16),
              words({(16 + 4 * size) << 12 | kCallLists, 4, type, 4 * size}));
    drop();
  }
}

// glDeleteLists goes to the host and frees the names; a negative range changes nothing in the guest.
TEST_F(Lists, DeletionFreesTheNames) {
  QV_CALL(glGenLists)(4);
  QV_CALL(glDeleteLists)(2, 2);
  expectStream(Stream().add(kDeleteLists, 2, 2));
  EXPECT_EQ(QV_CALL(glIsList)(1), GL_TRUE);
  EXPECT_EQ(QV_CALL(glIsList)(2), GL_FALSE);
  EXPECT_EQ(QV_CALL(glIsList)(3), GL_FALSE);
  EXPECT_EQ(QV_CALL(glIsList)(4), GL_TRUE);
  QV_CALL(glDeleteLists)(1, -1);
  EXPECT_EQ(QV_CALL(glIsList)(1), GL_TRUE);
}

// glListBase is kept in the shadow, outside GL_COMPILE.
TEST_F(Lists, ListBaseIsShadowedOutsideCompile) {
  QV_CALL(glListBase)(10);
  expectStream(Stream().add(kListBase, 10));
  EXPECT_EQ(context().list.current().listBase, 10u);
  QV_CALL(glNewList)(5, GL_COMPILE);
  QV_CALL(glListBase)(20);
  EXPECT_EQ(context().list.current().listBase, 10u);
  QV_CALL(glEndList)();
}

}  // namespace
}  // namespace qv::test
