// Buffers, vertex arrays and draws in the host: pictures out of hand-written streams, and what a guest must not be able to do
// with them.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "peer/host/in_process_gpu.h"
#include "peer/link/status.h"
#include "peer/replay/array_rows.h"
#include "peer/replay/gl_functions.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

constexpr uint32_t kRed = 0xFF0000, kGreen = 0x00FF00, kBlue = 0x0000FF, kWhite = 0xFFFFFF;

// Two triangles over the whole window.
const std::vector<float> kCover = {-1, -1, 1, -1, 1, 1, -1, -1, 1, 1, -1, 1};

class Arrays : public testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(guest.start(32, 32)); }

  // Draws on black; the colour of the middle.
  uint32_t draw(Stream stream) {
    Stream all;
    all.add(kClearColor, 0.0f, 0.0f, 0.0f, 1.0f).add(kClear, GL_COLOR_BUFFER_BIT);
    all.data += stream.data;
    EXPECT_EQ(guest.flush(all, GL_BACK), 0);
    return guest.surface->pixel(16, 16) & 0xFFFFFF;
  }
  // A program of the two shaders.
  uint32_t linked(const std::string& vertex, const std::string& fragment) {
    const auto program = guest.askFor<uint32_t>(Stream().add(kCreateProgram));
    for (const auto& [type, text] :
         {std::pair<uint32_t, std::string>{GL_VERTEX_SHADER, vertex}, {GL_FRAGMENT_SHADER, fragment}}) {
      const auto shader = guest.askFor<uint32_t>(Stream().add(kCreateShader, type));
      std::vector<uint8_t> payload = words({shader, 1, 0, 0, static_cast<uint32_t>(text.size() + 1), 1});
      payload.insert(payload.end(), text.begin(), text.end());
      payload.push_back(0);
      payload += words({static_cast<uint32_t>(text.size())});
      EXPECT_EQ(
          guest.flush(Stream().bytes(kShaderSource, payload).add(kCompileShader, shader).add(kAttachShader, program, shader)), 0);
    }
    EXPECT_EQ(guest.flush(Stream().add(kLinkProgram, program)), 0);
    return program;
  }
  // The guest still gets its pictures: a cover of white from memory.
  void expectAlive() {
    guest.glError();
    Stream stream;
    stream.add(kEndList).add(kEnd).add(kBindVertexArray, 4000).add(kDisableVertexAttribArray, 0).add(kColor3f, 1.0f, 1.0f, 1.0f);
    stream.data += cover().data;
    EXPECT_EQ(draw(stream), kWhite);
    EXPECT_EQ(draw(Stream().add(kBindVertexArray, 0)), 0u);
    guest.glError();
    log.take();
  }
  // Positions of the program's memory and their draw.
  static Stream cover() {
    Stream stream;
    stream.add(kVertexPointer, 2, GL_FLOAT, 0, 0x1000, 0).add(kEnableClientState, GL_VERTEX_ARRAY);
    stream.data += drawArrays(GL_TRIANGLES, 0, 6, 8, floats(kCover)).data;
    return stream;
  }
  static Stream drawArrays(uint32_t mode, int32_t first, int32_t count, uint32_t flags, const std::vector<uint8_t>& block = {}) {
    std::vector<uint8_t> payload = words({mode, static_cast<uint32_t>(first), static_cast<uint32_t>(count), flags});
    payload += block;
    return Stream().bytes(kDrawArrays, payload);
  }
  static Stream drawElements(uint32_t opcode, std::vector<uint32_t> head, const std::vector<uint8_t>& tail) {
    std::vector<uint8_t> payload;
    for (const uint32_t word : head) payload += words({word});
    payload += tail;
    return Stream().bytes(opcode, payload);
  }
  // A buffer of the name with the contents, bound to the target.
  static Stream buffer(uint32_t target, uint32_t name, const std::vector<uint8_t>& contents) {
    const auto size = static_cast<uint32_t>(contents.size());
    std::vector<uint8_t> payload = words({target, size, 1, GL_STATIC_DRAW, size});
    payload += contents;
    return Stream().add(kBindBuffer, target, name).bytes(kBufferData, payload);
  }
  // Positions in buffer 5, enabled.
  static Stream bufferedCover() {
    Stream stream = buffer(GL_ARRAY_BUFFER, 5, floats(kCover));
    return stream.add(kVertexPointer, 2, GL_FLOAT, 0, 0, 5).add(kEnableClientState, GL_VERTEX_ARRAY);
  }
  void expectMalformed(const Stream& stream, const char* complaint) {
    log.take();
    EXPECT_EQ(guest.flush(stream), kStatusMalformed);
    const std::vector<std::string> lines = log.take();
    ASSERT_FALSE(lines.empty()) << complaint;
    EXPECT_NE(lines[0].find(complaint), std::string::npos) << lines[0];
  }
  void expectPassedOver(const char* why) {
    const std::vector<std::string> lines = log.take();
    ASSERT_FALSE(lines.empty()) << why;
    EXPECT_NE(lines[0].find(why), std::string::npos) << lines[0];
  }

  LogCapture log;
  InProcessGpu gpu;
  TestGuest guest{gpu};
};

Stream operator+(Stream left, const Stream& right) {
  left.data += right.data;
  return left;
}

// A target of which some OpenGLs take the address of a buffer's store from the program is none.
TEST_F(Arrays, BuffersLieInMemoryOfOpenGL) {
  constexpr uint32_t kPinned = 0x9160;  // of AMD_pinned_memory
  ASSERT_EQ(guest.flush(Stream().add(kBindBuffer, kPinned, 7u)), 0);
  EXPECT_EQ(guest.glError(), uint32_t{GL_INVALID_ENUM});
  ASSERT_EQ(guest.flush(Stream().bytes(kBufferData, words({kPinned, 0x10000000, 0, GL_STATIC_DRAW, 0}))), 0);
  EXPECT_NE(guest.glError(), 0u);
  ASSERT_EQ(
      guest.flush(Stream().add(kBindBuffer, GL_COPY_READ_BUFFER, 7u) + buffer(GL_COPY_WRITE_BUFFER, 8, std::vector<uint8_t>(64))),
      0);
  ASSERT_EQ(guest.flush(Stream().add(kCopyBufferSubData, GL_COPY_READ_BUFFER, GL_COPY_WRITE_BUFFER, 0x400000u, 0u, 64u)), 0);
  EXPECT_EQ(guest.glError(), uint32_t{GL_INVALID_VALUE});
}

// A block without tags is taken apart by the rows that are enabled, in their order: narrow colours before normals.
TEST_F(Arrays, BlocksAreTakenApartByTheRows) {
  Stream stream = Stream().add(kVertexPointer, 2, GL_FLOAT, 64, 0x1000, 0).add(kEnableClientState, GL_VERTEX_ARRAY);
  stream.add(kColorPointer, 3, GL_UNSIGNED_BYTE, 0, 0x1000, 0).add(kEnableClientState, GL_COLOR_ARRAY);
  std::vector<uint8_t> block = floats(kCover);
  for (int i = 0; i < 6; ++i) block.insert(block.end(), {0, 0, 255});
  EXPECT_EQ(draw(stream + drawArrays(GL_TRIANGLES, 0, 6, 11, block)), kBlue);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
  // A pointer of which the wire has only zeros may be none.
  stream = Stream().add(kColorPointer, 3, GL_UNSIGNED_BYTE, 0, 0, 0);
  EXPECT_EQ(draw(stream + drawArrays(GL_TRIANGLES, 0, 6, 11, block)), kBlue);
  EXPECT_EQ(draw(stream.add(kColor3f, 0.0f, 1.0f, 0.0f) + drawArrays(GL_TRIANGLES, 0, 6, 8, floats(kCover))), kGreen);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

// First elements far and near: the block always holds the first one used.
TEST_F(Arrays, FirstElementsMayBeFar) {
  draw(cover());
  for (const int32_t first : {1, 3, 1000, 100000, 10000000, 500000000}) {
    EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, first, 6, 8, floats(kCover))), kWhite) << first;
    const auto at = static_cast<uint32_t>(first);
    std::vector<uint8_t> tail = words({at, at + 1, at + 2, at + 3, at + 4, at + 5});
    tail += floats(kCover);
    EXPECT_EQ(draw(drawElements(kDrawElements, {GL_TRIANGLES, 6, GL_UNSIGNED_INT, 1, 0, 8, 24, at, at + 5}, tail)), kWhite)
        << first;
  }
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

std::atomic<int> pointerCalls{0};
decltype(gl.glVertexPointer) realVertexPointer = nullptr;
void APIENTRY countVertexPointer(GLint size, GLenum type, GLsizei stride, const void* pointer) {
  ++pointerCalls;
  realVertexPointer(size, type, stride, pointer);
}

// An array keeps its place from draw to draw as long as there is room, whatever first elements and counts are; another format, a
// buffer in between and more elements move it, and the pictures stay right.
TEST_F(Arrays, PlacesAreKeptFromDrawToDraw) {
  draw(cover());
  realVertexPointer = std::exchange(gl.glVertexPointer, countVertexPointer);
  pointerCalls = 0;
  EXPECT_EQ(draw(cover() + cover() + drawArrays(GL_TRIANGLES, 0, 3, 8, floats({9, 9, 9, 9, 9, 9})) + cover()), kWhite);
  EXPECT_EQ(pointerCalls, 0);
  EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, 5, 6, 8, floats(kCover))), kWhite);
  EXPECT_EQ(pointerCalls, 1);  // there was no room for 11 elements
  EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, 8, 6, 8, floats(kCover)) + drawArrays(GL_POINTS, 0, 1, 8, floats({9, 9}))), kWhite);
  EXPECT_EQ(pointerCalls, 1);
  // Beside colours that come and go.
  const Stream colors = Stream().add(kColorPointer, 4, GL_UNSIGNED_BYTE, 0, 0x1000, 0).add(kEnableClientState, GL_COLOR_ARRAY);
  std::vector<uint8_t> block = floats(kCover);
  for (int i = 0; i < 6; ++i) block.insert(block.end(), {255, 0, 0, 255});
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(draw(colors + drawArrays(GL_TRIANGLES, 0, 6, 12, block)), kRed);
    EXPECT_EQ(draw(Stream().add(kDisableClientState, GL_COLOR_ARRAY).add(kColor3f, 1.0f, 1.0f, 1.0f) + cover()), kWhite);
  }
  EXPECT_EQ(pointerCalls, 1);
  // Three components in the place of two, and the array in a buffer.
  std::vector<float> deep;
  for (size_t i = 0; i < kCover.size(); i += 2) deep.insert(deep.end(), {kCover[i], kCover[i + 1], 0});
  const Stream three = Stream().add(kVertexPointer, 3, GL_FLOAT, 0, 0x1000, 0) + drawArrays(GL_TRIANGLES, 0, 6, 12, floats(deep));
  EXPECT_EQ(draw(three), kWhite);
  EXPECT_EQ(pointerCalls, 2);
  EXPECT_EQ(draw(cover()), kWhite);
  EXPECT_EQ(pointerCalls, 3);
  EXPECT_EQ(draw(bufferedCover() + drawArrays(GL_TRIANGLES, 0, 6, 0)), kWhite);
  EXPECT_EQ(draw(cover()), kWhite);
  EXPECT_EQ(pointerCalls, 5);
  gl.glVertexPointer = realVertexPointer;
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

