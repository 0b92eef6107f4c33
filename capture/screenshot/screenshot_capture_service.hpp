// Screenshots of a booted simulator into a private temporary folder, and saving them under readable names.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <variant>

#include "capture/screenshot/capture_export.hpp"
#include "capture/screenshot/screenshot_error.hpp"
#include "core/process_runner.hpp"
#include "support/expected.hpp"
#include "support/private_directory.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

// One captured image, still in the service's temporary folder.
struct ScreenshotCapture {
  std::string id;  // upper-case UUID
  std::string simulatorUDID;
  std::string simulatorName;
  std::chrono::system_clock::time_point capturedAt;
  std::filesystem::path temporaryURL;
  std::int64_t pixelWidth = 0;
  std::int64_t pixelHeight = 0;
  std::int64_t fileSize = 0;
  bool operator==(const ScreenshotCapture&) const = default;
};

// "1179 × 2556 pixels, 1342177 bytes, from iPhone 16": what a capture is.
[[nodiscard]] std::string screenshotSummary(const ScreenshotCapture& capture);

// The device to capture, as the target selection knows it.
struct ScreenshotSubject {
  std::string udid;
  std::string name;
  bool booted = false;
};

// Runs `simctl io <udid> screenshot <path>` and checks what it wrote. Used from one thread at a time.
class ScreenshotCaptureService {
 public:
  // The folder the program uses: <temporary directory>/Orvanta/Screenshots/<new UUID>.
  [[nodiscard]] static std::filesystem::path defaultTemporaryDirectory();

  // `temporaryDirectory` is created (0700) on the first capture. When `ownsTemporaryDirectory`, it is
  // removed with everything in it when the service goes away.
  ScreenshotCaptureService(RunFunction run, std::filesystem::path temporaryDirectory, bool ownsTemporaryDirectory,
                           std::filesystem::path xcrun = "/usr/bin/xcrun");
  ~ScreenshotCaptureService();
  ScreenshotCaptureService(const ScreenshotCaptureService&) = delete;
  ScreenshotCaptureService& operator=(const ScreenshotCaptureService&) = delete;

  // Captures the device's screen. Refuses an empty udid (noSimulatorSelected) and a device that is not
  // booted (simulatorNotBooted) before anything runs. A failed run gives simctlFailed with simctl's stderr
  // (or "simctl exited with status N."); no file: outputMissing; a file that is not a PNG: invalidImage,
  // and the file is removed. The previous capture's file is removed once a new one succeeds. Blocks.
  [[nodiscard]] expected<ScreenshotCapture, ScreenshotError> capture(const ScreenshotSubject& subject,
                                                                     orvanta::stop_token stop = {});

  [[nodiscard]] const std::filesystem::path& temporaryDirectory() const { return temporaryDirectory_; }

 private:
  RunFunction run_;
  std::filesystem::path temporaryDirectory_;
  bool ownsTemporaryDirectory_;
  std::filesystem::path xcrun_;
  std::optional<PrivateDirectory> owned_;
  std::optional<std::filesystem::path> current_;
};

// The remembered folder for screenshots ("Orvanta.Screenshot.destinationPath", else ~/Pictures/Orvanta).
class ScreenshotDestinationStore : public CaptureDestinationStore {
 public:
  static constexpr const char* key = "Orvanta.Screenshot.destinationPath";
  explicit ScreenshotDestinationStore(std::shared_ptr<SettingsStore> defaults)
      : CaptureDestinationStore(std::move(defaults), key, "Pictures/Orvanta") {}
};

// Saves captures into a folder under "<name> - <date>.png", never replacing a file.
class ScreenshotExportService {
 public:
  // Fails with saveFailed: "The captured image is no longer available." when the temporary file is gone,
  // else the system's reason. The temporary file stays. Blocks; any thread.
  [[nodiscard]] expected<std::filesystem::path, ScreenshotError> save(const ScreenshotCapture& capture,
                                                                      const std::filesystem::path& folder) const;
};

}  // namespace orvanta
