#include <signal.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include <gtest/gtest.h>

#include "capture/recording/recording_handshake.hpp"
#include "capture/recording/simulator_recording_service.hpp"
#include "capture/recording/single_assignment_signal.hpp"
#include "tests/support/polling.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using namespace std::chrono_literals;
using Case = RecordingError::Case;
using Event = RecordingHandshakeScanner::Event;
using testing::ScratchFolder;

const std::filesystem::path kMovies = std::filesystem::path(ORVANTA_FIXTURES).parent_path() / "capture/fixtures/movies";

TEST(RecordingHandshakeScannerTest, MessagesAcrossChunksStreamsAndBadBytes) {
  struct Row {
    const char* name;
    std::vector<std::pair<OutputStream, std::string>> chunks;
    std::optional<Event> expected;
    std::size_t decidingChunk;
  };
  const auto err = OutputStream::standardError;
  const auto out = OutputStream::standardOutput;
  const std::string busy = "Host recording is already in progress\n", started = "Recording started\n";
  for (const Row& c : std::vector<Row>{
           {"one line", {{err, started}}, Event::started, 0},
           {"split across reads", {{err, "Recording sta"}, {err, "rted\n"}}, Event::started, 1},
           {"both in one chunk, busy first", {{err, busy + started}}, Event::busy, 0},
           {"both in one chunk, started first", {{err, started + busy}}, Event::started, 0},
           {"halves on different streams do not join", {{err, "Recording sta"}, {out, "rted"}}, std::nullopt, 0},
           {"invalid bytes around it", {{out, "\xFF\xFERecording started\xC3"}}, Event::started, 0},
           {"a character cut between reads", {{err, "\xE2\x9C"}, {err, "\x93 Recording started"}}, Event::started, 1},
           {"nothing", {{err, "Recording completed."}}, std::nullopt, 0}}) {
    SCOPED_TRACE(c.name);
    RecordingHandshakeScanner scanner;
    std::optional<Event> seen;
    std::size_t at = 0;
    for (std::size_t i = 0; i < c.chunks.size() && !seen; ++i) {
      seen = scanner.feed(c.chunks[i].first, c.chunks[i].second);
      at = i;
    }
    EXPECT_EQ(seen, c.expected);
    if (seen) {
      EXPECT_EQ(at, c.decidingChunk);
    }
  }
  EXPECT_EQ(decodeUtf8Lossy(std::string("a\xFF") + "b\xED\xA0\x80"), "a\uFFFDb\uFFFD\uFFFD\uFFFD");
}

TEST(SingleAssignmentSignalTest, TheFirstAssignmentWinsForEveryWaiter) {
  SingleAssignmentSignal<int> result;
  EXPECT_FALSE(result.waitFor(1ms).has_value());
  std::vector<int> seen(4);
  {
    std::vector<std::thread> waiters;
    for (auto& slot : seen) waiters.emplace_back([&] { slot = result.wait(); });
    std::vector<std::thread> assigners;
    std::atomic<int> wins{0};
    for (int value = 1; value <= 8; ++value) assigners.emplace_back([&, value] { wins += result.assign(value); });
    for (auto& t : assigners) t.join();
    for (auto& t : waiters) t.join();
    EXPECT_EQ(wins, 1);
  }
  for (int value : seen) EXPECT_EQ(value, seen[0]);
  EXPECT_EQ(result.waitFor(0ms), seen[0]);  // a late waiter gets it at once
}

// A scripted recorder. On start it prints `startOutput` (from a thread, like a real child), then ends with
// `exitAfterOutput` if set. SIGINT makes it write `movie` to its path and exit 0, unless it ignores SIGINT.
struct RecorderScript {
  std::vector<std::pair<OutputStream, std::string>> startOutput;
  std::optional<int> exitAfterOutput;
  bool ignoreInterrupt = false;
  std::optional<std::string> movie;
};

struct RecorderLog {
  std::mutex lock;
  std::vector<std::string> arguments;
  std::vector<int> signals;
  bool terminated = false;
  std::atomic<int> alive{0};
};

