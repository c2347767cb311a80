// The platform, the driver frame and the sender of flushes, as far as the code under test touches them.
#include <pthread.h>

#include "driver/base/current_context.h"
#include "driver/base/process_state.h"
#include "driver/host/flush_packet.h"
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
const char* WglExtensions = "WGL_ARB_extensions_string";
const char* GlExtensionAddendum = "GL_ARB_map_buffer_range";

uint32_t applyQuirks(uint16_t contextVersion) { return kQuirkVertexRuns | (contextVersion >= 300 ? kQuirkQueryTable : 0); }

uint64_t SubmitFlush(GlContext*, uint32_t presentMode, const void* data, uint64_t length, void* reply, uint32_t replySize,
                     void* reply2, uint32_t reply2Size) {
  using namespace test;
  // A flush never happens under a lock of names.
  EXPECT_EQ(locksHeld, 0);
  host.submissions.push_back({presentMode, parse(static_cast<const uint8_t*>(data), length), replySize, reply2Size});
  if (reply != nullptr) std::memset(reply, 0, replySize);
  if (reply2 != nullptr) std::memset(reply2, 0, reply2Size);
  if (host.failing || reply == nullptr || host.submissions.back().commands.empty()) return 0;
  const Command& last = host.last();
  const uint32_t name = last.words.empty() ? 0 : last.words[0];
  const auto exact = host.replies.find({last.opcode, name});
  const auto byName = host.repliesByName.find(name);
  const std::vector<uint8_t>* const answer = exact != host.replies.end()          ? &exact->second
                                             : byName != host.repliesByName.end() ? &byName->second
                                                                                  : nullptr;
  if (answer == nullptr) return 0;
  const size_t size = std::min<size_t>(answer->size(), replySize);
  std::memcpy(reply, answer->data(), size);
  return size;
}

namespace test {

FakeHost host;
int32_t locksHeld = 0;

std::vector<Command> parse(const uint8_t* data, uint64_t size) {
  std::vector<Command> commands;
  uint64_t at = 0;
  while (at + 4 <= size) {
    uint32_t head[2] = {};
    std::memcpy(head, data + at, size - at < 8 ? 4 : 8);
    uint32_t total = head[0] >> 12;
    uint32_t headBytes = 4;
    if (total == 0) {
      total = head[1];
      headBytes = 8;
    }
    if (total < headBytes || at + total > size) {
      ADD_FAILURE() << "malformed stream at " << at;
      break;
    }
    Command command{head[0] & 0xFFF, {}};
    command.words.resize((total - headBytes + 3) / 4);
    if (total > headBytes) std::memcpy(command.words.data(), data + at + headBytes, total - headBytes);
    commands.push_back(command);
    at += (total + 3) & ~3u;
  }
  return commands;
}

void makeCurrent(GlContext* context) { sim::tlsSlots[0] = context; }

StateTest::StateTest(uint16_t version, uint8_t compatibility) {
  host = {};
  locksHeld = 0;
  for (const int each : {210, 300, 310, 320, 330, 400, 410, 420, 430}) stringBlockFor(static_cast<uint16_t>(each)) = {};
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
