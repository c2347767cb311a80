// Every stamped row through the peer's reader: the function that the host calls gets the arguments that the program gave.
#include <cstring>
#include <iostream>
#include <set>
#include <string>

#include "peer/replay/gl_functions.h"
#include "peer/replay/replayer.h"
#include "tests/stream/recording_host.h"
#include "tests/stream/row_cases.h"

namespace qv::test {
namespace {

// What the host called: the routine, its scalars as bits and what stood behind its pointers.
struct Call {
  std::string name;
  std::vector<uint64_t> scalars;
  std::vector<std::vector<uint8_t>> data;
};
std::vector<Call> calls;
size_t bytesBehindPointers;  // how many are to be kept of each

template <typename T>
void record(Call& call, T value) {
  if constexpr (kIsPointer<T>) {
    const auto* const from = reinterpret_cast<const uint8_t*>(value);
    call.data.emplace_back(from, from + bytesBehindPointers);
  } else if constexpr (std::is_pointer_v<T>) {
    call.scalars.push_back(reinterpret_cast<uintptr_t>(value));
  } else {
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof value);
    call.scalars.push_back(bits);
  }
}
template <typename Row, typename Pointer = typename Row::Prototype::Pointer>
struct Recorder;
template <typename Row, typename R, typename... A>
struct Recorder<Row, R(APIENTRY*)(A...)> {
  static R APIENTRY call(A... args) {
    Call made{Row::kName, {}, {}};
    (record(made, args), ...);
    calls.push_back(made);
    return R();
  }
};

// The host keeps no array of the guest's enabled, and has no names for sync objects yet.
const std::set<std::string> kNotReplayed = {"glClientActiveTexture", "glIsSync"};
// The host looks at what the guest says before GL does, and refuses values like the ones given here.
const std::set<std::string> kLookedAtFirst = {"glViewportArrayv", "glScissorArrayv",         "glDepthRangeArrayv",
                                              "glCopyPixels",     "glInvalidateTexSubImage", "glInvalidateTexImage"};

class DecodeBack : public ContextTest {
 protected:
  DecodeBack() {
    fillMemory();
#define QV_ROW(name, ...) peer::gl.name = &Recorder<op::name>::call;
#include "wire/entry_points.def"
  }
};

// The reader takes every command apart into the call that made it.
TEST_F(DecodeBack, ArgumentsComeBack) {
  peer::Replayer replayer;
  int tested = 0;
  for (const RowCase& row : stampedRows()) {
    for (const Fix& fix : fixesOf(row)) {
      SCOPED_TRACE(std::string(row.name) + " fix " + std::to_string(fix.value));
      const std::vector<Arg> args = argumentsOf(row, fix);
      drop();
      host().submissions.clear();
      row.call(findProc(row.name), args);
      const std::vector<uint8_t> stream = host().submissions.empty() ? pending() : host().submissions[0].stream;

      calls.clear();
      const uint32_t width = row.args.empty() ? 0 : row.args.back().width;
      bytesBehindPointers = size_t{elementsOf(row, fix)} * width;
      replayer.begin();
      const auto result = replayer.replay(stream.data(), static_cast<uint32_t>(stream.size()), static_cast<uint32_t>(stream.size()));
      ASSERT_EQ(result.outcome, peer::Replayer::Outcome::Done) << replayer.complaint();
      EXPECT_EQ(result.consumed, stream.size());
      if (kNotReplayed.contains(row.name)) {
        EXPECT_TRUE(calls.empty());
        continue;
      }
      if (kLookedAtFirst.contains(row.name)) continue;
      if (calls.empty()) {
        ADD_FAILURE() << "not replayed";
        continue;
      }
      if (row.form.kind >= Kind::kAnswer) {
        EXPECT_EQ(replayer.reply().size(), host().submissions[0].replySize);
      }
      const Call& call = calls.back();
      EXPECT_EQ(call.name, row.name);
      std::vector<uint64_t> scalars;
      for (const Arg& arg : args)
        if (!arg.pointer) scalars.push_back(arg.bits);
      EXPECT_EQ(call.scalars, scalars);
      for (const std::vector<uint8_t>& data : call.data)
        EXPECT_EQ(data, std::vector<uint8_t>(memory, memory + bytesBehindPointers));
    }
    ++tested;
  }
  std::cout << "rows decoded back: " << tested << "\n";
  EXPECT_GE(tested, 625);
}

}  // namespace
}  // namespace qv::test
