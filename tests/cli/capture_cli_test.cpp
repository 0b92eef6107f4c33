// orvanta screenshot and orvanta record, end to end over the simctl emulator.
#include <signal.h>

#include <atomic>
#include <thread>

#include "core/process_runner.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "support/movie_info.hpp"
#include "support/png.hpp"
#include "tests/cli/cli_harness.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using namespace std::chrono_literals;
using testing::CliResult;
using testing::kIPhone16;

class CaptureCliTest : public testing::TargetedCliTest {
 protected:
  // Nothing of ours is left in the temporary folder, and no emulator (recorder) still runs.
  void expectNothingLeftBehind() {
    const auto scratch = temporary() / ("orvanta-" + std::to_string(::geteuid()));
    if (std::filesystem::exists(scratch)) {
      for (const auto& entry : testing::entries(scratch)) {
        EXPECT_FALSE(entry.starts_with("Orvanta-")) << entry;
      }
    }
    EXPECT_EQ(emulatorProcessesAlive(), 0);
  }

  void setRecorderFault(const std::string& rule) {
    setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"recordVideo": )" + rule + "}");
  }
};

TEST_F(CaptureCliTest, ScreenshotIsSavedWithItsSizeAndNeverReplacesAFile) {
  auto first = orvanta({"--json", "screenshot"});
  ASSERT_EQ(first.status, 0) << first.err;
  const auto document = first.json();
  const std::filesystem::path path = document["path"].get<std::string>();
  EXPECT_EQ(path.parent_path(), root() / "home/Pictures/Orvanta");
  EXPECT_TRUE(path.filename().string().starts_with("iPhone 16 - ")) << path;
  EXPECT_EQ(document["pixelWidth"], 1179);
  EXPECT_EQ(document["pixelHeight"], 2556);
  EXPECT_EQ(document["simulatorUDID"], kIPhone16);
  auto bytes = testing::readBytes(path);
  ASSERT_TRUE(bytes.has_value());
  EXPECT_EQ(document["fileSize"], bytes->size());
  EXPECT_EQ(pngPixelSize(*bytes), (PngSize{1179, 2556}));

  // A remembered folder, and an existing file of the same name left alone.
  ASSERT_EQ(orvanta({"screenshot", "folder", (root() / "shots").string()}).status, 0);
  EXPECT_EQ(orvanta({"screenshot", "folder"}).out, (root() / "shots").string() + "\n");
  auto second = orvanta({"screenshot"});
  ASSERT_EQ(second.status, 0) << second.err;
  EXPECT_EQ(std::filesystem::path(second.out.substr(0, second.out.size() - 1)).parent_path(), root() / "shots");
  expectNothingLeftBehind();
}

