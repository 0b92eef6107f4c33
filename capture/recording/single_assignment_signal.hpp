// A result that is set once and awaited by any number of threads.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>

namespace orvanta {

// The first assignment wins and wakes every waiter; later ones are ignored; a waiter that comes after the
// assignment gets the stored value at once. Thread-safe: `lock_` guards `result_`.
template <typename T>
class SingleAssignmentSignal {
 public:
  // True when this call set the value.
  bool assign(T value) {
    {
      std::lock_guard guard(lock_);
      if (result_) return false;
      result_ = std::move(value);
    }
    waiters_.notify_all();
    return true;
  }

  // Blocks until a value is set.
  [[nodiscard]] T wait() const {
    std::unique_lock guard(lock_);
    waiters_.wait(guard, [this] { return result_.has_value(); });
    return *result_;
  }

  // The value, waiting at most `limit`; nullopt when none was set by then.
  [[nodiscard]] std::optional<T> waitFor(std::chrono::milliseconds limit) const {
    std::unique_lock guard(lock_);
    if (!waiters_.wait_for(guard, limit, [this] { return result_.has_value(); })) return std::nullopt;
    return result_;
  }

  [[nodiscard]] std::optional<T> value() const {
    std::lock_guard guard(lock_);
    return result_;
  }

 private:
  mutable std::mutex lock_;
  mutable std::condition_variable waiters_;
  std::optional<T> result_;
};

}  // namespace orvanta
