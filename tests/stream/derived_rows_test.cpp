// Every stamped row, called with distinct arguments: header, size, bytes, list, refusal, run close and reply, row by row.
// The expected bytes come from an encoder of this file's own, written from the payload rules. Templates only describe a row;
// the checks run on the description, so that a thousand rows stay cheap to compile.
#include <bit>
#include <functional>
#include <iostream>
#include <utility>

#include "driver/lists/display_list_stream.h"
#include "driver/stream/entry_table.h"
#include "tests/stream/recording_host.h"

namespace qv::test {
namespace {

// --- a row as data ---

struct Arg {
  bool pointer = false;
  uint32_t width = 0;    // bytes of the C type, of one element for a pointer
  bool cut = false;      // a 64-bit type that goes as 32 bits
  bool real = false;     // floating point
  uint64_t bits = 0;     // value of a scalar
};

enum class Kind { kFixed, kVec, kSized, kCounted, kArray, kAnswer, kComponents, kSizedReply, kCountedReply, kNamesReply, kLengthReply };

struct FormFacts {
  Kind kind = Kind::kFixed;
  uint32_t n = 0;  // components, per count, or the key argument
  uint32_t otherwise = 0, listed = 0;
  std::vector<uint32_t> keys;
  CountRule rule = CountRule::Value;
};

template <typename Form>
struct Facts {
  static constexpr bool kKnown = false;
};
#define QV_FACTS(...)                    \
  struct Facts<__VA_ARGS__> {            \
    static constexpr bool kKnown = true; \
    static FormFacts get()
template <>
QV_FACTS(Fixed) { return {}; }
};
template <uint32_t N>
QV_FACTS(Vec<N>) { return {Kind::kVec, N, 0, 0, {}, {}}; }
};
template <uint32_t K, uint32_t O, uint32_t L, GLenum... Keys>
QV_FACTS(Sized<K, O, L, Keys...>) { return {Kind::kSized, K, O, L, {Keys...}, {}}; }
};
template <CountRule R>
QV_FACTS(Counted<R>) { return {Kind::kCounted, 0, 0, 0, {}, R}; }
};
template <uint32_t Per>
QV_FACTS(Array<Per>) { return {Kind::kArray, Per, 0, 0, {}, {}}; }
};
template <>
QV_FACTS(Query<Answer>) { return {Kind::kAnswer, 0, 0, 0, {}, {}}; }
};
template <uint32_t N>
QV_FACTS(Query<Components<N>>) { return {Kind::kComponents, N, 0, 0, {}, {}}; }
};
template <uint32_t K, uint32_t O, uint32_t L, GLenum... Keys>
QV_FACTS(Query<SizedReply<K, O, L, Keys...>>) { return {Kind::kSizedReply, K, O, L, {Keys...}, {}}; }
};
template <CountRule R>
QV_FACTS(Query<CountedReply<R>>) { return {Kind::kCountedReply, 0, 0, 0, {}, R}; }
};
template <>
QV_FACTS(Query<NamesReply>) { return {Kind::kNamesReply, 0, 0, 0, {}, {}}; }
};
template <>
QV_FACTS(Query<LengthReply>) { return {Kind::kLengthReply, 0, 0, 0, {}, {}}; }
};
#undef QV_FACTS

struct RowCase {
  const char* name;
  int opcode, size;
  uint32_t properties;
  bool attribute;
  FormFacts form;
  std::vector<Arg> args;
  uint32_t returnBytes;
  void (*call)(PROC, const std::vector<Arg>&);
};

// Bytes behind every pointer argument.
uint8_t memory[512];

