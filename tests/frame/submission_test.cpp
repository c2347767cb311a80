// Surfaces, submissions and the paging fence.
#include <string_view>

#include "driver/host/display_formats.h"
#include "driver/host/render_submission.h"
#include "driver/host/surface_allocation.h"
#include "tests/frame/frame_test.h"

namespace qv::test {
namespace {

class SubmissionTest : public MachineTest {
 protected:
  Surface create(uint32_t width, uint32_t height) {
    Surface surface;
    EXPECT_EQ(CreateSurfaceAllocation(windowSurfaceDescriptor(), width, height, surface), 0);
    return surface;
  }
  uint32_t pitchOf(uint32_t width) {
    Surface surface = create(width, 3);
    sim::GpuAllocation allocation;
    EXPECT_TRUE(sim::findSurface(surface.allocation, &allocation));
    EXPECT_EQ(allocation.width, width);
    EXPECT_EQ(allocation.height, 3u);
    EXPECT_EQ(allocation.size, allocation.pitch * 3);
    DestroySurfaceAllocation(surface);
    return allocation.pitch;
  }
};

// Rows of a surface are multiples of 64 bytes.
TEST_F(SubmissionTest, PitchIsAMultipleOf64) {
  ASSERT_EQ(attach(), 1);
  EXPECT_EQ(pitchOf(1), 64u);
  EXPECT_EQ(pitchOf(16), 64u);
  EXPECT_EQ(pitchOf(17), 128u);
  EXPECT_EQ(pitchOf(640), 2560u);
}

// The descriptor of a back buffer has these bytes, with both pools.
TEST_F(SubmissionTest, DescriptorHasItsBytes) {
  for (const uint32_t pool : {3u, 4u}) {
    sim::setAdapterCaps(pool == 4 ? 1u << 28 : 0);
    ASSERT_EQ(attach(), 1);
    const SurfaceDescriptor descriptor = windowSurfaceDescriptor();
    std::vector<uint8_t> expected = bytesOfWords({7, pool, 0, 0, 1, 0, 0, 0, 0, 33025});
    expected.resize(108);
    const uint8_t* const bytes = reinterpret_cast<const uint8_t*>(&descriptor);
    EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 108), expected);
    detach();
  }
}

// Every row of the format table gives its format; the first of two rows with one format wins.
TEST_F(SubmissionTest, DisplayFormatsFollowTheTable) {
  const std::pair<uint32_t, uint32_t> rows[] = {
      {22, 7},          {21, 0},          {33, 9},           {32, 2},          {31, 77},         {35, 80},
      {20, 10},         {23, 16},         {30, 17},          {26, 18},         {24, 19},         {25, 20},
      {27, 21},         {41, 27},         {827611204, 101},  {844388420, 103}, {861165636, 103}, {877942852, 105},
      {894720068, 105}, {826889281, 107}, {843666497, 109},  {81, 66},         {50, 28},         {51, 29},
      {52, 30},         {28, 26},         {75, 34},          {1515474505, 35}, {77, 36},         {80, 61},
      {71, 38},         {74, 31},         {76, 39},          {60, 13},         {61, 45},         {62, 46},
      {63, 5},          {114, 48},        {115, 51},         {116, 57},        {111, 60},        {112, 67},
      {113, 72},        {34, 68},         {36, 73},          {844715353, 85},  {1498831189, 86}, {842094169, 87},
      {1448433985, 91}, {842094158, 88},  {825382478, 89},   {100, 115},       {101, 116},       {102, 117},
      {199, 118},       {64, 70},         {1280070990, 119}, {875710020, 43},  {909198916, 44}};
  for (const auto& [d3d, id] : rows) EXPECT_EQ(displayFormatId(d3d), id) << d3d;
  EXPECT_EQ(displayFormatId(1), 142u);
  EXPECT_EQ(displayFormatId(0), 142u);
  EXPECT_EQ(surfaceBytesPerPixel(7), 4u);
}

