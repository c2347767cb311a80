// Budgets: amounts of something that a guest may hold.
#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

namespace qv::peer {

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
      if (used > limit_ || amount > limit_ - used) return false;
    } while (!used_.compare_exchange_weak(used, used + amount, std::memory_order_relaxed));
    return true;
  }
  // Takes what is in use already, whether or not there is as much.
  void force(uint64_t amount) { used_.fetch_add(amount, std::memory_order_relaxed); }
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
  // Holds `amount` instead of what it holds. False, with nothing changed, when there is not enough.
  bool resize(Budget& budget, uint64_t amount) {
    const uint64_t held = budget_ == nullptr ? 0 : amount_;
    if (amount > held && !budget.take(amount - held)) return false;
    if (amount < held) budget.give(held - amount);
    budget_ = &budget;
    amount_ = amount;
    return true;
  }
  // The same for what is in use already.
  void set(Budget& budget, uint64_t amount) {
    giveBack();
    budget.force(amount);
    budget_ = &budget;
    amount_ = amount;
  }
  uint64_t amount() const { return budget_ == nullptr ? 0 : amount_; }
  void giveBack() {
    if (budget_ != nullptr) budget_->give(amount_);
    budget_ = nullptr;
  }

 private:
  Budget* budget_ = nullptr;
  uint64_t amount_ = 0;
};

}  // namespace qv::peer