template <typename T>
Arg describe() {
  Arg arg;
  if constexpr (kIsPointer<T>) {
    arg.pointer = true;
    if constexpr (std::is_void_v<Pointee<T>>) {
      arg.width = 1;
    } else {
      arg.width = sizeof(Pointee<T>);
    }
  } else {
    arg.width = sizeof(T);
    arg.real = std::is_floating_point_v<T>;
    arg.cut = std::is_pointer_v<T> || (sizeof(T) == 8 && std::is_integral_v<T> && std::is_signed_v<T>);
  }
  return arg;
}
template <typename T>
T valueOf(const Arg& arg) {
  if constexpr (kIsPointer<T>) {
    return reinterpret_cast<T>(memory);
  } else if constexpr (std::is_pointer_v<T>) {
    return reinterpret_cast<T>(static_cast<uintptr_t>(arg.bits));
  } else {
    T value;
    std::memcpy(&value, &arg.bits, sizeof value);
    return value;
  }
}
template <typename R, typename... A, size_t... I>
void callWith(R(APIENTRY* routine)(A...), const std::vector<Arg>& args, std::index_sequence<I...>) {
  routine(valueOf<A>(args[I])...);
}
template <typename Function>
struct Maker;
template <typename R, typename... A>
struct Maker<R(APIENTRY*)(A...)> {
  static void call(PROC proc, const std::vector<Arg>& args) {
    callWith(reinterpret_cast<R(APIENTRY*)(A...)>(reinterpret_cast<void (*)()>(proc)), args, std::index_sequence_for<A...>{});
  }
  static std::vector<Arg> args() { return {describe<A>()...}; }
  static constexpr uint32_t returnBytes() {
    if constexpr (std::is_void_v<R>) {
      return 0;
    } else {
      return sizeof(R);
    }
  }
};

template <uint32_t N>
constexpr bool isAttribute(Attribute<N>*) {
  return true;
}
constexpr bool isAttribute(void*) { return false; }

std::vector<RowCase> stampedRows() {
  std::vector<RowCase> out;
  forEachRow([&](auto tag) {
    using Row = decltype(tag);
    using Make = Maker<typename Row::Prototype::Pointer>;
    constexpr bool kAttribute = isAttribute(static_cast<typename Row::Implementation*>(nullptr));
    if constexpr (kAttribute || std::is_same_v<typename Row::Implementation, Stamped>) {
      if constexpr (Facts<typename Row::Form>::kKnown)
        out.push_back({Row::kName, Row::kOpcode, Row::kSize, Row::kProperties, kAttribute, Facts<typename Row::Form>::get(),
                       Make::args(), Make::returnBytes(), &Make::call});
    }
  });
  return out;
}

// --- arguments ---

// An argument that a form needs of a certain kind, none for index -1.
struct Fix {
  int index = -1;
  uint32_t value = 0;
};

// Value counts typed in by hand.
uint32_t countOf(uint32_t pname) {
  switch (pname) {
    case GL_AMBIENT:
    case GL_POSITION:
    case GL_TEXTURE_ENV_COLOR:
      return 4;
    case GL_SPOT_DIRECTION:
      return 3;
    case GL_SAMPLE_POSITION:
      return 2;
    default:
      return 1;
  }
}

std::vector<Fix> fixesOf(const RowCase& row) {
  const std::string_view name = row.name;
  if (name == "glEnableClientState" || name == "glDisableClientState") return {{0, GL_VERTEX_ARRAY}};  // checked in the guest
  const FormFacts& form = row.form;
  switch (form.kind) {
    case Kind::kSized:
    case Kind::kSizedReply: {
      std::vector<Fix> out = {{}};
      for (const uint32_t key : form.keys) out.push_back({static_cast<int>(form.n), key});
      return out;
    }
    case Kind::kCounted:
    case Kind::kCountedReply:
      if (form.rule == CountRule::Value) return {{1, GL_AMBIENT}, {1, GL_SHININESS}, {1, GL_SPOT_DIRECTION}};
      if (form.rule == CountRule::ValueFirst) return {{0, GL_SAMPLE_POSITION}};
      if (form.rule == CountRule::TexEnv) return {{1, GL_TEXTURE_ENV_COLOR}, {1, GL_TEXTURE_ENV_MODE}};
      return {};  // the count of an evaluator query takes a query of its own: tested apart
    default:
      return {{}};
  }
}

constexpr uint32_t kArrayCount = 3;

size_t firstPointer(const std::vector<Arg>& args) {
  for (size_t i = 0; i < args.size(); ++i)
    if (args[i].pointer) return i;
  return args.size();
}