// The end word of a new surface is submitted with its lists.
TEST_F(SubmissionTest, EndWordHasItsLists) {
  ASSERT_EQ(attach(), 1);
  Surface surface = create(20, 20);
  sim::setSubmissionLog(true);
  void* const before = Host.commandBuffer;
  submitEndWord(surface.allocation);
  ASSERT_EQ(sim::submissions().size(), 1u);
  const sim::Submission submission = sim::submissions()[0];
  EXPECT_EQ(submission.words, std::vector<uint32_t>{65640});
  ASSERT_EQ(submission.allocations.size(), 2u);
  EXPECT_EQ(submission.allocations[0].hAllocation, 0u);
  EXPECT_EQ(submission.allocations[0].Flags, 0u);
  EXPECT_EQ(submission.allocations[1].hAllocation, surface.allocation);
  EXPECT_EQ(submission.allocations[1].Flags, 0u);
  ASSERT_EQ(submission.patches.size(), 1u);
  const D3DDDI_PATCHLOCATIONLIST& row = submission.patches[0];
  EXPECT_EQ((std::vector<uint32_t>{row.AllocationIndex, row.Slot, row.DriverId, row.AllocationOffset, row.PatchOffset,
                                   row.SplitOffset}),
            (std::vector<uint32_t>{1, 23, surface.allocation, 0, 0, 0}));
  EXPECT_EQ(submission.flags, 0u);
  EXPECT_EQ(submission.token, 0u);
  EXPECT_NE(Host.commandBuffer, before);  // the next submission writes where the kernel said
  DestroySurfaceAllocation(surface);
}

// With residency a submission has no lists.
TEST_F(SubmissionTest, EndWordHasNoListsWithResidency) {
  sim::setResidency(true);
  ASSERT_EQ(attach(), 1);
  Surface surface = create(20, 20);
  sim::setSubmissionLog(true);
  submitEndWord(surface.allocation);
  const sim::Submission submission = sim::submissions().at(0);
  EXPECT_EQ(submission.words, std::vector<uint32_t>{65640});
  EXPECT_TRUE(submission.allocations.empty());
  EXPECT_TRUE(submission.patches.empty());
  DestroySurfaceAllocation(surface);
}

// A surface is made and given back by these calls, in both models.
TEST_F(SubmissionTest, SurfaceIsMadeAndGivenBack) {
  ASSERT_EQ(attach(), 1);
  startTrace();
  Surface surface = create(8, 8);
  EXPECT_EQ(surface.fence, 0u);
  expectCalls({"D3DKMTCreateAllocation"});
  DestroySurfaceAllocation(surface);
  expectCalls({"D3DKMTDestroyAllocation"});
  EXPECT_EQ(surface.resource, 0u);
  EXPECT_EQ(surface.allocation, 0u);
  detach();
  sim::setResidency(true);
  ASSERT_EQ(attach(), 1);
  sim::clearTrace();
  surface = create(8, 8);
  EXPECT_NE(surface.fence, 0u);
  expectCalls({"D3DKMTCreateAllocation", "D3DKMTMakeResident"});
  DestroySurfaceAllocation(surface);
  expectCalls({"D3DKMTEvict", "D3DKMTDestroyAllocation"});
}

// A surface that cannot be made resident is undone, and the caller's places stay as they were.
TEST_F(SubmissionTest, RefusedResidencyUndoesTheSurface) {
  sim::setResidency(true);
  ASSERT_EQ(attach(), 1);
  sim::failCall("D3DKMTMakeResident", 1, static_cast<NTSTATUS>(0xC0000017));
  Surface surface{5, 6, 7};
  EXPECT_EQ(CreateSurfaceAllocation(windowSurfaceDescriptor(), 8, 8, surface), static_cast<NTSTATUS>(0xC0000017));
  EXPECT_EQ(surface.resource, 5u);
  EXPECT_EQ(surface.allocation, 6u);
  EXPECT_EQ(surface.fence, 7u);
  EXPECT_EQ(sim::liveCounts().resources, 0u);
  sim::failCall("D3DKMTCreateAllocation", 1, static_cast<NTSTATUS>(0xC0000017));
  EXPECT_EQ(CreateSurfaceAllocation(windowSurfaceDescriptor(), 8, 8, surface), static_cast<NTSTATUS>(0xC0000017));
  EXPECT_EQ(surface.resource, 5u);
}

