// VLGuarded: one value that any thread may read or write, behind its own small mutex, for the
// few fields that no single queue owns (a provider's validation properties, a collection's
// delegate). Reads return a copy, so nothing refers into the value after the lock is gone.
#pragma once

#include <mutex>
#include <utility>

template <class T>
class VLGuarded {
 public:
  VLGuarded() = default;
  explicit VLGuarded(T value) : value_(std::move(value)) {}

  // Returns a copy of the value.
  T get() const {
    std::lock_guard lock(mutex_);
    return value_;
  }
  // Replaces the value.
  void set(T value) {
    std::lock_guard lock(mutex_);
    value_ = std::move(value);
  }
  // Calls `change` with the value under the lock and returns what it returns, for a read
  // and a write that must happen as one step. `change` must not touch this guard again.
  template <class Change>
  auto with(Change&& change) {
    std::lock_guard lock(mutex_);
    return change(value_);
  }

  VLGuarded(const VLGuarded&) = delete;
  VLGuarded& operator=(const VLGuarded&) = delete;

 private:
  mutable std::mutex mutex_;
  T value_{};
};