std::vector<Arg> argumentsOf(const RowCase& row, const Fix& fix) {
  std::vector<Arg> args = row.args;
  uint32_t next = 0x11;
  for (Arg& arg : args) {
    if (arg.pointer) continue;
    next += 0x0101;
    const uint32_t value = next & (arg.width == 1 ? 0x7F : 0x7FFF);
    arg.bits = !arg.real ? value : arg.width == 4 ? std::bit_cast<uint32_t>(static_cast<float>(value))
                                                  : std::bit_cast<uint64_t>(static_cast<double>(value));
  }
  if (fix.index >= 0) args[static_cast<size_t>(fix.index)].bits = fix.value;
  if (row.form.kind == Kind::kArray) args[firstPointer(args) - 1].bits = kArrayCount;
  if (row.form.kind == Kind::kNamesReply) args[0].bits = kArrayCount;
  if (row.form.kind == Kind::kLengthReply) args[args.size() - 2].bits = kArrayCount;
  return args;
}

uint32_t sizedCount(const FormFacts& form, const Fix& fix) { return fix.index >= 0 ? form.listed : form.otherwise; }

// --- the encoder ---

struct Encoder {
  std::vector<uint8_t> bytes;
  bool anyWide = false;
  bool inGroup = false;
  void raw(const void* data, size_t size) {
    const auto* const from = static_cast<const uint8_t*>(data);
    bytes.insert(bytes.end(), from, from + size);
  }
  void endGroup() {
    if (inGroup && anyWide)
      while (bytes.size() % 4 != 0) bytes.push_back(0);
    inGroup = false;
  }
  void components(const void* data, uint32_t width, uint32_t count) {
    if (width < 4) {
      inGroup = true;
    } else {
      endGroup();
    }
    raw(data, size_t{width} * count);
  }
};

// The whole command as the rules of the wire have it, padded with zeros.
std::vector<uint8_t> encode(const RowCase& row, const std::vector<Arg>& args, const Fix& fix) {
  const FormFacts& form = row.form;
  Encoder out;
  for (const Arg& arg : args) out.anyWide = out.anyWide || ((!arg.pointer || form.kind == Kind::kVec) && arg.width >= 4);
  for (const Arg& arg : args) {
    if (!arg.pointer) {
      out.components(&arg.bits, arg.cut ? 4 : arg.width, 1);
    } else if (form.kind == Kind::kVec) {
      out.components(memory, arg.width, form.n);
    }
  }
  out.endGroup();
  const uint32_t count = countOf(fix.value);
  if (form.kind == Kind::kCounted || form.kind == Kind::kCountedReply) out.raw(&count, 4);
  for (const Arg& arg : args) {
    if (!arg.pointer) continue;
    if (form.kind == Kind::kCounted) out.raw(memory, count * arg.width);
    if (form.kind == Kind::kSized) out.raw(memory, sizedCount(form, fix) * arg.width);
    if (form.kind == Kind::kArray) out.raw(memory, kArrayCount * form.n * arg.width);
  }
  const uint32_t size = static_cast<uint32_t>(out.bytes.size()) + 4;
  if (row.size >= 0) {
    EXPECT_EQ(static_cast<int>(size), row.size);
  }
  std::vector<uint8_t> command = words({size << 12 | static_cast<uint32_t>(row.opcode)});
  command += out.bytes;
  while (command.size() % 4 != 0) command.push_back(0);
  return command;
}

uint32_t replyBytes(const RowCase& row, const Fix& fix) {
  const uint32_t element = row.args.empty() ? 0 : row.args.back().width;
  switch (row.form.kind) {
    case Kind::kAnswer:
      return row.returnBytes;
    case Kind::kComponents:
      return row.form.n * element;
    case Kind::kSizedReply:
      return sizedCount(row.form, fix) * element;
    case Kind::kCountedReply:
      return countOf(fix.value) * element;
    default:
      return kArrayCount * element;
  }
}

// --- the checks ---

class DerivedRows : public ContextTest {
 protected:
  DerivedRows() {
    for (size_t i = 0; i < sizeof memory; ++i) memory[i] = static_cast<uint8_t>(7 * i + 3);
    context().reserve(1);
  }

