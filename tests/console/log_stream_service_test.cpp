#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "capture/console/log_stream_process.hpp"
#include "capture/console/simulator_log_stream_service.hpp"
#include "tests/support/polling.hpp"

namespace orvanta {
namespace {

using namespace std::chrono_literals;
using Event = SimulatorLogStreamService::Event;

// A log stream the test drives: lines and the end are sent from a thread of their own, as the real
// stream's reading thread would.
class FakeStream final : public LogStreamProcessProtocol {
 public:
  struct Log {
    std::vector<std::string> arguments;
    bool stopped = false;
  };
  explicit FakeStream(std::shared_ptr<Log> log, std::optional<std::string> launchError = std::nullopt)
      : log_(std::move(log)), launchError_(std::move(launchError)) {}
  ~FakeStream() override {
    if (thread_.joinable()) thread_.join();
  }

  expected<void, std::string> launch(const std::filesystem::path&, const std::vector<std::string>& arguments) override {
    if (launchError_) return unexpected(*launchError_);
    log_->arguments = arguments;
    return {};
  }
  void stop() override { log_->stopped = true; }

  // Sends the lines (and then the end, when given) from another thread and waits for it.
  void send(std::vector<std::string> lines, std::optional<LogStreamTerminationReason> end = std::nullopt) {
    if (thread_.joinable()) thread_.join();
    thread_ = std::thread([this, lines = std::move(lines), end] {
      for (const auto& line : lines) onOutputLine(line);
      if (end) onTermination(*end);
    });
    thread_.join();
  }

 private:
  std::shared_ptr<Log> log_;
  std::optional<std::string> launchError_;
  std::thread thread_;
};

class LogStreamServiceTest : public ::testing::Test {
 protected:
  std::unique_ptr<SimulatorLogStreamService> makeService(double interval = 0.02) {
    auto service = std::make_unique<SimulatorLogStreamService>(
        loop_,
        [this]() -> std::unique_ptr<LogStreamProcessProtocol> {
          logs_.push_back(std::make_shared<FakeStream::Log>());
          auto stream = std::make_unique<FakeStream>(logs_.back(), launchError_);
          streams_.push_back(stream.get());
          return stream;
        },
        "/usr/bin/xcrun", interval);
    service->onEvent = [this](Event event) {
      EXPECT_TRUE(loop_.isMainThread());
      events_.push_back(std::move(event));
    };
    return service;
  }
  std::vector<std::string> messages() const {
    std::vector<std::string> all;
    for (const auto& event : events_) {
      for (const auto& entry : event.entries) all.push_back(entry.message);
    }
    return all;
  }
  void settle() { loop_.runFor(MainLoop::Seconds(0.1)); }

