#include "capture/screenshot/screenshot_studio.hpp"

namespace orvanta {

using Case = ScreenshotError::Case;

expected<ScreenshotCapture, ScreenshotError> ScreenshotStudio::capture(const ScreenshotSubject& subject,
                                                                       orvanta::stop_token stop) {
  if (state_.kind == ScreenshotStudioState::Case::capturing) {
    return unexpected(ScreenshotError::of(Case::captureAlreadyInProgress));
  }
  state_ = {ScreenshotStudioState::Case::capturing, std::nullopt, {}};
  auto captured = captureService_.capture(subject, stop);
  if (!captured) {
    state_ = {ScreenshotStudioState::Case::failure, std::nullopt, captured.error().description()};
    return captured;
  }
  state_ = {ScreenshotStudioState::Case::captured, *captured, {}};
  savedURL_.reset();
  operationError_.reset();
  return captured;
}

expected<std::filesystem::path, ScreenshotError> ScreenshotStudio::save(std::optional<std::filesystem::path> folder) {
  if (!state_.capture) {
    return operationFailed<std::filesystem::path>(
        ScreenshotError::of(Case::saveFailed, "The captured image is no longer available."));
  }
  if (!folder) {
    auto prepared = destinations_.prepareFolder();
    if (!prepared) return operationFailed<std::filesystem::path>(ScreenshotError::of(Case::destinationUnavailable));
    folder = *prepared;
  }
  auto saved = exporter_.save(*state_.capture, *folder);
  if (!saved) return operationFailed<std::filesystem::path>(saved.error());
  savedURL_ = *saved;
  operationError_.reset();
  return saved;
}

expected<void, ScreenshotError> ScreenshotStudio::copyToPasteboard() {
  if (!state_.capture) return operationFailed<void>(ScreenshotError::of(Case::clipboardFailed));
  if (auto copied = pasteboard_.copyFile(state_.capture->temporaryURL, "image/png"); !copied) {
    // The clipboard's own reason rides along for the command line's hint; the sentence stays the same.
    return operationFailed<void>(ScreenshotError::of(Case::clipboardFailed, copied.error().description()));
  }
  return {};
}

expected<std::filesystem::path, ScreenshotError> ScreenshotStudio::fileToReveal() {
  if (!savedURL_) return operationFailed<std::filesystem::path>(ScreenshotError::of(Case::revealUnavailable));
  return *savedURL_;
}

}  // namespace orvanta