  void check(const RowCase& row, const Fix& fix) {
    SCOPED_TRACE(std::string(row.name) + " fix " + std::to_string(fix.value));
    const PROC proc = findProc(row.name);
    ASSERT_NE(proc, nullptr);
    const std::vector<Arg> args = argumentsOf(row, fix);
    const std::vector<uint8_t> expected = encode(row, args, fix);
    const bool answers = row.form.kind >= Kind::kAnswer;

    // Plain: exactly these bytes, and nothing behind them touched.
    blank();
    context().lastOpcode = -1;
    row.call(proc, args);
    EXPECT_EQ(written(answers), expected);
    EXPECT_EQ(context().recordedError, 0u);
    EXPECT_EQ(context().lastOpcode, row.opcode);
    EXPECT_EQ(context().base[kCanaryAt], 0xCA);
    EXPECT_EQ(host().submissions.size(), answers ? 1u : 0u);
    EXPECT_EQ(static_cast<uint64_t>(context().cursor - context().base) + context().remaining, context().capacity);
    if (answers) {
      EXPECT_EQ(host().submissions.back().replySize, replyBytes(row, fix));
      EXPECT_EQ(host().submissions.back().reply2Size, 0u);
    }

    // While a list is compiled the same bytes go to the host, and into the recording where the row says so.
    blank();
    DisplayListStream list(1);
    list.reserve(2048);
    std::memset(list.base, 0, list.capacity);
    context().recordingList = &list;
    context().listMode = GL_COMPILE;
    row.call(proc, args);
    context().recordingList = nullptr;
    context().listMode = 0;
    EXPECT_EQ(written(answers), expected);
    const std::vector<uint8_t> recorded(list.base, list.cursor);
    EXPECT_EQ(recorded, (row.properties & kRecords) != 0 ? expected : std::vector<uint8_t>{});
    if (row.attribute) return;

    // Inside glBegin it is refused with exactly one error and the stream untouched, or it breaks the run and is sent.
    blank();
    QV_CALL(glBegin)(GL_POINTS);
    const std::vector<uint8_t> before = pending();
    row.call(proc, args);
    if ((row.properties & kBeginCheck) != 0) {
      EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_OPERATION));
      EXPECT_EQ(pending(), before);
      EXPECT_TRUE(host().submissions.empty());
      EXPECT_EQ(context().run.open, 1);
    } else {
      EXPECT_EQ(context().recordedError, 0u);
      std::vector<uint8_t> broken = words({2007, 12, 0});
      broken += expected;
      EXPECT_EQ(written(answers), broken);
      EXPECT_EQ(context().run.open, 0);
    }
    EXPECT_EQ(context().lastOpcode, row.opcode);
    context().insideBegin = 0;
    context().run = VertexRun{};
    context().recordedError = 0;
  }

 private:
  static constexpr size_t kCanaryAt = 1024;

  // Zeros where commands will stand, so that pad bytes compare, and a canary behind them.
  void blank() {
    drop();
    std::memset(context().base, 0, kCanaryAt);
    std::memset(context().base + kCanaryAt, 0xCA, kCanaryAt);
    host().submissions.clear();
    context().recordedError = 0;
  }
  std::vector<uint8_t> written(bool answers) {
    if (!answers) return pending();
    return host().submissions.empty() ? std::vector<uint8_t>{} : host().submissions.back().stream;
  }
};

// Every row whose entry point is stamped from its form writes what the rules of the wire say, in every mode.
TEST_F(DerivedRows, StampedRowsWriteTheirCommand) {
  int tested = 0;
  for (const RowCase& row : stampedRows()) {
    for (const Fix& fix : fixesOf(row)) check(row, fix);
    ++tested;
  }
  std::cout << "rows tested: " << tested << "\n";
  EXPECT_GE(tested, 625);
}

// The evaluator queries ask the count table with their query name: two values of order for a two-dimensional map.
TEST_F(DerivedRows, EvaluatorQueriesCountByQuery) {
  GLint order[2] = {};
  drop();
  QV_CALL(glGetMapiv)(GL_MAP2_VERTEX_3, GL_ORDER, order);
  ASSERT_EQ(host().submissions.size(), 1u);
  EXPECT_EQ(host().submissions[0].stream, words({16u << 12 | 268, GL_MAP2_VERTEX_3, GL_ORDER, 2}));
  EXPECT_EQ(host().submissions[0].replySize, 8u);
  QV_CALL(glGetMapiv)(GL_MAP2_VERTEX_3, 77, order);
  EXPECT_EQ(context().recordedError, static_cast<uint32_t>(GL_INVALID_ENUM));
  EXPECT_EQ(host().submissions.size(), 1u);
}

}  // namespace
}  // namespace qv::test
