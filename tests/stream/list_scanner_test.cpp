// The list scanner: what called lists do to the shadow, which of their commands are refused, and recordings that are damaged.
#include <algorithm>
#include <cstring>
#include <functional>
#include <set>

#include "driver/calls/lists.h"
#include "driver/objects/display_list_stream.h"
#include "driver/objects/share_group.h"
#include "driver/state/buffer_bindings.h"
#include "driver/state/shared_objects.h"
#include "tests/support/context_fixture.h"
#include "tests/support/opcodes.h"

namespace qv::test {
namespace {

constexpr uint32_t kInvalidOperation = GL_INVALID_OPERATION;

class ListScanner : public ContextTest {
 protected:
  ListScanner() { host.answerAll(std::vector<GLint>{32}); }

  // Puts a list into the table as if it had been recorded with these bytes.
  void define(GLuint name, const std::vector<uint8_t>& recording) {
    auto* const list = new DisplayListStream(name);
    if (!recording.empty()) {
      list->reserve(recording.size());
      std::memcpy(list->base, recording.data(), recording.size());
      list->cursor += recording.size();
      list->remaining -= recording.size();
    }
    context().shareGroup->table(ShareSlot::kLists).set(name, static_cast<CommandStream*>(list));
    context().shareGroup->listsChanged();
  }
  void define(GLuint name, const Stream& recording) { define(name, recording.data); }
  DisplayListStream* find(GLuint name) {
    return static_cast<DisplayListStream*>(context().shareGroup->table(ShareSlot::kLists).findAs<CommandStream>(name));
  }
  // Records what `make` calls, without carrying it out.
  template <typename Make>
  void record(GLuint name, Make&& make) {
    QV_CALL(glNewList)(name, GL_COMPILE);
    make();
    QV_CALL(glEndList)();
    drop();
  }
  void call(GLuint name) { QV_CALL(glCallList)(name); }
  double matrix(uint32_t element) { return context().modelview.current().m[element]; }
};

// A list of matrix calls is recorded without moving the shadow, and its call moves it; the host gets the call alone.
TEST_F(ListScanner, CallAppliesWhatWasRecorded) {
  QV_CALL(glNewList)(1, GL_COMPILE);
  QV_CALL(glMatrixMode)(GL_PROJECTION);
  QV_CALL(glLoadIdentity)();
  EXPECT_EQ(std::vector<uint8_t>(context().recordingList->base, context().recordingList->cursor),
            words({0x8125, GL_PROJECTION, 0x4122}));
  QV_CALL(glEndList)();
  EXPECT_EQ(context().transform.current().matrixMode, static_cast<uint32_t>(GL_MODELVIEW));
  drop();
  call(1);
  expectStream(words({0x8002, 1}));
  EXPECT_EQ(context().transform.current().matrixMode, static_cast<uint32_t>(GL_PROJECTION));
  EXPECT_EQ(context().lastOpcode, kCallList);
  EXPECT_EQ(context().listMode, 0u);
  EXPECT_EQ(context().listDepth, 0);
}

// A list that calls itself is applied 64 times.
TEST_F(ListScanner, SelfCallEndsAtSixtyFour) {
  record(1, [&] {
    QV_CALL(glTranslatef)(1, 0, 0);
    call(1);
  });
  call(1);
  EXPECT_EQ(matrix(3), 64.0);
  EXPECT_EQ(context().listDepth, 0);
  EXPECT_EQ(context().listMode, 0u);
  call(1);
  EXPECT_EQ(matrix(3), 128.0);
}

// Under GL_COMPILE_AND_EXECUTE a called list leaves the shadow as it is; the recording gets the call.
TEST_F(ListScanner, CompileAndExecuteAppliesNothing) {
  record(1, [&] { QV_CALL(glEnable)(GL_LIGHTING); });
  QV_CALL(glNewList)(2, GL_COMPILE_AND_EXECUTE);
  call(1);
  EXPECT_EQ(context().lighting.current().lightingEnabled, 0);
  EXPECT_EQ(context().listMode, static_cast<uint32_t>(GL_COMPILE_AND_EXECUTE));
  QV_CALL(glEndList)();
  EXPECT_EQ(std::vector<uint8_t>(find(2)->base, find(2)->cursor), words({0x8002, 1}));
  call(2);
  EXPECT_EQ(context().lighting.current().lightingEnabled, 1);
}

// While a list is only compiled a call is recorded and does nothing.
TEST_F(ListScanner, CompiledCallAppliesNothing) {
  record(1, [&] { QV_CALL(glEnable)(GL_LIGHTING); });
  record(2, [&] { call(1); });
  EXPECT_EQ(context().lighting.current().lightingEnabled, 0);
}

// The list base counts for glCallList too.
TEST_F(ListScanner, ListBaseIsAddedToBothCalls) {
  record(1, [&] { QV_CALL(glEnable)(GL_BLEND); });
  record(11, [&] { QV_CALL(glEnable)(GL_LIGHTING); });
  record(12, [&] { QV_CALL(glEnable)(GL_FOG); });
  QV_CALL(glListBase)(10);
  call(1);
  EXPECT_EQ(context().lighting.current().lightingEnabled, 1);
  EXPECT_EQ(context().colorBuffer.current().blendEnabled, 0);
  const GLubyte name = 2;
  QV_CALL(glCallLists)(1, GL_UNSIGNED_BYTE, &name);
  EXPECT_EQ(context().fog.current().enabled, 1);
}

// The names of glCallLists by type, in the order of the calls: a list of each name writes its number into the shadow. The names
// of 2, 3 and 4 bytes overlap, and an unknown type names nothing.
TEST_F(ListScanner, NamesFollowTheirType) {
  struct Case {
    GLenum type;
    std::vector<uint8_t> bytes;
    GLsizei n;
    std::vector<uint32_t> names;
  };
  const Case cases[] = {
      {GL_BYTE, {5, 0xFF}, 2, {5, ~0u}},
      {GL_UNSIGNED_BYTE, {5, 0xFF}, 2, {5, 255}},
      {GL_SHORT, {5, 1, 0xFE, 0xFF}, 2, {261, ~1u}},
      {GL_UNSIGNED_SHORT, {5, 1, 0xFE, 0xFF}, 2, {261, 65534}},
      {GL_INT, {1, 0, 0, 0, 0xFD, 0xFF, 0xFF, 0xFF}, 2, {1, ~2u}},
      {GL_UNSIGNED_INT, {1, 0, 0, 0, 0xFD, 0xFF, 0xFF, 0xFF}, 2, {1, ~2u}},
      {GL_FLOAT, floats({2.9f, -1.5f, 4294967301.0f, 8589934592.0f}), 4, {2, ~0u, 0, 0}},
      {GL_2_BYTES, {1, 2, 3, 0}, 2, {258, 515}},
      {GL_3_BYTES, {1, 2, 3, 4, 0, 0}, 2, {66051, 131844}},
      {GL_4_BYTES, {1, 2, 3, 4, 5, 0, 0, 0}, 2, {0x01020304, 0x02030405}},
      {0x9999, {1, 2}, 2, {}},
  };
  for (const uint32_t base : {0u, 10u}) {
    QV_CALL(glListBase)(base);
    for (const Case& each : cases) {
      for (const bool nested : {false, true}) {
        SCOPED_TRACE(testing::Message() << std::hex << each.type << " base " << base << " nested " << nested);
        context().shareGroup->table(ShareSlot::kLists).clear();
        // Each list multiplies the matrix, so that number and order of the calls show.
        double expected = 0;
        for (const uint32_t name : each.names) {
          const double step = name % 97 + 1;
          if (name + base != 0) define(name + base, Stream().add(kScaled, 2.0, 1.0, 1.0).add(kTranslated, step / 2, 0.0, 0.0));
        }
        double scale = 1;
        for (const uint32_t name : each.names) {
          if (name + base == 0) continue;
          scale *= 2;
          expected += scale * ((name % 97 + 1) / 2.0);
        }
        std::vector<uint8_t> odd(1 + each.bytes.size());  // names need not be aligned
        std::copy(each.bytes.begin(), each.bytes.end(), odd.begin() + 1);
        constexpr GLuint kOuter = 77777;
        if (nested) record(kOuter, [&] { QV_CALL(glCallLists)(each.n, each.type, odd.data() + 1); });
        QV_CALL(glLoadIdentity)();
        if (nested) {
          call(kOuter - base);
        } else {
          QV_CALL(glCallLists)(each.n, each.type, odd.data() + 1);
        }
        EXPECT_EQ(matrix(3), expected);
      }
    }
  }
}

// The names of two bytes travel as the program gave them, and the guest follows the lists that it takes them for.
TEST_F(ListScanner, TwoByteNamesTravelAsGiven) {
  define(258, Stream().add(kEnable, GL_FOG));
  define(515, Stream().add(kEnable, GL_BLEND));
  const uint8_t names[] = {1, 2, 3, 0};
  QV_CALL(glCallLists)(2, GL_2_BYTES, names);
  expectStream(words({0x14003, 2, GL_2_BYTES, 4, 0x00030201}));
  EXPECT_EQ(context().lastOpcode, kCallLists);
  EXPECT_EQ(context().fog.current().enabled, 1);
  EXPECT_EQ(context().colorBuffer.current().blendEnabled, 1);
}

// A negative number of names is none.
TEST_F(ListScanner, NegativeCountCallsNothing) {
  record(1, [&] { QV_CALL(glEnable)(GL_LIGHTING); });
  const GLubyte name = 1;
  QV_CALL(glCallLists)(-1, GL_UNSIGNED_BYTE, &name);
  QV_CALL(glCallLists)(0, GL_UNSIGNED_BYTE, &name);
  EXPECT_EQ(context().lighting.current().lightingEnabled, 0);
}

// Names that are too many for a command are not read, when they are called nor when a list that calls them is.
TEST_F(ListScanner, TooManyNamesAreNotRead) {
  const GLint name = 1;
  QV_CALL(glCallLists)(0x40000000, GL_INT, &name);
  record(1, [&] { QV_CALL(glCallLists)(0x40000000, GL_INT, &name); });
  call(1);
  EXPECT_EQ(takeError(), 0u);
}

// A list may leave a primitive open: the next state call is refused and vertices go as plain commands, until glEnd.
TEST_F(ListScanner, ListMayOpenAPrimitive) {
  record(1, [&] { QV_CALL(glBegin)(GL_TRIANGLES); });
  call(1);
  EXPECT_EQ(context().insideBegin, 1);
  EXPECT_EQ(context().beginPrimitive, static_cast<uint32_t>(GL_TRIANGLES));
  EXPECT_EQ(context().runOpen, 0);
  drop();
  QV_CALL(glEnable)(GL_BLEND);
  EXPECT_EQ(takeError(), kInvalidOperation);
  EXPECT_TRUE(pending().empty());
  QV_CALL(glVertex3f)(1, 2, 3);
  QV_CALL(glEnd)();
  expectStream(Stream().add(kVertex3f, 1.0f, 2.0f, 3.0f).add(kEnd));
  EXPECT_EQ(context().insideBegin, 0);
}

// A list may close the primitive that is open; the run is broken off, since the host must not end it.
TEST_F(ListScanner, ListMayCloseAPrimitive) {
  record(1, [&] { QV_CALL(glEnd)(); });
  QV_CALL(glBegin)(GL_POINTS);
  call(1);
  EXPECT_EQ(context().insideBegin, 0);
  EXPECT_EQ(context().beginPrimitive, 0u);
  expectStream(words({0x7D7, 12, 0, 0x8002, 1}));
  QV_CALL(glEnable)(GL_BLEND);
  EXPECT_EQ(takeError(), 0u);
}

// Begin inside a primitive and end outside of one are refused, with their own opcode.
TEST_F(ListScanner, PrimitivesAreChecked) {
  define(1, Stream().add(kBegin, GL_LINES));
  define(2, Stream().add(kEnd));
  call(2);
  EXPECT_EQ(takeError(), kInvalidOperation);
  EXPECT_EQ(context().lastOpcode, kEnd);
  call(1);
  EXPECT_EQ(takeError(), 0u);
  define(3, Stream().add(kBegin, GL_POINTS));
  call(3);
  EXPECT_EQ(takeError(), kInvalidOperation);
  EXPECT_EQ(context().lastOpcode, kBegin);
  EXPECT_EQ(context().beginPrimitive, static_cast<uint32_t>(GL_LINES));
  call(2);
  EXPECT_EQ(takeError(), 0u);
  EXPECT_EQ(context().insideBegin, 0);
}

// A refused command of a called list: the stream has the broken run and the call, the error is that of the vector form.
TEST_F(ListScanner, RefusedCommandNamesItsOpcode) {
  record(1, [&] { QV_CALL(glRasterPos2f)(1, 2); });
  QV_CALL(glBegin)(4);
  call(1);
  expectStream(words({0x7D7, 12, 0x04000000, 0x8002, 1}));
  EXPECT_EQ(takeError(), kInvalidOperation);
  EXPECT_EQ(context().lastOpcode, kRasterPos2fv);
}

// A refused command of a called list leaves the shadow as it is, and the error says what every error of the driver says.
TEST_F(ListScanner, RefusedCommandsDoNotAct) {
  record(1, [&] {
    const float f[16] = {2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2};
    QV_CALL(glListBase)(3);
    QV_CALL(glBegin)(GL_LINES);
    QV_CALL(glCullFace)(GL_FRONT);
    QV_CALL(glFrontFace)(GL_CW);
    QV_CALL(glShadeModel)(GL_FLAT);
    QV_CALL(glDrawBuffer)(GL_FRONT);
    QV_CALL(glClearDepth)(0.25);
    QV_CALL(glDepthMask)(GL_FALSE);
    QV_CALL(glEnable)(GL_FOG);
    QV_CALL(glDisable)(GL_MULTISAMPLE);
    QV_CALL(glPushAttrib)(GL_FOG_BIT);
    QV_CALL(glDepthFunc)(GL_NEVER);
    QV_CALL(glDepthRange)(0.5, 0.75);
    QV_CALL(glFrustum)(-1, 2, -3, 4, 5, 6);
    QV_CALL(glLoadMatrixf)(f);
    QV_CALL(glMultMatrixf)(f);
    QV_CALL(glOrtho)(-1, 2, -3, 4, -5, 6);
    QV_CALL(glRotatef)(30, 1, 2, 3);
    QV_CALL(glScalef)(2, 2, 2);
    QV_CALL(glTranslatef)(2, 2, 2);
    QV_CALL(glPushMatrix)();
    QV_CALL(glMatrixMode)(GL_PROJECTION);
    QV_CALL(glViewport)(1, 2, 3, 4);
  });
  GlContext& c = context();
  QV_CALL(glEnable)(GL_DEBUG_OUTPUT);
  QV_CALL(glBegin)(GL_POINTS);
  call(1);
  EXPECT_EQ(takeError(), kInvalidOperation);
  char text[64] = {};
  EXPECT_EQ(QV_CALL(glGetDebugMessageLog)(1, sizeof text, nullptr, nullptr, nullptr, nullptr, nullptr, text), 1u);
  EXPECT_STREQ(text, "GL_INVALID_OPERATION in Orbeck todo");
  EXPECT_EQ(c.beginPrimitive, static_cast<uint32_t>(GL_POINTS));
  EXPECT_EQ(c.list.current().listBase, 0u);
  EXPECT_EQ(c.polygon.current().cullMode, static_cast<uint32_t>(GL_BACK));
  EXPECT_EQ(c.polygon.current().frontFace, static_cast<uint32_t>(GL_CCW));
  EXPECT_EQ(c.lighting.current().shadeModel, static_cast<uint32_t>(GL_SMOOTH));
  EXPECT_NE(c.drawBufferMode, static_cast<uint32_t>(GL_FRONT));
  EXPECT_EQ(c.frontDirty, 0);
  EXPECT_EQ(c.depth.current().clearValue, 1.0);
  EXPECT_EQ(c.depth.current().writeMask, 1);
  EXPECT_EQ(c.fog.current().enabled, 0);
  EXPECT_EQ(c.multisample.current().enabled, 1);
  EXPECT_EQ(c.attribMasks.top, 0u);
  EXPECT_EQ(c.depth.current().func, static_cast<uint32_t>(GL_LESS));
  EXPECT_EQ(c.viewport.current().nearValue, 0.0);
  EXPECT_LT(c.viewport.current().width, 0);
  EXPECT_EQ(c.modelview.top, 0u);
  EXPECT_EQ(c.currentMatrixStack, &c.modelview);
  const Matrix identity;
  EXPECT_EQ(std::memcmp(&c.modelview.current(), &identity, sizeof identity), 0);
  QV_CALL(glEnd)();
  EXPECT_EQ(takeError(), 0u);
}

// Commands that are only checked, with their least payloads as the contract has them: opcode, bytes, opcode of the error, and
// words that the payload begins with.
struct Checked {
  uint32_t opcode, least;
  uint32_t error = 0;  // 0: the opcode itself
  std::vector<uint32_t> head = {};
};
std::vector<Checked> checkedCommands() {
  std::vector<Checked> out = {{8, 32},   {150, 36}, {151, 8},  {158, 8},  {159, 12}, {161, 12}, {163, 8},       {165, 8},
                              {167, 8},  {168, 4},  {173, 4},  {175, 8},  {176, 16}, {178, 12}, {180, 12},      {182, 36},
                              {183, 40}, {184, 12}, {186, 12}, {188, 16}, {190, 12}, {192, 12}, {203, 4},       {204, 16},
                              {205, 4},  {206, 16}, {207, 4},  {209, 4},  {210, 4},  {212, 4},  {213, 8},       {240, 8},
                              {241, 8},  {242, 4},  {243, 12}, {244, 12}, {246, 8},  {247, 8},  {248, 8},       {251, 16},
                              {252, 16}, {253, 16}, {254, 4},  {255, 20}, {257, 24}, {309, 16}, {853, 16, 309}, {310, 36}};
  const uint32_t pairs[][2] = {{62, 16}, {64, 8},  {66, 8},  {68, 4}, {70, 24}, {72, 12}, {74, 12}, {76, 6},
                               {78, 32}, {80, 16}, {82, 16}, {84, 8}, {86, 32}, {88, 16}, {90, 16}, {92, 8}};
  for (const auto& [opcode, least] : pairs) {
    out.push_back({opcode, least, opcode + 1});
    out.push_back({opcode + 1, least});
  }
  for (const uint32_t opcode : {160u, 162u, 185u, 187u}) {  // light or target, pname, count, values
    out.push_back({opcode, 12, 0, {1, 2, 0}});
    out.push_back({opcode, 24, 0, {1, 2, 3}});
  }
  for (const uint32_t opcode : {164u, 166u}) {
    out.push_back({opcode, 20, 0, {GL_LIGHT_MODEL_AMBIENT}});
    out.push_back({opcode, 8, 0, {GL_LIGHT_MODEL_TWO_SIDE}});
  }
  for (const uint32_t opcode : {179u, 181u}) {
    out.push_back({opcode, 24, 0, {GL_TEXTURE_2D, GL_TEXTURE_BORDER_COLOR}});
    out.push_back({opcode, 24, 0, {GL_TEXTURE_2D, GL_TEXTURE_SWIZZLE_RGBA}});
    out.push_back({opcode, 12, 0, {GL_TEXTURE_2D, GL_TEXTURE_WRAP_S}});
  }
  out.push_back({189, 16, 0, {GL_S, GL_TEXTURE_GEN_MODE}});
  out.push_back({189, 40, 0, {GL_S, GL_OBJECT_PLANE}});
  for (const uint32_t opcode : {191u, 193u}) {
    out.push_back({opcode, 12, 0, {GL_S, GL_TEXTURE_GEN_MODE}});
    out.push_back({opcode, 24, 0, {GL_S, GL_OBJECT_PLANE}});
  }
  // With an action; those without a check are not here.
  const uint32_t actions[][2] = {{6, 4},     {152, 4},  {157, 4},  {177, 4},   {202, 4},  {208, 8},  {211, 1}, {214, 4},
                                 {215, 4},   {218, 0},  {219, 4},  {245, 4},   {288, 16}, {289, 48}, {290, 0}, {291, 64},
                                 {292, 128}, {293, 4},  {294, 64}, {295, 128}, {296, 48}, {297, 0},  {298, 0}, {299, 32},
                                 {300, 16},  {301, 24}, {302, 12}, {303, 24},  {304, 12}, {305, 16}};
  for (const auto& [opcode, least] : actions) out.push_back({opcode, least});
  return out;
}

std::vector<uint8_t> payloadOf(const std::vector<uint32_t>& head, size_t bytes) {
  std::vector<uint8_t> payload(std::max<size_t>(bytes, 4 * head.size()));
  if (!head.empty()) std::memcpy(payload.data(), head.data(), 4 * head.size());
  payload.resize(bytes);
  return payload;
}

// Every checked command inside a primitive is the error with its opcode when its payload is long enough, in either form of
// header, and nothing when a byte is missing.
TEST_F(ListScanner, EveryCheckedCommandHasItsLeastPayload) {
  const std::vector<Checked> rows = checkedCommands();
  std::set<uint32_t> opcodes;
  for (const Checked& row : rows) {
    opcodes.insert(row.opcode);
    const std::vector<uint8_t> payload = payloadOf(row.head, row.least);
    define(1, Stream().bytes(row.opcode, payload));
    define(2, Stream().large(row.opcode, payload));
    for (const GLuint list : {1u, 2u}) {
      SCOPED_TRACE(testing::Message() << row.opcode << " with " << row.least << " bytes, list " << list);
      context().insideBegin = 1;
      call(list);
      EXPECT_EQ(takeError(), kInvalidOperation);
      EXPECT_EQ(context().lastOpcode, static_cast<int32_t>(row.error == 0 ? row.opcode : row.error));
      context().insideBegin = 0;
    }
    if (row.least == 0) continue;
    define(3, Stream().bytes(row.opcode, payloadOf(row.head, row.least - 1)));
    context().insideBegin = 1;
    call(3);
    EXPECT_EQ(takeError(), 0u) << row.opcode;
    EXPECT_EQ(context().lastOpcode, kCallList);
    context().insideBegin = 0;
  }
  // The 131 recorded routines and opcode 853, without the ten that have no check or another one: 2, 3, 7, 43, 374, 408 to 411,
  // 1557 and 2055.
  EXPECT_EQ(opcodes.size(), 121u);
}

// A command without the usual check acts when its payload is long enough and is passed over when a byte is missing.
TEST_F(ListScanner, UncheckedCommandsHaveTheirLeastPayload) {
  define(9, Stream().add(kEnable, GL_FOG));
  struct Case {
    uint32_t opcode;
    std::vector<uint8_t> payload;
  };
  std::vector<uint8_t> floatsOf, doublesOf;
  for (int i = 0; i < 16; ++i) {
    Stream::append(floatsOf, i % 5 == 0 ? 3.0f : 0.0f);
    Stream::append(doublesOf, i % 5 == 0 ? 3.0 : 0.0);
  }
  std::vector<uint8_t> lists = words({1, GL_UNSIGNED_BYTE, 1});
  lists.push_back(9);
  const Case cases[] = {{kCallList, words({9})},     {kCallLists, lists}, {kBegin, words({GL_LINES})},
                        {374, words({GL_TEXTURE4})}, {408, floatsOf},     {409, doublesOf},
                        {410, floatsOf},             {411, doublesOf},    {583, words({GL_TEXTURE4})},
                        {617, floatsOf},             {618, doublesOf},    {619, floatsOf},
                        {620, doublesOf}};
  const auto acted = [&](const std::vector<uint8_t>& list) {
    GlContext& c = context();
    c.insideBegin = 0;
    c.beginPrimitive = 0;
    QV_CALL(glDisable)(GL_FOG);
    QV_CALL(glLoadIdentity)();
    QV_CALL(glActiveTexture)(GL_TEXTURE0);
    define(1, list);
    call(1);
    EXPECT_EQ(takeError(), 0u);
    return c.fog.current().enabled != 0 || c.insideBegin != 0 || c.activeTextureUnit == 4 || matrix(0) == 3.0;
  };
  for (const auto& [opcode, payload] : cases) {
    EXPECT_TRUE(acted(Stream().bytes(opcode, payload).data)) << opcode;
    EXPECT_TRUE(acted(Stream().large(opcode, payload).data)) << opcode;
    const std::vector<uint8_t> cut(payload.begin(), payload.end() - 1);
    EXPECT_FALSE(acted(Stream().bytes(opcode, cut).data)) << opcode;
  }
  context().insideBegin = 0;
}

// Images and draws are recorded without their data: what their words tell of data does not count.
TEST_F(ListScanner, ImagesAndDrawsHaveNoData) {
  for (const auto& [opcode, least] : std::initializer_list<std::pair<uint32_t, size_t>>{
           {8, 32}, {175, 8}, {182, 36}, {183, 40}, {251, 16}, {252, 16}, {253, 16}, {257, 24}, {309, 16}, {310, 36}}) {
    define(1, Stream().bytes(opcode, std::vector<uint8_t>(least, 1)));
    context().insideBegin = 1;
    call(1);
    EXPECT_EQ(takeError(), kInvalidOperation) << opcode;
    context().insideBegin = 0;
  }
}

// A count of values is reckoned in 64 bits: one whose bytes wrap around is not there.
TEST_F(ListScanner, CountsDoNotWrap) {
  for (const uint32_t opcode : {160u, 162u, 185u, 187u}) {
    define(1, Stream().add(opcode, 1, 2, 0x40000000));
    context().insideBegin = 1;
    call(1);
    EXPECT_EQ(takeError(), 0u) << opcode;
    context().insideBegin = 0;
  }
}

// No command without a check raises an error inside a primitive, and each of them acts there.
TEST_F(ListScanner, UncheckedCommandsActInsidePrimitives) {
  for (const uint32_t opcode : {374u, 583u}) {
    context().activeTextureUnit = 0;
    define(1, Stream().add(opcode, GL_TEXTURE4));
    context().insideBegin = 1;
    call(1);
    EXPECT_EQ(context().activeTextureUnit, 4u) << opcode;
    EXPECT_EQ(context().texture.current().activeUnit, 4u);
    define(1, Stream().add(opcode, GL_TEXTURE0 + 16));
    call(1);
    EXPECT_EQ(context().activeTextureUnit, 4u);
    EXPECT_EQ(takeError(), 0u);
  }
  std::vector<uint8_t> floatsOf, doublesOf;
  for (int i = 0; i < 16; ++i) {
    Stream::append(floatsOf, i == 0 ? 2.0f : 1.0f * static_cast<float>(i));
    Stream::append(doublesOf, i == 0 ? 2.0 : 1.0 * i);
  }
  const std::pair<uint32_t, bool> transposes[] = {{408, false}, {409, true}, {410, false}, {411, true},
                                                  {617, false}, {618, true}, {619, false}, {620, true}};
  for (const auto& [opcode, doubles] : transposes) {
    QV_CALL(glLoadIdentity)();
    context().modelview.current() = Matrix{};
    define(1, Stream().bytes(opcode, doubles ? doublesOf : floatsOf));
    call(1);
    EXPECT_EQ(matrix(0), 2.0) << opcode;
    EXPECT_EQ(matrix(1), 1.0) << opcode;
    EXPECT_EQ(matrix(4), 4.0) << opcode;
    EXPECT_EQ(takeError(), kInvalidOperation);  // of glLoadIdentity
  }
  context().insideBegin = 0;
}

// Every action but those of matrices, told by what it leaves in the shadow.
TEST_F(ListScanner, ActionsStoreTheirValues) {
  record(1, [&] {
    QV_CALL(glListBase)(3);
    QV_CALL(glCullFace)(GL_FRONT);
    QV_CALL(glFrontFace)(GL_CW);
    QV_CALL(glShadeModel)(GL_FLAT);
    QV_CALL(glDrawBuffer)(GL_FRONT);
    QV_CALL(glClearDepth)(0.25);
    QV_CALL(glDepthMask)(GL_FALSE);
    QV_CALL(glEnable)(GL_FOG);
    QV_CALL(glDisable)(GL_MULTISAMPLE);
    QV_CALL(glDepthFunc)(GL_NEVER);
    QV_CALL(glDepthRange)(0.5, 0.75);
    QV_CALL(glViewport)(1, 2, 3, 4);
    QV_CALL(glPushAttrib)(GL_FOG_BIT);
  });
  GlContext& c = context();
  call(1);
  EXPECT_EQ(c.list.current().listBase, 3u);
  EXPECT_EQ(c.polygon.current().cullMode, static_cast<uint32_t>(GL_FRONT));
  EXPECT_EQ(c.polygon.current().frontFace, static_cast<uint32_t>(GL_CW));
  EXPECT_EQ(c.lighting.current().shadeModel, static_cast<uint32_t>(GL_FLAT));
  EXPECT_EQ(c.drawBufferMode, static_cast<uint32_t>(GL_FRONT));
  EXPECT_EQ(c.frontDirty, 1);
  EXPECT_EQ(c.depth.current().clearValue, 0.25);
  EXPECT_EQ(c.depth.current().writeMask, 0);
  EXPECT_EQ(c.fog.current().enabled, 1);
  EXPECT_EQ(c.multisample.current().enabled, 0);
  EXPECT_EQ(c.depth.current().func, static_cast<uint32_t>(GL_NEVER));
  EXPECT_EQ(c.viewport.current().nearValue, 0.5);
  EXPECT_EQ(c.viewport.current().farValue, 0.75);
  EXPECT_EQ(c.viewport.current().width, 3);
  EXPECT_EQ(c.fog.top, 1u);
  record(5, [&] { QV_CALL(glPopAttrib)(); });
  call(2);  // the list base counts
  EXPECT_EQ(c.fog.top, 0u);
  EXPECT_EQ(takeError(), 0u);
}

// Each matrix call leaves the same matrices and depths from a list as from the program.
TEST_F(ListScanner, MatrixCallsActAlike) {
  const float f[16] = {2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31, 37, 41, 43, 47, 53};
  double d[16];
  for (int i = 0; i < 16; ++i) d[i] = 1.0 / static_cast<double>(f[i]);
  const std::function<void()> calls[] = {
      [&] { QV_CALL(glLoadIdentity)
            (); },
      [&] { QV_CALL(glLoadMatrixf)
            (f); },
      [&] { QV_CALL(glLoadMatrixd)
            (d); },
      [&] { QV_CALL(glMultMatrixf)
            (f); },
      [&] { QV_CALL(glMultMatrixd)
            (d); },
      [&] { QV_CALL(glLoadTransposeMatrixf)
            (f); },
      [&] { QV_CALL(glLoadTransposeMatrixd)
            (d); },
      [&] { QV_CALL(glMultTransposeMatrixf)
            (f); },
      [&] { QV_CALL(glMultTransposeMatrixd)
            (d); },
      [&] { QV_CALL(glFrustum)
            (-1, 2, -3, 4, 5, 6); },
      [&] { QV_CALL(glOrtho)
            (-1, 2, -3, 4, -5, 6); },
      [&] { QV_CALL(glRotated)
            (30, 1, 2, 3); },
      [&] { QV_CALL(glRotatef)
            (30, 1, 2, 3); },
      [&] { QV_CALL(glScaled)
            (1.5, 2.5, 3.5); },
      [&] { QV_CALL(glScalef)
            (1.5f, 2.5f, 3.5f); },
      [&] { QV_CALL(glTranslated)
            (1.5, 2.5, 3.5); },
      [&] { QV_CALL(glTranslatef)
            (1.5f, 2.5f, 3.5f); },
      [&] { QV_CALL(glPushMatrix)
            (); },
      [&] { QV_CALL(glPopMatrix)
            (); },
  };
  double start[16];
  for (int i = 0; i < 16; ++i) start[i] = i + 1;
  size_t number = 0;
  for (const auto& each : calls) {
    SCOPED_TRACE(number++);
    for (GlContext* c = &context(); c->modelview.top > 1;) c->modelview.pop();
    QV_CALL(glLoadMatrixd)(start);
    QV_CALL(glPushMatrix)();
    QV_CALL(glLoadMatrixd)(start);
    each();
    const uint32_t depth = context().modelview.top;
    const Matrix expected = context().modelview.current();
    while (context().modelview.top > 0) context().modelview.pop();
    record(1, each);
    QV_CALL(glLoadMatrixd)(start);
    QV_CALL(glPushMatrix)();
    QV_CALL(glLoadMatrixd)(start);
    call(1);
    EXPECT_EQ(context().modelview.top, depth);
    EXPECT_EQ(std::memcmp(&context().modelview.current(), &expected, sizeof expected), 0);
    while (context().modelview.top > 0) context().modelview.pop();
    // Without a matrix stack nothing happens.
    QV_CALL(glMatrixMode)(0);
    call(1);
    EXPECT_EQ(takeError(), 0u);
    QV_CALL(glMatrixMode)(GL_MODELVIEW);
  }
}

// What acted when it was compiled does not act again when the list is called.
TEST_F(ListScanner, BlendFuncIsNotRepeated) {
  record(1, [&] { QV_CALL(glBlendFunc)(GL_ZERO, GL_ONE); });
  QV_CALL(glBlendFunc)(GL_ONE, GL_ZERO);
  call(1);
  EXPECT_EQ(context().colorBuffer.current().blendSrc, static_cast<uint32_t>(GL_ONE));
}

// The EXT name of glEndTransformFeedback marks the captured buffers as written by the host; the other one, whose number reads as
// that of a glBegin without its mode, is passed over.
TEST_F(ListScanner, OnlyTheExtNameMarksBuffers) {
  context().limits.maxTransformFeedbackSeparateAttribs = 4;
  QV_CALL(glBindBufferBase)(GL_TRANSFORM_FEEDBACK_BUFFER, 1, 7);
  BufferObject* const buffer = findBuffer(&context(), 7);
  ASSERT_NE(buffer, nullptr);
  buffer->hostContentsNewer = 0;
  define(1, words({0x4807}));
  call(1);
  EXPECT_EQ(buffer->hostContentsNewer, 0);
  EXPECT_EQ(context().insideBegin, 0);
  define(2, words({4u << 12 | 1557}));
  call(2);
  EXPECT_EQ(buffer->hostContentsNewer, 1);
  EXPECT_EQ(takeError(), 0u);
}

// Unknown commands are passed over, damaged ones end the walk without a word; what stands before them has been applied.
TEST_F(ListScanner, DamagedRecordingsEndQuietly) {
  const Stream fog = Stream().add(kEnable, GL_FOG), blend = Stream().add(kEnable, GL_BLEND);
  const auto applied = [&](std::vector<uint8_t> middle) {
    QV_CALL(glDisable)(GL_FOG);
    QV_CALL(glDisable)(GL_BLEND);
    std::vector<uint8_t> all = fog.data;
    all += middle;
    all += blend.data;
    define(1, all);
    call(1);
    EXPECT_EQ(context().fog.current().enabled, 1);
    EXPECT_EQ(takeError(), 0u);
    return context().colorBuffer.current().blendEnabled;
  };
  EXPECT_EQ(applied({}), 1);
  EXPECT_EQ(applied(Stream().add(2000, 1u, 2u).data), 1);
  EXPECT_EQ(applied(Stream().add(kVertex3f, 1.0f, 1.0f, 1.0f).data), 1);
  EXPECT_EQ(applied(Stream().large(2000, {1, 2, 3}).data), 1);
  for (const uint32_t total : {0u, 7u, 0x7FFFFFFFu, ~0u}) EXPECT_EQ(applied(words({2000, total})), 0) << total;
  EXPECT_EQ(applied(words({17u << 12 | 2000})), 0);  // 12 bytes are left behind it
  EXPECT_EQ(applied(words({12u << 12 | 2000})), 0);  // swallows the last command whole
}

// A recording that ends within a header ends the walk.
TEST_F(ListScanner, CutHeadersEndTheWalk) {
  std::vector<uint8_t> bytes = Stream().add(kEnable, GL_FOG).data;
  for (const std::vector<uint8_t>& rest : {std::vector<uint8_t>{1}, {1, 2, 3}, words({3}), words({2u << 12 | 3})}) {
    QV_CALL(glDisable)(GL_FOG);
    std::vector<uint8_t> all = bytes;
    all += rest;
    define(1, all);
    call(1);
    EXPECT_EQ(context().fog.current().enabled, 1);
    EXPECT_EQ(takeError(), 0u);
  }
}

// glCallLists with fewer bytes of names than its count demands is passed over.
TEST_F(ListScanner, NamesMustBeThere) {
  record(1, [&] { QV_CALL(glEnable)(GL_LIGHTING); });
  define(2, Stream().add(kCallLists, 2, GL_UNSIGNED_SHORT, 4u, uint16_t{1}));
  call(2);
  EXPECT_EQ(context().lighting.current().lightingEnabled, 0);
  define(2, Stream().add(kCallLists, 0x40000000, GL_INT, 0u));
  call(2);
  define(2, Stream().add(kCallLists, 2, GL_UNSIGNED_SHORT, 4u, uint16_t{1}, uint16_t{1}));
  call(2);
  EXPECT_EQ(context().lighting.current().lightingEnabled, 1);
}

// A name without a list, generated or not, does nothing.
TEST_F(ListScanner, AbsentListsDoNothing) {
  QV_CALL(glGenLists)(2);
  call(1);
  call(99);
  EXPECT_EQ(context().listDepth, 0);
  EXPECT_EQ(context().listMode, 0u);
  EXPECT_EQ(takeError(), 0u);
}

// A list that changes nothing is walked once. It is walked inside a primitive all the same, and defining it anew counts.
TEST_F(ListScanner, InertListsAreWalkedOnce) {
  record(1, [&] {
    QV_CALL(glBegin)(GL_POINTS);
    QV_CALL(glEnd)();
    QV_CALL(glRasterPos2f)(0, 0);
  });
  EXPECT_FALSE(find(1)->inert);
  call(1);
  EXPECT_TRUE(find(1)->inert);
  call(1);
  EXPECT_EQ(takeError(), 0u);
  context().insideBegin = 1;
  call(1);
  EXPECT_EQ(takeError(), kInvalidOperation);
  context().insideBegin = 0;
  record(1, [&] { QV_CALL(glEnable)(GL_FOG); });
  call(1);
  EXPECT_EQ(context().fog.current().enabled, 1);
}

// Inert lists and names without a list are looked up once, until a list of the group changes.
TEST_F(ListScanner, InertListsAreLookedUpOnce) {
  const auto known = [&](GLuint name) {
    return context().inertLists.contain(name, context().shareGroup->listsGeneration.load());
  };
  record(1, [&] { QV_CALL(glColor3f)(1, 0, 0); });
  record(2, [&] { QV_CALL(glEnable)(GL_FOG); });
  for (const GLuint name : {1u, 2u, 3u}) {
    EXPECT_FALSE(known(name)) << name;
    call(name);
  }
  EXPECT_TRUE(known(1));
  EXPECT_FALSE(known(2));
  EXPECT_TRUE(known(3));
  // One that takes the other's place.
  call(3 + InertLists::kPlaces);
  EXPECT_TRUE(known(3 + InertLists::kPlaces));
  EXPECT_FALSE(known(3));
  EXPECT_TRUE(known(1));
}

// A list that is defined, defined anew or deleted by a context of the group counts at the next call in every context of it.
TEST_F(ListScanner, InertListsAreForgottenWhenAListChanges) {
  GlContext other(4, 210, 1);
  joinGroup(&context(), &other);
  const auto enabled = [&] { return context().fog.current().enabled; };
  const auto define = [&](GLuint name, GLenum capability) {
    beginRecording(&other, name, GL_COMPILE);
    other.recordingList->reserve(8);
    const uint32_t command[] = {smallHeader(op::glEnable::kOpcode, 8), capability};
    std::memcpy(other.recordingList->base, command, sizeof command);
    other.recordingList->cursor += sizeof command;
    other.recordingList->remaining -= sizeof command;
    endRecording(&other);
  };
  call(1);  // no list yet
  define(1, GL_FOG);
  call(1);
  EXPECT_EQ(enabled(), 1);
  QV_CALL(glDisable)(GL_FOG);
  record(2, [&] { QV_CALL(glColor3f)(1, 0, 0); });
  call(2);
  define(2, GL_FOG);
  call(2);
  EXPECT_EQ(enabled(), 1);
  // A deletion forgets them as well: what is called then has been looked up anew.
  record(3, [&] { QV_CALL(glColor3f)(1, 0, 0); });
  call(3);
  removeLists(&other, 3, 1);
  EXPECT_FALSE(context().inertLists.contain(3, context().shareGroup->listsGeneration.load()));
}

// The lists of the group that a context joins are other lists.
TEST_F(ListScanner, InertListsAreForgottenInAnotherGroup) {
  GlContext other(4, 210, 1);
  record(1, [&] { QV_CALL(glColor3f)(1, 0, 0); });
  call(1);
  EXPECT_TRUE(context().inertLists.contain(1, context().shareGroup->listsGeneration.load()));
  joinGroup(&context(), &other);
  EXPECT_FALSE(context().inertLists.contain(1, context().shareGroup->listsGeneration.load()));
}

// Lists that change the shadow, call others, raise an error or do not leave primitives as they were are walked at every call.
TEST_F(ListScanner, OtherListsAreWalkedAtEveryCall) {
  define(1, Stream().add(kEnable, GL_FOG));
  define(2, Stream().add(kCallList, 3u));
  define(4, Stream().add(kEnd));
  define(5, Stream().add(kBegin, GL_POINTS));
  define(6, Stream().add(kCallLists, 1, GL_UNSIGNED_BYTE, 1u, uint8_t{3}));
  for (const GLuint name : {1u, 2u, 4u, 5u, 6u}) {
    call(name);
    EXPECT_FALSE(find(name)->inert) << name;
    context().insideBegin = 0;
  }
  EXPECT_EQ(takeError(), kInvalidOperation);
  // A scan that begins inside a primitive tells nothing about one that begins outside.
  define(7, Stream().add(kEnd).add(kBegin, GL_POINTS).add(kEnd));
  context().insideBegin = 1;
  call(7);
  EXPECT_FALSE(find(7)->inert);
  EXPECT_EQ(context().insideBegin, 0);
}

// A list that is defined again while it calls itself is walked to its end as it was: the new recording counts at the next call.
TEST_F(ListScanner, ListStaysWhileItIsWalked) {
  record(1, [&] {
    QV_CALL(glPushMatrix)();
    QV_CALL(glEnable)(GL_FOG);
  });
  // The first push of a stack asks the host. Meanwhile another context of the group deletes the list.
  host.onSubmit = [&](const Submission&) {
    context().shareGroup->table(ShareSlot::kLists).removeRange(1, 2);
    EXPECT_EQ(find(1), nullptr);
  };
  call(1);
  EXPECT_EQ(context().fog.current().enabled, 1);
  EXPECT_EQ(host.submissions.size(), 1u);
}

std::function<void()> onMessage;
void APIENTRY callBack(GLenum, GLenum, GLuint, GLenum, GLsizei, const GLchar*, const void*) { onMessage(); }

// The list mode is 4866 as long as the outermost list is walked, before and behind the lists that it calls.
TEST_F(ListScanner, ModeLastsAsLongAsTheOutermostList) {
  record(1, [&] {
    QV_CALL(glEnd)();
    QV_CALL(glCallList)(2);
    QV_CALL(glEnd)();
  });
  record(2, [&] { QV_CALL(glEnd)(); });
  QV_CALL(glEnable)(GL_DEBUG_OUTPUT);
  QV_CALL(glDebugMessageCallback)(callBack, nullptr);
  std::vector<int32_t> depths;
  onMessage = [&] {
    EXPECT_EQ(context().listMode, 4866u);
    depths.push_back(context().listDepth);
  };
  call(1);
  EXPECT_EQ(depths, (std::vector<int32_t>{1, 2, 1}));
  EXPECT_EQ(context().listMode, 0u);
  takeError();
}

// The debug callback of a command that is refused may delete the list that is walked, and define it anew.
TEST_F(ListScanner, CallbackMayReplaceTheList) {
  record(1, [&] {
    QV_CALL(glEnd)();
    QV_CALL(glEnable)(GL_FOG);
    QV_CALL(glCallList)(2);
  });
  record(2, [&] { QV_CALL(glEnable)(GL_LIGHTING); });
  QV_CALL(glEnable)(GL_DEBUG_OUTPUT);
  QV_CALL(glDebugMessageCallback)(callBack, nullptr);
  int told = 0;
  onMessage = [&] {
    ++told;
    QV_CALL(glDeleteLists)(1, 1);
    EXPECT_EQ(find(1), nullptr);
    QV_CALL(glNewList)(1, GL_COMPILE);
    QV_CALL(glEnable)(GL_BLEND);
    QV_CALL(glEndList)();
  };
  call(1);
  EXPECT_EQ(told, 1);
  EXPECT_EQ(context().fog.current().enabled, 1);
  EXPECT_EQ(context().lighting.current().lightingEnabled, 1);
  EXPECT_EQ(context().colorBuffer.current().blendEnabled, 0);
  EXPECT_EQ(context().listMode, 0u);
  EXPECT_EQ(context().listDepth, 0);
  call(1);
  EXPECT_EQ(context().colorBuffer.current().blendEnabled, 1);
  EXPECT_EQ(takeError(), kInvalidOperation);
}

}  // namespace
}  // namespace qv::test