// A large buffer is given up after many small draws; objects that had their places in it find new ones. Blocks that grow bit by
// bit, up to more than the usual room, are all drawn.
TEST_F(Arrays, PlacesOutliveTheirBuffer) {
  const auto large = [](uint32_t triangles) {
    std::vector<float> values;
    for (uint32_t i = 0; i < triangles - 2; ++i) values.insert(values.end(), {9, 9, 9, 9, 9, 9});
    values.insert(values.end(), kCover.begin(), kCover.end());
    std::vector<uint8_t> payload = words({GL_TRIANGLES, 0, 3 * triangles, 8});
    payload += floats(values);
    return Stream().large(kDrawArrays, payload);
  };
  for (const uint32_t triangles : {2u, 3u, 100u, 1000u, 40000u, 50000u, 60000u, 100000u}) {
    EXPECT_EQ(draw(cover() + large(triangles)), kWhite) << triangles;
  }
  const Stream second = Stream().add(kBindVertexArray, 7), first = Stream().add(kBindVertexArray, 0);
  EXPECT_EQ(draw(second + cover() + large(100000)), kWhite);
  EXPECT_EQ(draw(first + large(90000)), kWhite);
  Stream many;
  for (int i = 0; i < 300; ++i) many.data += drawArrays(GL_TRIANGLES, 0, 6, 8, floats(kCover)).data;
  EXPECT_EQ(draw(many), kWhite);
  EXPECT_EQ(draw(second + large(100)), kWhite);
  EXPECT_EQ(draw(first + large(90000)), kWhite);
  EXPECT_EQ(draw(second + large(99999)), kWhite);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

std::atomic<GLsizeiptr> storeBytes{0};
decltype(gl.glBufferData) realBufferData = nullptr;
void APIENTRY noteBufferData(GLenum target, GLsizeiptr bytes, const void* data, GLenum usage) {
  storeBytes = bytes;
  realBufferData(target, bytes, data, usage);
}

// The memory of a large draw is not kept for ever, though its object draws on.
TEST_F(Arrays, LargeRoomIsGivenUp) {
  realBufferData = std::exchange(gl.glBufferData, noteBufferData);
  std::vector<uint8_t> payload = words({GL_TRIANGLES, 0, 300000, 8});
  payload += floats(std::vector<float>(600000, 9));
  draw(cover() + Stream().large(kDrawArrays, payload));
  EXPECT_GE(storeBytes, 2400000);
  Stream many;
  for (int i = 0; i < 300; ++i) many.data += drawArrays(GL_TRIANGLES, 0, 6, 8, floats(kCover)).data;
  EXPECT_EQ(draw(many), kWhite);
  EXPECT_EQ(storeBytes, 1 << 20);
  gl.glBufferData = realBufferData;
  EXPECT_EQ(guest.glError(), 0u);
}

// After a draw far behind the beginning, whose arrays have no room in front, a long draw from the beginning finds room for all
// its arrays.
TEST_F(Arrays, NearDrawsFollowFarOnes) {
  constexpr uint32_t kFar = 300000;
  std::vector<float> positions(2 * kFar, 9.0f);
  std::copy(kCover.begin(), kCover.end(), positions.begin());
  positions.insert(positions.end(), kCover.begin(), kCover.end());
  const auto size = static_cast<uint32_t>(positions.size() * sizeof(float));
  std::vector<uint8_t> payload = words({GL_ARRAY_BUFFER, size, 1, GL_STATIC_DRAW, size});
  payload += floats(positions);
  Stream stream = Stream().add(kBindBuffer, GL_ARRAY_BUFFER, 5).large(kBufferData, payload);
  stream.add(kVertexPointer, 2, GL_FLOAT, 0, 0, 5).add(kEnableClientState, GL_VERTEX_ARRAY);
  stream.add(kColorPointer, 4, GL_UNSIGNED_BYTE, 0, 0x1000, 0).add(kEnableClientState, GL_COLOR_ARRAY);
  stream.add(kTexCoordPointer, 2, GL_FLOAT, 0, 0x1000, 0).add(kEnableClientState, GL_TEXTURE_COORD_ARRAY);
  const auto block = [](uint32_t count, const std::vector<uint8_t>& color) {
    std::vector<uint8_t> out;
    for (uint32_t i = 0; i < count; ++i) out.insert(out.end(), color.begin(), color.end());
    out += floats(std::vector<float>(2 * count, 0.0f));
    return out;
  };
  EXPECT_EQ(draw(stream + drawArrays(GL_TRIANGLES, kFar, 6, 12, block(6, {255, 0, 0, 255}))), kRed);
  EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, 0, 600, 12, block(600, {0, 255, 0, 255}))), kGreen);
  EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, kFar, 6, 12, block(6, {0, 0, 255, 255}))), kBlue);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

// Beside arrays in buffers the elements of a block keep their numbers.
TEST_F(Arrays, BlocksKeepTheirNumbersBesideBuffers) {
  std::vector<float> far(2 * 1000, 5.0f);
  far.insert(far.end(), kCover.begin(), kCover.end());
  Stream stream =
      buffer(GL_ARRAY_BUFFER, 5, floats(far)).add(kVertexPointer, 2, GL_FLOAT, 0, 0, 5).add(kEnableClientState, GL_VERTEX_ARRAY);
  stream.add(kColorPointer, 4, GL_UNSIGNED_BYTE, 0, 0x1000, 0).add(kEnableClientState, GL_COLOR_ARRAY);
  std::vector<uint8_t> colors;
  for (int i = 0; i < 6; ++i) colors.insert(colors.end(), {0, 255, 0, 255});
  EXPECT_EQ(draw(stream + drawArrays(GL_TRIANGLES, 1000, 6, 4, colors)), kGreen);
  std::vector<uint8_t> tail = {3, 4, 5, 6, 7, 8};
  tail += words({997});
  tail += colors;
  EXPECT_EQ(draw(drawElements(kDrawElementsBaseVertex, {GL_TRIANGLES, 6, GL_UNSIGNED_BYTE, 1, 0, 4, 6, 3, 8}, tail)), kGreen);
  // Too far for any room.
  EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, 2000000000, 6, 4, colors)), 0u);
  expectPassedOver("too far from the beginning");
}

// Blocks, sections and indices that contradict their words are malformed.
TEST_F(Arrays, ContradictoryDrawsAreMalformed) {
  draw(cover());
  std::vector<uint8_t> shorter = floats(kCover), longer = shorter;
  shorter.pop_back();
  longer.push_back(0);
  expectMalformed(drawArrays(GL_TRIANGLES, 0, 6, 8, shorter), "are not all there");
  expectMalformed(drawArrays(GL_TRIANGLES, 0, 6, 8, longer), "behind the data of a draw");
  expectMalformed(drawArrays(GL_TRIANGLES, 0, 2147483647, 0xFFFF, floats(kCover)), "are not all there");
  expectMalformed(drawArrays(GL_TRIANGLES, 0, 6, 0x20008, floats(kCover)), "flags");
  for (const std::vector<uint8_t>& head :
       {words({}), words({24, 1, 16}), words({24, 1, 16, 0}), words({23, 1, 16, 0, 0, 0, 0, 0}),
        words({24, 2, 16, 0, 0, 0, 0, 0}), words({24, 1, 16, 1, 0, 0, 0, 0}), words({8, 1, 0, 0})}) {
    std::vector<uint8_t> block = floats(kCover);
    block += head;
    expectMalformed(drawArrays(GL_TRIANGLES, 0, 6, 0x10008, block), "instance data");
  }
  const std::vector<uint8_t> three = {0, 1, 2};
  expectMalformed(drawElements(kDrawElements, {GL_TRIANGLES, 3, GL_UNSIGNED_BYTE, 1, 0, 0, 4, 0, 2}, three),
                  "bytes of indices instead of");
  expectMalformed(drawElements(kDrawElements, {GL_TRIANGLES, 4, GL_UNSIGNED_BYTE, 1, 0, 0, 4, 0, 2}, three), "are not all there");
  expectMalformed(drawElements(kDrawElements, {GL_TRIANGLES, 3, GL_UNSIGNED_BYTE, 1, 5, 0, 3, 0, 2}, three),
                  "bytes of indices instead of 0");
  expectMalformed(drawElements(kDrawElementsBaseVertex, {GL_TRIANGLES, 3, GL_UNSIGNED_BYTE, 1, 0, 0, 3, 0, 2}, three),
                  "words behind its indices");
  // Swapped, the least and the greatest index count two elements.
  expectMalformed(drawElements(kDrawElements, {GL_TRIANGLES, 3, GL_UNSIGNED_BYTE, 1, 0, 8, 3, 2, 0}, three), "are not all there");
  expectMalformed(Stream().add(kBufferData, GL_ARRAY_BUFFER, 8, 1, GL_STATIC_DRAW, 4, 0), "4 bytes for a buffer of 8");
  expectMalformed(Stream().add(kBufferSubData, GL_ARRAY_BUFFER, 0, 8, 1, 4, 0), "4 bytes for a range of 8");
  expectMalformed(Stream().add(kClearBufferSubData, GL_ARRAY_BUFFER, GL_R8, 0, 8, GL_RED, GL_FLOAT, 0),
                  "4 bytes for a range of 8");
  expectMalformed(Stream().add(kGetBufferParameteriv, GL_ARRAY_BUFFER, GL_BUFFER_SIZE, 17), "query for 17 values");
  expectAlive();
}

