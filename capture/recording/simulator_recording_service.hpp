// Screen recordings of a booted simulator through `simctl io <udid> recordVideo`: a child that runs until
// it is interrupted, with a hand-shake at the start and an orderly stop that lets it finish the movie.
//
// Start waits until the recorder says "Recording started" (or says the host is already recording, or
// ends, or stays quiet for the hand-shake time-out); whatever happens first decides. Stop sends SIGINT,
// waits for the recorder to write the movie (at most the stop time-out, then it is ended), and reads the
// movie's duration and size. A failure at any point before the movie is ready leaves neither a movie nor
// a recorder behind. The simulator's mutation gate is held under "ScreenRecording" from the start of a
// session to its end.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "capture/recording/recording_types.hpp"
#include "capture/screenshot/capture_export.hpp"
#include "core/long_running_child.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "support/expected.hpp"
#include "support/private_directory.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

class SimulatorRecordingService;

// One recording, from start to its movie or its failure. Owned by the caller; the service changes it.
class SimulatorRecordingSession {
 public:
  enum class State { idle, starting, recording, stopping, finalizing, ready, failed };

  ~SimulatorRecordingSession();
  SimulatorRecordingSession(const SimulatorRecordingSession&) = delete;
  SimulatorRecordingSession& operator=(const SimulatorRecordingSession&) = delete;

  [[nodiscard]] State state() const { return state_; }
  [[nodiscard]] const RecordingTarget& target() const { return target_; }
  [[nodiscard]] const RecordingConfiguration& configuration() const { return configuration_; }
  [[nodiscard]] const std::filesystem::path& temporaryURL() const { return temporaryURL_; }
  [[nodiscard]] std::chrono::system_clock::time_point startedAt() const { return startedAt_; }
  [[nodiscard]] std::uint64_t startGeneration() const { return startGeneration_; }
  // Set in `ready` and `failed` respectively.
  [[nodiscard]] const std::optional<RecordingArtifact>& artifact() const { return artifact_; }
  [[nodiscard]] const std::optional<RecordingError>& error() const { return error_; }

 private:
  friend class SimulatorRecordingService;
  SimulatorRecordingSession() = default;

  RecordingTarget target_;
  RecordingConfiguration configuration_;
  State state_ = State::idle;
  std::unique_ptr<LongRunningChild> process_;
  std::filesystem::path temporaryURL_;
  std::chrono::system_clock::time_point startedAt_;
  std::uint64_t startGeneration_ = 0;
  std::optional<RecordingArtifact> artifact_;
  std::optional<RecordingError> error_;
  SimulatorMutationGate* gate_ = nullptr;  // held for target_ while the session is not finished
  SimulatorRecordingService* service_ = nullptr;
};

// Used from one thread (the main thread); start and stop block while they wait for the recorder.
class SimulatorRecordingService {
 public:
  static constexpr double defaultTimeout = 15.0;

  // The folder the program uses: <temporary directory>/Orvanta/Recordings/<new UUID>.
  [[nodiscard]] static std::filesystem::path defaultTemporaryDirectory();

  // `temporaryDirectory` is created (0700) at the first start; when owned, it is removed with every movie
  // in it when the service goes away. `gate` may be null (no gate).
  SimulatorRecordingService(StartLongRunningFunction start, std::filesystem::path temporaryDirectory,
                            bool ownsTemporaryDirectory, std::filesystem::path xcrun, SimulatorMutationGate* gate,
                            double startHandshakeTimeout = defaultTimeout, double stopTimeout = defaultTimeout);
  ~SimulatorRecordingService();
  SimulatorRecordingService(const SimulatorRecordingService&) = delete;
  SimulatorRecordingService& operator=(const SimulatorRecordingService&) = delete;

  // Starts recording `target` and returns once the recorder has confirmed, in state `recording`. Fails
  // with noSimulatorSelected (empty udid), simulatorNotBooted, recordingAlreadyInProgress (a session of
  // this service is under way, or the gate is held: the holder is the message), temporaryLocationUnavailable,
  // launchFailed, simulatorRecordingResourceBusy, unexpectedProcessExit, startHandshakeTimedOut, or
  // cancelled when `stop` is requested first. Blocks up to the hand-shake time-out.
  [[nodiscard]] expected<std::unique_ptr<SimulatorRecordingSession>, RecordingError> start(
      const RecordingTarget& target, bool booted, const RecordingConfiguration& configuration,
      orvanta::stop_token stop = {});

  // Stops a recording session and reads its movie: the artifact, or staleTarget (not this service's
  // current session), unexpectedProcessExit (the recorder had already ended), graceFulStopTimedOut,
  // missingMovie, invalidMovie. Blocks up to the stop time-out (plus the forced end).
  [[nodiscard]] expected<RecordingArtifact, RecordingError> stop(SimulatorRecordingSession& session);

  // Ends a recording session without keeping anything: the recorder is ended, the movie removed, and the
  // session fails with `cancelled`. Does nothing to a session that has already finished.
  void cancel(SimulatorRecordingSession& session);

  // Whether the recorder of a `recording` session has ended on its own; if so the session fails with
  // unexpectedProcessExit, which is returned. Does not block.
  std::optional<RecordingError> checkRecorder(SimulatorRecordingSession& session);

 private:
  friend class SimulatorRecordingSession;
  void fail(SimulatorRecordingSession& session, RecordingError error);

  StartLongRunningFunction start_;
  std::filesystem::path temporaryDirectory_;
  bool ownsTemporaryDirectory_;
  std::filesystem::path xcrun_;
  SimulatorMutationGate* gate_;
  std::chrono::milliseconds startHandshakeTimeout_;
  std::chrono::milliseconds stopTimeout_;
  std::optional<PrivateDirectory> owned_;
  std::uint64_t generation_ = 0;
  SimulatorRecordingSession* active_ = nullptr;  // the session of the current generation while unfinished
};

// The remembered folder for recordings ("Orvanta.Recording.destinationPath", else ~/Movies/Orvanta).
class RecordingDestinationStore : public CaptureDestinationStore {
 public:
  static constexpr const char* key = "Orvanta.Recording.destinationPath";
  explicit RecordingDestinationStore(std::shared_ptr<SettingsStore> defaults)
      : CaptureDestinationStore(std::move(defaults), key, "Movies/Orvanta") {}
};

// Saves movies into a folder under "<name> - <date>.mov", never replacing a file.
class RecordingExportService {
 public:
  // saveFailed with the reason; the temporary movie stays. Blocks; any thread.
  [[nodiscard]] expected<std::filesystem::path, RecordingError> save(const RecordingArtifact& artifact,
                                                                     const std::filesystem::path& folder) const;
};

}  // namespace orvanta
