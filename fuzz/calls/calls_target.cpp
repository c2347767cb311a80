// Target "calls": programs of valid calls, on OpenGL itself and through driver and peer in one process: the same errors, the same
// answers, the same state, the same picture.
//
// An input is steps. With QV_FUZZ_TRACE=1 each call is printed and a difference does not end the program.
#include <sys/mman.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "fuzz/calls/explained.h"
#include "fuzz/core/call_maker.h"
#include "fuzz/core/counts.h"
#include "fuzz/core/journal.h"
#include "fuzz/core/require.h"
#include "fuzz/core/target.h"
#include "fuzz/render/known_faults.h"
#include "loader/opengl32/opengl32.h"
#include "peer/host/egl_display.h"
#include "peer/host/frame.h"
#include "peer/host/in_process_gpu.h"
#include "peer/link/log.h"
#include "peer/replay/gl_functions.h"
#include "platform/simulated/control.h"
#include "tests/support/row_calls.h"
#include "wire/columns.h"

namespace qv::fuzz {
namespace {

constexpr int32_t kSide = 64;
constexpr uint32_t kMostSteps = 1000;

using Picture = std::vector<uint32_t>;

// --- OpenGL itself ---

class Reference {
 public:
  Reference() : display_(*peer::EglDisplay::get()) {
    peer::DrawableAttributes asked;
    asked.doubleBuffered = true;
    const peer::DrawableAttributes granted = peer::grantedContext(asked, display_.compatibilityVersion());
    surface_ = display_.createSurface(granted, kSide, kSide);
    context_ = display_.createContext(granted, EGL_NO_CONTEXT);
    require(surface_ != EGL_NO_SURFACE && context_ != EGL_NO_CONTEXT && display_.makeCurrent(surface_, context_),
            "OpenGL gives no context");
    // The drawable has one colour buffer, and its memory shows what stood there.
    peer::gl.glDrawBuffer(GL_BACK);
    peer::gl.glReadBuffer(GL_BACK);
    peer::gl.glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT | GL_STENCIL_BUFFER_BIT);
  }
  ~Reference() {
    display_.release();
    display_.destroyContext(context_);
    display_.destroySurface(surface_);
  }

  static test::Routine routine(const RowFacts& row) {
    static const std::unordered_map<std::string_view, test::Routine> all = {
#define QV_ROW(name, ...) {#name, reinterpret_cast<test::Routine>(peer::gl.name)},
#include "wire/entry_points.def"
    };
    return all.at(row.name);
  }

  static bool readsFromWindow() {
    GLint framebuffer = 0;
    peer::gl.glGetIntegerv(GL_READ_FRAMEBUFFER_BINDING, &framebuffer);
    return framebuffer == 0;
  }

  // Of an image that is not there Mesa gives nothing without an error, where the peer raises OpenGL's.
  static bool isCompressed(const Call& call) {
    GLint value = 0;
    peer::gl.glGetTexLevelParameteriv(static_cast<GLenum>(call.values[0]), static_cast<GLint>(call.values[1]),
                                      GL_TEXTURE_COMPRESSED, &value);
    peer::gl.glGetError();
    return value != 0;
  }

  // Mesa writes behind its memory for levels of some textures of blocks; the peer limits them.
  static bool mayGenerateLevels(GLenum target) {
    const bool faces = target == GL_TEXTURE_CUBE_MAP;
    bool blocks = false;
    for (GLenum face = 0; face < (faces ? 6u : 1u); ++face) {
      for (GLint level = 0; level < 16; ++level) {
        GLint value = 0;
        peer::gl.glGetTexLevelParameteriv(faces ? GL_TEXTURE_CUBE_MAP_POSITIVE_X + face : target, level, GL_TEXTURE_COMPRESSED,
                                          &value);
        blocks |= value != 0;
      }
    }
    while (peer::gl.glGetError() != GL_NO_ERROR) {
    }
    return !blocks;
  }

