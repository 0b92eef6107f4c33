// The Captures page: a screenshot of the target (with a clean status bar for its length if asked), its
// thumbnail, saving into the remembered folder, copy and reveal; a screen recording started and stopped by
// hand, its time running while it records, and the finished movie saved with its length and size.
//
// simctl blocks for each of these, so they run on the panel's workers. The screenshot service and the
// recording service are each used by one call at a time (a call of the same kind waits for none: it is
// refused while one runs). The simulator's mutation gate is held on the main thread for the length of a
// recording, as "ScreenRecording", and for a screenshot that overrides the status bar.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "capture/recording/simulator_recording_service.hpp"
#include "capture/screenshot/screenshot_capture_service.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

class CapturesModel : public PageModel {
 public:
  explicit CapturesModel(PanelSession& session);
  ~CapturesModel() override;

  // --- Screenshots
  // The id of the status bar preset set for the length of a capture; empty: the status bar as it is.
  std::string statusBarPreset;
  void captureScreenshot();
  [[nodiscard]] bool capturing() const { return capturing_; }
  [[nodiscard]] const std::optional<ScreenshotCapture>& lastCapture() const { return capture_; }
  [[nodiscard]] const std::optional<std::filesystem::path>& savedScreenshot() const { return savedScreenshot_; }
  void saveScreenshot();
  void copyScreenshot();
  void revealScreenshot();
  // The folder screenshots are saved into, or the reason there is none.
  [[nodiscard]] std::string screenshotFolder() const;
  void setScreenshotFolder(const std::filesystem::path& folder);

  // --- Recordings
  enum class Recording { idle, starting, recording, stopping };
  RecordingCodec codec = RecordingCodec::hevc;
  [[nodiscard]] Recording recording() const { return recording_; }
  // The time recorded so far, "%d:%02d"; empty unless recording.
  [[nodiscard]] std::string recordingElapsed() const;
  void startRecording();
  void stopRecording();
  // Called by the view while recording (a few times a second): notices a recorder that ended by itself.
  void checkRecorder();
  [[nodiscard]] const std::optional<std::filesystem::path>& savedMovie() const { return savedMovie_; }
  [[nodiscard]] const std::optional<std::string>& movieSummary() const { return movieSummary_; }
  void revealMovie();
  [[nodiscard]] std::string recordingFolder() const;
  void setRecordingFolder(const std::filesystem::path& folder);

 private:
  void reveal(const std::filesystem::path& file);

  std::shared_ptr<ScreenshotCaptureService> screenshots_;
  bool capturing_ = false;
  std::optional<ScreenshotCapture> capture_;
  std::optional<std::filesystem::path> savedScreenshot_;

  std::shared_ptr<SimulatorRecordingService> recorder_;
  std::shared_ptr<SimulatorRecordingSession> recordingSession_;
  std::shared_ptr<SimulatorGateHold> recordingHold_;
  Recording recording_ = Recording::idle;
  std::chrono::steady_clock::time_point recordingBegan_;
  std::optional<std::filesystem::path> savedMovie_;
  std::optional<std::string> movieSummary_;
};

}  // namespace orvanta