// Data that are those of other arrays are passed over, with a line, and so are sizes that were cut to 16 bits.
TEST_F(Arrays, DataOfOtherArraysArePassedOver) {
  draw(cover());
  EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, 0, 6, 12, std::vector<uint8_t>(72))), 0u);
  expectPassedOver("not those of the arrays that are enabled");
  EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, 0, 6, 0)), 0u);
  guest.flush(Stream()
                  .add(kVertexPointer, 16384, GL_FLOAT, 0, 0x1000, 0)
                  .add(kColorPointer, 4, GL_FLOAT, 0, 0x1000, 0)
                  .add(kEnableClientState, GL_COLOR_ARRAY));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, 0, 3, 16, std::vector<uint8_t>(48))), 0u);
  guest.flush(Stream().add(kDisableClientState, GL_COLOR_ARRAY));
  expectAlive();
}

// A pointer with arguments that GL refuses raises its error at the call; the draw leaves the array out and still finds its data.
TEST_F(Arrays, RefusedFormatsAreLeftOut) {
  Stream stream = Stream().add(kColorPointer, 2, GL_FLOAT, 0, 0x1000, 0).add(kEnableClientState, GL_COLOR_ARRAY);
  stream.add(kVertexPointer, 2, GL_FLOAT, 0, 0x1000, 0).add(kEnableClientState, GL_VERTEX_ARRAY).add(kColor3f, 0.0f, 1.0f, 0.0f);
  ASSERT_EQ(guest.flush(stream), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  std::vector<uint8_t> block = floats(kCover);
  block += std::vector<uint8_t>(48, 0);
  EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, 0, 6, 16, block)), kGreen);
  EXPECT_EQ(guest.glError(), 0u);
  guest.flush(Stream().add(kDisableClientState, GL_COLOR_ARRAY));
  for (const uint32_t stride : {0xFFFFFFFFu, 0x80000000u}) {
    guest.flush(Stream().add(kVertexPointer, 2, GL_FLOAT, stride, 0x1000, 0));
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
    EXPECT_EQ(draw(drawArrays(GL_TRIANGLES, 0, 6, 8, floats(kCover))), 0u);
  }
  expectAlive();
}

// Arrays in buffers: contents, changes, and what they read beyond the end, which is nothing.
TEST_F(Arrays, BuffersAreDrawnFrom) {
  EXPECT_EQ(draw(bufferedCover() + drawArrays(GL_TRIANGLES, 0, 6, 0)), kWhite);
  for (const int32_t first : {6, 100000, 2147483647}) draw(drawArrays(GL_TRIANGLES, first, 6, 0));
  for (const uint32_t offset : {4u, 47u, 48u, 0x7FFFFFFFu, 0xFFFFFFF0u}) {
    draw(Stream().add(kVertexPointer, 2, GL_FLOAT, 0, offset, 5) + drawArrays(GL_TRIANGLES, 0, 6, 0));
    draw(Stream().add(kVertexPointer, 4, GL_DOUBLE, 0x7FFFFFFF, offset, 5) + drawArrays(GL_TRIANGLES, 0, 60000, 0));
  }
  draw(bufferedCover() + Stream().add(kBufferData, GL_ARRAY_BUFFER, 4, 0, GL_STATIC_DRAW, 0) + drawArrays(GL_TRIANGLES, 0, 6, 0));
  EXPECT_EQ(draw(buffer(GL_ARRAY_BUFFER, 5, floats(kCover)) + drawArrays(GL_TRIANGLES, 0, 6, 0)), kWhite);
  expectAlive();
}

// A deleted buffer is none of the arrays of the bound object, whose other arrays are drawn; nor may its name be drawn from.
TEST_F(Arrays, DeletedBuffersAreNotDrawnFrom) {
  draw(bufferedCover() + drawArrays(GL_TRIANGLES, 0, 6, 0));
  EXPECT_EQ(draw(Stream().add(kDeleteBuffers, 1, 5) + drawArrays(GL_TRIANGLES, 0, 6, 0)), 0u);
  draw(Stream().add(kVertexPointer, 2, GL_FLOAT, 0, 0, 5) + drawArrays(GL_TRIANGLES, 0, 6, 0));
  draw(Stream().add(kVertexPointer, 2, GL_FLOAT, 0, 0x12345678, 99) + drawArrays(GL_TRIANGLES, 0, 6, 0));
  // In an object that is not bound it lives on.
  EXPECT_EQ(draw(Stream().add(kBindVertexArray, 3) + bufferedCover() + drawArrays(GL_TRIANGLES, 0, 6, 0)), kWhite);
  EXPECT_EQ(draw(Stream().add(kBindVertexArray, 4).add(kDeleteBuffers, 1, 5).add(kBindVertexArray, 3) +
                 drawArrays(GL_TRIANGLES, 0, 6, 0)),
            kWhite);
  EXPECT_EQ(draw(Stream().add(kVertexPointer, 2, GL_FLOAT, 0, 0, 5) + drawArrays(GL_TRIANGLES, 0, 6, 0)), 0u);
  // An object whose arrays GL has, while the guest has bound another one, loses nothing unseen either.
  draw(Stream().add(kBindVertexArray, 6) + bufferedCover() + drawArrays(GL_TRIANGLES, 0, 6, 0) +
       Stream().add(kBindVertexArray, 7).add(kDeleteBuffers, 1, 5));
  draw(Stream().add(kBindVertexArray, 6) + drawArrays(GL_TRIANGLES, 0, 6, 0));
  draw(Stream().add(kDeleteVertexArrays, 2, 3, 6) + drawArrays(GL_TRIANGLES, 0, 6, 0));
  expectAlive();
}

// Vertex buffers without a buffer, with odd strides and formats of all kinds are harmless.
TEST_F(Arrays, OddBindingsAreHarmless) {
  draw(Stream().add(kBindVertexArray, 9) + bufferedCover());
  for (const uint32_t bound : {0u, 5u, 77u}) {
    for (const uint32_t stride : {0u, 1u, 8u, 0x7FFFFFFFu, 0xFFFFFFF0u}) {
      for (const uint32_t offset : {0u, 0xFFFFFFFFu}) {
        Stream stream = Stream().add(kEnableVertexAttribArray, 0).add(kVertexAttribBinding, 0, 3);
        stream.add(kVertexAttribFormat, 0, 4, GL_FLOAT, 0, 0).add(kBindVertexBuffer, 3, bound, offset, stride);
        draw(stream + drawArrays(GL_TRIANGLES, 0, 6, 0));
        draw(stream.add(kVertexAttribFormat, 0, 99, 0x1234, 0, 0xFFFFFFFF) + drawArrays(GL_TRIANGLES, 0, 6, 0));
        draw(stream.add(kVertexAttribIFormat, 0, 3, GL_INT, 0).add(kVertexBindingDivisor, 3, 0xFFFFFFFF) +
             drawArrays(GL_TRIANGLES, 0, 6, 0));
        draw(Stream().add(kVertexBindingDivisor, 3, 0));
      }
    }
  }
  for (const uint32_t index : {16u, 0xFFFFFFFFu}) {
    guest.glError();
    ASSERT_EQ(guest.flush(Stream().add(kEnableVertexAttribArray, index)), 0);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
    ASSERT_EQ(guest.flush(Stream()
                              .add(kVertexAttribPointer, index, 4, GL_FLOAT, 0, 0, 0, 5)
                              .add(kVertexAttribBinding, index, 0)
                              .add(kVertexAttribBinding, 0, index)
                              .add(kBindVertexBuffer, index, 5, 0, 0)
                              .add(kVertexBindingDivisor, index, 1)
                              .add(kVertexAttribDivisor, index, 1)
                              .add(kVertexAttribFormat, index, 4, GL_FLOAT, 0, 0)),
              0);
  }
  expectAlive();
}

// A stride of 0 that glBindVertexBuffer gives makes all vertices the same; the one of a pointer call means elements without gaps.
TEST_F(Arrays, BoundStrideOfZeroIsTakenAsItIs) {
  Stream stream = Stream().add(kBindVertexArray, 2) + bufferedCover();
  stream.add(kEnableClientState, GL_COLOR_ARRAY)
      .add(kColorPointer, 4, GL_UNSIGNED_BYTE, 0, 0x1000, 0)
      .add(kDisableClientState, GL_VERTEX_ARRAY);
  stream.add(kEnableVertexAttribArray, 0).add(kVertexAttribFormat, 0, 2, GL_FLOAT, 0, 0).add(kBindVertexBuffer, 0, 5, 0, 8);
  std::vector<uint8_t> colors;
  for (int i = 0; i < 6; ++i) colors.insert(colors.end(), {255, 0, 0, 255});
  EXPECT_EQ(draw(stream + drawArrays(GL_TRIANGLES, 0, 6, 4, colors)), kRed);
  EXPECT_EQ(draw(Stream().add(kBindVertexBuffer, 0, 5, 0, 0) + drawArrays(GL_TRIANGLES, 0, 6, 4, colors)), 0u);
  EXPECT_EQ(draw(Stream().add(kVertexAttribPointer, 0, 2, GL_FLOAT, 0, 0, 0, 5) + drawArrays(GL_TRIANGLES, 0, 6, 4, colors)),
            kRed);
  EXPECT_EQ(guest.glError(), 0u);
}

// Indices in a buffer that is not there or too short draw nothing that is not there.
TEST_F(Arrays, IndicesMustBeThere) {
  const auto elements = [](uint32_t name, uint32_t offset, uint32_t count) {
    return drawElements(kDrawElements, {GL_TRIANGLES, count, GL_UNSIGNED_INT, offset, name, 0, 0, 0xFFFFFFFF, 0}, {});
  };
  const Stream indices = buffer(GL_ELEMENT_ARRAY_BUFFER, 6, words({0, 1, 2, 3, 4, 5}));
  EXPECT_EQ(draw(bufferedCover() + indices + elements(6, 0, 6)), kWhite);
  EXPECT_EQ(draw(elements(99, 0, 6)), 0u);
  expectPassedOver("no buffer of its indices");
  for (const uint32_t offset : {4u, 3u, 24u, 0xFFFFFFFCu}) draw(elements(6, offset, 6));
  draw(elements(6, 0, 1000000));
  EXPECT_EQ(draw(Stream().add(kDeleteBuffers, 1, 6) + elements(6, 0, 6)), 0u);
  // Indices of the stream and of buffers take turns.
  std::vector<uint8_t> tail = words({0, 1, 2, 3, 4, 5});
  const Stream inlined = drawElements(kDrawElements, {GL_TRIANGLES, 6, GL_UNSIGNED_INT, 1, 0, 0, 24, 0, 5}, tail);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(draw(inlined), kWhite);
    EXPECT_EQ(draw(indices + elements(6, 0, 6)), kWhite);
  }
  // What is bound to the target is not disturbed by the draws.
  EXPECT_EQ(draw(inlined + Stream().add(kBufferSubData, GL_ELEMENT_ARRAY_BUFFER, 0, 4, 1, 4, 3) + elements(6, 0, 6)), kWhite);
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_ELEMENT_ARRAY_BUFFER, 0, 8), 8), words({3, 1}));
  expectAlive();
}

