// The screenshot tool's state: one capture at a time, the file of the last save, and the last error of a
// save or copy, which leaves the capture as it was.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <variant>

#include "capture/screenshot/screenshot_capture_service.hpp"
#include "core/host_pasteboard.hpp"

namespace orvanta {

struct ScreenshotStudioState {
  enum class Case { idle, capturing, captured, failure };
  Case kind = Case::idle;
  std::optional<ScreenshotCapture> capture;  // captured
  std::string message;                       // failure
};

// Main thread only, like the interface it stands behind; the services it calls block.
class ScreenshotStudio {
 public:
  ScreenshotStudio(ScreenshotCaptureService& captureService, ScreenshotDestinationStore& destinations,
                   HostPasteboard& pasteboard)
      : captureService_(captureService), destinations_(destinations), pasteboard_(pasteboard) {}

  [[nodiscard]] const ScreenshotStudioState& state() const { return state_; }
  [[nodiscard]] const std::optional<std::filesystem::path>& savedURL() const { return savedURL_; }
  [[nodiscard]] const std::optional<ScreenshotError>& operationError() const { return operationError_; }

  // idle/captured/failure -> capturing -> captured or failure. Refused with captureAlreadyInProgress while
  // capturing. A new capture forgets the previous save.
  expected<ScreenshotCapture, ScreenshotError> capture(const ScreenshotSubject& subject, orvanta::stop_token stop = {});
  // Saves the current capture into `folder`, or into the remembered folder (prepared first; a file in the
  // way or a folder that cannot be made gives destinationUnavailable). Without a capture: saveFailed.
  expected<std::filesystem::path, ScreenshotError> save(std::optional<std::filesystem::path> folder = std::nullopt);
  // Puts the captured PNG on the host's clipboard; clipboardFailed when that fails.
  expected<void, ScreenshotError> copyToPasteboard();
  // The saved file to show in the file browser; revealUnavailable before a save.
  expected<std::filesystem::path, ScreenshotError> fileToReveal();

 private:
  template <typename T>
  expected<T, ScreenshotError> operationFailed(ScreenshotError error) {
    operationError_ = error;
    return unexpected(std::move(error));
  }

  ScreenshotCaptureService& captureService_;
  ScreenshotDestinationStore& destinations_;
  HostPasteboard& pasteboard_;
  ScreenshotExportService exporter_;
  ScreenshotStudioState state_;
  std::optional<std::filesystem::path> savedURL_;
  std::optional<ScreenshotError> operationError_;
};

}  // namespace orvanta
