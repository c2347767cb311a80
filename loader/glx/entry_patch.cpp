// Writes libGL's entry points. Through libglvnd's table a call costs two dependent loads and an indirect jump before the driver is
// reached, a third more for a call that takes the driver three nanoseconds.
#include "loader/glx/entry_patch.h"

#include <cstdint>
#include <cstring>
#include <limits>

#include "loader/glx/environment.h"
#include "loader/opengl32/opengl32.h"

namespace qv::loader {

#ifdef __x86_64__
namespace {

// mov %fs:distance, %rax; test %rax, %rax; je end; movabs $function, %r11; jmp *%r11; end: ret
// A thread without a current context gets zero and nothing happens, as libglvnd's table has it and as the driver's vertex calls,
// which do not look, need it. All registers of arguments are left alone.
constexpr uint8_t kCode[] = {0x64, 0x48, 0x8B, 0x04, 0x25, 0, 0, 0, 0,     // mov
                             0x48, 0x85, 0xC0,                             // test
                             0x74, 0x0D,                                   // je
                             0x49, 0xBB, 0,    0,    0,    0, 0, 0, 0, 0,  // movabs
                             0x41, 0xFF, 0xE3,                             // jmp
                             0xC3};                                        // ret
constexpr size_t kDistanceAt = 5, kFunctionAt = 16;

bool distanceFits() {
  const ptrdiff_t distance = currentProcTableOffset();
  return distance >= std::numeric_limits<int32_t>::min() && distance <= std::numeric_limits<int32_t>::max();
}

void write(void* context, const char* name, PROC function) {
  if (std::strncmp(name, "gl", 2)) return;
  void* writable = nullptr;
  const void* executable = nullptr;
  const auto lookUp = *static_cast<DispatchPatchLookupStubOffset*>(context);
  if (!lookUp(name, &writable, &executable)) return;
  uint8_t code[sizeof kCode];
  std::memcpy(code, kCode, sizeof code);
  const int32_t distance = static_cast<int32_t>(currentProcTableOffset());
  std::memcpy(code + kDistanceAt, &distance, sizeof distance);
  std::memcpy(code + kFunctionAt, &function, sizeof function);
  // In bounds: isPatchSupported has compared the size of an entry point with this.
  std::memcpy(writable, code, sizeof code);
}

}  // namespace

GLboolean isPatchSupported(int type, int stubSize) {
  return environment().patch && type == __GLDISPATCH_STUB_X86_64 && stubSize >= static_cast<int>(sizeof kCode) &&
         isDriverLoaded() && distanceFits();
}

GLboolean initiatePatch(int type, int stubSize, DispatchPatchLookupStubOffset lookUp) {
  if (!isPatchSupported(type, stubSize)) return GL_FALSE;
  forEachDriverProc(write, &lookUp);
  return GL_TRUE;
}

#else

GLboolean isPatchSupported(int, int) { return GL_FALSE; }
GLboolean initiatePatch(int, int, DispatchPatchLookupStubOffset) { return GL_FALSE; }

#endif

}  // namespace qv::loader
