#include <gtest/gtest.h>

#include "capture/screenshot/screenshot_studio.hpp"
#include "support/png.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using Case = ScreenshotError::Case;
using testing::ScratchFolder;

// Stands in for simctl: records argv, writes `file` (when set) to the path it is given, and replies.
struct FakeScreenshotter {
  std::vector<std::vector<std::string>> calls;
  std::optional<std::string> file;
  ProcessRunner::Result reply = ProcessRunner::Output{};

  RunFunction function() {
    return [this](const std::filesystem::path&, const std::vector<std::string>& arguments,
                  orvanta::stop_token) -> ProcessRunner::Result {
      calls.push_back(arguments);
      if (file) testing::writeBytes(arguments.back(), *file);
      return reply;
    };
  }
};

ProcessRunner::Output exited(int status, std::string stderrText = {}) {
  return ProcessRunner::Output{ByteBuffer(), ByteBuffer(stderrText), status, false};
}

const ScreenshotSubject kBooted{"UDID-1", "iPhone 16", true};

TEST(ScreenshotCaptureServiceTest, CapturesWithExactArgumentsAndReadsTheImage) {
  ScratchFolder folder;
  FakeScreenshotter simctl;
  simctl.file = solidColorPng(30, 20, 1, 2, 3);
  ScreenshotCaptureService service(simctl.function(), folder / "Screens/owned", true, "/x/xcrun");
  auto capture = service.capture(kBooted);
  ASSERT_TRUE(capture.has_value()) << capture.error().description();
  ASSERT_EQ(simctl.calls.size(), 1u);
  EXPECT_EQ(simctl.calls[0],
            (std::vector<std::string>{"simctl", "io", "UDID-1", "screenshot", capture->temporaryURL.string()}));
  EXPECT_EQ(capture->temporaryURL.parent_path(), folder / "Screens/owned");
  EXPECT_EQ(capture->temporaryURL.extension(), ".png");
  EXPECT_EQ(capture->pixelWidth, 30);  // size and file size end to end: capture_cli_test
  EXPECT_EQ(testing::permissions(folder / "Screens/owned"), 0700);

  // A newer capture replaces the older file; the owned folder goes with the service.
  auto second = service.capture(kBooted);
  ASSERT_TRUE(second.has_value());
  EXPECT_FALSE(std::filesystem::exists(capture->temporaryURL));
  EXPECT_TRUE(std::filesystem::exists(second->temporaryURL));
}

TEST(ScreenshotCaptureServiceTest, EveryFailureHasItsCaseAndLeavesNoFile) {
  struct Scenario {
    const char* name;
    std::optional<std::string> file;
    ProcessRunner::Result reply;
    ScreenshotError expected;
  };
  const std::vector<Scenario> scenarios = {
      {"exit 1, silent", std::nullopt, exited(1),
       ScreenshotError::of(Case::simctlFailed, "simctl exited with status 1.")},
      {"exit 60 with a message", solidColorPng(2, 2, 0, 0, 0), exited(60, "Timeout waiting for screen surfaces\n"),
       ScreenshotError::of(Case::simctlFailed, "Timeout waiting for screen surfaces")},
      {"could not run", std::nullopt, unexpected(ProcessRunnerError::executableNotFound("/x/xcrun")),
       ScreenshotError::of(Case::simctlFailed, "Executable not found at /x/xcrun.")},
      {"no file", std::nullopt, exited(0), ScreenshotError::of(Case::outputMissing)},
      {"zero bytes", std::string(), exited(0), ScreenshotError::of(Case::invalidImage)},
  };
  for (const auto& scenario : scenarios) {
    SCOPED_TRACE(scenario.name);
    ScratchFolder folder;
    FakeScreenshotter simctl;
    simctl.file = scenario.file;
    simctl.reply = scenario.reply;
    ScreenshotCaptureService service(simctl.function(), folder / "tmp", false);
    auto capture = service.capture(kBooted);
    ASSERT_FALSE(capture.has_value());
    EXPECT_EQ(capture.error(), scenario.expected);
    EXPECT_TRUE(testing::entries(folder / "tmp").empty());
  }

  FakeScreenshotter simctl;
  ScratchFolder folder;
  ScreenshotCaptureService service(simctl.function(), folder / "tmp", false);
  EXPECT_EQ(service.capture({"", "", false}).error().kind, Case::noSimulatorSelected);
  EXPECT_EQ(service.capture({"U", "Off", false}).error().kind, Case::simulatorNotBooted);
  testing::writeBytes(folder / "file", "");
  ScreenshotCaptureService blocked(simctl.function(), folder / "file/tmp", false);
  EXPECT_EQ(blocked.capture(kBooted).error().kind, Case::temporaryLocationUnavailable);
  EXPECT_TRUE(simctl.calls.empty());
}

TEST(ScreenshotStudioTest, SaveCopyAndRevealAfterACapture) {
  ScratchFolder folder;
  FakeScreenshotter simctl;
  simctl.file = solidColorPng(4, 4, 9, 9, 9);
  ScreenshotCaptureService service(simctl.function(), folder / "tmp", false);
  auto defaults = std::make_shared<InMemorySettingsStore>();
  ASSERT_TRUE(defaults->setValue(ScreenshotDestinationStore::key, (folder / "Saved").string()).has_value());
  ScreenshotDestinationStore destinations(defaults);
  InMemoryHostPasteboard pasteboard;
  ScreenshotStudio studio(service, destinations, pasteboard);

  EXPECT_EQ(studio.fileToReveal().error().kind, Case::revealUnavailable);
  EXPECT_EQ(studio.save().error().message, "The captured image is no longer available.");

  auto capture = studio.capture({"U", "A/B:C", true});
  ASSERT_TRUE(capture.has_value());
  EXPECT_EQ(studio.state().kind, ScreenshotStudioState::Case::captured);
  auto saved = studio.save();
  ASSERT_TRUE(saved);
  EXPECT_EQ(saved->parent_path(), folder / "Saved");
  EXPECT_EQ(studio.fileToReveal(), *saved);

  ASSERT_TRUE(studio.copyToPasteboard().has_value());
  EXPECT_EQ(pasteboard.contents()->mimeType, "image/png");
  EXPECT_EQ(pasteboard.contents()->bytes, *simctl.file);
  pasteboard.failWith(HostPasteboardError::unavailable("no clipboard"));
  EXPECT_EQ(studio.copyToPasteboard().error(), ScreenshotError::of(Case::clipboardFailed, "no clipboard"));
  EXPECT_EQ(studio.operationError()->kind, Case::clipboardFailed);
  EXPECT_EQ(studio.state().kind, ScreenshotStudioState::Case::captured);  // errors leave the capture alone

  // A capture file that vanished. (A file in the way of the folder: capture_cli_test ScreenshotRefusals.)
  std::filesystem::remove(capture->temporaryURL);
  EXPECT_EQ(studio.save(folder / "Saved").error(),
            ScreenshotError::of(Case::saveFailed, "The captured image is no longer available."));

  simctl.reply = exited(1);
  EXPECT_FALSE(studio.capture({"U", "A", true}).has_value());
  EXPECT_EQ(studio.state().kind, ScreenshotStudioState::Case::failure);
  EXPECT_EQ(studio.state().message, "Screenshot capture failed.");
}

}  // namespace
}  // namespace orvanta
