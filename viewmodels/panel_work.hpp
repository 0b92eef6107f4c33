// Calls that must not block the window: run on a pool of worker threads of the panel's own, their results
// handed back to the main thread, which runs them when it drains the queue.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "support/stop_token.hpp"

namespace orvanta {

class PanelWork {
 public:
  // `wake` is called on a worker thread each time a result is ready; the front end uses it to have the main
  // thread call drain() (the Qt layer posts a queued call). It may be empty when the owner polls.
  PanelWork(std::size_t threads, std::function<void()> wake);
  // Requests a stop of the calls that run, waits for them and drops their results: no thread outlives it.
  ~PanelWork();
  PanelWork(const PanelWork&) = delete;
  PanelWork& operator=(const PanelWork&) = delete;

  // Runs `call` on a worker; then `done` with its result on the main thread, unless `owner` has gone by
  // then (a page that closed drops the result). `call` gets the pool's stop token.
  template <class Result>
  void post(std::weak_ptr<const void> owner, std::function<Result(const orvanta::stop_token&)> call,
            std::function<void(Result)> done) {
    enqueue([owner = std::move(owner), call = std::move(call),
             done = std::move(done)](const orvanta::stop_token& stop) mutable -> std::function<void()> {
      auto result = std::make_shared<Result>(call(stop));
      return [owner = std::move(owner), done = std::move(done), result]() mutable {
        if (owner.expired()) return;
        done(std::move(*result));
      };
    });
  }

  // Main thread: runs the results that are ready, in the order they became ready. Returns how many ran.
  std::size_t drain();
  // No call is running or waiting, and no result waits to be drained.
  [[nodiscard]] bool idle() const { return outstanding_.load() == 0; }
  // Main thread: drains until idle() or until `limit` passes; true when idle. For tests and for rendering
  // pages once their first calls have come back.
  bool settle(std::chrono::milliseconds limit);

 private:
  using Job = std::function<std::function<void()>(const orvanta::stop_token&)>;
  void enqueue(Job job);
  void workerLoop();

  std::function<void()> wake_;
  orvanta::stop_source stop_;
  mutable std::mutex mutex_;
  std::condition_variable jobsChanged_;
  std::condition_variable resultsChanged_;
  std::deque<Job> jobs_;
  std::deque<std::function<void()>> results_;
  bool closing_ = false;
  std::atomic<std::size_t> outstanding_{0};
  std::vector<std::thread> threads_;
};

}  // namespace orvanta
