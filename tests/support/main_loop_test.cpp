#include "support/main_loop.hpp"

#include <atomic>
#include <memory>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace orvanta {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(MainLoopTest, TasksPostedFromOtherThreadsRunOnTheMainThreadInOrder) {
  MainLoop loop;
  constexpr int kThreads = 4;
  constexpr int kEach = 200;
  std::vector<std::pair<int, int>> ran;  // touched on the main thread only
  bool allOnMain = true;
  std::atomic<bool> workerSawMain{false};

  std::vector<std::thread> workers;
  for (int t = 0; t < kThreads; ++t) {
    workers.emplace_back([&, t] {
      if (loop.isMainThread()) workerSawMain = true;
      for (int i = 0; i < kEach; ++i) {
        loop.post([&, t, i] {
          allOnMain = allOnMain && loop.isMainThread();
          ran.emplace_back(t, i);
        });
      }
    });
  }
  EXPECT_TRUE(loop.runUntil([&] { return ran.size() == kThreads * kEach; }, 10s));
  for (auto& worker : workers) worker.join();

  EXPECT_TRUE(allOnMain);
  EXPECT_FALSE(workerSawMain.load());
  std::vector<int> next(kThreads, 0);
  for (auto [t, i] : ran) EXPECT_EQ(i, next[static_cast<std::size_t>(t)]++) << "thread " << t;
}

TEST(MainLoopTest, ATimerRepeatsUntilItsHandleIsGone) {
  MainLoop loop;
  int fired = 0;
  {
    TimerHandle timer = loop.addRepeatingTimer(10ms, [&] { ++fired; });
    EXPECT_TRUE(loop.runUntil([&] { return fired >= 3; }, 10s));
    EXPECT_TRUE(timer.active());
  }
  const int firedBefore = fired;
  const auto start = Clock::now();
  loop.runFor(100ms);
  EXPECT_GE(Clock::now() - start, 100ms);
  EXPECT_EQ(fired, firedBefore);
}

TEST(MainLoopTest, CancelledTimersNeverRunAgainEvenWhenAlreadyDue) {
  MainLoop loop;
  int killerFired = 0;
  int victimFired = 0;
  int selfCancellingFired = 0;
  // Both fall due at the same moment; the killer comes first and cancels the victim, whose run must not
  // follow.
  std::optional<TimerHandle> victim;
  TimerHandle killer = loop.addRepeatingTimer(20ms, [&] {
    ++killerFired;
    victim.reset();
  });
  victim = loop.addRepeatingTimer(20ms, [&] { ++victimFired; });
  TimerHandle selfCancelling;
  selfCancelling = loop.addRepeatingTimer(5ms, [&] {
    if (++selfCancellingFired == 2) selfCancelling.cancel();
  });
  loop.runFor(150ms);
  EXPECT_GE(killerFired, 1);
  EXPECT_EQ(victimFired, 0);
  EXPECT_EQ(selfCancellingFired, 2);
}

TEST(MainLoopTest, QuitEndsTheRunFromAnyThread) {
  MainLoop loop;
  loop.quit();
  const auto start = Clock::now();
  loop.run();  // quit before run: returns at once
  std::thread quitter([&] {
    std::this_thread::sleep_for(50ms);
    loop.quit();
  });
  EXPECT_FALSE(loop.runUntil([] { return false; }, 10s));
  quitter.join();
  EXPECT_LT(Clock::now() - start, 5s);
}

TEST(MainLoopTest, AHandleMayOutliveItsLoop) {
  auto loop = std::make_unique<MainLoop>();
  auto shared = std::make_shared<int>(0);
  TimerHandle timer = loop->addRepeatingTimer(1ms, [shared] { ++*shared; });
  loop->post([shared] { ++*shared; });
  loop.reset();
  EXPECT_EQ(shared.use_count(), 1) << "the loop's tasks and timers die with it";
  EXPECT_FALSE(timer.active());
  timer.cancel();
}

}  // namespace
}  // namespace orvanta
