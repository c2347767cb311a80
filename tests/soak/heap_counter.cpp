// The counter stands in front of the C library's allocator, or hooks into that of a sanitizer.
#include "tests/soak/heap_counter.h"

#include <cerrno>
#include <cstddef>

namespace {

constinit thread_local bool counting = false;
constinit thread_local uint64_t counted = 0;

void count() {
  if (counting) ++counted;
}

}  // namespace

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onMalloc)(const volatile void*, size_t),
                                                         void (*onFree)(const volatile void*));

namespace {

[[maybe_unused]] const int installed =
    __sanitizer_install_malloc_and_free_hooks([](const volatile void*, size_t) { count(); }, [](const volatile void*) {});

}  // namespace

#else

#define QV_EXPORT extern "C" __attribute__((visibility("default")))

extern "C" {
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t items, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void* __libc_memalign(size_t alignment, size_t bytes);
}

// The whole family goes to the C library's own, so that what one hands out every other takes.
QV_EXPORT void* malloc(size_t bytes) {
  count();
  return __libc_malloc(bytes);
}
QV_EXPORT void* calloc(size_t items, size_t bytes) {
  count();
  return __libc_calloc(items, bytes);
}
QV_EXPORT void* realloc(void* block, size_t bytes) {
  count();
  return __libc_realloc(block, bytes);
}
QV_EXPORT void* memalign(size_t alignment, size_t bytes) {
  count();
  return __libc_memalign(alignment, bytes);
}
QV_EXPORT void* aligned_alloc(size_t alignment, size_t bytes) { return memalign(alignment, bytes); }
QV_EXPORT int posix_memalign(void** block, size_t alignment, size_t bytes) {
  *block = memalign(alignment, bytes);
  return *block != nullptr ? 0 : ENOMEM;
}

#endif

namespace qv::test {

HeapCount::HeapCount() {
  counted = 0;
  counting = true;
}
HeapCount::~HeapCount() { counting = false; }
uint64_t HeapCount::allocations() const { return counted; }

}  // namespace qv::test
