#include "capture/recording/recording_types.hpp"

#include <cmath>

#include <fmt/format.h>

namespace orvanta {

std::string_view rawValue(RecordingCodec codec) { return codec == RecordingCodec::hevc ? "hevc" : "h264"; }

std::optional<RecordingCodec> recordingCodecFromRawValue(std::string_view text) {
  for (auto codec : allRecordingCodecs) {
    if (rawValue(codec) == text) return codec;
  }
  return std::nullopt;
}

std::string formatRecordingDuration(double seconds) {
  if (!std::isfinite(seconds) || seconds < 0) seconds = 0;
  const auto whole = static_cast<long long>(std::floor(seconds));
  return fmt::format("{}:{:02}", whole / 60, whole % 60);
}

std::string RecordingError::description() const {
  switch (kind) {
    case Case::launchFailed: return "Couldn't start recording.";
    case Case::unexpectedProcessExit: return "The recording stopped unexpectedly.";
    case Case::invalidMovie: return "The recording couldn't be read.";
    case Case::saveFailed: return "Save failed: " + message;
    case Case::noSimulatorSelected: return "Select a simulator first.";
    case Case::simulatorNotBooted: return "The selected simulator is no longer booted.";
    case Case::recordingAlreadyInProgress: return "A recording is already in progress.";
    case Case::temporaryLocationUnavailable: return "Couldn't prepare a temporary location for the recording.";
    case Case::simulatorRecordingResourceBusy:
      return "The simulator is already recording (possibly outside Orvanta). Wait for it to finish, or use a "
             "different simulator.";
    case Case::startHandshakeTimedOut: return "The simulator didn't confirm the recording started.";
    case Case::graceFulStopTimedOut: return "The simulator didn't finish stopping the recording.";
    case Case::missingMovie: return "The recording wasn't created.";
    case Case::staleTarget: return "The simulator or session changed — recording state is no longer valid.";
    case Case::cancelled: return "Cancelled.";
    case Case::clipboardFailed: return "Couldn't copy the recording to the clipboard.";
    case Case::destinationUnavailable: return "The movies folder is unavailable. Choose another folder.";
    case Case::revealUnavailable: return "Save the recording first.";
  }
  return {};
}

std::string_view RecordingError::caseName() const {
  switch (kind) {
    case Case::launchFailed: return "launchFailed";
    case Case::unexpectedProcessExit: return "unexpectedProcessExit";
    case Case::invalidMovie: return "invalidMovie";
    case Case::saveFailed: return "saveFailed";
    case Case::noSimulatorSelected: return "noSimulatorSelected";
    case Case::simulatorNotBooted: return "simulatorNotBooted";
    case Case::recordingAlreadyInProgress: return "recordingAlreadyInProgress";
    case Case::temporaryLocationUnavailable: return "temporaryLocationUnavailable";
    case Case::simulatorRecordingResourceBusy: return "simulatorRecordingResourceBusy";
    case Case::startHandshakeTimedOut: return "startHandshakeTimedOut";
    case Case::graceFulStopTimedOut: return "graceFulStopTimedOut";
    case Case::missingMovie: return "missingMovie";
    case Case::staleTarget: return "staleTarget";
    case Case::cancelled: return "cancelled";
    case Case::clipboardFailed: return "clipboardFailed";
    case Case::destinationUnavailable: return "destinationUnavailable";
    case Case::revealUnavailable: return "revealUnavailable";
  }
  return {};
}

std::string recordingSummary(const RecordingArtifact& artifact) {
  return formatRecordingDuration(artifact.duration) + ", " + std::to_string(artifact.pixelWidth) + " \xC3\x97 " +
         std::to_string(artifact.pixelHeight) + " pixels, " + std::to_string(artifact.fileSize) + " bytes";
}

}  // namespace orvanta
