#include "viewmodels/captures_model.hpp"

#include "app/environment.hpp"
#include "core/file_reveal.hpp"
#include "tools/controls/status_bar_for_capture.hpp"

namespace orvanta {

namespace {

// The error's sentence, and what simctl or the system said when there is more.
template <class Error>
std::string sentenceOf(const Error& error) {
  return error.description() + (error.message.empty() ? "" : " " + error.message);
}

}  // namespace

CapturesModel::CapturesModel(PanelSession& session) : PageModel(session) {}

CapturesModel::~CapturesModel() {
  // A recording still under way is ended without a movie; the gate is let go with the hold.
  if (recordingSession_ && recorder_ && recording_ == Recording::recording) recorder_->cancel(*recordingSession_);
}

void CapturesModel::captureScreenshot() {
  if (capturing_) return;
  auto device = requireTarget();
  if (!device) return;
  std::shared_ptr<SimulatorGateHold> gateHold;
  if (!statusBarPreset.empty()) {
    // The status bar is the simulator's state: nothing else may change it while the capture borrows it.
    gateHold = hold(device->udid, "Screenshot", ScreenshotError::of(ScreenshotError::Case::captureAlreadyInProgress).description());
    if (!gateHold) return;
  }
  auto& environment = session_.environment();
  if (!screenshots_) {
    screenshots_ = std::make_shared<ScreenshotCaptureService>(
        environment.run(), ScreenshotCaptureService::defaultTemporaryDirectory(), true, environment.xcrunPath());
  }
  struct Outcome {
    expected<ScreenshotCapture, std::string> capture = unexpected(std::string());
    std::vector<std::string> notes;
  };
  capturing_ = true;
  run<Outcome>(
      [service = screenshots_, client = environment.simctl(), device = *device,
       preset = statusBarPreset](const orvanta::stop_token& stop) {
        Outcome outcome;
        std::optional<StatusBarForCapture> statusBar;
        if (!preset.empty()) {
          const auto* chosen = findStatusBarPreset(preset);
          statusBar.emplace(client, device, [&outcome](std::string note) { outcome.notes.push_back(std::move(note)); });
          if (chosen == nullptr) {
            outcome.capture = unexpected("There is no status bar preset \"" + preset + "\".");
            return outcome;
          }
          if (auto applied = statusBar->apply(*chosen, stop); !applied) {
            outcome.capture = unexpected(applied.error().description());
            return outcome;
          }
        }
        auto captured = service->capture({device.udid, device.name, true}, stop);
        statusBar.reset();  // cleared before the result goes back, so its note goes too
        if (captured) {
          outcome.capture = std::move(*captured);
        } else {
          outcome.capture = unexpected(sentenceOf(captured.error()));
        }
        return outcome;
      },
      [this, gateHold](Outcome outcome) {
        capturing_ = false;
        std::string notes;
        for (const auto& note : outcome.notes) notes += " " + note;
        if (!outcome.capture) return fail(outcome.capture.error() + notes);
        capture_ = std::move(*outcome.capture);
        savedScreenshot_.reset();
        succeed("Captured " + screenshotSummary(*capture_) + "." + notes);
      });
}

void CapturesModel::saveScreenshot() {
  if (!capture_) return fail(ScreenshotError::of(ScreenshotError::Case::saveFailed).description());
  using Outcome = expected<std::filesystem::path, std::string>;
  run<Outcome>(
      [settings = session_.environment().settings(), capture = *capture_](const orvanta::stop_token&) -> Outcome {
        auto folder = ScreenshotDestinationStore(settings).prepareFolder();
        if (!folder) {
          return unexpected(ScreenshotError::of(ScreenshotError::Case::destinationUnavailable).description() + " " +
                            folder.error());
        }
        auto saved = ScreenshotExportService().save(capture, *folder);
        if (!saved) return unexpected(saved.error().description());
        return *saved;
      },
      [this, id = capture_->id](Outcome saved) {
        if (!saved) return fail(saved.error());
        if (capture_ && capture_->id == id) savedScreenshot_ = *saved;
        succeed("Saved " + saved->string() + ".");
      });
}

void CapturesModel::copyScreenshot() {
  if (!capture_) return fail(ScreenshotError::of(ScreenshotError::Case::saveFailed).description());
  using Outcome = expected<void, HostPasteboardError>;
  run<Outcome>(
      [&pasteboard = session_.environment().hostPasteboard(), file = capture_->temporaryURL](
          const orvanta::stop_token& stop) { return pasteboard.copyFile(file, "image/png", stop); },
      [this](Outcome copied) {
        if (!copied) {
          return fail(ScreenshotError::of(ScreenshotError::Case::clipboardFailed).description() + " " +
                      copied.error().description());
        }
        succeed("Copied the screenshot to the clipboard.");
      });
}

void CapturesModel::revealScreenshot() {
  if (!savedScreenshot_) return fail(ScreenshotError::of(ScreenshotError::Case::revealUnavailable).description());
  reveal(*savedScreenshot_);
}

void CapturesModel::revealMovie() {
  if (!savedMovie_) return fail("Save a recording first.");
  reveal(*savedMovie_);
}

void CapturesModel::reveal(const std::filesystem::path& file) {
  using Outcome = expected<void, std::string>;
  run<Outcome>(
      [run = session_.environment().runWithOptions(), file](const orvanta::stop_token&) {
        return revealInFileBrowser(run, file);
      },
      [this, file](Outcome revealed) {
        if (!revealed) return fail(revealed.error());
        succeed("Showed " + file.filename().string() + " in the file browser.");
      });
}

namespace {

std::string folderText(const CaptureDestinationStore& store) {
  auto folder = store.currentFolder();
  return folder ? folder->string() : folder.error();
}

}  // namespace

std::string CapturesModel::screenshotFolder() const {
  return folderText(ScreenshotDestinationStore(session_.environment().settings()));
}

std::string CapturesModel::recordingFolder() const {
  return folderText(RecordingDestinationStore(session_.environment().settings()));
}

void CapturesModel::setScreenshotFolder(const std::filesystem::path& folder) {
  if (auto set = ScreenshotDestinationStore(session_.environment().settings()).setFolder(folder); !set) {
    return fail(set.error());
  }
  succeed("Screenshots are saved into " + screenshotFolder() + ".");
}

void CapturesModel::setRecordingFolder(const std::filesystem::path& folder) {
  if (auto set = RecordingDestinationStore(session_.environment().settings()).setFolder(folder); !set) {
    return fail(set.error());
  }
  succeed("Recordings are saved into " + recordingFolder() + ".");
}

std::string CapturesModel::recordingElapsed() const {
  if (recording_ != Recording::recording) return {};
  return formatRecordingDuration(std::chrono::duration<double>(std::chrono::steady_clock::now() - recordingBegan_).count());
}

void CapturesModel::startRecording() {
  if (recording_ != Recording::idle) return;
  auto device = requireTarget();
  if (!device) return;
  // Held here, on the main thread, from the start to the saved movie: the recorder itself needs no gate.
  auto gateHold = hold(device->udid, "ScreenRecording",
                       RecordingError::of(RecordingError::Case::recordingAlreadyInProgress).description());
  if (!gateHold) return;
  auto& environment = session_.environment();
  if (!recorder_) {
    recorder_ = std::make_shared<SimulatorRecordingService>(
        makeStartLongRunningFunction(environment.processRunner()), SimulatorRecordingService::defaultTemporaryDirectory(),
        true, environment.xcrunPath(), nullptr);
  }
  recordingHold_ = gateHold;
  recording_ = Recording::starting;
  savedMovie_.reset();
  movieSummary_.reset();
  // A plain pair rather than an expected: GCC 12 misreads a shared_ptr moved out of one as uninitialised.
  struct Outcome {
    std::shared_ptr<SimulatorRecordingSession> session;
    std::optional<RecordingError> error;
  };
  run<Outcome>(
      [recorder = recorder_, device = *device, configuration = RecordingConfiguration{codec}](
          const orvanta::stop_token& stop) {
        Outcome outcome;
        auto started = recorder->start({device.udid, device.name}, true, configuration, stop);
        if (started) {
          outcome.session = std::shared_ptr<SimulatorRecordingSession>(started->release());
        } else {
          outcome.error = started.error();
        }
        return outcome;
      },
      [this, name = device->name](Outcome started) {
        if (!started.session) {
          recording_ = Recording::idle;
          recordingHold_.reset();
          const auto error = started.error.value_or(RecordingError{});
          return fail(sentenceOf(error));
        }
        recordingSession_ = std::move(started.session);
        recording_ = Recording::recording;
        recordingBegan_ = std::chrono::steady_clock::now();
        succeed("Recording " + name + " (" + std::string(rawValue(codec)) + ").");
      });
}

void CapturesModel::checkRecorder() {
  if (recording_ != Recording::recording || !recordingSession_) return;
  if (auto ended = recorder_->checkRecorder(*recordingSession_)) {
    recording_ = Recording::idle;
    recordingSession_.reset();
    recordingHold_.reset();
    fail(sentenceOf(*ended));
    return;
  }
  changed();
}

void CapturesModel::stopRecording() {
  if (recording_ != Recording::recording || !recordingSession_) return;
  recording_ = Recording::stopping;
  struct Outcome {
    expected<std::filesystem::path, RecordingError> saved = unexpected(RecordingError{});
    std::string summary;
  };
  run<Outcome>(
      [recorder = recorder_, session = recordingSession_,
       settings = session_.environment().settings()](const orvanta::stop_token&) {
        Outcome outcome;
        auto artifact = recorder->stop(*session);
        if (!artifact) {
          outcome.saved = unexpected(artifact.error());
          return outcome;
        }
        outcome.summary = recordingSummary(*artifact);
        auto folder = RecordingDestinationStore(settings).prepareFolder();
        if (!folder) {
          auto error = RecordingError::of(RecordingError::Case::destinationUnavailable);
          error.message = folder.error();
          outcome.saved = unexpected(error);
          return outcome;
        }
        outcome.saved = RecordingExportService().save(*artifact, *folder);
        return outcome;
      },
      [this](Outcome outcome) {
        recording_ = Recording::idle;
        recordingSession_.reset();
        recordingHold_.reset();
        if (!outcome.saved) {
          const auto& error = outcome.saved.error();
          return fail(sentenceOf(error));
        }
        savedMovie_ = *outcome.saved;
        movieSummary_ = outcome.summary;
        succeed("Saved " + outcome.saved->string() + " (" + outcome.summary + ").");
      });
}

}  // namespace orvanta
