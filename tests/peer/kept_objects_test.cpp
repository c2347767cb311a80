// Quotas count what OpenGL keeps: objects that are deleted stay where they are bound or attached, and so does their memory;
// renderbuffers and display lists count as well.
#include <gtest/gtest.h>

#include "peer/host/in_process_gpu.h"
#include "tests/peer/test_guest.h"

namespace qv::peer::test {
namespace {

constexpr uint32_t kActiveTexture = 374;
constexpr uint32_t kNoError = GL_NO_ERROR, kOutOfMemory = GL_OUT_OF_MEMORY;

// Quotas of one object each: a buffer or list of 600 bytes, a texture or renderbuffer of 64 x 64.
Quotas small() {
  Quotas quotas;
  quotas.bufferBytes = 1000;
  quotas.textureBytes = quotas.renderbufferBytes = 64 * 64 * 4 + 4096;
  return quotas;
}

class KeptObjects : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(guest.start(8, 8));
    other.context = other.createContext().contextId;
    other.window = guest.window;
    other.width = other.height = 8;
    ShareContextsPacket packet;
    packet.firstId = guest.context;
    packet.secondId = other.context;
    ASSERT_EQ(guest.send(packet), 0);
    done(Stream());
    done(Stream(), other);
  }
  static void done(const Stream& stream, TestGuest& by) {
    ASSERT_EQ(by.flush(stream), 0);
    EXPECT_EQ(by.glError(), kNoError);
  }
  void done(const Stream& stream) { done(stream, guest); }

  // Each gives an object its memory and tells the error.
  uint32_t buffer(uint32_t name, uint32_t bytes = 600) {
    EXPECT_EQ(guest.flush(Stream()
                              .add(kBindBuffer, GL_COPY_WRITE_BUFFER, name)
                              .add(kBufferData, GL_COPY_WRITE_BUFFER, bytes, 0, GL_STATIC_DRAW, 0)
                              .add(kBindBuffer, GL_COPY_WRITE_BUFFER, 0)),
              0);
    return guest.glError();
  }
  uint32_t texture(uint32_t name) {
    EXPECT_EQ(guest.flush(Stream()
                              .add(kBindTexture, GL_TEXTURE_2D, name)
                              .bytes(kTexImage2D, words({GL_TEXTURE_2D, 0, GL_RGBA8, 64, 64, 0, GL_RGBA, GL_UNSIGNED_BYTE, 0, 0}))
                              .add(kBindTexture, GL_TEXTURE_2D, 0)),
              0);
    return guest.glError();
  }
  uint32_t renderbuffer(uint32_t name, uint32_t format = GL_RGBA8) {
    EXPECT_EQ(guest.flush(Stream()
                              .add(kBindRenderbuffer, GL_RENDERBUFFER, name)
                              .add(kRenderbufferStorage, GL_RENDERBUFFER, format, 64, 64)
                              .add(kBindRenderbuffer, GL_RENDERBUFFER, 0)),
              0);
    return guest.glError();
  }
  uint32_t framebuffer() { return guest.askFor<uint32_t>(Stream().add(kGenFramebuffers, 1)); }
  uint32_t renderbufferName() { return guest.askFor<uint32_t>(Stream().add(kGenRenderbuffers, 1)); }

  LogCapture log;
  InProcessGpu gpu{small()};
  TestGuest guest{gpu}, other{gpu};
};

// A buffer that a texture shows lives as long as the texture.
TEST_F(KeptObjects, BuffersOfTextures) {
  ASSERT_EQ(buffer(1), kNoError);
  done(Stream().add(kBindTexture, GL_TEXTURE_BUFFER, 5).add(kTexBuffer, GL_TEXTURE_BUFFER, GL_RGBA8, 1));
  done(Stream().add(kBindTexture, GL_TEXTURE_BUFFER, 0).add(kDeleteBuffers, 1, 1));
  EXPECT_EQ(buffer(2), kOutOfMemory);
  done(Stream().add(kDeleteTextures, 1, 5));
  EXPECT_EQ(buffer(2), kNoError);
  // The texture shows another one instead.
  done(
      Stream().add(kBindTexture, GL_TEXTURE_BUFFER, 6).add(kTexBuffer, GL_TEXTURE_BUFFER, GL_RGBA8, 2).add(kDeleteBuffers, 1, 2));
  EXPECT_EQ(buffer(3), kOutOfMemory);
  done(Stream().add(kTexBuffer, GL_TEXTURE_BUFFER, GL_RGBA8, 0));
  EXPECT_EQ(buffer(3), kNoError);
}

