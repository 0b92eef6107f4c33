#include "capture/screenshot/screenshot_error.hpp"

namespace orvanta {

std::string ScreenshotError::description() const {
  switch (kind) {
    case Case::simctlFailed: return "Screenshot capture failed.";
    case Case::saveFailed: return "Save failed: " + message;
    case Case::noSimulatorSelected: return "Select a simulator first.";
    case Case::simulatorNotBooted: return "The selected simulator is no longer booted.";
    case Case::captureAlreadyInProgress: return "A capture is already in progress.";
    case Case::temporaryLocationUnavailable: return "Couldn't prepare a temporary location for the screenshot.";
    case Case::outputMissing: return "The screenshot wasn't created.";
    case Case::invalidImage: return "The captured image couldn't be read.";
    case Case::clipboardFailed: return "Couldn't copy the screenshot to the clipboard.";
    case Case::destinationUnavailable: return "The screenshot folder is unavailable. Choose another folder.";
    case Case::revealUnavailable: return "Save the screenshot first.";
  }
  return {};
}

std::string_view ScreenshotError::caseName() const {
  switch (kind) {
    case Case::simctlFailed: return "simctlFailed";
    case Case::saveFailed: return "saveFailed";
    case Case::noSimulatorSelected: return "noSimulatorSelected";
    case Case::simulatorNotBooted: return "simulatorNotBooted";
    case Case::captureAlreadyInProgress: return "captureAlreadyInProgress";
    case Case::temporaryLocationUnavailable: return "temporaryLocationUnavailable";
    case Case::outputMissing: return "outputMissing";
    case Case::invalidImage: return "invalidImage";
    case Case::clipboardFailed: return "clipboardFailed";
    case Case::destinationUnavailable: return "destinationUnavailable";
    case Case::revealUnavailable: return "revealUnavailable";
  }
  return {};
}

}  // namespace orvanta
