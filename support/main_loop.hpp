// The program's main thread: a loop that runs posted tasks and repeating timers one at a time.
//
// The main thread is the thread that created the MainLoop until one of the run calls is made; from then
// on it is the thread that runs the loop. Main-thread-only objects (interface state, the target status,
// the mutation gate) are touched from tasks and timers of this loop alone. The loop creates no thread of
// its own; it sleeps on a condition variable until a task is posted, a timer is due, quit() is called or
// its time is up.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>

namespace orvanta {

namespace detail {
struct MainLoopState;
}

// Stops a repeating timer when cancelled or destroyed. Move-only. Must be cancelled or destroyed on the
// main thread; after that the timer's action never runs again (an action already running — the one that
// cancels its own timer — finishes normally). Outliving its loop is harmless.
class TimerHandle {
 public:
  TimerHandle() = default;
  TimerHandle(TimerHandle&& other) noexcept;
  TimerHandle& operator=(TimerHandle&& other) noexcept;
  TimerHandle(const TimerHandle&) = delete;
  TimerHandle& operator=(const TimerHandle&) = delete;
  ~TimerHandle() { cancel(); }

  // Stops the timer. Idempotent. Main thread.
  void cancel() noexcept;
  // Whether this handle still controls a timer (false once cancelled or moved from).
  [[nodiscard]] bool active() const noexcept;

 private:
  friend class MainLoop;
  TimerHandle(std::weak_ptr<detail::MainLoopState> loop, std::uint64_t id) : loop_(std::move(loop)), id_(id) {}

  std::weak_ptr<detail::MainLoopState> loop_;
  std::uint64_t id_ = 0;
};

// Thread-safe where stated per function; everything else belongs to the main thread. Tasks and timers run
// only inside run(), runUntil() or runFor(), in the order they were posted or fell due. Run calls may be
// nested inside a task (a task that waits for something by running the loop).
class MainLoop {
 public:
  using Seconds = std::chrono::duration<double>;

  MainLoop();
  ~MainLoop();
  MainLoop(const MainLoop&) = delete;
  MainLoop& operator=(const MainLoop&) = delete;

  // Queues `task` to run on the main thread and wakes the loop. Any thread; never blocks for long. Tasks
  // still queued when the loop is destroyed are destroyed without running.
  void post(std::function<void()> task);

  // Runs `action` on the main thread every `interval` (at least 1 ms) from now, until the returned handle
  // is cancelled or destroyed. A loop that falls behind skips the missed runs rather than catching up.
  // Main thread.
  [[nodiscard]] TimerHandle addRepeatingTimer(Seconds interval, std::function<void()> action);

  // Runs tasks and timers until quit(). Main thread (it becomes the main thread).
  void run();
  // Runs until `done()` holds (checked before waiting and after every task and timer), quit() is called or
  // `timeout` passes. Returns whether `done()` held. Main thread.
  bool runUntil(const std::function<bool()>& done, Seconds timeout = Seconds::max());
  // Runs for `duration`, or until quit(). Main thread.
  void runFor(Seconds duration);
  // Makes the innermost running run call return once the current task is over; when none is running, the
  // next run call returns at once. Any thread.
  void quit();

  // Whether the calling thread is the main thread. Any thread.
  [[nodiscard]] bool isMainThread() const noexcept;

 private:
  enum class Ending { done, quit, timedOut };
  Ending runLoop(const std::function<bool()>* done, Seconds timeout);

  std::shared_ptr<detail::MainLoopState> state_;
  std::atomic<std::thread::id> mainThread_;
};

}  // namespace orvanta
