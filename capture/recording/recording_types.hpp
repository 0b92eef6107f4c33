// The values of a screen recording: codec, configuration, target, the finished movie, and its errors.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orvanta {

enum class RecordingCodec { hevc, h264 };

inline constexpr std::array<RecordingCodec, 2> allRecordingCodecs{RecordingCodec::hevc, RecordingCodec::h264};
// "hevc", "h264".
[[nodiscard]] std::string_view rawValue(RecordingCodec codec);
[[nodiscard]] std::optional<RecordingCodec> recordingCodecFromRawValue(std::string_view text);

struct RecordingConfiguration {
  RecordingCodec codec = RecordingCodec::hevc;
  bool operator==(const RecordingConfiguration&) const = default;
};

struct RecordingTarget {
  std::string simulatorUDID;
  std::string simulatorName;
  bool operator==(const RecordingTarget&) const = default;
};

// A finished movie in the recording service's temporary folder.
struct RecordingArtifact {
  std::string id;  // upper-case UUID
  RecordingTarget target;
  RecordingConfiguration configuration;
  std::chrono::system_clock::time_point startedAt;
  std::filesystem::path temporaryURL;
  double duration = 0;  // seconds
  std::int64_t pixelWidth = 0;
  std::int64_t pixelHeight = 0;
  std::int64_t fileSize = 0;
  bool operator==(const RecordingArtifact&) const = default;
};

// Minutes and two-digit seconds, "%d:%02d" ("0:07", "12:30"); negative or non-finite durations show as "0:00".
[[nodiscard]] std::string formatRecordingDuration(double seconds);
// "0:07, 1179 × 2556 pixels, 4182311 bytes": what a finished movie is.
[[nodiscard]] std::string recordingSummary(const RecordingArtifact& artifact);

struct RecordingError {
  enum class Case {
    launchFailed,           // message: the launch error
    unexpectedProcessExit,  // status and message: how the recorder ended, what it said
    invalidMovie,           // message: why it could not be read
    saveFailed,             // message: the reason
    noSimulatorSelected,
    simulatorNotBooted,
    recordingAlreadyInProgress,
    temporaryLocationUnavailable,
    simulatorRecordingResourceBusy,
    startHandshakeTimedOut,
    graceFulStopTimedOut,
    missingMovie,
    staleTarget,
    cancelled,
    clipboardFailed,
    destinationUnavailable,
    revealUnavailable,
  };

  Case kind = Case::cancelled;
  std::string message;
  std::optional<std::int32_t> status;

  static RecordingError of(Case kind, std::string message = {}) { return {kind, std::move(message), std::nullopt}; }

  // The exact user-facing sentence.
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it ("graceFulStopTimedOut", spelt as it always has been).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const RecordingError&) const = default;
};

}  // namespace orvanta