// Indirect draws need a buffer, and a stride of whole words.
TEST_F(Arrays, IndirectDrawsNeedABuffer) {
  draw(bufferedCover());
  const Stream draws[] = {Stream().add(kDrawArraysIndirect, GL_TRIANGLES, 0x1000),
                          Stream().add(kDrawElementsIndirect, GL_TRIANGLES, GL_UNSIGNED_INT, 0x1000),
                          Stream().add(kMultiDrawArraysIndirect, GL_TRIANGLES, 0x1000, 2, 0),
                          Stream().add(kMultiDrawElementsIndirect, GL_TRIANGLES, GL_UNSIGNED_INT, 0x1000, 2, 0)};
  for (const Stream& one : draws) {
    EXPECT_EQ(draw(one), 0u);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  }
  draw(buffer(GL_DRAW_INDIRECT_BUFFER, 8, words({6, 1, 0, 0, 0, 6, 1, 0, 0, 0})));
  EXPECT_EQ(draw(Stream().add(kDrawArraysIndirect, GL_TRIANGLES, 0)), kWhite);
  EXPECT_EQ(draw(Stream().add(kMultiDrawArraysIndirect, GL_TRIANGLES, 0, 2, 20)), kWhite);
  for (const uint32_t stride : {0xFFFFFFF0u, 2u, 0x80000000u}) {
    EXPECT_EQ(draw(Stream().add(kMultiDrawArraysIndirect, GL_TRIANGLES, 0, 2, stride)), 0u);
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  }
  // Without an element buffer.
  EXPECT_EQ(draw(Stream().add(kDrawElementsIndirect, GL_TRIANGLES, GL_UNSIGNED_INT, 0)), 0u);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(draw(buffer(GL_ELEMENT_ARRAY_BUFFER, 9, words({0, 1, 2, 3, 4, 5}))
                     .add(kDrawElementsIndirect, GL_TRIANGLES, GL_UNSIGNED_INT, 0)),
            kWhite);
  draw(Stream().add(kDrawArraysIndirect, GL_TRIANGLES, 0xFFFFFFF0));
  guest.glError();
  draw(Stream().add(kNewList, 1, GL_COMPILE));
  log.take();
  draw(Stream().add(kDrawArraysIndirect, GL_TRIANGLES, 0));
  expectPassedOver("in a list");
  expectAlive();
}

// A draw inside a primitive of a list is an error of the list's calls, not of its compilation; executed at once it is one at
// once.
TEST_F(Arrays, DrawsInsidePrimitivesOfListsFailWhenCalled) {
  draw(bufferedCover());
  const Stream content = Stream().add(kBegin, GL_TRIANGLES) + drawArrays(GL_TRIANGLES, 0, 6, 0) + Stream().add(kEnd);
  EXPECT_EQ(guest.flush(Stream().add(kNewList, 1, GL_COMPILE) + content + Stream().add(kEndList)), 0);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(draw(Stream().add(kCallList, 1)), 0u);
  EXPECT_EQ(guest.glError(), GL_INVALID_OPERATION);
  EXPECT_EQ(guest.flush(Stream().add(kNewList, 2, GL_COMPILE_AND_EXECUTE) + content + Stream().add(kEndList)), 0);
  EXPECT_EQ(guest.glError(), GL_INVALID_OPERATION);
}

// While a list is compiled an OpenGL reads the arrays itself: what its buffers do not have is passed over, what they have is
// drawn.
TEST_F(Arrays, ListsReadOnlyWhatIsThere) {
  draw(bufferedCover());
  const auto compiled = [&](const Stream& content) {
    EXPECT_EQ(guest.flush(Stream().add(kNewList, 1, GL_COMPILE) + content + Stream().add(kEndList)), 0);
    return draw(Stream().add(kCallList, 1));
  };
  const auto elements = [](uint32_t last) {
    return drawElements(kDrawElements, {GL_TRIANGLES, 6, GL_UNSIGNED_INT, 1, 0, 0, 24, 0xFFFFFFFF, 0},
                        words({0, 1, 2, 3, 4, last}));
  };
  EXPECT_EQ(compiled(drawArrays(GL_TRIANGLES, 0, 6, 0)), kWhite);
  EXPECT_EQ(compiled(elements(5)), kWhite);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
  for (const auto& [first, count] :
       {std::pair<int32_t, int32_t>{1, 6}, {0, 7}, {1000000000, 1}, {2147483647, 2147483647}, {-1, 3}}) {
    EXPECT_EQ(compiled(drawArrays(GL_TRIANGLES, first, count, 0)), 0u) << first;
  }
  expectPassedOver("that its buffers do not have");
  for (const uint32_t last : {6u, 1000000000u, 0xFFFFFFFFu}) EXPECT_EQ(compiled(elements(last)), 0u) << last;
  std::vector<uint8_t> tail = words({0, 1, 2, 3, 4, 5, static_cast<uint32_t>(-1)});
  EXPECT_EQ(compiled(drawElements(kDrawElementsBaseVertex, {GL_TRIANGLES, 6, GL_UNSIGNED_INT, 1, 0, 0, 24, 0xFFFFFFFF, 0}, tail)),
            0u);
  // A restart index is none of the elements.
  guest.flush(Stream().add(kEnable, GL_PRIMITIVE_RESTART).add(2119u, 0xFFFFFFFF));
  compiled(elements(0xFFFFFFFF));
  guest.flush(Stream().add(kDisable, GL_PRIMITIVE_RESTART));
  // Indices in a buffer.
  guest.flush(buffer(GL_ELEMENT_ARRAY_BUFFER, 6, words({0, 1, 2, 3, 4, 5, 600})));
  const auto stored = [](uint32_t offset, uint32_t count) {
    return drawElements(kDrawElements, {GL_TRIANGLES, count, GL_UNSIGNED_INT, offset, 6, 0, 0, 0xFFFFFFFF, 0}, {});
  };
  EXPECT_EQ(compiled(stored(0, 6)), kWhite);
  EXPECT_EQ(compiled(stored(4, 6)), 0u);
  EXPECT_EQ(compiled(stored(8, 6)), 0u);
  EXPECT_EQ(compiled(stored(0xFFFFFFFC, 6)), 0u);
  EXPECT_EQ(compiled(stored(0, 1000000000)), 0u);
  // Arrays of the program's memory come along, and stay as they were.
  EXPECT_EQ(compiled(cover()), kWhite);
  // Inside a primitive of a list no draw is taken.
  compiled(Stream().add(kBegin, GL_TRIANGLES) + drawArrays(GL_TRIANGLES, 0, 6, 8, floats(kCover)) + Stream().add(kEnd));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  // Instanced draws are none for lists.
  compiled(Stream().add(kDrawArraysInstanced, GL_TRIANGLES, 0, 0, 8, 2));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  expectAlive();
}

// glArrayElement takes its elements from the command and from buffers, and nothing from beyond them.
TEST_F(Arrays, ArrayElementsAreThere) {
  const auto element = [](uint32_t index, const std::vector<uint8_t>& data) {
    std::vector<uint8_t> payload = words({index, static_cast<uint32_t>(data.size())});
    payload += data;
    return Stream().bytes(kArrayElement, payload);
  };
  Stream primitive =
      Stream().add(kVertexPointer, 2, GL_FLOAT, 0, 0x1000, 0).add(kEnableClientState, GL_VERTEX_ARRAY).add(kBegin, GL_TRIANGLES);
  for (uint32_t i = 0; i < 6; ++i) primitive = primitive + element(i, floats({kCover[2 * i], kCover[2 * i + 1]}));
  EXPECT_EQ(draw(primitive.add(kEnd)), kWhite);
  // Positions of a buffer, colours of the command.
  Stream mixed = bufferedCover()
                     .add(kColorPointer, 3, GL_UNSIGNED_BYTE, 0, 0x1000, 0)
                     .add(kEnableClientState, GL_COLOR_ARRAY)
                     .add(kBegin, GL_TRIANGLES);
  for (uint32_t i = 0; i < 6; ++i) mixed = mixed + element(i, {0, 0, 255});
  EXPECT_EQ(draw(mixed.add(kEnd)), kBlue);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
  for (const uint32_t index : {6u, 1000000000u, 0xFFFFFFFFu}) {
    draw(Stream().add(kBegin, GL_TRIANGLES) + element(index, {0, 0, 255}) + Stream().add(kEnd));
    draw(element(index, {0, 0, 255}));
    draw(Stream().add(kNewList, 1, GL_COMPILE).add(kBegin, GL_TRIANGLES) + element(index, {0, 0, 255}) +
         Stream().add(kEnd).add(kEndList).add(kCallList, 1));
  }
  expectPassedOver("do not have the element");
  // Arrays that change inside a primitive count from the next one on.
  draw(Stream().add(kDisableClientState, GL_VERTEX_ARRAY).add(kBegin, GL_TRIANGLES).add(kEnableVertexAttribArray, 0) +
       element(1, {0, 0, 255}) + Stream().add(kVertexAttribIPointer, 0, 4, GL_INT, 0, 0, 5) + element(1, {0, 0, 255}) +
       Stream().add(kEnd));
  draw(Stream().add(kDisableVertexAttribArray, 0).add(kDisableClientState, GL_COLOR_ARRAY));
  expectAlive();
}

// Inside a primitive GL takes none of these commands, and neither does the host.
TEST_F(Arrays, PrimitivesAreLeftAlone) {
  draw(bufferedCover() + buffer(GL_ELEMENT_ARRAY_BUFFER, 6, words({0, 1, 2})));
  draw(Stream().add(kPushClientAttrib, 3));
  Stream inside = Stream().add(kBegin, GL_TRIANGLES);
  inside.add(kBindBuffer, GL_ARRAY_BUFFER, 9)
      .add(kBindBuffer, GL_ELEMENT_ARRAY_BUFFER, 9)
      .add(kDeleteBuffers, 1, 5)
      .add(kBindVertexArray, 3);
  inside.add(kBufferData, GL_ARRAY_BUFFER, 4, 0, GL_STATIC_DRAW, 0).add(kBufferSubData, GL_ARRAY_BUFFER, 0, 4, 1, 4, 7);
  inside.add(kBindBufferBase, GL_UNIFORM_BUFFER, 0, 5)
      .add(kPopClientAttrib)
      .add(kDeleteVertexArrays, 1, 3)
      .add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_ONLY, 4);
  inside.add(kUnmapBuffer, GL_ARRAY_BUFFER, 4, 7)
      .add(kGetBufferSubData, GL_ARRAY_BUFFER, 0, 4)
      .add(kDrawArraysIndirect, GL_POINTS, 0);
  inside = inside + drawArrays(GL_TRIANGLES, 0, 6, 0);
  EXPECT_EQ(draw(inside.add(kEnd)), 0u);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(draw(Stream().add(kBindVertexArray, 0) + drawArrays(GL_TRIANGLES, 0, 6, 0)), kWhite);
  expectAlive();
}

