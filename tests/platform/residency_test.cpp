// Paging queues and fences, residency of surfaces, trim notifications.
#include <thread>

#include "tests/platform/simulated_test.h"

namespace qv::test {

namespace {

template <class Function>
Function thunk(const char* name) {
  return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(u"Gdi32.dll"), name)));
}

}  // namespace

class ResidencyTest : public DeviceTest {
 protected:
  void SetUp() override {
    DeviceTest::SetUp();
    sim::setResidency(true);
    bringUp();
    D3DKMT_CREATEPAGINGQUEUE create{};
    create.hDevice = device;
    ASSERT_EQ(thunk<PFND3DKMT_CREATEPAGINGQUEUE>("D3DKMTCreatePagingQueue")(&create), 0);
    queue = create.hPagingQueue;
    sync = create.hSyncObject;
    fence = static_cast<volatile UINT64*>(create.FenceValueCPUVirtualAddress);
  }
  NTSTATUS makeResident(D3DKMT_HANDLE allocation, UINT64* value) {
    D3DDDI_MAKERESIDENT request{};
    request.hPagingQueue = queue;
    request.NumAllocations = 1;
    request.AllocationList = &allocation;
    request.Flags = 3;
    NTSTATUS status = thunk<PFND3DKMT_MAKERESIDENT>("D3DKMTMakeResident")(&request);
    *value = request.PagingFenceValue;
    return status;
  }
  NTSTATUS wait(UINT64 value) {
    D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU request{};
    request.hContext = context;
    request.ObjectCount = 1;
    request.ObjectHandleArray = &sync;
    request.MonitoredFenceValueArray = &value;
    return thunk<PFND3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU>("D3DKMTWaitForSynchronizationObjectFromGpu")(&request);
  }
  NTSTATUS evict(D3DKMT_HANDLE allocation) {
    D3DKMT_EVICT request{};
    request.hDevice = device;
    request.NumAllocations = 1;
    request.AllocationList = &allocation;
    return thunk<PFND3DKMT_EVICT>("D3DKMTEvict")(&request);
  }
  D3DKMT_HANDLE queue = 0, sync = 0;
  volatile UINT64* fence = nullptr;
};

// On an adapter with residency there are no lists, and a submission with entries is wrong.
TEST_F(ResidencyTest, AdapterWithResidencyHasNoLists) {
  EXPECT_EQ(allocations, nullptr);
  EXPECT_EQ(patches, nullptr);
  commands[0] = 65640;
  EXPECT_EQ(render(4, 0, 0), 0);
  EXPECT_EQ(allocations, nullptr);
  commands[0] = 65640;
  EXPECT_LT(render(4, 2, 1), 0);
  EXPECT_EQ(sim::complaints().size(), 1u);
}

// Fence values rise by one, and at once or on completion stand at the fence's address.
TEST_F(ResidencyTest, FenceValuesRiseByOne) {
  Surface first, second;
  create(4, 4, &first);
  create(4, 4, &second);
  UINT64 value = 0;
  EXPECT_EQ(makeResident(first.allocation, &value), 0);
  EXPECT_EQ(value, 1u);
  EXPECT_EQ(*fence, 1u);
  sim::setPagingHeld(true);
  EXPECT_EQ(makeResident(second.allocation, &value), 0x103);
  EXPECT_EQ(value, 2u);
  EXPECT_EQ(*fence, 1u);
  sim::completePaging();
  EXPECT_EQ(*fence, 2u);
}

// Copies of surfaces that are evicted, or not yet there and not waited for, are complained of.
TEST_F(ResidencyTest, CopiesNeedResidentSurfaces) {
  Surface from, to;
  create(4, 4, &from);
  create(4, 4, &to);
  auto copy = [&] {
    writeCopy(from.allocation, {0, 0, 4, 4}, to.allocation, {0, 0, 4, 4});
    EXPECT_EQ(render(60, 0, 0), 0);
    return sim::complaints().size();
  };
  UINT64 value;
  EXPECT_EQ(copy(), 2u);
  makeResident(from.allocation, &value);
  sim::setPagingHeld(true);
  makeResident(to.allocation, &value);
  EXPECT_EQ(copy(), 3u);
  EXPECT_EQ(wait(value), 0);
  EXPECT_EQ(copy(), 3u);
  EXPECT_EQ(evict(from.allocation), 0);
  EXPECT_EQ(copy(), 4u);
}

// A wait takes an array of fence values; a single value in its place is refused with a complaint.
TEST_F(ResidencyTest, WaitTakesAnArrayOfValues) {
  EXPECT_EQ(wait(1), 0);
  D3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU request{};
  request.hContext = context;
  request.ObjectCount = 1;
  request.ObjectHandleArray = &sync;
  request.FenceValue = 1;
  auto call = thunk<PFND3DKMT_WAITFORSYNCHRONIZATIONOBJECTFROMGPU>("D3DKMTWaitForSynchronizationObjectFromGpu");
  EXPECT_LT(call(&request), 0);
  EXPECT_EQ(sim::complaints().size(), 1u);
}

// Handles that name nothing are refused, and so is the second end of a paging queue and a wait without one.
TEST_F(ResidencyTest, DeadHandlesAreRefused) {
  UINT64 value = 0;
  EXPECT_LT(makeResident(12345, &value), 0);
  EXPECT_EQ(value, 0u);
  EXPECT_LT(evict(12345), 0);
  D3DDDI_DESTROYPAGINGQUEUE gone{queue};
  auto destroyQueue = thunk<PFND3DKMT_DESTROYPAGINGQUEUE>("D3DKMTDestroyPagingQueue");
  EXPECT_EQ(sim::liveCounts().pagingQueues, 1u);
  EXPECT_EQ(destroyQueue(&gone), 0);
  EXPECT_LT(destroyQueue(&gone), 0);
  EXPECT_LT(wait(1), 0);
}

// A trim reaches the registered callback until the callback is taken back by its own address.
TEST_F(ResidencyTest, TrimNotificationReachesItsCallback) {
  static uint64_t asked;
  asked = 0;
  D3DKMT_REGISTERTRIMNOTIFICATION registration{};
  registration.AdapterLuid = sim::adapterLuid();
  registration.hDevice = device;
  registration.Callback = [](D3DKMT_TRIMNOTIFICATION* notification) { asked = notification->NumBytesToTrim; };
  auto enter = thunk<PFND3DKMT_REGISTERTRIMNOTIFICATION>("D3DKMTRegisterTrimNotification");
  auto leave = thunk<PFND3DKMT_UNREGISTERTRIMNOTIFICATION>("D3DKMTUnregisterTrimNotification");
  ASSERT_EQ(enter(&registration), 0);
  EXPECT_EQ(sim::requestTrim(4096), 1u);
  EXPECT_EQ(asked, 4096u);
  D3DKMT_UNREGISTERTRIMNOTIFICATION end{registration.Handle, nullptr};
  EXPECT_LT(leave(&end), 0);
  end.Callback = registration.Callback;
  EXPECT_EQ(leave(&end), 0);
  EXPECT_EQ(sim::requestTrim(1), 0u);
  registration.AdapterLuid.LowPart ^= 1;
  EXPECT_LT(enter(&registration), 0);
}

}  // namespace qv::test
