// What the tests of this folder stand on: a context on the calling thread, and a host that records and answers.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "driver/base/pixel_formats.h"
#include "driver/calls/all.h"
#include "driver/state/gl_context.h"
#include "driver/stream/entry_template.h"
#include "driver/stream/gl_routines.h"
#include "tests/support/opcodes.h"
#include "tests/support/submit_stand_in.h"

namespace qv::test {

// Critical sections entered and not left.
extern int32_t locksHeld;

// Fresh context of pixel format 1, on this thread, with an empty host. Every submission is held against two rules: no lock of
// names is held meanwhile, and the stream ends with a whole command.
class StateTest : public ::testing::Test {
 protected:
  explicit StateTest(uint16_t version = 450, uint8_t compatibility = 1);
  ~StateTest() override;

  // Replaces the context.
  void remake(uint16_t version, uint8_t compatibility = 1, int32_t pixelFormat = 1);
  // Commands written and not yet submitted.
  std::vector<Command> pending() const;
  uint32_t takeError() {
    const uint32_t error = c->recordedError;
    c->recordedError = 0;
    return error;
  }

  std::unique_ptr<GlContext> c;
};

void makeCurrent(GlContext* context);

// A stamped entry point by its row.
template <typename Row, typename... A>
auto call(A... args) {
  return Entry<Row>::call(args...);
}

}  // namespace qv::test
