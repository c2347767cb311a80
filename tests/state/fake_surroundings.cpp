// The platform and the driver frame, as far as the code under test touches them.
#include <pthread.h>

#include "driver/base/current_context.h"
#include "driver/base/process_state.h"
#include "driver/queries/strings.h"
#include "driver/state/application_profile.h"
#include "driver/state/string_block.h"
#include "harness.h"

namespace qv::sim {
constinit thread_local void* tlsSlots[64];
}

namespace {
pthread_mutex_t* mutexOf(CRITICAL_SECTION* section) {
  void* place = nullptr;
  static_assert(sizeof(CRITICAL_SECTION) >= sizeof place);
  std::memcpy(&place, static_cast<void*>(section), sizeof place);
  return static_cast<pthread_mutex_t*>(place);
}
}  // namespace

void WINAPI InitializeCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutexattr_t recursive;
  pthread_mutexattr_init(&recursive);
  pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
  void* const mutex = new pthread_mutex_t;
  pthread_mutex_init(static_cast<pthread_mutex_t*>(mutex), &recursive);
  std::memcpy(static_cast<void*>(section), &mutex, sizeof mutex);
}
void WINAPI DeleteCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_destroy(mutexOf(section));
  delete mutexOf(section);
}
void WINAPI EnterCriticalSection(CRITICAL_SECTION* section) {
  pthread_mutex_lock(mutexOf(section));
  ++qv::test::locksHeld;
}
void WINAPI LeaveCriticalSection(CRITICAL_SECTION* section) {
  --qv::test::locksHeld;
  pthread_mutex_unlock(mutexOf(section));
}
BOOL WINAPI IsWindowVisible(HWND) { return 1; }

namespace qv {

DWORD ContextTlsSlot = 0;
std::atomic<const char*> WglExtensions = "WGL_ARB_extensions_string";
std::atomic<const char*> GlExtensionAddendum = "GL_ARB_map_buffer_range";

uint32_t applyQuirks(uint16_t contextVersion) { return kQuirkVertexRuns | (contextVersion >= 300 ? kQuirkQueryTable : 0); }

namespace test {

int32_t locksHeld = 0;

void makeCurrent(GlContext* context) { sim::tlsSlots[0] = context; }

StateTest::StateTest(uint16_t version, uint8_t compatibility) {
  host = {};
  host.onSubmit = [](const Submission& submission) {
    EXPECT_EQ(locksHeld, 0);
    submission.commands();
  };
  locksHeld = 0;
  for (const int each : {210, 300, 310, 320, 330, 400, 410, 420, 430})
    new (&stringBlockFor(static_cast<uint16_t>(each))) StringBlock;
  GlExtensionAddendum = "GL_ARB_map_buffer_range";
  WglExtensions = "WGL_ARB_extensions_string";
  remake(version, compatibility);
}

StateTest::~StateTest() {
  makeCurrent(nullptr);
  EXPECT_EQ(locksHeld, 0);
}

void StateTest::remake(uint16_t version, uint8_t compatibility, int32_t pixelFormat) {
  c = std::make_unique<GlContext>(pixelFormat, version, compatibility);
  makeCurrent(c.get());
}

std::vector<Command> StateTest::pending() const { return parse(c->base, static_cast<uint64_t>(c->cursor - c->base)); }

}  // namespace test

}  // namespace qv