class FakeRecorder final : public LongRunningChild {
 public:
  FakeRecorder(RecorderScript script, std::vector<std::string> arguments, OutputCallback onOutput,
               std::shared_ptr<RecorderLog> log)
      : script_(std::move(script)), path_(arguments.back()), log_(std::move(log)) {
    ++log_->alive;
    printer_ = std::thread([this, onOutput] {
      for (const auto& [stream, text] : script_.startOutput) {
        onOutput(stream, text);
        std::this_thread::sleep_for(2ms);
      }
      if (script_.exitAfterOutput)
        finish(ProcessRunner::Output{{}, ByteBuffer("gone\n"), *script_.exitAfterOutput, false});
    });
  }
  ~FakeRecorder() override {
    printer_.join();
    finish(ProcessRunner::Output{{}, {}, SIGKILL, true});
  }

  void sendSignal(int signal) override {
    {
      std::lock_guard guard(log_->lock);
      log_->signals.push_back(signal);
    }
    if (signal != SIGINT || script_.ignoreInterrupt) return;
    if (script_.movie) testing::writeBytes(path_, *script_.movie);
    finish(ProcessRunner::Output{ByteBuffer("Recording completed. Writing to disk.\n"), {}, 0, false});
  }
  std::optional<ProcessRunner::Result> waitForResult(std::chrono::milliseconds limit) override {
    std::unique_lock guard(lock_);
    if (!ended_.wait_for(guard, limit, [this] { return result_.has_value(); })) return std::nullopt;
    return result_;
  }
  ProcessRunner::Result terminate() override {
    {
      std::lock_guard guard(log_->lock);
      log_->terminated = true;
    }
    finish(ProcessRunner::Output{{}, {}, SIGTERM, true});
    return *waitForResult(0ms);
  }

 private:
  void finish(ProcessRunner::Result result) {
    std::lock_guard guard(lock_);
    if (result_) return;
    result_ = std::move(result);
    --log_->alive;
    ended_.notify_all();
  }

  RecorderScript script_;
  std::filesystem::path path_;
  std::shared_ptr<RecorderLog> log_;
  std::mutex lock_;
  std::condition_variable ended_;
  std::optional<ProcessRunner::Result> result_;
  std::thread printer_;
};

class RecordingServiceTest : public ::testing::Test {
 protected:
  SimulatorRecordingService makeService(RecorderScript script, double handshake = 5, double stop = 5) {
    return SimulatorRecordingService(
        [this, script](const std::filesystem::path&, const std::vector<std::string>& arguments,
                       OutputCallback onOutput) -> expected<std::unique_ptr<LongRunningChild>, ProcessRunnerError> {
          if (failLaunch) return unexpected(ProcessRunnerError::executableNotFound("/x/xcrun"));
          log->arguments = arguments;
          return std::unique_ptr<LongRunningChild>(std::make_unique<FakeRecorder>(script, arguments, onOutput, log));
        },
        folder / "Recordings", false, "/x/xcrun", &gate, handshake, stop);
  }
  bool noMovieLeft() const { return testing::entries(folder / "Recordings").empty(); }

  ScratchFolder folder;
  SimulatorMutationGate gate;
  std::shared_ptr<RecorderLog> log = std::make_shared<RecorderLog>();
  bool failLaunch = false;
  const RecordingTarget target{"UDID-1", "iPhone 16"};
  const std::pair<OutputStream, std::string> started{OutputStream::standardError, "Recording started\n"};
};

TEST_F(RecordingServiceTest, RecordsStopsAndReadsTheMovie) {
  auto service = makeService({{started}, std::nullopt, false, testing::readBytes(kMovies / "hevc-96x64-1.5s.mov")});
  auto session = service.start(target, true, {RecordingCodec::h264});
  ASSERT_TRUE(session.has_value()) << session.error().description();
  EXPECT_EQ(log->arguments, (std::vector<std::string>{"simctl", "io", "UDID-1", "recordVideo", "--codec=h264",
                                                      (*session)->temporaryURL().string()}));
  EXPECT_EQ((*session)->state(), SimulatorRecordingSession::State::recording);
  EXPECT_EQ(gate.holder("UDID-1"), "ScreenRecording");
  EXPECT_EQ(service.start(target, true, {}).error().kind, Case::recordingAlreadyInProgress);

  auto artifact = service.stop(**session);
  ASSERT_TRUE(artifact.has_value()) << artifact.error().description();
  EXPECT_EQ(log->signals, std::vector<int>{SIGINT});
  EXPECT_NEAR(artifact->duration, 1.5, 0.05);
  EXPECT_EQ(artifact->pixelWidth, 96);
  EXPECT_EQ(artifact->pixelHeight, 64);
  EXPECT_EQ((*session)->state(), SimulatorRecordingSession::State::ready);
  EXPECT_FALSE(gate.holder("UDID-1").has_value());
  EXPECT_EQ(service.stop(**session).error().kind, Case::staleTarget);

  // Numbering on a collision: capture_export_test.
  auto saved = RecordingExportService().save(*artifact, folder.path());
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->filename().string(), captureFileName("iPhone 16", artifact->startedAt, ".mov"));
}

