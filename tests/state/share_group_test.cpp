// Share groups, the names given out by the guest, and deferred deletes.
#include "driver/objects/share_group.h"

#include <atomic>
#include <thread>

#include "driver/objects/tracked_object.h"
#include "driver/state/shared_objects.h"
#include "harness.h"

namespace qv::test {
namespace {

class ShareGroupTest : public StateTest {
 protected:
  NameTable& textures() { return c->shareGroup->table(ShareSlot::kTextures); }
  // What a first glBindTexture does to the table.
  void bindFirst(GLuint name) {
    const ShareLock held(c->shareGroup);
    textures().set(name, new LabelRecord);
  }
};

int destroyedObjects = 0;
struct Watched final : TrackedObject {
  ~Watched() override { ++destroyedObjects; }
};

// A new group has eleven empty tables and no user beyond the first.
TEST_F(ShareGroupTest, StartsWithElevenEmptyTables) {
  EXPECT_EQ(kShareSlots, 11u);
  for (NameTable* const table : c->shareGroup->tables) {
    EXPECT_EQ(table->count, 0);
    EXPECT_EQ(table->capacity, 256u);
  }
  EXPECT_EQ(c->shareGroup->refCount, 0);
}

// The slots have these numbers, which are also the order of teardown.
TEST_F(ShareGroupTest, SlotsHaveTheirNumbers) {
  const ShareSlot slots[] = {
      ShareSlot::kFramebuffers, ShareSlot::kRenderbuffers, ShareSlot::kSamplers, ShareSlot::kTransformFeedbacks,
      ShareSlot::kTextures,     ShareSlot::kSyncs,         ShareSlot::kBuffers,  ShareSlot::kPrograms,
      ShareSlot::kPipelines,    ShareSlot::kShaders,       ShareSlot::kLists};
  for (uint32_t number = 0; number < 11; ++number) {
    EXPECT_EQ(static_cast<uint32_t>(slots[number]), number);
    EXPECT_EQ(&c->shareGroup->table(slots[number]), c->shareGroup->tables[number]);
  }
}

// The lock lets its owner in again and keeps others out.
TEST_F(ShareGroupTest, LockIsRecursiveAndExclusive) {
  ShareGroup group;
  std::atomic<bool> entered{false};
  std::thread other;
  {
    const ShareLock outer(&group);
    const ShareLock inner(&group);
    other = std::thread([&] {
      EnterCriticalSection(&group.lock);
      entered = true;
      LeaveCriticalSection(&group.lock);
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(entered);
  }
  other.join();
  EXPECT_TRUE(entered);
}

std::vector<uint32_t> teardown;
template <uint32_t Slot>
void noteTeardown(void* object) {
  EXPECT_EQ(object, &teardown);
  teardown.push_back(Slot);
}

// The end of a group clears its tables in the order of their slots, each in its own way.
TEST_F(ShareGroupTest, TablesGoInTheOrderOfTheirSlots) {
  teardown.clear();
  auto* const group = new ShareGroup;
  constexpr NameTable::Destroy kNotes[] = {noteTeardown<0>, noteTeardown<1>, noteTeardown<2>, noteTeardown<3>,
                                           noteTeardown<4>, noteTeardown<5>, noteTeardown<6>, noteTeardown<7>,
                                           noteTeardown<8>, noteTeardown<9>, noteTeardown<10>};
  for (uint32_t slot = 0; slot < kShareSlots; ++slot) {
    group->tables[slot]->set(1, &teardown);
    group->tables[slot]->destroy = kNotes[slot];
  }
  releaseShareGroup(group);
  EXPECT_EQ(teardown, (std::vector<uint32_t>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

// A context that is alone in its group keeps it when it is to join itself.
TEST_F(ShareGroupTest, JoiningItselfChangesNothing) {
  destroyedObjects = 0;
  ShareGroup* const group = c->shareGroup;
  group->table(ShareSlot::kBuffers).set(1, static_cast<TrackedObject*>(new Watched));
  joinGroup(c.get(), c.get());
  EXPECT_EQ(destroyedObjects, 0);
  EXPECT_EQ(c->shareGroup, group);
  EXPECT_EQ(group->refCount, 0);
}

// Joining moves a context to the source's group; its own group dies if it was alone in it.
TEST_F(ShareGroupTest, JoinMovesAndDestroysTheOldGroup) {
  destroyedObjects = 0;
  GlContext second(1, 450, 1);
  second.shareGroup->table(ShareSlot::kBuffers).set(1, static_cast<TrackedObject*>(new Watched));
  joinGroup(&second, c.get());
  EXPECT_EQ(destroyedObjects, 1);
  EXPECT_EQ(second.shareGroup, c->shareGroup);
  EXPECT_EQ(c->shareGroup->refCount, 1);
  joinGroup(&second, &second);
  joinGroup(&second, c.get());  // again: it leaves and enters the same group
  EXPECT_EQ(c->shareGroup->refCount, 1);
}

// A group outlives all contexts but the last, in either order of destruction.
TEST_F(ShareGroupTest, GroupDiesWithItsLastContext) {
  for (const bool firstGoesFirst : {true, false}) {
    destroyedObjects = 0;
    auto first = std::make_unique<GlContext>(1, 450, 1);
    auto second = std::make_unique<GlContext>(1, 450, 1);
    joinGroup(second.get(), first.get());
    first->shareGroup->table(ShareSlot::kBuffers).set(1, static_cast<TrackedObject*>(new Watched));
    (firstGoesFirst ? first : second).reset();
    EXPECT_EQ(destroyedObjects, 0);
    (firstGoesFirst ? second : first).reset();
    EXPECT_EQ(destroyedObjects, 1);
  }
}

// Leaving a group that others still use keeps its objects.
TEST_F(ShareGroupTest, JoinLeavesASharedGroupAlive) {
  destroyedObjects = 0;
  GlContext a(1, 450, 1), b(1, 450, 1);
  joinGroup(&b, &a);
  a.shareGroup->table(ShareSlot::kBuffers).set(1, static_cast<TrackedObject*>(new Watched));
  joinGroup(&b, c.get());
  EXPECT_EQ(destroyedObjects, 0);
  EXPECT_EQ(a.shareGroup->refCount, 0);
  EXPECT_EQ(c->shareGroup->refCount, 1);
}

// --- names ---

// The six calls that make names write nothing and leave their number in lastOpcode.
TEST_F(ShareGroupTest, GenCallsWriteNothing) {
  GLuint names[2] = {};
  gl::glGenBuffers(2, names);
  EXPECT_EQ(c->lastOpcode, kGenBuffers);
  gl::glGenTextures(2, names);
  EXPECT_EQ(c->lastOpcode, kGenTextures);
  gl::glGenTransformFeedbacks(2, names);
  EXPECT_EQ(c->lastOpcode, kGenTransformFeedbacks);
  EXPECT_EQ(gl::glGenLists(2), 1u);
  EXPECT_EQ(c->lastOpcode, kGenLists);
  gl::glGenVertexArrays(2, names);
  EXPECT_EQ(c->lastOpcode, kGenVertexArrays);
  gl::glGenQueries(2, names);
  EXPECT_EQ(c->lastOpcode, kGenQueries);
  EXPECT_EQ(names[0], 1u);
  EXPECT_EQ(names[1], 2u);
  EXPECT_EQ(c->cursor, c->base);
  EXPECT_EQ(c->recordedError, 0u);
  EXPECT_EQ(c->vertexArrayTable.count, 2);
  EXPECT_EQ(c->queryTable.count, 2);
  for (const ShareSlot slot : {ShareSlot::kBuffers, ShareSlot::kTextures, ShareSlot::kTransformFeedbacks, ShareSlot::kLists}) {
    EXPECT_EQ(c->shareGroup->table(slot).count, 2);
  }
}

// A count of 0 or below, or no array, is an error for each of them.
TEST_F(ShareGroupTest, GenCallsRefuseBadCounts) {
  GLuint name = 77;
  using Gen = void (*)(GLsizei, GLuint*);
  for (const Gen gen : {Gen{gl::glGenBuffers}, Gen{gl::glGenTextures}, Gen{gl::glGenTransformFeedbacks},
                        Gen{gl::glGenVertexArrays}, Gen{gl::glGenQueries}}) {
    for (const GLsizei n : {0, -1}) {
      gen(n, &name);
      EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
    }
    gen(1, nullptr);
    EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  }
  EXPECT_EQ(name, 77u);
  EXPECT_EQ(gl::glGenLists(0), 0u);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
  EXPECT_EQ(gl::glGenLists(-5), 0u);
  EXPECT_EQ(takeError(), GL_INVALID_OPERATION);
}

// Without a current context the calls write nothing and answer false.
TEST_F(ShareGroupTest, CallsWithoutAContextDoNothing) {
  makeCurrent(nullptr);
  GLuint name = 77;
  gl::glGenBuffers(1, &name);
  gl::glGenQueries(1, &name);
  EXPECT_EQ(name, 77u);
  EXPECT_EQ(gl::glIsTexture(1), GL_FALSE);
  EXPECT_EQ(gl::glIsBuffer(1), GL_FALSE);
  EXPECT_EQ(gl::glIsVertexArray(1), GL_FALSE);
  EXPECT_EQ(gl::glIsQuery(1), GL_FALSE);
}

// Buffers, lists, vertex arrays and queries exist from their generation.
TEST_F(ShareGroupTest, FourKindsExistFromTheirGeneration) {
  GLuint name = 0;
  gl::glGenBuffers(1, &name);
  EXPECT_EQ(gl::glIsBuffer(name), GL_TRUE);
  EXPECT_EQ(c->lastOpcode, kIsBuffer);
  EXPECT_EQ(gl::glIsBuffer(name + 1), GL_FALSE);
  EXPECT_EQ(gl::glIsList(1), GL_FALSE);
  EXPECT_EQ(gl::glGenLists(1), 1u);
  EXPECT_EQ(gl::glIsList(1), GL_TRUE);
  gl::glGenVertexArrays(1, &name);
  EXPECT_EQ(gl::glIsVertexArray(name), GL_TRUE);
  EXPECT_EQ(c->lastOpcode, kIsVertexArray);
  gl::glGenQueries(1, &name);
  EXPECT_EQ(gl::glIsQuery(name), GL_TRUE);
  EXPECT_EQ(c->lastOpcode, kIsQuery);
  EXPECT_EQ(gl::glIsQuery(0), GL_FALSE);
  EXPECT_EQ(c->cursor, c->base);
}

// Transform feedback objects exist from their first bind.
TEST_F(ShareGroupTest, TransformFeedbacksExistFromTheirFirstBind) {
  GLuint name = 0;
  gl::glGenTransformFeedbacks(1, &name);
  EXPECT_EQ(gl::glIsTransformFeedback(name), GL_FALSE);
  EXPECT_EQ(c->lastOpcode, kIsTransformFeedback);
  c->shareGroup->table(ShareSlot::kTransformFeedbacks).set(name, new LabelRecord);
  EXPECT_EQ(gl::glIsTransformFeedback(name), GL_TRUE);
}

// A bound texture stays known after its delete until the next flush.
TEST_F(ShareGroupTest, DeletedTextureLivesUntilTheFlush) {
  GLuint texture = 0;
  gl::glGenTextures(1, &texture);
  EXPECT_EQ(gl::glIsTexture(texture), GL_FALSE);
  EXPECT_EQ(c->lastOpcode, kIsTexture);
  bindFirst(texture);
  EXPECT_EQ(gl::glIsTexture(texture), GL_TRUE);
  call<op::glDeleteTextures>(GLsizei{1}, static_cast<const GLuint*>(&texture));
  EXPECT_EQ(gl::glIsTexture(texture), GL_TRUE);
  EXPECT_EQ(c->deferredDeletes.count, 1u);
  ASSERT_EQ(pending().size(), 1u);
  EXPECT_EQ(pending()[0].opcode, kDeleteTextures);
  EXPECT_EQ(pending()[0].words, (std::vector<uint32_t>{1, texture}));
  flushStream(c.get(), 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(c->deferredDeletes.count, 0u);
  EXPECT_EQ(gl::glIsTexture(texture), GL_FALSE);
  EXPECT_EQ(textures().count, 0);
}

// The names go when the host has the stream, and not before.
TEST_F(ShareGroupTest, NamesAreReleasedAfterTheSubmit) {
  GLuint texture = 0;
  gl::glGenTextures(1, &texture);
  bindFirst(texture);
  call<op::glDeleteTextures>(GLsizei{1}, static_cast<const GLuint*>(&texture));
  size_t seen = 0;
  host.onSubmit = [&](const Submission&) {
    ++seen;
    EXPECT_TRUE(textures().contains(texture));
    EXPECT_EQ(c->deferredDeletes.count, 1u);
  };
  flushStream(c.get(), 0, nullptr, 0, nullptr, 0);
  host.onSubmit = nullptr;
  EXPECT_EQ(seen, 1u);
  EXPECT_FALSE(textures().contains(texture));
}

// A bind between the delete and the flush does not save the texture; the binding keeps the name.
TEST_F(ShareGroupTest, BindDoesNotSaveADeletedTexture) {
  GLuint texture = 0;
  gl::glGenTextures(1, &texture);
  call<op::glBindTexture>(GLenum{GL_TEXTURE_2D}, texture);
  call<op::glDeleteTextures>(GLsizei{1}, static_cast<const GLuint*>(&texture));
  call<op::glBindTexture>(GLenum{GL_TEXTURE_3D}, texture);
  EXPECT_EQ(gl::glIsTexture(texture), GL_TRUE);
  flushStream(c.get(), 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(gl::glIsTexture(texture), GL_FALSE);
  GLint bound = 0;
  gl::glGetIntegerv(GL_TEXTURE_BINDING_3D, &bound);
  EXPECT_EQ(static_cast<GLuint>(bound), texture);
}

// A name that was never bound is free again at once.
TEST_F(ShareGroupTest, DeletingAnUnboundTextureFreesItsNameAtOnce) {
  GLuint texture = 0, again = 0;
  gl::glGenTextures(1, &texture);
  call<op::glDeleteTextures>(GLsizei{1}, static_cast<const GLuint*>(&texture));
  EXPECT_EQ(c->deferredDeletes.count, 0u);
  gl::glGenTextures(1, &again);
  EXPECT_EQ(again, texture);
}

// The list of deferred names doubles from 32, a name may stand in it twice, and one flush releases all.
TEST_F(ShareGroupTest, DeferredListGrows) {
  EXPECT_EQ(c->deferredDeletes.capacity, 32u);
  std::vector<GLuint> names(40);
  gl::glGenTextures(40, names.data());
  for (const GLuint name : names) bindFirst(name);
  {
    const ShareLock held(c->shareGroup);
    for (const GLuint name : names) deferTextureDelete(c.get(), name);
    deferTextureDelete(c.get(), names[3]);
    deferTextureDelete(c.get(), 4711);  // unknown
  }
  EXPECT_EQ(c->deferredDeletes.count, 41u);
  EXPECT_EQ(c->deferredDeletes.capacity, 64u);
  flushStream(c.get(), 0, nullptr, 0, nullptr, 0);
  EXPECT_EQ(textures().count, 0);
  EXPECT_EQ(c->deferredDeletes.capacity, 64u);
}

// Names of the kinds that the host gives out come from its reply into the caller's array.
TEST_F(ShareGroupTest, HostNamesComeInTheReply) {
  host.answer<uint32_t>(3, {11, 12, 13});
  GLuint names[3] = {};
  call<op::glGenFramebuffers>(GLsizei{3}, static_cast<GLuint*>(names));
  EXPECT_EQ(host.last().opcode, kGenFramebuffers);
  EXPECT_EQ(host.last().words, (std::vector<uint32_t>{3}));
  EXPECT_EQ(host.submissions.back().replySize, 12u);
  EXPECT_EQ(names[2], 13u);
  EXPECT_EQ(c->shareGroup->table(ShareSlot::kFramebuffers).count, 0);
}

}  // namespace
}  // namespace qv::test