// A buffer of a transform feedback object that is not bound lives as long as the object. Each object has buffers of its own.
TEST_F(KeptObjects, BuffersOfTransformFeedbacks) {
  ASSERT_EQ(buffer(1), kNoError);
  done(Stream()
           .add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 1)
           .add(kBindBufferBase, GL_TRANSFORM_FEEDBACK_BUFFER, 0, 1)
           .add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 2)
           .add(kBindBuffer, GL_TRANSFORM_FEEDBACK_BUFFER, 0)
           .add(kDeleteBuffers, 1, 1));
  EXPECT_EQ(buffer(2), kOutOfMemory);
  done(Stream().add(kDeleteTransformFeedbacks, 1, 1));
  EXPECT_EQ(buffer(2), kNoError);
  // The one that is bound loses its buffer with the buffer's name.
  done(Stream()
           .add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 3)
           .add(kBindBufferBase, GL_TRANSFORM_FEEDBACK_BUFFER, 0, 2)
           .add(kDeleteBuffers, 1, 2));
  EXPECT_EQ(buffer(3), kNoError);
}

// A range that one transform feedback object has of a buffer is not given to another one when the buffer gets another store.
TEST_F(KeptObjects, RangesStayWithTheirTransformFeedback) {
  ASSERT_EQ(buffer(1, 400), kNoError);
  done(Stream()
           .add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 1)
           .add(kBindBufferRange, GL_TRANSFORM_FEEDBACK_BUFFER, 0, 1, 0, 400)
           .add(kBindTransformFeedback, GL_TRANSFORM_FEEDBACK, 2));
  ASSERT_EQ(buffer(1, 200), kNoError);
  constexpr uint32_t kGetIntegeri = 2050;
  EXPECT_EQ(guest.ask(Stream().add(kGetIntegeri, GL_TRANSFORM_FEEDBACK_BUFFER_BINDING, 0, 1), 4), words({0}));
}

// A buffer that another context has bound, at a target or an index, lives until that context binds another one there.
TEST_F(KeptObjects, BuffersThatOtherContextsHaveBound) {
  ASSERT_EQ(buffer(1), kNoError);
  done(Stream().add(kBindBuffer, GL_COPY_READ_BUFFER, 1), other);
  done(Stream().add(kDeleteBuffers, 1, 1));
  EXPECT_EQ(buffer(2), kOutOfMemory);
  done(Stream().add(kBindBuffer, GL_COPY_READ_BUFFER, 0), other);
  EXPECT_EQ(buffer(2), kNoError);
  done(Stream().add(kBindBufferBase, GL_UNIFORM_BUFFER, 3, 2), other);
  done(Stream().add(kBindBuffer, GL_UNIFORM_BUFFER, 0), other);
  done(Stream().add(kDeleteBuffers, 1, 2));
  EXPECT_EQ(buffer(3), kOutOfMemory);
  done(Stream().add(kBindBufferBase, GL_UNIFORM_BUFFER, 3, 0).add(kBindBuffer, GL_UNIFORM_BUFFER, 0), other);
  EXPECT_EQ(buffer(3), kNoError);
}

// A store of which another context has a part bound lives on when the buffer gets a smaller one.
TEST_F(KeptObjects, StoresThatOtherContextsHaveBound) {
  ASSERT_EQ(buffer(1), kNoError);
  done(Stream().add(kBindBufferRange, GL_UNIFORM_BUFFER, 3, 1, 0, 600), other);
  ASSERT_EQ(buffer(1, 10), kNoError);
  EXPECT_EQ(buffer(2), kOutOfMemory);
  done(Stream().add(kBindBufferBase, GL_UNIFORM_BUFFER, 3, 0), other);
  EXPECT_EQ(buffer(2), kNoError);
}

// A vertex array of GL's holds the buffer that a draw gave it until a draw gives it another one, whatever the guest sets
// meanwhile.
TEST_F(KeptObjects, BuffersOfVertexArraysAsGlHasThem) {
  ASSERT_EQ(buffer(1), kNoError);
  done(Stream()
           .add(kBindVertexArray, 7)
           .add(kVertexPointer, 2, GL_FLOAT, 0, 0, 1)
           .add(kEnableClientState, GL_VERTEX_ARRAY)
           .bytes(kDrawArrays, words({GL_POINTS, 0, 1, 0}))
           .add(kVertexPointer, 2, GL_FLOAT, 0, 0, 0)
           .add(kBindVertexArray, 0)
           .add(kDeleteBuffers, 1, 1));
  EXPECT_EQ(buffer(2), kOutOfMemory);
  done(Stream().add(kDeleteVertexArrays, 1, 7));
  EXPECT_EQ(buffer(2), kNoError);
}