TEST_F(RecordingServiceTest, StartFailuresLeaveNoRecorderAndNoMovie) {
  struct Scenario {
    const char* name;
    RecorderScript script;
    RecordingError expected;
  };
  const auto err = OutputStream::standardError;
  const std::vector<Scenario> scenarios = {
      {"busy",
       {{{err, "Host recording is already in progress\n"}}, std::nullopt, false, "partial"},
       RecordingError::of(Case::simulatorRecordingResourceBusy)},
      {"exits first",
       {{{err, "Note: No display specified.\n"}}, 2, false, {}},
       RecordingError{Case::unexpectedProcessExit, "gone", 2}},
      {"silence", {{}, std::nullopt, false, "partial"}, RecordingError::of(Case::startHandshakeTimedOut)},
  };
  for (const auto& scenario : scenarios) {
    SCOPED_TRACE(scenario.name);
    auto service = makeService(scenario.script, /*handshake=*/0.3);
    auto session = service.start(target, true, {});
    ASSERT_FALSE(session.has_value());
    EXPECT_EQ(session.error(), scenario.expected);
    EXPECT_EQ(log->alive, 0);
    EXPECT_TRUE(noMovieLeft());
    EXPECT_FALSE(gate.holder("UDID-1").has_value());
  }
  // A confirmation printed just before the recorder ended still counts as the first word.
  auto late = makeService({{started}, 0, false, {}});
  auto session = late.start(target, true, {});
  ASSERT_TRUE(session.has_value());
  // ... and its end while recording is noticed.
  ASSERT_TRUE(testing::eventually([&] { return log->alive == 0; }));
  EXPECT_EQ(late.checkRecorder(**session), (RecordingError{Case::unexpectedProcessExit, "gone", 0}));
  EXPECT_EQ(late.stop(**session).error().kind, Case::unexpectedProcessExit);
  EXPECT_TRUE(noMovieLeft());

  failLaunch = true;
  auto unlaunchable = makeService({});
  EXPECT_EQ(unlaunchable.start(target, true, {}).error(),
            RecordingError::of(Case::launchFailed, "Executable not found at /x/xcrun."));
  EXPECT_EQ(unlaunchable.start({"", ""}, false, {}).error().kind, Case::noSimulatorSelected);
  EXPECT_EQ(unlaunchable.start(target, false, {}).error().kind, Case::simulatorNotBooted);
}

TEST_F(RecordingServiceTest, StopFailures) {
  struct Scenario {
    const char* name;
    RecorderScript script;
    Case expected;
  };
  for (const auto& scenario : std::vector<Scenario>{
           {"ignores the interrupt", {{started}, std::nullopt, true, "partial"}, Case::graceFulStopTimedOut},
           {"writes an empty movie", {{started}, std::nullopt, false, std::string()}, Case::invalidMovie},
       }) {
    SCOPED_TRACE(scenario.name);
    auto service = makeService(scenario.script, 5, /*stop=*/0.3);
    auto session = service.start(target, true, {});
    ASSERT_TRUE(session.has_value());
    if (scenario.script.ignoreInterrupt) testing::writeBytes((*session)->temporaryURL(), "partial");
    auto artifact = service.stop(**session);
    ASSERT_FALSE(artifact.has_value());
    EXPECT_EQ(artifact.error().kind, scenario.expected);
    EXPECT_EQ((*session)->state(), SimulatorRecordingSession::State::failed);
    EXPECT_EQ(log->alive, 0);
    EXPECT_TRUE(noMovieLeft());
    EXPECT_FALSE(gate.holder("UDID-1").has_value());
  }
  EXPECT_EQ(formatRecordingDuration(65.9), "1:05");
  EXPECT_EQ(formatRecordingDuration(754), "12:34");
}

}  // namespace
}  // namespace orvanta
