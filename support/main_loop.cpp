#include "support/main_loop.hpp"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <utility>

namespace orvanta {

using Clock = std::chrono::steady_clock;

namespace detail {
struct MainLoopState {
  struct Timer {
    Clock::time_point due;
    Clock::duration interval;
    // Shared so that an action that cancels its own timer stays alive until it returns.
    std::shared_ptr<std::function<void()>> action;
  };

  std::mutex mutex;
  std::condition_variable wake;
  std::deque<std::function<void()>> tasks;  // guarded by mutex
  std::map<std::uint64_t, Timer> timers;    // guarded by mutex
  std::uint64_t nextTimerId = 1;            // guarded by mutex
  bool quitRequested = false;               // guarded by mutex
};
}  // namespace detail

// ---------------------------------------------------------------------------------------------------
// TimerHandle

TimerHandle::TimerHandle(TimerHandle&& other) noexcept
    : loop_(std::move(other.loop_)), id_(std::exchange(other.id_, 0)) {}

TimerHandle& TimerHandle::operator=(TimerHandle&& other) noexcept {
  if (this != &other) {
    cancel();
    loop_ = std::move(other.loop_);
    id_ = std::exchange(other.id_, 0);
  }
  return *this;
}

void TimerHandle::cancel() noexcept {
  if (id_ == 0) return;
  if (auto state = loop_.lock()) {
    std::optional<detail::MainLoopState::Timer> removed;
    {
      std::lock_guard lock(state->mutex);
      if (auto found = state->timers.find(id_); found != state->timers.end()) {
        removed = std::move(found->second);
        state->timers.erase(found);
      }
    }
    // `removed` dies here, outside the lock: the action's captures may post to the loop as they go.
  }
  loop_.reset();
  id_ = 0;
}

bool TimerHandle::active() const noexcept {
  return id_ != 0 && !loop_.expired();
}

// ---------------------------------------------------------------------------------------------------
// MainLoop

MainLoop::MainLoop() : state_(std::make_shared<detail::MainLoopState>()), mainThread_(std::this_thread::get_id()) {}

MainLoop::~MainLoop() = default;

void MainLoop::post(std::function<void()> task) {
  {
    std::lock_guard lock(state_->mutex);
    state_->tasks.push_back(std::move(task));
  }
  state_->wake.notify_one();
}

TimerHandle MainLoop::addRepeatingTimer(Seconds interval, std::function<void()> action) {
  const Clock::duration step =
      std::max<Clock::duration>(std::chrono::ceil<Clock::duration>(interval), std::chrono::milliseconds(1));
  std::uint64_t id = 0;
  {
    std::lock_guard lock(state_->mutex);
    id = state_->nextTimerId++;
    state_->timers.emplace(id,
                           detail::MainLoopState::Timer{Clock::now() + step, step,
                                                        std::make_shared<std::function<void()>>(std::move(action))});
  }
  state_->wake.notify_one();
  return TimerHandle(state_, id);
}

void MainLoop::run() {
  runLoop(nullptr, Seconds::max());
}

bool MainLoop::runUntil(const std::function<bool()>& done, Seconds timeout) {
  return runLoop(&done, timeout) == Ending::done;
}

void MainLoop::runFor(Seconds duration) {
  runLoop(nullptr, duration);
}

void MainLoop::quit() {
  {
    std::lock_guard lock(state_->mutex);
    state_->quitRequested = true;
  }
  state_->wake.notify_all();
}

bool MainLoop::isMainThread() const noexcept {
  return mainThread_.load() == std::this_thread::get_id();
}

MainLoop::Ending MainLoop::runLoop(const std::function<bool()>* done, Seconds timeout) {
  mainThread_.store(std::this_thread::get_id());
  std::optional<Clock::time_point> end;
  // Beyond a few years a time-out means "never"; converting Seconds::max() would overflow the clock.
  if (timeout < Seconds(1e8)) end = Clock::now() + std::chrono::ceil<Clock::duration>(std::max(timeout, Seconds(0)));

  detail::MainLoopState& state = *state_;
  for (;;) {
    if (done != nullptr && (*done)()) return Ending::done;

    std::function<void()> task;
    std::shared_ptr<std::function<void()>> timerAction;
    {
      std::unique_lock lock(state.mutex);
      for (;;) {
        if (state.quitRequested) {
          state.quitRequested = false;
          return Ending::quit;
        }
        const Clock::time_point now = Clock::now();
        auto earliest = state.timers.end();
        for (auto it = state.timers.begin(); it != state.timers.end(); ++it) {
          if (earliest == state.timers.end() || it->second.due < earliest->second.due) earliest = it;
        }
        // A due timer goes before queued tasks; since a timer runs at most once per interval, a busy
        // timer cannot starve the tasks, while a flood of tasks would otherwise starve the timers.
        if (earliest != state.timers.end() && earliest->second.due <= now) {
          auto& timer = earliest->second;
          timerAction = timer.action;
          timer.due += timer.interval;
          if (timer.due <= now) timer.due = now + timer.interval;
          break;
        }
        if (!state.tasks.empty()) {
          task = std::move(state.tasks.front());
          state.tasks.pop_front();
          break;
        }
        if (end && now >= *end) return Ending::timedOut;
        std::optional<Clock::time_point> wakeAt = end;
        if (earliest != state.timers.end() && (!wakeAt || earliest->second.due < *wakeAt)) {
          wakeAt = earliest->second.due;
        }
        if (wakeAt) {
          state.wake.wait_until(lock, *wakeAt);
        } else {
          state.wake.wait(lock);
        }
      }
    }
    if (task) {
      task();
    } else {
      (*timerAction)();
    }
  }
}

}  // namespace orvanta