// A texture lives as long as a framebuffer that has it, but for framebuffers that its deleter has bound.
TEST_F(KeptObjects, TexturesOfFramebuffers) {
  ASSERT_EQ(texture(1), kNoError);
  const uint32_t name = framebuffer();
  const auto attach = [&](uint32_t texture, uint32_t target) {
    return Stream()
        .add(kBindFramebuffer, GL_FRAMEBUFFER, name)
        .add(kFramebufferTexture2D, GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, target, texture, 0);
  };
  done(attach(1, GL_TEXTURE_2D).add(kBindFramebuffer, GL_FRAMEBUFFER, 0).add(kDeleteTextures, 1, 1));
  EXPECT_EQ(texture(2), kOutOfMemory);
  done(Stream().add(kBindFramebuffer, GL_FRAMEBUFFER, name).add(kBindFramebuffer, GL_FRAMEBUFFER, 0));
  EXPECT_EQ(texture(2), kOutOfMemory);
  // An attachment that is refused changes nothing.
  ASSERT_EQ(guest.flush(attach(2, GL_TEXTURE_3D).add(kBindFramebuffer, GL_FRAMEBUFFER, 0)), 0);
  EXPECT_EQ(guest.glError(), static_cast<uint32_t>(GL_INVALID_OPERATION));
  EXPECT_EQ(texture(2), kOutOfMemory);
  done(attach(0, GL_TEXTURE_2D));
  EXPECT_EQ(texture(2), kNoError);
  done(attach(2, GL_TEXTURE_2D).add(kDeleteTextures, 1, 2));
  EXPECT_EQ(texture(3), kNoError);
  // A framebuffer that is deleted lives on where another context has it bound.
  done(attach(3, GL_TEXTURE_2D), other);
  done(Stream().add(kBindFramebuffer, GL_FRAMEBUFFER, 0).add(kDeleteTextures, 1, 3).add(kDeleteFramebuffers, 1, name));
  EXPECT_EQ(texture(4), kOutOfMemory);
  done(Stream().add(kBindFramebuffer, GL_FRAMEBUFFER, 0), other);
  EXPECT_EQ(texture(4), kNoError);
}

// A texture that another context has bound to a unit or an image unit, or that an attribute stack has saved, lives on.
TEST_F(KeptObjects, TexturesThatAreBoundElsewhere) {
  ASSERT_EQ(texture(1), kNoError);
  done(Stream().add(kActiveTexture, GL_TEXTURE3).add(kBindTexture, GL_TEXTURE_2D, 1).add(kActiveTexture, GL_TEXTURE0), other);
  done(Stream().add(kBindTexture, GL_TEXTURE_2D, 0), other);
  done(Stream().add(kDeleteTextures, 1, 1));
  EXPECT_EQ(texture(2), kOutOfMemory);
  done(Stream().add(kActiveTexture, GL_TEXTURE3).add(kBindTexture, GL_TEXTURE_2D, 0), other);
  EXPECT_EQ(texture(2), kNoError);
  constexpr uint32_t kBindImageTexture = 2339;
  const auto image = [](uint32_t texture) {
    return Stream().add(kBindImageTexture, 1, texture, 0, 0, 0, GL_READ_ONLY, GL_RGBA8);
  };
  done(image(2), other);
  done(Stream().add(kDeleteTextures, 1, 2));
  EXPECT_EQ(texture(3), kOutOfMemory);
  done(image(0), other);
  EXPECT_EQ(texture(3), kNoError);
  done(Stream()
           .add(kBindTexture, GL_TEXTURE_2D, 3)
           .add(kPushAttrib, GL_TEXTURE_BIT)
           .add(kBindTexture, GL_TEXTURE_2D, 0)
           .add(kDeleteTextures, 1, 3));
  EXPECT_EQ(texture(4), kOutOfMemory);
  done(Stream().add(kPopAttrib).add(kBindTexture, GL_TEXTURE_2D, 0));
  EXPECT_EQ(texture(4), kNoError);
}

