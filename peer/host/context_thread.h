// ContextThread: a thread with the stack that the OpenGL's compiler needs.
#pragma once

#include <pthread.h>

#include <functional>

namespace qv::peer {

// The compiler of shaders goes down once for each level of an expression: what a program of 200 KiB can nest overflows a stack of
// ordinary size.
class ContextThread {
 public:
  ContextThread() = default;
  ContextThread(const ContextThread&) = delete;
  ContextThread& operator=(const ContextThread&) = delete;

  // False when there is no memory or no thread to be had. `body` throws nothing.
  [[nodiscard]] bool start(std::function<void()> body);
  bool joinable() const { return stack_ != nullptr; }
  // Waits for its end.
  void join();

 private:
  pthread_t thread_{};
  void* stack_ = nullptr;
  std::function<void()> body_;
};

}  // namespace qv::peer