TEST_F(CaptureCliTest, StatusBarPresetIsClearedEvenWhenTheCaptureFails) {
  auto clean = orvanta({"screenshot", "--status-bar", "clean-screenshot", "--out", (root() / "out").string()});
  ASSERT_EQ(clean.status, 0) << clean.err;
  EXPECT_TRUE(clean.err.find("Applied the \"Clean Screenshot\" status bar (confirmed).") != std::string::npos)
      << clean.err;
  EXPECT_TRUE(clean.err.find("Cleared the status bar overrides.") != std::string::npos) << clean.err;
  EXPECT_EQ(testing::entries(root() / "out").size(), 1u);

  setEnvironment("ORVANTA_EMULATOR_FAULTS",
                 R"({"io": {"exit": 60, "stderr": "Timeout waiting for screen surfaces\n"}})");
  auto failed = orvanta({"--json", "screenshot", "--status-bar", "low-battery"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.json()["error"]["kind"], "simctlFailed");
  EXPECT_TRUE(failed.err.find("Screenshot capture failed.\nTimeout waiting for screen surfaces") != std::string::npos)
      << failed.err;
  EXPECT_TRUE(failed.err.find("Cleared the status bar overrides.") != std::string::npos) << failed.err;
  setEnvironment("ORVANTA_EMULATOR_FAULTS", "");
  auto shown = orvanta({"--json", "status-bar", "show"});
  EXPECT_EQ(shown.json()["hasOverrides"], false) << shown.out;
  expectNothingLeftBehind();
}

TEST_F(CaptureCliTest, ScreenshotRefusals) {
  testing::writeBytes(root() / "a-file", "x");
  auto blocked = orvanta({"--json", "screenshot", "--out", (root() / "a-file").string()});
  EXPECT_EQ(blocked.status, 1);
  EXPECT_EQ(blocked.json()["error"]["message"], "The screenshot folder is unavailable. Choose another folder.");

  ASSERT_EQ(simctl({"shutdown", kIPhone16}).status, 0);
  auto off = orvanta({"screenshot"});
  EXPECT_EQ(off.status, 1);
  EXPECT_TRUE(off.err.starts_with("orvanta: The selected simulator is no longer booted.")) << off.err;
  expectNothingLeftBehind();
}

TEST_F(CaptureCliTest, RecordingForADurationSavesAMovieOfTheScreen) {
  auto recorded = orvanta({"--json", "record", "--codec", "h264", "--duration", "1"});
  ASSERT_EQ(recorded.status, 0) << recorded.err;
  const auto document = recorded.json();
  const std::filesystem::path path = document["path"].get<std::string>();
  EXPECT_EQ(path.parent_path(), root() / "home/Movies/Orvanta");
  EXPECT_EQ(path.extension(), ".mov");
  EXPECT_EQ(document["codec"], "h264");
  EXPECT_EQ(document["pixelWidth"], 1179);
  EXPECT_EQ(document["pixelHeight"], 2556);
  const double duration = document["duration"];
  EXPECT_GE(duration, 0.9);
  EXPECT_LE(duration, 5.0);
  auto info = readMovieInfoFile(path);
  ASSERT_TRUE(info.has_value()) << info.error();
  EXPECT_EQ(info->pixelWidth, 1179u);
  expectNothingLeftBehind();
}

TEST_F(CaptureCliTest, CtrlCAndTermWhileRecordingSaveTheMovie) {
  for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
    SCOPED_TRACE(signal);
    auto result =
        orvantaInterrupted({"record", "--out", (root() / "movies").string()}, "Press Ctrl-C to stop.", signal);
    EXPECT_EQ(result.status, 0) << result.err;
    const std::filesystem::path saved = result.out.substr(0, result.out.size() - 1);
    EXPECT_EQ(saved.parent_path(), root() / "movies");
    EXPECT_TRUE(readMovieInfoFile(saved).has_value()) << result.err;
    expectNothingLeftBehind();
  }
}

TEST_F(CaptureCliTest, CtrlCWhileStartingCancels) {
  setRecorderFault(R"({"startDelaySeconds": 30})");
  auto result = orvantaInterrupted({"record"}, "Starting the recording", SIGINT);
  EXPECT_EQ(result.status, 130);
  EXPECT_TRUE(result.err.find("Cancelled.") != std::string::npos) << result.err;
  expectNothingLeftBehind();
  EXPECT_FALSE(std::filesystem::exists(root() / "home/Movies/Orvanta") &&
               !testing::entries(root() / "home/Movies/Orvanta").empty());
}

TEST_F(CaptureCliTest, RecorderFaults) {
  struct Row {
    const char* rule;
    const char* kind;
    const char* message;
  };
  for (const Row& row :
       {Row{R"({"behaviour": "busy"})", "simulatorRecordingResourceBusy",
            "The simulator is already recording (possibly outside Orvanta). Wait for it to finish, "
            "or use a different simulator."},
        Row{R"({"behaviour": "exitEarly"})", "unexpectedProcessExit", "The recording stopped unexpectedly."},
        Row{R"({"behaviour": "noFile"})", "missingMovie", "The recording wasn't created."}}) {
    SCOPED_TRACE(row.rule);
    setRecorderFault(row.rule);
    auto result = orvanta({"--json", "record", "--duration", "0.3"});
    EXPECT_EQ(result.status, 1) << result.err;
    EXPECT_EQ(result.json()["error"]["kind"], row.kind);
    EXPECT_EQ(result.json()["error"]["message"], row.message);
    expectNothingLeftBehind();
  }
}

TEST_F(CaptureCliTest, ARecordingHoldsTheSimulator) {
  SimulatorMutationGate other(root() / "runtime" / "orvanta");
  ASSERT_TRUE(other.acquire(kIPhone16, gate_labels::screenRecording));
  auto refused = orvanta({"--json", "record", "--duration", "1"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(refused.json()["error"]["kind"], "recordingAlreadyInProgress");
  EXPECT_TRUE(refused.err.find("Held by: ScreenRecording (pid ") != std::string::npos) << refused.err;
  expectNothingLeftBehind();
}

}  // namespace
}  // namespace orvanta
