// Threads on stacks of their own mapping.
#include "peer/host/context_thread.h"

#include <sys/mman.h>

#include <utility>

namespace qv::peer {
namespace {

constexpr size_t kStackBytes = size_t{64} << 20;

void* callBody(void* body) {
  (*static_cast<std::function<void()>*>(body))();
  return nullptr;
}

}  // namespace

bool ContextThread::start(std::function<void()> body) {
  // MAP_GROWSDOWN makes it a stack in the kernel's books: pages that are never touched do not count as the process's memory.
  void* const stack = mmap(nullptr, kStackBytes, PROT_READ | PROT_WRITE,
                           MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK | MAP_GROWSDOWN | MAP_NORESERVE, -1, 0);
  if (stack == MAP_FAILED) return false;
  body_ = std::move(body);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  const bool started =
      pthread_attr_setstack(&attributes, stack, kStackBytes) == 0 && pthread_create(&thread_, &attributes, callBody, &body_) == 0;
  pthread_attr_destroy(&attributes);
  if (started) {
    stack_ = stack;
  } else {
    munmap(stack, kStackBytes);
  }
  return started;
}

void ContextThread::join() {
  pthread_join(thread_, nullptr);
  munmap(stack_, kStackBytes);
  stack_ = nullptr;
}

}  // namespace qv::peer
