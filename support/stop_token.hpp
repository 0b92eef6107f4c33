// Cooperative cancellation: orvanta::stop_token, stop_source, stop_callback and jthread.
//
// They are the standard ones where the library has them (libstdc++ 12). libc++ before 18, which is what
// Clang 14 on Debian and several Xcode releases ship, has none of them, so there a small implementation
// with the same names and semantics takes their place. Code only spells the orvanta:: names.
#pragma once

#include <version>

#if defined(__cpp_lib_jthread)
#include <stop_token>
#include <thread>

namespace orvanta {
using std::jthread;
using std::nostopstate;
using std::nostopstate_t;
using std::stop_callback;
using std::stop_source;
using std::stop_token;
}  // namespace orvanta

#else
#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>
#include <utility>

namespace orvanta {

struct nostopstate_t {
  explicit nostopstate_t() = default;
};
inline constexpr nostopstate_t nostopstate{};

namespace detail {

// Shared by a source and its tokens. Callbacks run on the thread that requests the stop, outside the
// mutex; a callback's destructor waits if its callback is running on another thread.
struct StopState {
  struct Callback {
    std::function<void()> invoke;
  };

  std::mutex mutex;
  std::condition_variable finished;
  bool requested = false;
  std::list<Callback*> callbacks;
  Callback* running = nullptr;
  std::thread::id runningThread;

  bool requestStop() {
    std::unique_lock lock(mutex);
    if (requested) return false;
    requested = true;
    while (!callbacks.empty()) {
      Callback* callback = callbacks.front();
      callbacks.pop_front();
      running = callback;
      runningThread = std::this_thread::get_id();
      lock.unlock();
      callback->invoke();
      lock.lock();
      running = nullptr;
      finished.notify_all();
    }
    return true;
  }

  // Returns false when the stop was already requested (the caller then invokes at once).
  bool add(Callback* callback) {
    std::lock_guard lock(mutex);
    if (requested) return false;
    callbacks.push_back(callback);
    return true;
  }

  void remove(Callback* callback) {
    std::unique_lock lock(mutex);
    for (auto it = callbacks.begin(); it != callbacks.end(); ++it) {
      if (*it == callback) {
        callbacks.erase(it);
        return;
      }
    }
    if (running == callback && runningThread != std::this_thread::get_id()) {
      finished.wait(lock, [&] { return running != callback; });
    }
  }
};

}  // namespace detail

class stop_token {
 public:
  stop_token() noexcept = default;
  [[nodiscard]] bool stop_requested() const noexcept {
    if (!state_) return false;
    std::lock_guard lock(state_->mutex);
    return state_->requested;
  }
  [[nodiscard]] bool stop_possible() const noexcept { return state_ != nullptr; }
  friend bool operator==(const stop_token& a, const stop_token& b) noexcept { return a.state_ == b.state_; }

 private:
  friend class stop_source;
  template <class>
  friend class stop_callback;
  explicit stop_token(std::shared_ptr<detail::StopState> state) noexcept : state_(std::move(state)) {}
  std::shared_ptr<detail::StopState> state_;
};

class stop_source {
 public:
  stop_source() : state_(std::make_shared<detail::StopState>()) {}
  explicit stop_source(nostopstate_t) noexcept {}
  [[nodiscard]] stop_token get_token() const noexcept { return stop_token(state_); }
  [[nodiscard]] bool stop_possible() const noexcept { return state_ != nullptr; }
  [[nodiscard]] bool stop_requested() const noexcept { return get_token().stop_requested(); }
  bool request_stop() noexcept { return state_ && state_->requestStop(); }

 private:
  std::shared_ptr<detail::StopState> state_;
};

template <class Callback>
class stop_callback {
 public:
  using callback_type = Callback;

  template <class C>
  explicit stop_callback(const stop_token& token, C&& callback) : callback_(std::forward<C>(callback)) {
    attach(token.state_);
  }
  template <class C>
  explicit stop_callback(stop_token&& token, C&& callback) : callback_(std::forward<C>(callback)) {
    attach(std::move(token.state_));
  }
  ~stop_callback() {
    if (state_) state_->remove(&entry_);
  }
  stop_callback(const stop_callback&) = delete;
  stop_callback& operator=(const stop_callback&) = delete;

 private:
  void attach(std::shared_ptr<detail::StopState> state) {
    if (!state) return;
    entry_.invoke = [this] { callback_(); };
    if (state->add(&entry_)) {
      state_ = std::move(state);
    } else {
      callback_();
    }
  }

  Callback callback_;
  detail::StopState::Callback entry_;
  std::shared_ptr<detail::StopState> state_;
};

template <class Callback>
stop_callback(stop_token, Callback) -> stop_callback<Callback>;

// A thread that asks its function to stop and joins it when destroyed.
class jthread {
 public:
  jthread() noexcept : source_(nostopstate) {}
  template <class F, class... Args>
    requires(!std::is_same_v<std::remove_cvref_t<F>, jthread>)
  explicit jthread(F&& function, Args&&... arguments) {
    if constexpr (std::is_invocable_v<std::decay_t<F>, stop_token, std::decay_t<Args>...>) {
      thread_ = std::thread(std::forward<F>(function), source_.get_token(), std::forward<Args>(arguments)...);
    } else {
      thread_ = std::thread(std::forward<F>(function), std::forward<Args>(arguments)...);
    }
  }
  jthread(jthread&& other) noexcept = default;
  jthread& operator=(jthread&& other) noexcept {
    if (this != &other) {
      stopAndJoin();
      thread_ = std::move(other.thread_);
      source_ = std::move(other.source_);
    }
    return *this;
  }
  ~jthread() { stopAndJoin(); }

  [[nodiscard]] bool joinable() const noexcept { return thread_.joinable(); }
  void join() { thread_.join(); }
  void detach() { thread_.detach(); }
  [[nodiscard]] stop_source get_stop_source() noexcept { return source_; }
  [[nodiscard]] stop_token get_stop_token() const noexcept { return source_.get_token(); }
  bool request_stop() noexcept { return source_.request_stop(); }

 private:
  void stopAndJoin() {
    if (thread_.joinable()) {
      source_.request_stop();
      thread_.join();
    }
  }

  stop_source source_;
  std::thread thread_;
};

}  // namespace orvanta
#endif