  static Picture picture() {
    static peer::Allocation* const target = [] {
      auto* const made = new peer::Allocation;  // of the whole process
      made->description = {1, kSide * kSide * 4, kSide, kSide, kSide * 4};
      made->memory = static_cast<uint8_t*>(
          mmap(nullptr, made->description.size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
      return made;
    }();
    peer::copyFrame(kSide, kSide, *target, false);
    Picture out(kSide * kSide);
    std::memcpy(out.data(), target->memory, out.size() * 4);
    return out;
  }

 private:
  const peer::EglDisplay& display_;
  EGLSurface surface_ = EGL_NO_SURFACE;
  EGLContext context_ = EGL_NO_CONTEXT;
};

// --- OpenGL through the driver ---

class Screen final : public sim::PresentSink {
 public:
  void present(HWND, const sim::GpuAllocation& source, const RECT&) override {
    picture.clear();
    for (uint32_t y = 0; y < source.height; ++y) {
      const size_t begin = picture.size();
      picture.resize(begin + source.width);
      std::memcpy(picture.data() + begin, source.memory + size_t{y} * source.pitch, size_t{source.width} * 4);
    }
  }
  void finishReads(uint32_t) override {}
  void forget(uint32_t) override {}
  Picture picture;
};

struct Machine {
  peer::InProcessGpu gpu;
  Screen screen;
  HWND window = nullptr;

  Machine() {
    sim::reset();
    sim::setMonitors({{.rect = {0, 0, 160, 120}}});
    sim::setVBlankClock(sim::VBlankClock::StepOnWait);
    sim::setGpuLink(&gpu);
    sim::setPresentSink(&screen);
    require(loader::loadDriver(), "the driver is not loaded");
  }
};
Machine& machine() {
  static Machine* const instance = new Machine;  // alive until the process ends
  return *instance;
}

class Driven {
 public:
  Driven() : window_(sim::createWindow({.client = {10, 10, 10 + kSide, 10 + kSide}, .pixelFormat = 4})), dc_(GetDC(window_)) {
    context_ = loader::wglCreateContext(dc_);
    require(context_ != nullptr && loader::wglMakeCurrent(dc_, context_) != 0, "the driver gives no context");
  }
  ~Driven() {
    loader::wglMakeCurrent(nullptr, nullptr);
    loader::wglDeleteContext(context_);
    ReleaseDC(window_, dc_);
    sim::destroyWindow(window_);
    sim::pumpMessages();
  }

  static test::Routine routine(const RowFacts& row) {
    static std::unordered_map<const RowFacts*, test::Routine> known;
    const auto [at, fresh] = known.try_emplace(&row);
    if (fresh) at->second = reinterpret_cast<test::Routine>(reinterpret_cast<void*>(loader::driverProcAddress(row.name)));
    return at->second;
  }

  Picture picture() {
    machine().screen.picture.clear();
    loader::wglSwapBuffers(dc_);
    return machine().screen.picture;
  }

 private:
  HWND window_;
  HDC dc_;
  HGLRC context_ = nullptr;
};

// --- both ---

const bool kTraces = std::getenv("QV_FUZZ_TRACE") != nullptr;

// So many programs run in one context each. More than one would be faster, but what Mesa forgets in one program (its attribute
// stack) comes out in another.
constexpr uint32_t kProgramsOfAContext = 1;
// Behind so many calls at most the driver is asked for its error, if OpenGL itself has raised none.
constexpr uint32_t kCallsToAnError = 16;
// Of the questions for the state so many are asked behind a program, and all behind the last.
constexpr uint32_t kOneInQuestions = 16;

class Comparison {
 public:
  // `last`: no other program follows in these contexts.
  void run(const std::vector<Step>& steps, bool last) {
    for (size_t i = 0; i < steps.size() && i < kMostSteps; ++i) {
      Random random(steps[i].seed);
      for (const RowFacts* row : routinesOf(steps[i], random, false)) {
        const auto opcode = static_cast<uint32_t>(row->opcode);
        if (!isCompared(*row) || !faults_.allows(*row, nullptr, 0)) continue;
        if (listOpen_ && !isComparedInList(*row)) continue;
        if (opcode == opcodeOf<op::glEnd> && !insideBegin_) continue;
        const PixelState pixels = isOnImages(*row) ? pixelState() : PixelState{};
        Call made = makeCall(*row, random, 0, pixels);
        if (opcode == opcodeOf<op::glPushAttrib>) widen(made);
        if (isOnImages(*row) && !isImageCompared(made, pixels, Reference::readsFromWindow())) continue;
        if (opcode == opcodeOf<op::glGetCompressedTexImage> && !Reference::isCompressed(made)) continue;
        const bool generates = opcode == opcodeOf<op::glGenerateMipmap> || opcode == opcodeOf<op::glGenerateMipmapEXT>;
        if (generates && !insideBegin_ && !Reference::mayGenerateLevels(static_cast<GLenum>(made.values[0]))) continue;
        if (insideBegin_ && opcode != opcodeOf<op::glEnd> && !row->attribute && (made.line == nullptr || !made.line->anywhere))
          continue;
        // Inside a primitive nothing can be asked. That of a list may be carried out, too.
        if (opcode == opcodeOf<op::glBegin>) insideBegin_ = true;
        if (opcode == opcodeOf<op::glEnd>) insideBegin_ = false;
        if (opcode == opcodeOf<op::glNewList>) listOpen_ = true;
        if (opcode == opcodeOf<op::glEndList>) listOpen_ = false;
        call(made);
      }
    }
    if (!last) {
      end(insideBegin_, opcodeOf<op::glEnd>);
      end(listOpen_, opcodeOf<op::glEndList>);
    }
    compareState(last ? 1 : kOneInQuestions, static_cast<uint32_t>(steps.size()));
    compareErrors();
    comparePictures();
  }

 private:
  static GLenum driverError() {
    static const auto routine = Driven::routine(*findRow(opcodeOf<op::glGetError>));
    return reinterpret_cast<GLenum(APIENTRY*)()>(routine)();
  }

  // The buffers that images go to and come from.
  struct PixelBuffers {
    GLint pack = 0, unpack = 0;
    static PixelBuffers bound() {
      PixelBuffers buffers;
      peer::gl.glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &buffers.pack);
      peer::gl.glGetIntegerv(GL_PIXEL_UNPACK_BUFFER_BINDING, &buffers.unpack);
      return buffers;
    }
    void bind() const {
      peer::gl.glBindBuffer(GL_PIXEL_PACK_BUFFER, static_cast<GLuint>(pack));
      peer::gl.glBindBuffer(GL_PIXEL_UNPACK_BUFFER, static_cast<GLuint>(unpack));
    }
  };

  static PixelState pixelState() {
    const auto number = [](GLenum name) {
      GLint value = 0;
      peer::gl.glGetIntegerv(name, &value);
      return value;
    };
    PixelState state;
    for (const GLenum name :
         {GL_UNPACK_SWAP_BYTES, GL_UNPACK_LSB_FIRST, GL_UNPACK_ROW_LENGTH, GL_UNPACK_SKIP_ROWS, GL_UNPACK_SKIP_PIXELS,
          GL_UNPACK_ALIGNMENT, GL_UNPACK_IMAGE_HEIGHT, GL_UNPACK_SKIP_IMAGES, GL_PACK_SWAP_BYTES, GL_PACK_LSB_FIRST,
          GL_PACK_ROW_LENGTH, GL_PACK_SKIP_ROWS, GL_PACK_SKIP_PIXELS, GL_PACK_ALIGNMENT, GL_PACK_IMAGE_HEIGHT,
          GL_PACK_SKIP_IMAGES})
      setPixelStore(state.store, name, number(name));
    state.packs = number(GL_PIXEL_PACK_BUFFER_BINDING) != 0;
    state.unpacks = number(GL_PIXEL_UNPACK_BUFFER_BINDING) != 0;
    return state;
  }

  // Mesa 22.3.6 forgets at a glPopAttrib what has changed in the groups that only an outer glPushAttrib has saved: the inner one
  // saves them, too.
  void widen(Call& push) {
    saved_ |= listOpen_ ? ~uint64_t{0} >> 32 : push.values[0];
    push.values[0] = saved_;
  }

  // Ends what a program has left open.
  void end(bool& open, uint32_t opcode) {
    if (!open) return;
    const RowFacts& row = *findRow(opcode);
    if (!faults_.allows(row, nullptr, 0)) return;
    open = false;
    Random random(0);
    call(makeCall(row, random, 0));
  }

  // Nothing was wrong with the calls since the last look.
  void compareErrors() {
    if (unasked_ == 0 || insideBegin_) return;
    const uint32_t calls = std::exchange(unasked_, 0);
    const GLenum driven = driverError();
    if (driven == GL_NO_ERROR) return;
    char text[96];
    std::snprintf(text, sizeof text, "error 0x%x of the driver alone, behind one of the last %u calls", driven, calls);
    found(text);
  }

  // What acts although it raises an error: primitives and lists are opened and closed, lists are carried out.
  static bool actsInSpiteOfErrors(const RowFacts& row) {
    for (const int opcode : {op::glBegin::kOpcode, op::glEnd::kOpcode, op::glNewList::kOpcode, op::glEndList::kOpcode,
                             op::glCallList::kOpcode, op::glCallLists::kOpcode}) {
      if (row.opcode == opcode) return true;
    }
    return false;
  }

  void call(const Call& made) {
    const RowFacts& row = *made.row;
    if (!isCompared(made) || Reference::routine(row) == nullptr) return;
    if (kTraces) std::fprintf(stderr, "%s\n", describe(made).c_str());
    const Call copy = copyOf(made);
    const bool pops = row.opcode == op::glPopClientAttrib::kOpcode;
    const PixelBuffers buffers = pops ? PixelBuffers::bound() : PixelBuffers{};
    const uint64_t expected = test::callRoutine(row, Reference::routine(row), made.values.data());
    if (pops) buffers.bind();  // required oddity 170
    const GLenum error = insideBegin_ ? GL_NO_ERROR : peer::gl.glGetError();
    // The driver may keep values that OpenGL refuses: required oddities 17 and 22, and not only there.
    if (error != GL_NO_ERROR && !actsInSpiteOfErrors(row) && (!row.stamped || (row.properties & (kShadow | kListTest)) != 0))
      return;
    if (error != GL_NO_ERROR) compareErrors();
    const uint64_t given = test::callRoutine(row, Driven::routine(row), copy.values.data());
    if (insideBegin_) return;
    ++unasked_;
    if (error != GL_NO_ERROR || kTraces) {
      unasked_ = 0;
      const GLenum driven = driverError();
      if (driven != error) differ(made, "error", error, driven);
    } else if (unasked_ == kCallsToAnError) {
      compareErrors();
    }
    if (error != GL_NO_ERROR || !isAnswerCompared(made)) return;
    const uint64_t mask = row.returnBytes == 0   ? 0
                          : row.returnBytes >= 8 ? ~uint64_t{0}
                                                 : (uint64_t{1} << 8 * row.returnBytes) - 1;
    if ((expected & mask) != (given & mask)) differ(made, "result", expected & mask, given & mask);
    if ((row.form != FormKind::Query && !isOnImages(row)) || made.memory.empty()) return;
    const CallMemory &ours = made.memory.back(), &theirs = copy.memory.back();
    if (ours.bytes == 0 || std::memcmp(ours.data.get(), theirs.data.get(), ours.bytes) == 0) return;
    if (isRounded(made)) return compareRounded(made, ours, theirs);
    for (size_t at = 0; at < ours.bytes; ++at) {
      if (ours.data[at] == theirs.data[at]) continue;
      const size_t width = row.arguments.back().width, first = at / width * width;
      uint64_t one = 0, other = 0;
      std::memcpy(&one, ours.data.get() + first, width);
      std::memcpy(&other, theirs.data.get() + first, width);
      char what[32];
      std::snprintf(what, sizeof what, "value %zu", at / width);
      return differ(made, what, one, other);
    }
  }

  static void compareRounded(const Call& call, const CallMemory& ours, const CallMemory& theirs) {
    const ArgumentFacts& facts = call.row->arguments.back();
    double largest = 1;
    for (size_t at = 0; at < ours.bytes; at += facts.width) largest = std::max(largest, std::fabs(numberAt(ours, at, facts)));
    const double near = facts.kind == ValueKind::Real ? 1e-3 * largest : 256;  // of 2^31
    for (size_t at = 0; at < ours.bytes; at += facts.width) {
      const double one = numberAt(ours, at, facts), other = numberAt(theirs, at, facts);
      if (std::fabs(one - other) <= near) continue;
      char text[96];
      std::snprintf(text, sizeof text, ": value %zu %g, through the driver %g", at / facts.width, one, other);
      return found(describe(call) + text);
    }
  }
  static double numberAt(const CallMemory& memory, size_t at, const ArgumentFacts& facts) {
    const auto as = [&]<typename T>(T value) {
      std::memcpy(&value, memory.data.get() + at, sizeof value);
      return static_cast<double>(value);
    };
    if (facts.kind == ValueKind::Real) return facts.width == 8 ? as(0.0) : as(0.0f);
    return as(int32_t{0});
  }

  static void differ(const Call& call, const char* what, uint64_t expected, uint64_t given) {
    char text[96];
    std::snprintf(text, sizeof text, ": %s 0x%llx, through the driver 0x%llx", what, static_cast<unsigned long long>(expected),
                  static_cast<unsigned long long>(given));
    found(describe(call) + text);
  }

  static void found(const std::string& difference) {
    if (!kTraces) findFault(difference.c_str());
    std::fprintf(stderr, "  difference: %s\n", difference.c_str());
  }

  // Every query of the table with every name that its kinds have, or one in so many of them.
  void compareState(uint32_t oneIn, uint32_t seed) {
    Random random(1), choice(seed);
    for (const CallLine& line : callLines()) {
      if (oneIn != 1 && !choice.oneIn(oneIn)) continue;
      const std::string_view name = line.row->name;
      const bool asks = line.row->form == FormKind::Query && (name.starts_with("glGet") || name.starts_with("glIsEnabled"));
      if (asks && isCompared(*line.row)) {
        std::vector<uint64_t> values(line.row->arguments.size());
        askAll(line, values, 0, random);
      }
    }
  }
  void askAll(const CallLine& line, std::vector<uint64_t>& values, size_t argument, Random& random) {
    if (argument == values.size()) return call(callWith(line, values, random));
    const ArgumentFacts& facts = line.row->arguments[argument];
    const std::span<const uint32_t> choices = facts.pointer ? std::span<const uint32_t>() : choicesOf(line.kinds[argument]);
    if (choices.empty()) {
      if (!facts.pointer) values[argument] = drawBits(facts, line.kinds[argument], random);
      return askAll(line, values, argument + 1, random);
    }
    for (const uint32_t choice : choices) {
      values[argument] = choice;
      askAll(line, values, argument + 1, random);
    }
  }

  void comparePictures() {
    const Picture expected = Reference::picture(), given = driven_.picture();
    require(given.size() == expected.size(), "the driver presents a picture of another size");
    for (size_t i = 0; i < expected.size(); ++i) {
      if ((expected[i] ^ given[i]) << 8 == 0) continue;
      char text[96];
      std::snprintf(text, sizeof text, "pixel %zu, %zu: 0x%06x, through the driver 0x%06x", i % kSide, i / kSide,
                    expected[i] & 0xFFFFFF, given[i] & 0xFFFFFF);
      return found(text);
    }
  }

  Reference reference_;
  Driven driven_;
  KnownFaults faults_;
  bool insideBegin_ = false, listOpen_ = false;
  uint64_t saved_ = 0;    // the groups of all glPushAttrib so far
  uint32_t unasked_ = 0;  // calls since the driver was asked for its error
};

// The programs of the present contexts.
class Programs {
 public:
  explicit Programs(Journal& journal) : journal_(journal) {}
  void run(std::span<const uint8_t> input) {
    if (comparison_ == nullptr) {
      comparison_ = std::make_unique<Comparison>();
      journal_.restart();
      programs_ = 0;
    }
    journal_.add(input);
    const bool last = ++programs_ == kProgramsOfAContext;
    comparison_->run(readSteps(input), last);
    if (last) comparison_.reset();
    counts().inputs.fetch_add(1, std::memory_order_relaxed);
    counts().units.fetch_add(1, std::memory_order_relaxed);
  }
  // The next program has contexts of its own.
  void end() { comparison_.reset(); }

