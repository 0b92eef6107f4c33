#include "viewmodels/panel_work.hpp"

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

namespace orvanta {
namespace {

using namespace std::chrono_literals;

TEST(PanelWork, ResultsRunOnTheDrainingThreadAndOnlyWhileTheirOwnerLives) {
  std::atomic<int> wakes{0};
  auto work = std::make_unique<PanelWork>(3, [&] { ++wakes; });
  auto owner = std::make_shared<int>(0);
  auto gone = std::make_shared<int>(0);
  const auto mainThread = std::this_thread::get_id();
  std::vector<int> seen;
  std::vector<std::thread::id> ranOn;
  for (int value = 0; value < 20; ++value) {
    work->post<int>(
        owner, [value](const orvanta::stop_token&) { return value * value; },
        [&](int result) {
          seen.push_back(result);
          ranOn.push_back(std::this_thread::get_id());
        });
  }
  bool ranForTheGoneOwner = false;
  work->post<int>(gone, [](const orvanta::stop_token&) { return 1; }, [&](int) { ranForTheGoneOwner = true; });
  gone.reset();

  EXPECT_FALSE(work->idle());
  ASSERT_TRUE(work->settle(10s));
  EXPECT_TRUE(work->idle());
  std::sort(seen.begin(), seen.end());
  ASSERT_EQ(seen.size(), 20u);
  EXPECT_EQ(seen[19], 361);
  EXPECT_FALSE(ranForTheGoneOwner);
  for (auto id : ranOn) EXPECT_EQ(id, mainThread);
  EXPECT_EQ(work->drain(), 0u);
  // A worker wakes the main thread after handing its result over, so the last wake may come after the
  // result was drained; once the pool is gone every wake has happened.
  work.reset();
  EXPECT_EQ(wakes.load(), 21);
}

TEST(PanelWork, ClosingStopsTheCallsThatRunAndDropsTheirResults) {
  std::atomic<bool> started{false};
  std::atomic<bool> sawStop{false};
  bool ran = false;
  auto owner = std::make_shared<int>(0);
  // What a result holds is released when the pool goes, on the thread that destroys it.
  auto held = std::make_shared<int>(0);
  std::weak_ptr<int> watch = held;
  {
    PanelWork work(2, {});
    work.post<int>(
        owner,
        [&](const orvanta::stop_token& stop) {
          started = true;
          while (!stop.stop_requested()) std::this_thread::sleep_for(1ms);
          sawStop = true;
          return 0;
        },
        [&, held = std::move(held)](int) { ran = true; });
    while (!started) std::this_thread::sleep_for(1ms);
    // More work queued behind the running call never starts.
    for (int index = 0; index < 5; ++index) {
      work.post<int>(owner, [](const orvanta::stop_token&) { return 0; }, [&](int) { ran = true; });
    }
  }
  EXPECT_TRUE(sawStop);
  EXPECT_FALSE(ran);
  EXPECT_TRUE(watch.expired());
}

TEST(PanelWork, SettleGivesUpWhenACallOutlastsIt) {
  PanelWork work(1, {});
  auto owner = std::make_shared<int>(0);
  work.post<int>(
      owner,
      [](const orvanta::stop_token& stop) {
        for (int step = 0; step < 2000 && !stop.stop_requested(); ++step) std::this_thread::sleep_for(1ms);
        return 0;
      },
      [](int) {});
  const auto began = std::chrono::steady_clock::now();
  EXPECT_FALSE(work.settle(50ms));
  EXPECT_LT(std::chrono::steady_clock::now() - began, 1s);
}

}  // namespace
}  // namespace orvanta