// Each of the commands on buffers is an error inside a primitive.
TEST_F(Arrays, BufferCommandsInsidePrimitivesAreErrors) {
  draw(buffer(GL_ARRAY_BUFFER, 5, words({1, 2})) + buffer(GL_COPY_WRITE_BUFFER, 6, words({3, 4})));
  const Stream commands[] = {Stream().add(kBindBuffer, GL_ARRAY_BUFFER, 9),
                             Stream().add(kBindBuffer, GL_COPY_READ_BUFFER, 9),
                             Stream().add(kDeleteBuffers, 1, 5),
                             Stream().add(kBufferData, GL_ARRAY_BUFFER, 4, 0, GL_STATIC_DRAW, 0),
                             Stream().add(kBufferSubData, GL_ARRAY_BUFFER, 0, 4, 1, 4, 7),
                             Stream().add(kBindBufferBase, GL_UNIFORM_BUFFER, 0, 5),
                             Stream().add(kBindBufferRange, GL_UNIFORM_BUFFER, 0, 5, 0, 4),
                             Stream().add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_ONLY, 4),
                             Stream().add(kUnmapBuffer, GL_ARRAY_BUFFER, 4, 7),
                             Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, 0, 4),
                             Stream().add(kGetBufferParameteriv, GL_ARRAY_BUFFER, GL_BUFFER_SIZE, 1),
                             Stream().add(kCopyBufferSubData, GL_ARRAY_BUFFER, GL_COPY_WRITE_BUFFER, 0, 0, 4),
                             Stream().add(kClearBufferSubData, GL_ARRAY_BUFFER, GL_R8, 0, 4, GL_RED, GL_FLOAT, 0)};
  for (const Stream& one : commands) {
    guest.flush(Stream().add(kBegin, GL_POINTS) + one + Stream().add(kEnd));
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION)) << &one - commands;
    EXPECT_EQ(guest.glError(), 0u);
  }
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, 0, 8), 8), words({1, 2}));
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_COPY_WRITE_BUFFER, 0, 8), 8), words({3, 4}));
}

// A draw of arrays in the program's memory takes nothing from the bound array buffer: commands behind it reach the guest's.
TEST_F(Arrays, DrawsLeaveTheArrayBufferBound) {
  draw(buffer(GL_ARRAY_BUFFER, 5, words({1, 2})));
  draw(cover().add(kBufferSubData, GL_ARRAY_BUFFER, 0, 4, 1, 4, 7));
  EXPECT_EQ(guest.ask(cover().add(kGetBufferSubData, GL_ARRAY_BUFFER, 0, 8), 8), words({7, 2}));
  EXPECT_EQ(guest.ask(cover().add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_ONLY, 8), 8), words({7, 2}));
  draw(cover().add(kBufferData, GL_ARRAY_BUFFER, 4, 1, GL_STATIC_DRAW, 4, 9));
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, 0, 4), 4), words({9}));
  EXPECT_EQ(guest.glError(), 0u);
}

// No buffer can be bound to every target, and deleting none is no error.
TEST_F(Arrays, NoBufferIsAName) {
  guest.context = guest.createContext({GL_DOUBLEBUFFER, GL_VERSION, 430, GL_CONTEXT_PROFILE_MASK, 2, 0}).contextId;
  for (const uint32_t target : {GL_ARRAY_BUFFER, GL_ELEMENT_ARRAY_BUFFER, GL_COPY_READ_BUFFER, GL_UNIFORM_BUFFER}) {
    draw(buffer(target, 5, words({1})));
    draw(Stream().add(kBindBuffer, target, 0).add(kDeleteBuffers, 0));
    EXPECT_EQ(guest.glError(), 0u) << target;
    draw(Stream().add(kBufferSubData, target, 0, 4, 1, 4, 7));
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION)) << target;
  }
  draw(Stream().add(kBindBufferBase, GL_UNIFORM_BUFFER, 0, 5).add(kBindBufferBase, GL_UNIFORM_BUFFER, 0, 0));
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.askFor<int32_t>(Stream().add(kGetIntegeri_v, GL_UNIFORM_BUFFER_BINDING, 0, 1)), 0);
  draw(Stream().add(kDeleteBuffers, -1));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_EQ(guest.ask(Stream().add(kBindBuffer, GL_COPY_READ_BUFFER, 5).add(kGetBufferSubData, GL_COPY_READ_BUFFER, 0, 4), 4),
            words({1}));
}

// The part of a buffer that is bound to an index never exceeds it, before and after its size changes.
TEST_F(Arrays, BoundRangesStayInTheirBuffers) {
  guest.context = guest.createContext({GL_DOUBLEBUFFER, GL_VERSION, 430, GL_CONTEXT_PROFILE_MASK, 2, 0}).contextId;
  const auto size = [&] {
    const std::vector<uint8_t> reply = guest.ask(Stream().add(kGetInteger64i_v, GL_UNIFORM_BUFFER_SIZE, 0, 1), 8);
    uint64_t value = 77;
    if (reply.size() == 8) std::memcpy(&value, reply.data(), 8);
    return value;
  };
  const auto bound = [&] { return guest.askFor<int32_t>(Stream().add(kGetIntegeri_v, GL_UNIFORM_BUFFER_BINDING, 0, 1)); };
  draw(buffer(GL_UNIFORM_BUFFER, 5, std::vector<uint8_t>(1000)));
  draw(Stream().add(kBindBufferRange, GL_UNIFORM_BUFFER, 0, 5, 256, 512));
  EXPECT_EQ(size(), 512u);
  draw(Stream().add(kBindBufferRange, GL_UNIFORM_BUFFER, 0, 5, 256, 0x7FFFFFFF));
  EXPECT_EQ(size(), 744u);
  draw(Stream().add(kBindBufferRange, GL_UNIFORM_BUFFER, 0, 5, 0x7FFFFF00, 16));
  EXPECT_EQ(bound(), 0);
  EXPECT_EQ(guest.glError(), 0u);
  draw(Stream().add(kBindBufferRange, GL_UNIFORM_BUFFER, 0, 5, 0xFFFFFF00, 16));
  EXPECT_EQ(bound(), 0);
  draw(Stream().add(kBindBufferRange, GL_UNIFORM_BUFFER, 0, 5, 256, 0xFFFFFFFF));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  // A shorter store, then a longer one.
  draw(Stream().add(kBindBufferRange, GL_UNIFORM_BUFFER, 0, 5, 256, 512));
  draw(Stream().add(kBufferData, GL_UNIFORM_BUFFER, 300, 0, GL_STATIC_DRAW, 0));
  EXPECT_EQ(size(), 44u);
  EXPECT_NE(bound(), 0);
  draw(Stream().add(kBufferData, GL_UNIFORM_BUFFER, 100, 0, GL_STATIC_DRAW, 0));
  EXPECT_EQ(bound(), 0);
  draw(Stream().add(kBufferData, GL_UNIFORM_BUFFER, 2000, 0, GL_STATIC_DRAW, 0));
  EXPECT_EQ(size(), 512u);
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_UNIFORM_BUFFER, 1996, 4), 4), words({0}));
  // The whole buffer, and none.
  draw(Stream().add(kBindBufferBase, GL_UNIFORM_BUFFER, 0, 5));
  EXPECT_NE(bound(), 0);
  draw(Stream().add(kDeleteBuffers, 1, 5));
  EXPECT_EQ(bound(), 0);
  draw(Stream().add(kBindBufferBase, GL_UNIFORM_BUFFER, 100000, 5));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  draw(Stream().add(kBindBufferOffsetEXT, GL_UNIFORM_BUFFER, 0, 5, 4));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_ENUM));
  expectAlive();
}

// Reads of a buffer reply what it has: a map its bytes from the start, a read its range or nothing.
TEST_F(Arrays, ReadsReplyWhatIsThere) {
  draw(buffer(GL_ARRAY_BUFFER, 5, words({1, 2, 3})));
  EXPECT_EQ(guest.ask(Stream().add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_ONLY, 12), 12), words({1, 2, 3}));
  EXPECT_EQ(guest.ask(Stream().add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_ONLY, 0xFFFFFFFF), 64), words({1, 2, 3}));
  EXPECT_EQ(guest.ask(Stream().add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_ONLY, 8), 64), words({1, 2}));
  EXPECT_TRUE(guest.ask(Stream().add(kMapBuffer, GL_ARRAY_BUFFER, GL_READ_ONLY, 0), 64).empty());
  EXPECT_TRUE(guest.ask(Stream().add(kMapBuffer, GL_COPY_READ_BUFFER, GL_READ_ONLY, 12), 64).empty());
  EXPECT_TRUE(guest.ask(Stream().add(kMapBuffer, 0x1234, GL_READ_ONLY, 12), 64).empty());
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, 4, 8), 64), words({2, 3}));
  EXPECT_EQ(guest.glError(), 0u);
  for (const auto& [offset, bytes] : {std::pair<uint32_t, uint32_t>{4, 12}, {0xFFFFFFFC, 8}, {13, 0}, {0, 0xFFFFFFFF}}) {
    EXPECT_TRUE(guest.ask(Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, offset, bytes), 64).empty());
    EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  }
  EXPECT_TRUE(guest.ask(Stream().add(kGetBufferSubData, GL_COPY_READ_BUFFER, 0, 4), 64).empty());
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  // What comes back from a map takes the buffer's beginning.
  draw(Stream().add(kUnmapBuffer, GL_ARRAY_BUFFER, 8, 7, 8));
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, 0, 12), 12), words({7, 8, 3}));
  draw(Stream().add(kBufferSubData, GL_ARRAY_BUFFER, 8, 8, 1, 8, 9, 9));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  draw(Stream().add(kBufferSubData, GL_ARRAY_BUFFER, 4, 8, 0, 0));
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, 0, 12), 12), words({7, 8, 3}));
}

