#include "viewmodels/panel_work.hpp"

#include <thread>

namespace orvanta {

PanelWork::PanelWork(std::size_t threads, std::function<void()> wake) : wake_(std::move(wake)) {
  threads_.reserve(threads);
  for (std::size_t index = 0; index < threads; ++index) threads_.emplace_back([this] { workerLoop(); });
}

PanelWork::~PanelWork() {
  stop_.request_stop();
  {
    std::lock_guard lock(mutex_);
    closing_ = true;
    jobs_.clear();
  }
  jobsChanged_.notify_all();
  for (auto& thread : threads_) thread.join();
  // Results are dropped here, on the main thread, where their captures belong.
  std::lock_guard lock(mutex_);
  results_.clear();
}

void PanelWork::enqueue(Job job) {
  ++outstanding_;
  {
    std::lock_guard lock(mutex_);
    jobs_.push_back(std::move(job));
  }
  jobsChanged_.notify_one();
}

void PanelWork::workerLoop() {
  for (;;) {
    Job job;
    {
      std::unique_lock lock(mutex_);
      jobsChanged_.wait(lock, [this] { return closing_ || !jobs_.empty(); });
      if (closing_) return;
      job = std::move(jobs_.front());
      jobs_.pop_front();
    }
    auto result = job(stop_.get_token());
    job = nullptr;  // what the call captured goes here, on its own thread
    {
      // Even when closing: the result (and what it holds, a gate hold say) is dropped by the destructor,
      // on the main thread.
      std::lock_guard lock(mutex_);
      results_.push_back(std::move(result));
      if (closing_) return;
    }
    resultsChanged_.notify_all();
    if (wake_) wake_();
  }
}

std::size_t PanelWork::drain() {
  std::deque<std::function<void()>> ready;
  {
    std::lock_guard lock(mutex_);
    ready.swap(results_);
  }
  for (auto& result : ready) {
    result();
    result = nullptr;
    --outstanding_;
  }
  return ready.size();
}

bool PanelWork::settle(std::chrono::milliseconds limit) {
  const auto giveUp = std::chrono::steady_clock::now() + limit;
  for (;;) {
    drain();
    if (idle()) return true;
    std::unique_lock lock(mutex_);
    if (!resultsChanged_.wait_until(lock, giveUp, [this] { return !results_.empty(); })) {
      lock.unlock();
      drain();
      return idle();
    }
  }
}

}  // namespace orvanta
