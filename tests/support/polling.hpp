// Waiting in tests for what another thread does, without betting on how quickly it is scheduled.
#pragma once

#include <chrono>
#include <thread>

namespace orvanta::testing {

// Polls `condition` until it holds (true) or `limit` passes (false). The limit is generous on purpose:
// it only bounds a test that is already failing.
template <class Condition>
bool eventually(Condition condition, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
  const auto giveUp = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= giveUp) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace orvanta::testing
