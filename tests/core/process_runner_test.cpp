#include "core/process_runner.hpp"

#include <dirent.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

namespace orvanta {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

const std::filesystem::path kHelper = ORVANTA_TEST_HELPER;

int openDescriptorCount() {
  DIR* dir = opendir("/dev/fd");
  int count = 0;
  while (dirent* entry = readdir(dir)) {
    if (entry->d_name[0] != '.') ++count;
  }
  closedir(dir);
  return count - 1;  // the directory's own descriptor
}

void expectNoChildrenLeft() {
  int status = 0;
  errno = 0;
  EXPECT_EQ(::waitpid(-1, &status, WNOHANG), -1) << "a child was left to reap";
  EXPECT_EQ(errno, ECHILD);
}

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

TEST(ProcessRunnerTest, ExitStatusesAndSignalsAreOutputsNotErrors) {
  ProcessRunner runner;
  auto failed = runner.run(kHelper, {"exit", "1"});
  ASSERT_TRUE(failed.has_value());
  EXPECT_EQ(failed->terminationStatus, 1);
  EXPECT_FALSE(failed->terminatedBySignal);

  auto killed = runner.run(kHelper, {"signal", "9"});
  ASSERT_TRUE(killed.has_value());
  EXPECT_EQ(killed->terminationStatus, 9);
  EXPECT_TRUE(killed->terminatedBySignal);
}

TEST(ProcessRunnerTest, LargeOutputOnBothStreamsDoesNotDeadlock) {
  ProcessRunner runner;
  constexpr std::size_t size = 8 << 20;
  ProcessRunner::Options everything;
  everything.stderrLimit = SIZE_MAX;
  auto output = runner.run(kHelper, {"out", std::to_string(size)}, everything);
  ASSERT_TRUE(output.has_value()) << output.error().description();
  EXPECT_EQ(output->stdout.size(), size);
  EXPECT_EQ(output->stderr.size(), size);
  EXPECT_EQ(output->stdout.view().find_first_not_of('x'), std::string::npos);
  EXPECT_EQ(output->stderr.view().find_first_not_of('e'), std::string::npos);
}

TEST(ProcessRunnerTest, OutputBeyondItsBudgetIsCutOrEndsTheRun) {
  ProcessRunner runner;
  // By default stderr keeps its first 64 KiB and the rest is read and dropped; the run still succeeds.
  auto noisy = runner.run(kHelper, {"out", std::to_string(1 << 20)});
  ASSERT_TRUE(noisy.has_value()) << noisy.error().description();
  EXPECT_EQ(noisy->stdout.size(), std::size_t{1} << 20);
  EXPECT_EQ(noisy->stderr.size(), ProcessRunner::defaultStderrLimit);

  // Past the stdout budget the child is ended at once and the run fails with a sentence.
  ProcessRunner::Options small;
  small.stdoutLimit = 1 << 20;
  const auto began = std::chrono::steady_clock::now();
  auto flood = runner.run(kHelper, {"out", std::to_string(std::size_t{4} << 30)}, small);
  EXPECT_LT(std::chrono::steady_clock::now() - began, std::chrono::seconds(10));
  ASSERT_FALSE(flood.has_value());
  EXPECT_EQ(flood.error().description(), "Failed to read process output: the program printed more than 1 MiB");
}

TEST(ProcessRunnerTest, HowAProgramEndedInWords) {
  EXPECT_EQ(terminationText(3, false), "exited with status 3");
  EXPECT_EQ(terminationText(9, true), "was killed by signal 9 (SIGKILL)");
  EXPECT_EQ(ProcessRunnerError::killedBySignal(15, "bye").description(),
            "Process was killed by signal 15 (SIGTERM): bye");
}

TEST(ProcessRunnerTest, StandardInputIsDeliveredAndClosedEvenWhenLarge) {
  ProcessRunner runner;
  std::string input(3 << 20, 'i');
  input += "end";
  auto output = runner.run(kHelper, {"cat"}, ProcessRunner::Options{input, {}, 10.0});
  ASSERT_TRUE(output.has_value()) << output.error().description();
  EXPECT_EQ(output->stdout, input);

  // Without input the child reads an empty stdin rather than waiting on ours.
  auto empty = runner.run(kHelper, {"cat"});
  ASSERT_TRUE(empty.has_value());
  EXPECT_EQ(empty->stdout, "");
}

TEST(ProcessRunnerTest, EnvironmentOverridesAreMergedOverOurs) {
  ProcessRunner runner;
  ::setenv("ORVANTA_TEST_INHERITED", "kept", 1);
  ::setenv("ORVANTA_TEST_REPLACED", "old", 1);
  ProcessRunner::Options options;
  options.environmentOverrides = std::map<std::string, std::string>{{"ORVANTA_TEST_REPLACED", "new"}};
  auto replaced = runner.run(kHelper, {"env", "ORVANTA_TEST_REPLACED"}, options);
  auto inherited = runner.run(kHelper, {"env", "ORVANTA_TEST_INHERITED"}, options);
  ASSERT_TRUE(replaced && inherited);
  EXPECT_EQ(replaced->stdout, "new");
  EXPECT_EQ(inherited->stdout, "kept");
}

TEST(ProcessRunnerTest, ValidationOrderAndTheArgumentLimit) {
  ProcessRunner runner;
  // A missing executable is reported before the argument count is looked at.
  std::vector<std::string> tooMany(4097, "a");
  EXPECT_EQ(runner.run("/nonexistent/xcrun", tooMany).error(),
            ProcessRunnerError::executableNotFound("/nonexistent/xcrun"));
  EXPECT_EQ(runner.run("/tmp", {}).error().kind, ProcessRunnerError::Case::executableNotFound);

  auto refused = runner.run(kHelper, tooMany);
  ASSERT_FALSE(refused.has_value());
  EXPECT_EQ(refused.error().description(), "Failed to launch process: too many arguments (4097); the limit is 4096");

  std::vector<std::string> limit(4096, "a");
  limit[0] = "argc";
  auto started = runner.run(kHelper, limit);
  ASSERT_TRUE(started.has_value()) << started.error().description();
  EXPECT_EQ(started->stdout, "4096");
  expectNoChildrenLeft();
}

TEST(ProcessRunnerTest, TimeOutEscalatesToKillForAChildThatIgnoresTerm) {
  ProcessRunner runner;
  auto start = Clock::now();
  auto result = runner.run(kHelper, {"ignore-term", "30"}, ProcessRunner::Options{{}, {}, 0.5});
  const double elapsed = secondsSince(start);
  ASSERT_FALSE(result.has_value());
  EXPECT_EQ(result.error(), ProcessRunnerError::timedOut(0.5));
  // 0.5 s time-out plus the 2 s grace period.
  EXPECT_GE(elapsed, 2.0);
  EXPECT_LT(elapsed, 6.0);
  expectNoChildrenLeft();
}

TEST(ProcessRunnerTest, TheFirstStopReasonWins) {
  ProcessRunner runner;
  {
    // Cancelled twice: still just cancelled, and the child goes on SIGTERM.
    ProcessExecution execution(kHelper, {"sleep", "30"});
    std::thread canceller([&] {
      while (execution.pid() == 0) std::this_thread::sleep_for(1ms);
      execution.cancel();
      execution.cancel();
    });
    auto start = Clock::now();
    auto result = runner.run(execution);
    canceller.join();
    EXPECT_EQ(result.error(), ProcessRunnerError::cancelled());
    EXPECT_LT(secondsSince(start), 1.5);
  }
  {
    // Cancelled after the time-out fired (during the grace period): the time-out is what is reported.
    ProcessExecution execution(kHelper, {"ignore-term", "30"}, std::nullopt, std::nullopt, 0.2);
    std::thread canceller([&] {
      while (!execution.stopReason()) std::this_thread::sleep_for(1ms);
      execution.cancel();
    });
    auto result = runner.run(execution);
    canceller.join();
    EXPECT_EQ(result.error(), ProcessRunnerError::timedOut(0.2));
    EXPECT_EQ(execution.stopReason()->kind, ProcessExecution::StopReason::Case::timedOut);
  }
  {
    // A stop token requested while the run waits cancels it; one already requested starts nothing.
    orvanta::stop_source source;
    orvanta::jthread stopper([&] {
      std::this_thread::sleep_for(100ms);
      source.request_stop();
    });
    EXPECT_EQ(runner.run(kHelper, {"sleep", "30"}, source.get_token()).error(), ProcessRunnerError::cancelled());
    EXPECT_EQ(runner.run(kHelper, {"exit", "0"}, source.get_token()).error(), ProcessRunnerError::cancelled());
  }
  expectNoChildrenLeft();
}

TEST(ProcessRunnerTest, AGrandchildHoldingThePipesDoesNotHoldBackAStoppedRun) {
  ProcessRunner runner;
  ProcessExecution execution(kHelper, {"grandchild", "20"}, std::nullopt, std::nullopt, 0.3);
  pid_t group = 0;
  execution.onLaunch = [&](std::int32_t pid) { group = pid; };
  auto start = Clock::now();
  auto result = runner.run(execution);
  EXPECT_LT(secondsSince(start), 1.5);
  EXPECT_EQ(result.error(), ProcessRunnerError::timedOut(0.3));
  ::killpg(group, SIGKILL);  // the orphaned grandchild
}

TEST(ProcessRunnerTest, EndAtExitDoesNotWaitForABackgroundCopyHoldingThePipes) {
  ProcessRunner runner;
  ProcessExecution execution(kHelper, {"background", "20"}, std::nullopt, std::nullopt, 10.0);
  execution.endAtExit = true;
  pid_t group = 0;
  execution.onLaunch = [&](std::int32_t pid) { group = pid; };
  auto start = Clock::now();
  auto result = runner.run(execution);
  EXPECT_LT(secondsSince(start), 5.0);
  ::killpg(group, SIGKILL);  // the background copy
  ASSERT_TRUE(result.has_value()) << result.error().description();
  EXPECT_EQ(result->stdout, "served\n");
  EXPECT_EQ(result->terminationStatus, 0);
}

TEST(ProcessRunnerTest, ManyRunsInParallel) {
  ProcessRunner runner;
  std::atomic<int> good{0};
  {
    std::vector<orvanta::jthread> threads;
    for (int t = 0; t < 8; ++t) {
      threads.emplace_back([&, t] {
        for (int i = 0; i < 25; ++i) {
          std::string text = std::to_string(t * 100 + i);
          auto output = runner.run(kHelper, {"print", text});
          if (output && output->stdout == text) ++good;
        }
      });
    }
  }
  EXPECT_EQ(good.load(), 200);
  expectNoChildrenLeft();
}

TEST(ProcessRunnerTest, NoDescriptorOrZombieOutlivesManyRuns) {
  ProcessRunner runner;
  const int before = openDescriptorCount();
  for (int i = 0; i < 200; ++i) {
    auto output = runner.run(kHelper, {"exit", "0"});
    ASSERT_TRUE(output.has_value());
  }
  (void)runner.run("/nonexistent", {});
  EXPECT_LE(openDescriptorCount(), before);
  expectNoChildrenLeft();
}

TEST(ProcessRunnerTest, AChildSeesOnlyTheStandardDescriptors) {
  // Open a descriptor without close-on-exec, as other code in the process might.
  int stray = ::dup(0);
  ProcessRunner runner;
  auto withoutInput = runner.run(kHelper, {"fds"});
  auto withInput = runner.run(kHelper, {"fds"}, ProcessRunner::Options{std::string("x"), {}, {}});
  ::close(stray);
  ASSERT_TRUE(withoutInput && withInput);
  EXPECT_EQ(withoutInput->stdout, "0\n1\n2\n");
  EXPECT_EQ(withInput->stdout, "0\n1\n2\n");
}

TEST(LongRunningProcessTest, WaitersEarlyAndLateGetTheSameResult) {
  ProcessRunner runner;
  auto process = runner.startLongRunning(kHelper, {"sleep", "30"});
  ASSERT_TRUE(process.has_value());
  EXPECT_GT((*process)->pid(), 0);
  EXPECT_FALSE((*process)->resultIfFinished().has_value());

  std::vector<ProcessRunner::Result> seen(3);
  {
    std::vector<orvanta::jthread> waiters;
    for (auto& slot : seen) waiters.emplace_back([&] { slot = (*process)->waitForResult(); });
    std::this_thread::sleep_for(50ms);
    (*process)->sendSignal(SIGINT);
  }
  for (const auto& result : seen) {
    ASSERT_TRUE(result.has_value());
    EXPECT_TRUE(result->terminatedBySignal);
    EXPECT_EQ(result->terminationStatus, SIGINT);
  }
  // After the end: the stored result at once, and signals do nothing.
  (*process)->sendSignal(SIGKILL);
  EXPECT_EQ((*process)->waitForResult(), seen[0]);
}

TEST(LongRunningProcessTest, StartFailuresAndAbandonment) {
  ProcessRunner runner;
  EXPECT_EQ(runner.startLongRunning("/nonexistent/tool", {}).error(),
            ProcessRunnerError::executableNotFound("/nonexistent/tool"));
  {
    // Dropping a process that still runs kills it and reaps it.
    auto process = runner.startLongRunning(kHelper, {"ignore-term", "30"});
    ASSERT_TRUE(process.has_value());
    auto start = Clock::now();
    process->reset();
    EXPECT_LT(secondsSince(start), 1.5);
  }
  {
    // One that already ended and was never awaited.
    auto process = runner.startLongRunning(kHelper, {"print", "done"});
    ASSERT_TRUE(process.has_value());
    std::this_thread::sleep_for(100ms);
    auto result = (*process)->waitForResult();
    ASSERT_TRUE(result.has_value());
    EXPECT_EQ(result->stdout, "done");
  }
  expectNoChildrenLeft();
}

TEST(LongRunningProcessTest, OutputArrivesAsItIsReadAndTheCallbackMaySignalTheChild) {
  ProcessRunner runner;
  std::mutex lock;
  std::string seenOut, seenErr;
  ProcessRunner::LongRunningProcess* self = nullptr;
  std::atomic<bool> ready{false};
  auto process = runner.startLongRunning(kHelper, {"ignore-term", "30"},
                                         [&](OutputStream stream, std::string_view bytes) {
                                           std::lock_guard guard(lock);
                                           (stream == OutputStream::standardOutput ? seenOut : seenErr) += bytes;
                                           // Signalling from inside the callback must not deadlock.
                                           while (!ready) std::this_thread::yield();
                                           if (seenOut.find("ready\n") != std::string::npos) self->sendSignal(SIGINT);
                                         });
  ASSERT_TRUE(process.has_value());
  self = process->get();
  ready = true;
  auto result = (*process)->waitForResult(5000ms);
  ASSERT_TRUE(result.has_value());
  ASSERT_TRUE(result->has_value());
  EXPECT_TRUE((*result)->terminatedBySignal);
  std::lock_guard guard(lock);
  EXPECT_EQ(seenOut, "ready\n");
  EXPECT_EQ((*result)->stdout, "ready\n");  // the result keeps the output too
  EXPECT_EQ(seenErr, "");

  // Large output on both streams reaches the callback whole; without keeping, the result holds none of it.
  std::size_t outBytes = 0, errBytes = 0;
  auto unkept = runner.startLongRunning(
      kHelper, {"out", "300000"},
      [&](OutputStream stream, std::string_view bytes) {
        (stream == OutputStream::standardOutput ? outBytes : errBytes) += bytes.size();
      },
      /*keepOutput=*/false);
  ASSERT_TRUE(unkept.has_value());
  auto unkeptResult = (*unkept)->waitForResult();
  ASSERT_TRUE(unkeptResult.has_value());
  EXPECT_EQ(outBytes, 300000u);
  EXPECT_EQ(errBytes, 300000u);
  EXPECT_EQ(unkeptResult->stdout.size(), 0u);
  EXPECT_EQ(unkeptResult->stderr.size(), 0u);
}

}  // namespace
}  // namespace orvanta