// A wait is made once per value, only for what is still pending, and again after a failure.
TEST_F(SubmissionTest, PagingFenceIsWaitedForOnce) {
  sim::setResidency(true);
  ASSERT_EQ(attach(), 1);
  const char* const wait = "D3DKMTWaitForSynchronizationObjectFromGpu";
  Surface done = create(8, 8);
  WaitForPagingFence(done.fence);
  EXPECT_EQ(sim::callCount(wait), 0u);
  EXPECT_EQ(Host.lastWaitedFence, 0u);

  sim::setPagingHeld(true);
  Surface pending = create(8, 8);
  ASSERT_GT(pending.fence, done.fence);
  sim::failCall(wait, 1, static_cast<NTSTATUS>(0xC0000001));
  WaitForPagingFence(pending.fence);
  EXPECT_EQ(sim::callCount(wait), 1u);
  EXPECT_EQ(Host.lastWaitedFence, 0u);
  WaitForPagingFence(pending.fence);
  EXPECT_EQ(sim::callCount(wait), 2u);
  EXPECT_EQ(Host.lastWaitedFence, pending.fence);
  WaitForPagingFence(pending.fence);
  WaitForPagingFence(done.fence);
  EXPECT_EQ(sim::callCount(wait), 2u);
  sim::completePaging();
  sim::setPagingHeld(false);
  DestroySurfaceAllocation(done);
  DestroySurfaceAllocation(pending);
}

// A system that lacks a function of residency is done without it: surfaces that need it are refused, and all else goes on.
TEST_F(SubmissionTest, MissingThunksAreDoneWithout) {
  sim::setResidency(true);
  for (const char* const name :
       {"D3DKMTMakeResident", "D3DKMTEvict", "D3DKMTWaitForSynchronizationObjectFromGpu", "D3DKMTCreatePagingQueue",
        "D3DKMTDestroyPagingQueue", "D3DKMTRegisterTrimNotification", "D3DKMTUnregisterTrimNotification"}) {
    SCOPED_TRACE(name);
    const PROC thunk = GetProcAddress(GetModuleHandleW(u"Gdi32.dll"), name);
    sim::removeExport(u"Gdi32.dll", name);
    ASSERT_EQ(attach(), 1);
    sim::setPagingHeld(true);
    Surface surface;
    const NTSTATUS status = CreateSurfaceAllocation(windowSurfaceDescriptor(), 8, 8, surface);
    if (std::string_view(name) == "D3DKMTMakeResident") {
      EXPECT_EQ(status, static_cast<NTSTATUS>(0xC000007A));
    }
    WaitForPagingFence(1000000);
    if (surface.resource != 0) DestroySurfaceAllocation(surface);
    sim::completePaging();
    sim::setPagingHeld(false);
    detach();
    EXPECT_EQ(sim::describe(sim::liveCounts()), sim::describe(sim::LiveCounts{}));
    sim::registerExportAddress(u"Gdi32.dll", name, thunk);
  }
}

// Outside residency there is nothing to wait for.
TEST_F(SubmissionTest, NothingIsWaitedForWithoutResidency) {
  ASSERT_EQ(attach(), 1);
  WaitForPagingFence(1000);
  EXPECT_EQ(sim::callCount("D3DKMTWaitForSynchronizationObjectFromGpu"), 0u);
}

}  // namespace
}  // namespace qv::test