// Copies and clears do what GL does; a clear value is never looked for behind the command.
TEST_F(Arrays, CopiesAndClears) {
  guest.context = guest.createContext({GL_DOUBLEBUFFER, GL_VERSION, 430, GL_CONTEXT_PROFILE_MASK, 2, 0}).contextId;
  draw(buffer(GL_ARRAY_BUFFER, 5, words({1, 2, 3, 4})) + buffer(GL_COPY_WRITE_BUFFER, 6, words({0, 0, 0, 0})));
  draw(Stream().add(kCopyBufferSubData, GL_ARRAY_BUFFER, GL_COPY_WRITE_BUFFER, 4, 8, 8));
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_COPY_WRITE_BUFFER, 0, 16), 16), words({0, 0, 2, 3}));
  draw(Stream().add(kClearBufferSubData, GL_COPY_WRITE_BUFFER, GL_R32UI, 0, 4, GL_RED_INTEGER, GL_UNSIGNED_INT, 9));
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_COPY_WRITE_BUFFER, 0, 16), 16), words({9, 0, 2, 3}));
  draw(Stream().add(kClearBufferData, GL_COPY_WRITE_BUFFER, GL_R32UI, GL_RED_INTEGER, GL_UNSIGNED_INT, 4, 7));
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_COPY_WRITE_BUFFER, 0, 16), 16), words({7, 7, 7, 7}));
  draw(Stream().add(kClearBufferData, GL_COPY_WRITE_BUFFER, GL_RGBA32UI, GL_RGBA_INTEGER, GL_UNSIGNED_INT, 1, uint8_t{5}));
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_COPY_WRITE_BUFFER, 0, 16), 16), words({5, 0, 0, 0}));
  draw(Stream().add(kClearBufferData, GL_COPY_WRITE_BUFFER, GL_R32UI, GL_RED_INTEGER, GL_UNSIGNED_INT, 0));
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_COPY_WRITE_BUFFER, 0, 4), 4), words({0}));
  EXPECT_EQ(guest.glError(), 0u);
  draw(Stream().add(kCopyBufferSubData, GL_ARRAY_BUFFER, GL_COPY_WRITE_BUFFER, 0xFFFFFFFC, 8, 8));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  // Invalidation only checks.
  draw(Stream().add(2369u, 5).add(2368u, 5, 4, 12));
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(guest.ask(Stream().add(kGetBufferSubData, GL_ARRAY_BUFFER, 0, 16), 16), words({1, 2, 3, 4}));
  draw(Stream().add(2369u, 99));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  draw(Stream().add(2368u, 5, 4, 13));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  expectAlive();
}

// The guest's names are its own: the host's buffers cannot be named, whatever numbers GL gives them.
TEST_F(Arrays, HostBuffersHaveNoNames) {
  draw(cover());
  for (uint32_t name = 1; name < 20; ++name) {
    ASSERT_EQ(guest.flush(Stream().add(kDeleteBuffers, 1, name).add(kBindBuffer, GL_ARRAY_BUFFER, name)), 0);
    ASSERT_EQ(guest.flush(Stream().add(kBufferData, GL_ARRAY_BUFFER, 0, 0, GL_STATIC_DRAW, 0)), 0);
  }
  EXPECT_EQ(draw(cover()), kWhite);
  expectAlive();
}

// The contents of buffers count against a quota: one line, GL_OUT_OF_MEMORY, and the old contents stay; what is freed can be had
// again.
TEST(ArraysQuota, BufferMemoryIsBounded) {
  LogCapture log;
  Quotas quotas;
  quotas.bufferBytes = 1000;
  InProcessGpu gpu(quotas);
  TestGuest guest(gpu);
  ASSERT_TRUE(guest.start(8, 8));
  const auto resize = [&](uint32_t name, uint32_t bytes) {
    EXPECT_EQ(
        guest.flush(
            Stream().add(kBindBuffer, GL_ARRAY_BUFFER, name).add(kBufferData, GL_ARRAY_BUFFER, bytes, 0, GL_STATIC_DRAW, 0)),
        0);
    return guest.glError();
  };
  EXPECT_EQ(resize(1, 600), 0u);
  EXPECT_EQ(resize(2, 400), 0u);
  EXPECT_EQ(resize(3, 1), static_cast<uint32_t>(GL_OUT_OF_MEMORY));
  EXPECT_EQ(resize(2, 401), static_cast<uint32_t>(GL_OUT_OF_MEMORY));
  EXPECT_EQ(resize(1, 0xFFFFFFFF), static_cast<uint32_t>(GL_OUT_OF_MEMORY));
  const std::vector<std::string> lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("over the guest's quota of buffer memory"), std::string::npos) << lines[0];
  EXPECT_EQ(guest.ask(Stream().add(kBindBuffer, GL_ARRAY_BUFFER, 2).add(kGetBufferSubData, GL_ARRAY_BUFFER, 396, 4), 4),
            words({0}));
  EXPECT_EQ(resize(1, 100), 0u);
  EXPECT_EQ(resize(3, 500), 0u);
  EXPECT_EQ(guest.flush(Stream().add(kDeleteBuffers, 1, 3)), 0);
  EXPECT_EQ(resize(4, 500), 0u);
  // A vertex array object that holds on to a deleted buffer holds its memory too.
  EXPECT_EQ(guest.flush(Stream()
                            .add(kBindVertexArray, 1)
                            .add(kVertexPointer, 2, GL_FLOAT, 0, 0, 4)
                            .add(kBindVertexArray, 2)
                            .add(kDeleteBuffers, 1, 4)),
            0);
  EXPECT_EQ(resize(5, 500), static_cast<uint32_t>(GL_OUT_OF_MEMORY));
  EXPECT_EQ(guest.flush(Stream().add(kDeleteVertexArrays, 1, 1)), 0);
  EXPECT_EQ(resize(5, 500), 0u);
}

// Runs of vertices and arrays take turns without disturbing each other, inside one vertex array object and another.
TEST_F(Arrays, RunsAndArraysTakeTurns) {
  std::vector<float> run;
  for (int i = 0; i < 20; ++i) run.insert(run.end(), {0.0f, 0.0f, 1.0f, kCover[2 * (i % 6)], kCover[2 * (i % 6) + 1], 0.0f});
  run.resize(6 * 18);
  const Stream runs = Stream().large(kRunEnded, runPayload(GL_TRIANGLES, {0x3103, 0x3100}, 24, floats(run)));
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(draw(Stream().add(kColor3f, 1.0f, 1.0f, 1.0f) + cover()), kWhite);
    EXPECT_EQ(draw(runs), kBlue);
    EXPECT_EQ(draw(Stream().add(kColor3f, 0.0f, 1.0f, 0.0f).add(kBindVertexArray, 8) + bufferedCover() +
                   drawArrays(GL_TRIANGLES, 0, 6, 0)),
              kGreen);
    EXPECT_EQ(draw(runs), kBlue);
    EXPECT_EQ(draw(Stream().add(kColor3f, 0.0f, 1.0f, 0.0f) + drawArrays(GL_TRIANGLES, 0, 6, 0)), kGreen);
    draw(Stream().add(kBindVertexArray, 0));
  }
  EXPECT_EQ(guest.glError(), 0u);
}

// The host's client attribute stack is in step with the guest's: arrays and image layout come back.
TEST_F(Arrays, ClientStackIsInStep) {
  draw(cover() + Stream().add(kPushClientAttrib, GL_CLIENT_ALL_ATTRIB_BITS));
  draw(Stream().add(kBindVertexArray, 3).add(kEnableClientState, GL_COLOR_ARRAY).add(kClientActiveTexture, GL_TEXTURE3));
  draw(Stream().add(kPopClientAttrib));
  EXPECT_EQ(draw(Stream().add(kColor3f, 0.0f, 1.0f, 0.0f) + drawArrays(GL_TRIANGLES, 0, 6, 8, floats(kCover))), kGreen);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
  EXPECT_EQ(guest.glError(), 0u);
  ASSERT_EQ(guest.flush(Stream().add(kPopClientAttrib)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_STACK_UNDERFLOW));
  Stream pushes;
  for (int i = 0; i < 17; ++i) pushes.add(kPushClientAttrib, 3);
  ASSERT_EQ(guest.flush(pushes), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_STACK_OVERFLOW));
  expectAlive();
}

// Values of attributes: the current one from GL, those of the array as the guest has set them; nothing for an attribute there is
// not.
TEST_F(Arrays, AttributesAnswer) {
  ASSERT_EQ(guest.flush(Stream().add(kVertexAttribIPointer, 3, 2, GL_SHORT, 20, 0x1000, 0).add(568u, 2, 0.5f, 0.25f, 1.0f, 2.0f)),
            0);
  EXPECT_EQ(guest.ask(Stream().add(kGetVertexAttribfv, 2, GL_CURRENT_VERTEX_ATTRIB), 16), floats({0.5f, 0.25f, 1.0f, 2.0f}));
  EXPECT_EQ(guest.ask(Stream().add(kGetVertexAttribIiv, 3, GL_VERTEX_ATTRIB_ARRAY_SIZE), 16), words({2}));
  EXPECT_EQ(guest.ask(Stream().add(kGetVertexAttribIiv, 3, GL_VERTEX_ATTRIB_ARRAY_TYPE), 16), words({GL_SHORT}));
  EXPECT_EQ(guest.ask(Stream().add(kGetVertexAttribIiv, 3, GL_VERTEX_ATTRIB_ARRAY_INTEGER), 16), words({1}));
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_TRUE(guest.ask(Stream().add(kGetVertexAttribfv, 16, GL_CURRENT_VERTEX_ATTRIB), 16).empty());
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_VALUE));
  EXPECT_TRUE(guest.ask(Stream().add(kGetVertexAttribIiv, 16, GL_VERTEX_ATTRIB_ARRAY_SIZE), 16).empty());
  EXPECT_TRUE(guest.ask(Stream().add(kGetVertexAttribIiv, 3, 0x1234), 16).empty());
}

// An array whose pointer call GL lacks is kept in step all the same.
TEST_F(Arrays, ArraysWithoutAFunctionAreKeptInStep) {
  Stream stream = Stream().add(kWeightPointerARB, 1, GL_FLOAT, 0, 0x1000, 0).add(kEnableClientState, GL_WEIGHT_ARRAY_ARB);
  stream.add(kVertexPointer, 2, GL_FLOAT, 0, 0x1000, 0).add(kEnableClientState, GL_VERTEX_ARRAY);
  std::vector<uint8_t> block = floats(kCover);
  block += std::vector<uint8_t>(24, 0);
  EXPECT_EQ(draw(stream + drawArrays(GL_TRIANGLES, 0, 6, 12, block)), kWhite);
  EXPECT_EQ(guest.glError(), 0u);
  draw(Stream().add(kDisableClientState, GL_WEIGHT_ARRAY_ARB));
  expectAlive();
}

