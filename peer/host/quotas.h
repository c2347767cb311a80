// What one guest may hold at most, and the counting of it.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace qv::peer {

// Far above what a program needs that draws; a guest that asks for more is refused, with a line in the log.
struct Quotas {
  uint64_t contexts = 256;
  uint64_t windows = 1024;
  uint64_t allocations = 1024;
  uint64_t allocationBytes = uint64_t{2} << 30;
  uint64_t drawableBytes = uint64_t{2} << 30;  // colours, depths and stencil values of all samples, and accumulation buffers
  uint64_t channelBytes = uint64_t{256} << 20;
};

// An amount that many threads take from and give back to.
class Budget {
 public:
  explicit Budget(uint64_t limit) : limit_(limit) {}
  Budget(const Budget&) = delete;
  Budget& operator=(const Budget&) = delete;

  // False, with nothing taken, when less than that is left.
  bool take(uint64_t amount) {
    uint64_t used = used_.load(std::memory_order_relaxed);
    do {
      if (amount > limit_ - used) return false;
    } while (!used_.compare_exchange_weak(used, used + amount, std::memory_order_relaxed));
    return true;
  }
  void give(uint64_t amount) { used_.fetch_sub(amount, std::memory_order_relaxed); }

 private:
  const uint64_t limit_;
  std::atomic<uint64_t> used_{0};
};

// What has been taken from a budget; its end gives it back.
class Held {
 public:
  Held() = default;
  Held(Held&& other) noexcept : budget_(std::exchange(other.budget_, nullptr)), amount_(other.amount_) {}
  Held& operator=(Held&& other) noexcept {
    std::swap(budget_, other.budget_);
    std::swap(amount_, other.amount_);
    return *this;
  }
  ~Held() { giveBack(); }

  // Gives back what it holds and takes `amount`. False when there is not enough; nothing is held then.
  bool take(Budget& budget, uint64_t amount) {
    giveBack();
    if (!budget.take(amount)) return false;
    budget_ = &budget;
    amount_ = amount;
    return true;
  }
  void giveBack() {
    if (budget_ != nullptr) budget_->give(amount_);
    budget_ = nullptr;
  }

 private:
  Budget* budget_ = nullptr;
  uint64_t amount_ = 0;
};

}  // namespace qv::peer