 private:
  Journal& journal_;
  std::unique_ptr<Comparison> comparison_;
  uint32_t programs_ = 0;
};

}  // namespace
}  // namespace qv::fuzz

// OpenGL keeps memory until the process ends.
extern "C" const char* __asan_default_options() {
  return "detect_leaks=0:allocator_may_return_null=1:malloc_context_size=4:quarantine_size_mb=16";
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  setenv("LP_NUM_THREADS", "0", 0);
  setenv("GALLIVM_PERF", "nopt", 0);
  setenv("LP_NATIVE_VECTOR_WIDTH", "128", 0);
  qv::peer::setLogSink([](std::string_view line) {
    if (qv::fuzz::kTraces) std::fprintf(stderr, "  log: %.*s\n", static_cast<int>(line.size()), line.data());
  });
  qv::fuzz::machine();
  return 0;
}

// What is left on the client attribute stack is not freed: required oddity 28.
extern "C" [[gnu::visibility("default")]] const char* __lsan_default_suppressions() { return "leak:glPushClientAttrib"; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qv::fuzz;
  static Journal journal;
  static Programs* const programs = new Programs(journal);  // contexts end with their machine, not behind it
  if (!Journal::isSequence({data, size})) {
    programs->run({data, size});
    return 0;
  }
  programs->end();
  for (const std::span<const uint8_t> one : Journal::inputsOf({data, size})) programs->run(one);
  programs->end();
  return 0;
}