// A texture that was bound once neither lives on for that, nor is its name taken for the same texture when it is another's: each
// context binds what the name stands for now.
TEST_F(KeptObjects, TexturesThatWereBoundOnce) {
  const auto widthIn = [](TestGuest& by) {
    return by.askFor<uint32_t>(
        Stream().add(kBindTexture, GL_TEXTURE_2D, 1).add(kGetTexLevelParameteriv, GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH));
  };
  ASSERT_EQ(texture(1), kNoError);
  EXPECT_EQ(widthIn(other), 64u);
  EXPECT_EQ(widthIn(other), 64u);
  done(Stream().add(kBindTexture, GL_TEXTURE_2D, 0), other);
  EXPECT_EQ(texture(2), kOutOfMemory);
  done(Stream().add(kDeleteTextures, 1, 1));
  EXPECT_EQ(texture(2), kNoError);
  EXPECT_EQ(widthIn(other), 0u);
  done(Stream().add(kBindTexture, GL_TEXTURE_2D, 0).add(kDeleteTextures, 2, 1, 2), other);
  EXPECT_EQ(texture(1), kNoError);
  EXPECT_EQ(widthIn(other), 64u);
  // The new one, too, lives on where it is bound.
  done(Stream().add(kDeleteTextures, 1, 1));
  EXPECT_EQ(texture(2), kOutOfMemory);
  done(Stream().add(kBindTexture, GL_TEXTURE_2D, 0), other);
  EXPECT_EQ(texture(2), kNoError);
}

// The texture of which there is a view lives as long as the view.
TEST_F(KeptObjects, TexturesOfViews) {
  done(Stream().add(kBindTexture, GL_TEXTURE_2D, 1).add(kTexStorage2D, GL_TEXTURE_2D, 1, GL_RGBA8, 64, 64));
  done(Stream().add(kTextureView, 2, GL_TEXTURE_2D, 1, GL_RGBA8, 0, 1, 0, 1).add(kDeleteTextures, 1, 1));
  EXPECT_EQ(texture(3), kOutOfMemory);
  // A view of the view shows the same.
  done(Stream().add(kTextureView, 4, GL_TEXTURE_2D, 2, GL_RGBA8, 0, 1, 0, 1).add(kDeleteTextures, 1, 2));
  EXPECT_EQ(texture(3), kOutOfMemory);
  done(Stream().add(kDeleteTextures, 1, 4));
  EXPECT_EQ(texture(3), kNoError);
}

// Renderbuffers count: one line, GL_OUT_OF_MEMORY, and the storage stays as it was. What GL refuses counts for nothing.
TEST_F(KeptObjects, RenderbufferMemoryIsBounded) {
  const uint32_t first = renderbufferName(), second = renderbufferName();
  ASSERT_EQ(renderbuffer(first), kNoError);
  EXPECT_EQ(renderbuffer(first), kNoError);
  log.take();
  EXPECT_EQ(renderbuffer(second), kOutOfMemory);
  EXPECT_EQ(renderbuffer(first, GL_RGBA32F), kOutOfMemory);
  const std::vector<std::string> lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("over the guest's quota of renderbuffer memory"), std::string::npos) << lines[0];
  constexpr uint32_t kGetRenderbufferParameteriv = 1540;
  EXPECT_EQ(guest.askFor<uint32_t>(Stream()
                                       .add(kBindRenderbuffer, GL_RENDERBUFFER, first)
                                       .add(kGetRenderbufferParameteriv, GL_RENDERBUFFER, GL_RENDERBUFFER_INTERNAL_FORMAT)),
            static_cast<uint32_t>(GL_RGBA8));
  done(Stream().add(kDeleteRenderbuffers, 1, first));
  EXPECT_EQ(renderbuffer(second, GL_TEXTURE_2D), static_cast<uint32_t>(GL_INVALID_ENUM));
  const uint32_t third = renderbufferName();
  ASSERT_EQ(renderbuffer(third), kNoError);
  // Samples count.
  constexpr uint32_t kRenderbufferStorageMultisample = 1553;
  done(Stream().add(kDeleteRenderbuffers, 1, third));
  ASSERT_EQ(guest.flush(Stream()
                            .add(kBindRenderbuffer, GL_RENDERBUFFER, second)
                            .add(kRenderbufferStorageMultisample, GL_RENDERBUFFER, 4, GL_RGBA8, 64, 64)),
            0);
  EXPECT_EQ(guest.glError(), kOutOfMemory);
}