  MainLoop loop_;
  std::optional<std::string> launchError_;
  std::vector<std::shared_ptr<FakeStream::Log>> logs_;
  std::vector<FakeStream*> streams_;  // owned by the service while it holds them
  std::vector<Event> events_;
};

TEST_F(LogStreamServiceTest, StartsWithTheExactCommandAndRefusesASecondStart) {
  auto service = makeService();
  ASSERT_TRUE(service->start("3BC9A608-0042-414F-B35C-7ADB869BC572").has_value());
  EXPECT_EQ(logs_[0]->arguments, (std::vector<std::string>{"simctl", "spawn", "3BC9A608-0042-414F-B35C-7ADB869BC572",
                                                           "log", "stream", "--style", "ndjson", "--level", "debug"}));
  EXPECT_EQ(service->start("other").error().kind, ConsoleError::Case::streamAlreadyRunning);
  EXPECT_EQ(logs_.size(), 1u);
  EXPECT_TRUE(service->isRunning());
  service->stop();
  EXPECT_TRUE(logs_[0]->stopped);
  EXPECT_FALSE(service->isRunning());
  service->stop();  // idle: nothing

  for (const char* bad : {"", "--help", "a b"}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(service->start(bad).error().kind, ConsoleError::Case::malformedConfiguration);
  }
  launchError_ = "Executable not found at /usr/bin/xcrun.";
  auto failed = service->start("UDID");
  ASSERT_FALSE(failed.has_value());
  EXPECT_EQ(failed.error(), ConsoleError::processLaunchFailed("Executable not found at /usr/bin/xcrun."));
  EXPECT_EQ(failed.error().description(), "Couldn't start the log stream.");
  EXPECT_FALSE(service->isRunning());
}

TEST_F(LogStreamServiceTest, NothingOfAStoppedStreamReachesTheNextOne) {
  auto service = makeService(/*interval=*/10);  // no tick during the test: only stop and the end deliver
  ASSERT_TRUE(service->start("UDID").has_value());
  FakeStream* old = streams_[0];
  old->send({"undelivered"});
  const auto firstGeneration = service->generation();
  service->stop();
  EXPECT_TRUE(events_.empty());  // what had not been flushed is dropped, and no end is reported
  ASSERT_TRUE(service->start("UDID").has_value());
  EXPECT_GT(service->generation(), firstGeneration + 1);
  // The old child keeps printing, then ends; the new one prints and ends unexpectedly.
  old->send({"late line"}, LogStreamTerminationReason::cancelled());
  streams_[1]->send({"new line"}, LogStreamTerminationReason::exited(1));
  settle();
  ASSERT_EQ(events_.size(), 2u);
  EXPECT_EQ(messages(), (std::vector<std::string>{"new line"}));
  EXPECT_EQ(events_[1].kind, Event::Case::terminated);
  EXPECT_EQ(events_[1].reason, LogStreamTerminationReason::exited(1));
  EXPECT_FALSE(service->isRunning());
}

// Flushing on the timer is seen end to end (logs_cli_test), which streams for a duration.
TEST_F(LogStreamServiceTest, AnUnexpectedEndDeliversTheBufferedEntriesFirst) {
  auto service = makeService(/*interval=*/10);
  ASSERT_TRUE(service->start("UDID").has_value());
  streams_[0]->send({"a", "", R"({"eventMessage":"b","messageType":"Error"})"}, LogStreamTerminationReason::exited(70));
  settle();
  ASSERT_EQ(events_.size(), 2u);
  EXPECT_EQ(events_[0].kind, Event::Case::entries);
  EXPECT_EQ(messages(), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(events_[0].entries[1].level, SimulatorLogLevel::error);
  EXPECT_EQ(events_[1].reason, LogStreamTerminationReason::exited(70));
  // A new start after the end works.
  ASSERT_TRUE(service->start("UDID").has_value());
}

TEST(PendingLogBuffer, DrainKeepsOneGenerationAndALimitHoldsTheWriterBack) {
  PendingLogBuffer unbounded;
  SimulatorLogEntry entry;
  entry.message = "x";
  unbounded.accept(2);
  unbounded.append(entry, 1);  // older than accepted: dropped
  unbounded.append(entry, 2);
  unbounded.append(entry, 3);
  EXPECT_EQ(unbounded.drain(2).size(), 1u);
  EXPECT_TRUE(unbounded.drain(3).empty());  // the drain before took everything

  std::atomic<int> fullCalls{0};
  PendingLogBuffer bounded(1, [&] { ++fullCalls; });  // one entry fills it
  bounded.accept(1);
  bounded.append(entry, 1);
  EXPECT_EQ(fullCalls, 0);
  std::atomic<bool> appended{false};
  std::thread writer([&] {
    bounded.append(entry, 1);
    appended = true;
  });
  // The owner is asked once to drain early, and the writer waits meanwhile.
  ASSERT_TRUE(testing::eventually([&] { return fullCalls == 1; }));
  std::this_thread::sleep_for(20ms);
  EXPECT_FALSE(appended);
  EXPECT_EQ(fullCalls, 1);
  EXPECT_EQ(bounded.drain(1).size(), 1u);
  writer.join();
  EXPECT_TRUE(appended);
  // A waiting writer of a stream that is being stopped is let go.
  std::thread stale([&] { bounded.append(entry, 1); });
  std::this_thread::sleep_for(20ms);
  bounded.accept(2);
  stale.join();
  EXPECT_TRUE(bounded.drain(2).empty());
}

// The real process over the runner, with a shell standing in for the log tool.
TEST(LogStreamProcess, FramesBothStreamsAndReportsHowTheChildEnded) {
  ProcessRunner runner;
  struct Seen {
    std::mutex lock;
    std::condition_variable changed;
    std::vector<std::string> out, err;
    std::optional<LogStreamTerminationReason> end;
  };
  auto run = [&](const std::string& script, bool stop) {
    auto seen = std::make_shared<Seen>();
    auto update = [seen](auto change) {
      std::lock_guard guard(seen->lock);
      change(*seen);
      seen->changed.notify_all();
    };
    auto waitFor = [seen](auto done) {
      std::unique_lock guard(seen->lock);
      seen->changed.wait_for(guard, 10s, [&] { return done(*seen); });
    };
    LogStreamProcess process(makeStartLongRunningFunction(runner, false));
    process.onOutputLine = [update](std::string line) { update([&](Seen& s) { s.out.push_back(line); }); };
    process.onErrorLine = [update](std::string line) { update([&](Seen& s) { s.err.push_back(line); }); };
    process.onTermination = [update](LogStreamTerminationReason reason) { update([&](Seen& s) { s.end = reason; }); };
    EXPECT_TRUE(process.launch("/bin/sh", {"-c", script}).has_value());
    if (stop) {
      waitFor([](Seen& s) { return !s.out.empty(); });
      process.stop();
    }
    waitFor([](Seen& s) { return s.end.has_value(); });
    return seen;
  };

  auto ended = run("printf 'a\\nb\\npart'; printf 'oops\\n' >&2; exit 3", false);
  EXPECT_EQ(ended->out, (std::vector<std::string>{"a", "b", "part"}));
  EXPECT_EQ(ended->err, (std::vector<std::string>{"oops"}));
  EXPECT_EQ(ended->end, LogStreamTerminationReason::exited(3));

  auto stopped = run("trap 'exit 0' INT; echo ready; while :; do sleep 0.05; done", true);
  EXPECT_EQ(stopped->end, LogStreamTerminationReason::cancelled());

  LogStreamProcess missing(makeStartLongRunningFunction(runner, false));
  EXPECT_FALSE(missing.launch("/nonexistent/xcrun", {}).has_value());
}

}  // namespace
}  // namespace orvanta
