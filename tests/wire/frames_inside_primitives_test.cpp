// A swap inside glBegin: what the host makes of a stream that ends with an open run.
#include <functional>
#include <string>
#include <vector>

#include "driver/stream/flush.h"
#include "peer/replay/replayer.h"
#include "tests/support/context_fixture.h"
#include "tests/support/gl_recorder.h"

namespace qv::test {
namespace {

class FramesInsidePrimitives : public ContextTest {
 protected:
  // The names of the GL calls that the host makes of a swap behind `calls`.
  std::vector<std::string> callsOf(const std::function<void()>& calls) {
    drop();
    host.submissions.clear();
    QV_CALL(glBegin)(GL_TRIANGLES);
    calls();
    markFrameEnd(&context());
    flushStream(&context(), GL_BACK, nullptr, 0, nullptr, 0);
    const std::vector<uint8_t> stream = host.submissions.at(0).stream;
    recorder.calls.clear();
    peer::Replayer replayer;
    const auto bytes = static_cast<uint32_t>(stream.size());
    const auto result = replayer.replay(stream.data(), bytes, bytes);
    EXPECT_EQ(result.outcome, peer::Replayer::Outcome::Done) << replayer.complaint();
    EXPECT_EQ(result.consumed, bytes);
    EXPECT_TRUE(replayer.insideBegin());
    QV_CALL(glEnd)();
    std::vector<std::string> names;
    for (const auto& call : recorder.calls) names.emplace_back(call.name);
    return names;
  }

  GlRecorder recorder;
};

using Names = std::vector<std::string>;

// Without a vertex the primitive is open and nothing else has come, attributes or not.
TEST_F(FramesInsidePrimitives, WithoutVerticesThePrimitiveIsOpen) {
  EXPECT_EQ(callsOf([] {}), (Names{"glBegin"}));
  EXPECT_EQ(callsOf([] { QV_CALL(glColor3f)(1, 0, 0); }), (Names{"glBegin"}));
  EXPECT_EQ(callsOf([] {
              QV_CALL(glColor3f)(1, 0, 0);
              QV_CALL(glNormal3f)(1, 0, 0);
              QV_CALL(glTexCoord2f)(1, 0);
            }),
            (Names{"glBegin"}));
}

// Whole vertices arrive, and the mark behind them is taken for no attribute, whatever the first slot's width.
TEST_F(FramesInsidePrimitives, WholeVerticesArrive) {
  EXPECT_EQ(callsOf([] { QV_CALL(glVertex3f)(1, 2, 3); }), (Names{"glBegin", "glVertex3fv"}));
  EXPECT_EQ(callsOf([] {
              for (int i = 0; i < 2; ++i) {
                QV_CALL(glColor4ub)(1, 2, 3, 4);
                QV_CALL(glVertex2f)(1, 2);
              }
            }),
            (Names{"glBegin", "glColor4ubv", "glVertex2fv", "glColor4ubv", "glVertex2fv"}));
}

// The attributes of a vertex that has not come yet arrive too.
TEST_F(FramesInsidePrimitives, PartialVerticesArrive) {
  EXPECT_EQ(callsOf([] {
              QV_CALL(glColor3f)(1, 0, 0);
              QV_CALL(glVertex2f)(1, 2);
              QV_CALL(glColor3f)(0, 1, 0);
            }),
            (Names{"glBegin", "glColor3fv", "glVertex2fv", "glColor3fv"}));
}

}  // namespace
}  // namespace qv::test