// A renderbuffer lives as long as a framebuffer that has it, and where another context has it bound.
TEST_F(KeptObjects, RenderbuffersOfFramebuffers) {
  const uint32_t first = renderbufferName(), second = renderbufferName(), third = renderbufferName();
  const uint32_t name = framebuffer();
  ASSERT_EQ(renderbuffer(first), kNoError);
  done(Stream()
           .add(kBindFramebuffer, GL_FRAMEBUFFER, name)
           .add(kFramebufferRenderbuffer, GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_RENDERBUFFER, first)
           .add(kBindFramebuffer, GL_FRAMEBUFFER, 0)
           .add(kDeleteRenderbuffers, 1, first));
  EXPECT_EQ(renderbuffer(second), kOutOfMemory);
  done(Stream().add(kDeleteFramebuffers, 1, name));
  EXPECT_EQ(renderbuffer(second), kNoError);
  done(Stream().add(kBindRenderbuffer, GL_RENDERBUFFER, second), other);
  done(Stream().add(kDeleteRenderbuffers, 1, second));
  EXPECT_EQ(renderbuffer(third), kOutOfMemory);
  done(Stream().add(kBindRenderbuffer, GL_RENDERBUFFER, 0), other);
  EXPECT_EQ(renderbuffer(third), kNoError);
}

// --- display lists ---

class ListQuota : public testing::Test {
 protected:
  static Quotas small() {
    Quotas quotas;
    quotas.listBytes = 200 * 1024;
    return quotas;
  }
  void SetUp() override { ASSERT_TRUE(guest.start(8, 8)); }
  // A list of about so many KiB that sets the viewport's width last.
  uint32_t define(uint32_t name, uint32_t kilobytes, uint32_t mode = GL_COMPILE) {
    Stream stream;
    stream.add(kNewList, name, mode);
    for (uint32_t i = 0; i < kilobytes * 64; ++i) stream.add(kColor3f, 1.0f, 1.0f, 1.0f);  // 16 bytes each
    stream.add(kViewport, 0, 0, 70 + name, 5);
    // In two flushes, as long lists come.
    EXPECT_EQ(guest.flush(stream), 0);
    EXPECT_EQ(guest.flush(Stream().add(kEndList)), 0);
    return guest.glError();
  }
  uint32_t widthAfter(uint32_t list) {
    const std::vector<uint8_t> viewport =
        guest.ask(Stream().add(kViewport, 0, 0, 1, 1).add(kCallList, list).add(kGetIntegerv, GL_VIEWPORT, 4u), 16);
    return viewport.size() == 16 ? viewport[8] : 0;
  }
  LogCapture log;
  InProcessGpu gpu{small()};
  TestGuest guest{gpu};
};

// What lists have recorded counts: a list too long ends where there is no more room, with GL_OUT_OF_MEMORY and one line; what is
// defined anew or deleted makes room.
TEST_F(ListQuota, ListMemoryIsBounded) {
  EXPECT_EQ(define(1, 100), kNoError);
  EXPECT_EQ(define(2, 60), kNoError);
  EXPECT_EQ(define(3, 60), kOutOfMemory);
  EXPECT_EQ(define(4, 60, GL_COMPILE_AND_EXECUTE), kOutOfMemory);
  const std::vector<std::string> lines = log.take();
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("over the guest's quota of memory for display lists"), std::string::npos) << lines[0];
  EXPECT_EQ(widthAfter(1), 71u);
  EXPECT_EQ(widthAfter(2), 72u);
  EXPECT_EQ(widthAfter(3), 1u);
  EXPECT_EQ(guest.flush(Stream().add(kDeleteLists, 3, 2)), 0);
  EXPECT_EQ(define(1, 20), kNoError);
  EXPECT_EQ(define(3, 60), kNoError);
  EXPECT_EQ(widthAfter(3), 73u);
  EXPECT_EQ(guest.flush(Stream().add(kDeleteLists, 1, 3)), 0);
  EXPECT_EQ(define(5, 190), kNoError);
  EXPECT_EQ(widthAfter(5), 75u);
}

// A list counts even if it is empty.
TEST_F(ListQuota, ManyListsCount) {
  Stream stream;
  for (uint32_t name = 1; name <= 1000; ++name) stream.add(kNewList, name, GL_COMPILE).add(kEndList);
  ASSERT_EQ(guest.flush(stream), 0);
  EXPECT_EQ(guest.glError(), kOutOfMemory);
}

}  // namespace
}  // namespace qv::peer::test
