// The language's own functions for the DLL, on kernel32 alone: no runtime library is loaded with the driver, shares its heap or
// outlives it. The compiler calls the functions of memory; the driver calls the others.
#include <intrin.h>

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/win32.h"
#include "platform/windows/memory_functions.h"
#include "platform/windows/text_functions.h"

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved);

using namespace qv::windows;

extern "C" {

// The compiler calls the first four by itself.
void* memcpy(void* __restrict to, const void* __restrict from, size_t bytes) { return copyBytes(to, from, bytes); }
void* memmove(void* to, const void* from, size_t bytes) { return moveBytes(to, from, bytes); }
void* memset(void* at, int value, size_t bytes) { return fillBytes(at, value, bytes); }
int memcmp(const void* a, const void* b, size_t bytes) { return compareBytes(a, b, bytes); }
void* memchr(const void* at, int value, size_t bytes) { return findByte(at, value, bytes); }

size_t strlen(const char* text) { return lengthOf(text); }
int strcmp(const char* a, const char* b) { return compareTexts(a, b); }
int strncmp(const char* a, const char* b, size_t n) { return compareTextStarts(a, b, n); }
char* strchr(const char* text, int character) { return findCharacter(text, character); }
char* strrchr(const char* text, int character) { return findLastCharacter(text, character); }
size_t strspn(const char* text, const char* set) { return lengthWithin(text, set); }
size_t strcspn(const char* text, const char* set) { return lengthWithout(text, set); }
long strtol(const char* text, char** end, int) { return parseNumber(text, end); }
// What the compiler's headers call vsnprintf.
int __mingw_vsnprintf(char* out, size_t room, const char* format, va_list arguments) {
  return formatText(out, room, format, arguments);
}

void* malloc(size_t bytes) { return HeapAlloc(GetProcessHeap(), 0, bytes); }
void free(void* memory) { HeapFree(GetProcessHeap(), 0, memory); }
void* realloc(void* memory, size_t bytes) {
  return memory == nullptr ? malloc(bytes) : HeapReAlloc(GetProcessHeap(), 0, memory, bytes);
}
void* calloc(size_t count, size_t bytes) {
  if (bytes != 0 && count > SIZE_MAX / bytes) return nullptr;
  return HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, count * bytes);
}

[[noreturn]] void abort() {
  TerminateProcess(GetCurrentProcess(), 3);
  __builtin_unreachable();
}

double sqrt(double value) { return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(value))); }

// The processor's own; it leaves angles beyond 2^63 as they are, which no picture tells apart.
void sincos(double angle, double* sine, double* cosine) {
  long double s = 0, c = 0;
  __asm__("fsincos" : "=t"(c), "=u"(s) : "0"(static_cast<long double>(angle)));
  *sine = static_cast<double>(s);
  *cosine = static_cast<double>(c);
}
double sin(double angle) {
  double sine = 0, cosine = 0;
  sincos(angle, &sine, &cosine);
  return sine;
}
double cos(double angle) {
  double sine = 0, cosine = 0;
  sincos(angle, &sine, &cosine);
  return cosine;
}

[[noreturn]] void __cxa_pure_virtual() { abort(); }

}  // extern "C"

// --- operator new and delete ---

namespace std {
const nothrow_t nothrow{};
}

namespace {

// The address that the heap gave stands before the aligned one.
void* allocateAligned(size_t bytes, size_t alignment) {
  if (bytes > SIZE_MAX - alignment - sizeof(void*)) return nullptr;
  void* const base = malloc(bytes + alignment + sizeof base);
  if (base == nullptr) return nullptr;
  const uintptr_t at = (reinterpret_cast<uintptr_t>(base) + sizeof base + alignment - 1) & ~static_cast<uintptr_t>(alignment - 1);
  std::memcpy(reinterpret_cast<void*>(at - sizeof base), &base, sizeof base);
  return reinterpret_cast<void*>(at);
}

void freeAligned(void* memory) {
  if (memory == nullptr) return;
  void* base = nullptr;
  std::memcpy(&base, static_cast<uint8_t*>(memory) - sizeof base, sizeof base);
  free(base);
}

// There are no exceptions: a program without memory ends here.
void* orEnd(void* memory) {
  if (memory == nullptr) abort();
  return memory;
}

}  // namespace

void* operator new(size_t bytes) { return orEnd(malloc(bytes)); }
void* operator new[](size_t bytes) { return orEnd(malloc(bytes)); }
void* operator new(size_t bytes, const std::nothrow_t&) noexcept { return malloc(bytes); }
void* operator new[](size_t bytes, const std::nothrow_t&) noexcept { return malloc(bytes); }
void* operator new(size_t bytes, std::align_val_t alignment) { return orEnd(allocateAligned(bytes, static_cast<size_t>(alignment))); }
void operator delete(void* memory) noexcept { free(memory); }
void operator delete[](void* memory) noexcept { free(memory); }
void operator delete(void* memory, size_t) noexcept { free(memory); }
void operator delete[](void* memory, size_t) noexcept { free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { freeAligned(memory); }
void operator delete(void* memory, size_t, std::align_val_t) noexcept { freeAligned(memory); }

// --- load and unload ---

namespace {

using Function = void (*)();
constexpr uint32_t kMostAtExit = 16;
Function atExit[kMostAtExit];
uint32_t atExitCount = 0;

}  // namespace

extern "C" {

// The constructors of static objects: a mark, the functions, null. The linker makes it.
extern const Function __CTOR_LIST__[];

int atexit(Function function) {
  if (atExitCount == kMostAtExit) return 1;
  atExit[atExitCount++] = function;
  return 0;
}

// What Windows calls. Objects are made before the driver attaches, in the order in which the usual start-up code makes them, and go
// behind its detach, but when the whole process ends. A failed attach is followed by a detach.
BOOL WINAPI DllMainCRTStartup(HINSTANCE instance, DWORD reason, LPVOID reserved) {
  static bool attached = false;
  // The loader tells of the end of a failed attach, too, which has been dealt with.
  if (reason == DLL_PROCESS_DETACH && !attached) return TRUE;
  if (reason == DLL_PROCESS_ATTACH) {
    uint32_t count = 0;
    while (__CTOR_LIST__[count + 1] != nullptr) ++count;
    for (; count != 0; --count) __CTOR_LIST__[count]();
  }
  BOOL result = DllMain(instance, reason, reserved);
  attached = attached || (reason == DLL_PROCESS_ATTACH && result);
  if (reason == DLL_PROCESS_ATTACH && !result) {
    DllMain(instance, DLL_PROCESS_DETACH, nullptr);
    reason = DLL_PROCESS_DETACH;
    reserved = nullptr;
  }
  if (reason == DLL_PROCESS_DETACH && reserved == nullptr) {
    while (atExitCount != 0) atExit[--atExitCount]();
  }
  return result;
}

}  // extern "C"