// Without a vertex array object a core context draws nothing and says so, and with one it does.
TEST_F(Arrays, CoreContextsNeedAnObject) {
  guest.context = guest.createContext({GL_DOUBLEBUFFER, GL_VERSION, 330, GL_CONTEXT_PROFILE_MASK, 1, 0}).contextId;
  const Stream arrays = buffer(GL_ARRAY_BUFFER, 5, floats(kCover))
                            .add(kVertexAttribPointer, 0, 2, GL_FLOAT, 0, 0, 0, 5)
                            .add(kEnableVertexAttribArray, 0);
  draw(arrays + drawArrays(GL_TRIANGLES, 0, 6, 0));
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  ASSERT_EQ(guest.flush(Stream().add(kBindVertexArray, 78).add(kBindBuffer, GL_ELEMENT_ARRAY_BUFFER, 5)), 0);
  EXPECT_EQ(guest.glError(), 0u);
  draw(Stream().add(kBindVertexArray, 77) + arrays + drawArrays(GL_TRIANGLES, 0, 6, 0));
  draw(Stream().add(kDeleteVertexArrays, 1, 77) + drawArrays(GL_TRIANGLES, 0, 6, 0));
  draw(cover());
}

// Data of instances: each element serves as many instances as the divisor says. What comes with the draw begins with the first
// instance that is drawn, whatever the base instance; what lies in a buffer is counted from there.
TEST_F(Arrays, InstancesHaveTheirElements) {
  const auto at = [](int pixel) { return (static_cast<float>(pixel) + 0.5f) / 16.0f - 1.0f; };
  const auto lit = [&](const Stream& stream) {
    draw(stream);
    std::vector<uint32_t> columns;
    for (uint32_t x = 0; x < 32; ++x) {
      if ((guest.surface->pixel(x, 16) & 0xFFFFFF) != 0) columns.push_back(x);
    }
    return columns;
  };
  std::vector<float> places;
  for (const int pixel : {2, 5, 9, 14, 20, 27}) places.insert(places.end(), {at(pixel), at(15)});
  const std::vector<uint8_t> all = floats(places), three = {all.begin(), all.begin() + 24};
  std::vector<uint8_t> section = words({32, 1, 24, 0});
  section += three;
  Stream memory = Stream().add(kVertexAttribPointer, 0, 2, GL_FLOAT, 0, 0, 0x1000, 0).add(kVertexAttribDivisor, 0, 2);
  memory.add(kEnableVertexAttribArray, 0);
  const auto based = [&](uint32_t instances, uint32_t base, uint32_t flags, const std::vector<uint8_t>& tail) {
    return drawElements(kDrawArraysInstancedBaseInstance, {GL_POINTS, 0, 1, instances, base, flags}, tail);
  };
  using Columns = std::vector<uint32_t>;
  EXPECT_EQ(lit(memory + drawElements(kDrawArraysInstanced, {GL_POINTS, 0, 1, 0x10000, 5}, section)), (Columns{2, 5, 9}));
  for (const uint32_t base : {0u, 3u, 1000u}) {
    EXPECT_EQ(lit(based(5, base, 0x10000, section)), (Columns{2, 5, 9})) << base;
    std::vector<uint8_t> tail = {0};
    tail += section;
    const Stream elements = drawElements(kDrawElementsInstancedBaseVertexBaseInstance,
                                         {GL_POINTS, 1, GL_UNSIGNED_BYTE, 1, 5, 0, base, 0, 0x10000, 1, 0, 0}, tail);
    EXPECT_EQ(lit(elements), (Columns{2, 5, 9})) << base;
  }
  std::vector<uint8_t> tail = {0};
  tail += words({5});
  tail += section;
  EXPECT_EQ(lit(drawElements(kDrawElementsInstanced, {GL_POINTS, 1, GL_UNSIGNED_BYTE, 1, 0, 0x10000, 1, 0, 0}, tail)),
            (Columns{2, 5, 9}));
  const Stream stored = buffer(GL_ARRAY_BUFFER, 5, all).add(kVertexAttribPointer, 0, 2, GL_FLOAT, 0, 0, 0, 5);
  EXPECT_EQ(lit(stored + based(5, 3, 0, {})), (Columns{14, 20, 27}));
  EXPECT_EQ(lit(based(4, 0, 0, {})), (Columns{2, 5}));
  EXPECT_EQ(lit(Stream().add(kVertexAttribDivisor, 0, 1) + based(4, 1, 0, {})), (Columns{5, 9, 14, 20}));
  EXPECT_EQ(lit(drawElements(kDrawArraysInstanced, {GL_POINTS, 0, 1, 0, 2}, {})), (Columns{2, 5}));
  EXPECT_EQ(lit(Stream().add(kVertexAttribDivisor, 0, 0) + drawElements(kDrawArraysInstanced, {GL_POINTS, 1, 3, 0, 2}, {})),
            (Columns{5, 9, 14}));
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

// A name that was never generated is a vertex array object that draws, in a core context, too.
TEST_F(Arrays, AnyNameDrawsInACoreContext) {
  guest.context = guest.createContext({GL_DOUBLEBUFFER, GL_VERSION, 330, GL_CONTEXT_PROFILE_MASK, 1, 0}).contextId;
  const uint32_t program =
      linked("#version 330\nlayout(location = 0) in vec2 at; void main() { gl_Position = vec4(at, 0.0, 1.0); }",
             "#version 330\nout vec4 color; void main() { color = vec4(0.0, 1.0, 0.0, 1.0); }");
  const Stream arrays = buffer(GL_ARRAY_BUFFER, 5, floats(kCover))
                            .add(kVertexAttribPointer, 0, 2, GL_FLOAT, 0, 0, 0, 5)
                            .add(kEnableVertexAttribArray, 0);
  EXPECT_EQ(draw(Stream().add(kUseProgram, program).add(kBindVertexArray, 77) + arrays + drawArrays(GL_TRIANGLES, 0, 6, 0)),
            kGreen);
  EXPECT_EQ(draw(Stream().add(kBindVertexArray, 78) + drawArrays(GL_TRIANGLES, 0, 6, 0)), 0u);
  EXPECT_EQ(draw(Stream().add(kBindVertexArray, 77) + drawArrays(GL_TRIANGLES, 0, 6, 0)), kGreen);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(draw(Stream().add(kDeleteVertexArrays, 1, 77) + drawArrays(GL_TRIANGLES, 0, 6, 0)), 0u);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  // Objects that come and go while they are bound: GL may give a name again.
  for (uint32_t name = 100; name < 104; ++name) {
    EXPECT_EQ(
        draw(Stream().add(kBindVertexArray, name) + arrays + drawArrays(GL_TRIANGLES, 0, 6, 0).add(kDeleteVertexArrays, 1, name)),
        kGreen);
    EXPECT_EQ(guest.glError(), 0u);
  }
}

// What the host takes for a format that can be drawn GL takes, too, at the call and at the draw; what it takes for none GL
// refuses.
TEST_F(Arrays, FormatsAreThoseOfOpenGL) {
  guest.context = guest.createContext({GL_DOUBLEBUFFER, GL_VERSION, 430, GL_CONTEXT_PROFILE_MASK, 2, 0}).contextId;
  ASSERT_EQ(guest.flush(buffer(GL_ARRAY_BUFFER, 5, std::vector<uint8_t>(4096)).add(kBindVertexArray, 1)), 0);
  guest.glError();
  std::vector<std::string> wrong;
  const auto check = [&](uint32_t row, Stream call, uint32_t size, GLenum type, uint32_t stride, bool normalized, bool integer,
                         bool wide) {
    const bool drawable = isDrawableFormat(row, size, type, stride, normalized, integer, wide);
    EXPECT_EQ(guest.flush(call), 0);
    const uint32_t atCall = guest.glError();
    EXPECT_EQ(guest.flush(drawArrays(GL_POINTS, 0, 1, 0)), 0);
    const uint32_t atDraw = guest.glError();
    // Of GL_BGRA in conventional arrays the host takes less than GL, as the guest does.
    const bool strict = size == GL_BGRA && row < kArrayKinds;
    if (atDraw == 0 && (drawable ? atCall == 0 : atCall != 0 || strict)) return;
    wrong.push_back("row " + std::to_string(row) + " size " + std::to_string(size) + " type " + std::to_string(type) +
                    " stride " + std::to_string(stride) + " kind " + std::to_string(normalized + 2 * integer + 4 * wide) + ": " +
                    std::to_string(drawable) + ", errors " + std::to_string(atCall) + " and " + std::to_string(atDraw));
  };
  const GLenum types[] = {GL_BYTE,
                          GL_UNSIGNED_BYTE,
                          GL_SHORT,
                          GL_UNSIGNED_SHORT,
                          GL_INT,
                          GL_UNSIGNED_INT,
                          GL_FLOAT,
                          0x1407,
                          GL_DOUBLE,
                          GL_HALF_FLOAT,
                          GL_FIXED,
                          GL_INT_2_10_10_10_REV,
                          GL_UNSIGNED_INT_2_10_10_10_REV,
                          GL_UNSIGNED_INT_10F_11F_11F_REV,
                          0x1234};
  const std::pair<uint32_t, uint32_t> sized[] = {{kArrayVertex, kVertexPointer},
                                                 {kArrayColor, kColorPointer},
                                                 {kArraySecondaryColor, kSecondaryColorPointer},
                                                 {kArrayTexCoord0, kTexCoordPointer}};
  const std::pair<uint32_t, uint32_t> typed[] = {
      {kArrayNormal, kNormalPointer}, {kArrayFogCoord, kFogCoordPointer}, {kArrayIndex, kIndexPointer}};
  Stream enable;
  for (const uint32_t array : {GL_VERTEX_ARRAY, GL_NORMAL_ARRAY, GL_COLOR_ARRAY, GL_SECONDARY_COLOR_ARRAY, GL_FOG_COORD_ARRAY,
                               GL_INDEX_ARRAY, GL_TEXTURE_COORD_ARRAY})
    enable.add(kEnableClientState, array);
  for (const uint32_t opcode : {kVertexPointer, kColorPointer, kTexCoordPointer}) enable.add(opcode, 3, GL_FLOAT, 0, 0, 5);
  for (const uint32_t opcode : {kNormalPointer, kFogCoordPointer, kIndexPointer}) enable.add(opcode, GL_FLOAT, 0, 0, 5);
  enable.add(kSecondaryColorPointer, 3, GL_FLOAT, 0, 0, 5)
      .add(kEnableVertexAttribArray, 0)
      .add(kVertexAttribPointer, 0, 3, GL_FLOAT, 0, 0, 0, 5);
  ASSERT_EQ(guest.flush(enable), 0);
  for (const GLenum type : types) {
    for (const uint32_t stride : {0u, 2048u, 0xFFFFFFF4u}) {
      for (const auto& [row, opcode] : typed)
        check(row, Stream().add(opcode, type, stride, 0, 5), 3, type, stride, false, false, false);
      for (const uint32_t size : {0u, 1u, 2u, 3u, 4u, 5u, static_cast<uint32_t>(GL_BGRA)}) {
        for (const auto& [row, opcode] : sized)
          check(row, Stream().add(opcode, size, type, stride, 0, 5), size, type, stride, false, false, false);
        for (const uint32_t normalized : {0u, 1u}) {
          check(kArrayKinds, Stream().add(kVertexAttribPointer, 0, size, type, normalized, stride, 0, 5), size, type, stride,
                normalized != 0, false, false);
        }
        check(kArrayKinds, Stream().add(kVertexAttribIPointer, 0, size, type, stride, 0, 5), size, type, stride, false, true,
              false);
        check(kArrayKinds, Stream().add(kVertexAttribLPointer, 0, size, type, stride, 0, 5), size, type, stride, false, false,
              true);
      }
    }
  }
  EXPECT_EQ(wrong, std::vector<std::string>{});
}

std::atomic<bool> refusing{false};
decltype(gl.glColorPointer) realColorPointer = nullptr;
void APIENTRY refuseColorPointer(GLint size, GLenum type, GLsizei stride, const void* pointer) {
  realColorPointer(size, refusing && size == 3 ? 0x1234 : type, stride, pointer);
}

// An array that GL refuses lets go of the buffer that it had before: when that is deleted GL would take the offset in it for an
// address.
TEST_F(Arrays, RefusedArraysLetGoOfTheirBuffers) {
  const std::vector<uint8_t> zeros(4096);
  const auto tryRow = [&](uint32_t array, const Stream& good, const Stream& bad, uint32_t error) {
    SCOPED_TRACE(array);
    Stream stream = buffer(GL_ARRAY_BUFFER, 7, zeros) + buffer(GL_ARRAY_BUFFER, 6, zeros) + bufferedCover();
    draw(stream.add(kEnableClientState, array) + good + drawArrays(GL_TRIANGLES, 0, 6, 0));
    EXPECT_EQ(guest.glError(), 0u);
    refusing = true;
    draw(bad);
    EXPECT_EQ(guest.glError(), error);
    refusing = false;
    draw(Stream().add(kDeleteBuffers, 1, 6) + bad);
    draw(bad);
    draw(Stream().add(kDeleteBuffers, 1, 7) + drawArrays(GL_TRIANGLES, 0, 6, 0));
    draw(Stream().add(kDisableClientState, array).add(kDisable, GL_LIGHTING).add(kColor3f, 1.0f, 1.0f, 1.0f));
    expectAlive();
  };
  guest.flush(Stream().add(kEnable, GL_LIGHTING).add(kEnable, GL_LIGHT0));
  tryRow(GL_NORMAL_ARRAY, Stream().add(kNormalPointer, GL_FLOAT, 0, 0x40, 6),
         Stream().add(kNormalPointer, GL_INT_2_10_10_10_REV, 0, 0x40, 7) + drawArrays(GL_TRIANGLES, 0, 6, 0),
         GL_INVALID_OPERATION);
  realColorPointer = std::exchange(gl.glColorPointer, refuseColorPointer);
  const Stream good = Stream().add(kColorPointer, 4, GL_FLOAT, 0, 0x40, 6);
  guest.flush(Stream().add(kBindVertexArray, 0));
  tryRow(GL_COLOR_ARRAY, good, Stream().add(kColorPointer, 3, GL_FLOAT, 0, 0x40, 7) + drawArrays(GL_TRIANGLES, 0, 6, 0),
         GL_INVALID_ENUM);
  guest.flush(Stream().add(kBindVertexArray, 0));
  // The same with data that come along.
  const Stream kept = Stream().add(kColorPointer, 3, GL_UNSIGNED_BYTE, 0, 0x1000, 0);
  tryRow(GL_COLOR_ARRAY, good, kept + drawArrays(GL_TRIANGLES, 0, 6, 3, std::vector<uint8_t>(18, 99)), GL_INVALID_ENUM);
  gl.glColorPointer = realColorPointer;
}

// Texture coordinates of every client unit go to that unit, out of memory and of a buffer, and so does their switch.
TEST_F(Arrays, TextureCoordinatesHaveTheirUnits) {
  const uint32_t program = linked(
      "#version 120\nvoid main() { gl_Position = gl_Vertex; gl_FrontColor = gl_MultiTexCoord3 + gl_MultiTexCoord6 - "
      "gl_MultiTexCoord0; }",
      "#version 120\nvoid main() { gl_FragColor = vec4(gl_Color.rgb, 1.0); }");
  const auto unit = [](uint32_t number) { return Stream().add(kClientActiveTexture, GL_TEXTURE0 + number); };
  std::vector<float> red, blue;
  for (int i = 0; i < 6; ++i) {
    red.insert(red.end(), {1, 0, 0});
    blue.insert(blue.end(), {0, 0, 1});
  }
  Stream stream = Stream().add(kUseProgram, program).add(kVertexPointer, 2, GL_FLOAT, 0, 0x1000, 0);
  stream.add(kEnableClientState, GL_VERTEX_ARRAY);
  stream.data += (unit(3).add(kTexCoordPointer, 3, GL_FLOAT, 0, 0x1000, 0).add(kEnableClientState, GL_TEXTURE_COORD_ARRAY)).data;
  std::vector<uint8_t> block = floats(kCover);
  block += floats(red);
  EXPECT_EQ(draw(stream + drawArrays(GL_TRIANGLES, 0, 6, 20, block)), kRed);
  Stream both = buffer(GL_ARRAY_BUFFER, 5, floats(blue)) + unit(6);
  both.add(kTexCoordPointer, 3, GL_FLOAT, 0, 0, 5).add(kEnableClientState, GL_TEXTURE_COORD_ARRAY);
  EXPECT_EQ(draw(both + unit(0) + drawArrays(GL_TRIANGLES, 0, 6, 20, block)), kRed | kBlue);
  EXPECT_EQ(draw(unit(3).add(kDisableClientState, GL_TEXTURE_COORD_ARRAY) + drawArrays(GL_TRIANGLES, 0, 6, 8, floats(kCover))),
            kBlue);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

// glArrayElement finds the data of each array in its command, those of instances behind all others, and takes attribute 0 for the
// position when there is one.
TEST_F(Arrays, ArrayElementsTakeTheirDataApart) {
  const auto primitive = [](const Stream& arrays, uint32_t flags, const std::function<std::vector<uint8_t>(uint32_t)>& data) {
    Stream all = arrays;
    all.add(kBegin, GL_TRIANGLES);
    for (uint32_t i = 0; i < 6; ++i) {
      std::vector<uint8_t> payload = words({i, flags});
      payload += data(i);
      all.bytes(kArrayElement, payload);
    }
    return all.add(kEnd);
  };
  const auto corner = [](uint32_t i) { return floats({kCover[2 * i], kCover[2 * i + 1]}); };
  const std::vector<uint8_t> blue = {0, 0, 255};
  const Stream positions = Stream().add(kVertexPointer, 2, GL_FLOAT, 0, 0x1000, 0).add(kEnableClientState, GL_VERTEX_ARRAY);
  const Stream colors = Stream().add(kColorPointer, 3, GL_UNSIGNED_BYTE, 0, 0x1000, 0).add(kEnableClientState, GL_COLOR_ARRAY);
  EXPECT_EQ(draw(primitive(positions + colors, 11,
                           [&](uint32_t i) {
                             std::vector<uint8_t> data = corner(i);
                             data += blue;
                             return data;
                           })),
            kBlue);
  const Stream attribute = Stream().add(kVertexAttribPointer, 0, 2, GL_FLOAT, 0, 0, 0x1000, 0).add(kEnableVertexAttribArray, 0);
  EXPECT_EQ(draw(primitive(attribute, 19,
                           [&](uint32_t i) {
                             std::vector<uint8_t> data = floats({9, 9});
                             data += blue;
                             data += corner(i);
                             return data;
                           })),
            kBlue);
  // The position is that of an instance, and so is an attribute that nothing uses.
  const Stream instances = Stream()
                               .add(kDisableClientState, GL_VERTEX_ARRAY)
                               .add(kVertexAttribDivisor, 0, 3)
                               .add(kVertexAttribPointer, 5, 1, GL_FLOAT, 0, 0, 0x1000, 0)
                               .add(kVertexAttribDivisor, 5, 1)
                               .add(kEnableVertexAttribArray, 5);
  EXPECT_EQ(draw(primitive(instances, 0x10003,
                           [&](uint32_t i) {
                             std::vector<uint8_t> data = blue;
                             data += words({20, 1, 12, 0});
                             data += corner(i);
                             data += floats({7});
                             return data;
                           })),
            kBlue);
  EXPECT_EQ(guest.glError(), 0u);
  EXPECT_EQ(log.take(), std::vector<std::string>{});
}

std::atomic<int> stores{0};
void APIENTRY countBufferData(GLenum target, GLsizeiptr bytes, const void* data, GLenum usage) {
  ++stores;
  storeBytes = bytes;
  realBufferData(target, bytes, data, usage);
}

// Blocks that grow bit by bit up to the usual room stay in it; a larger store is kept as long as draws need it.
TEST_F(Arrays, RoomIsKeptWhileItIsNeeded) {
  const auto block = [](uint32_t vertices) {
    std::vector<uint8_t> payload = words({GL_TRIANGLES, 0, vertices, 16});
    payload += floats(std::vector<float>(4 * vertices, 9));
    return Stream().large(kDrawArrays, payload);
  };
  const Stream four = Stream().add(kVertexPointer, 4, GL_FLOAT, 0, 0x1000, 0).add(kEnableClientState, GL_VERTEX_ARRAY);
  draw(four + block(3));
  realBufferData = std::exchange(gl.glBufferData, countBufferData);
  for (uint32_t vertices = 30; vertices < 65000; vertices += vertices / 2) draw(block(vertices));
  EXPECT_EQ(stores, 0);
  const Stream large = block(66000);
  for (int i = 0; i < 260; ++i) ASSERT_EQ(guest.flush(large), 0);
  EXPECT_EQ(stores, 1);
  EXPECT_GE(storeBytes, 66000 * 16);
  gl.glBufferData = realBufferData;
  EXPECT_EQ(draw(cover()), kWhite);
  EXPECT_EQ(guest.glError(), 0u);
}

}  // namespace
}  // namespace qv::peer::test
