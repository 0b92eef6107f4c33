#include "capture/recording/simulator_recording_service.hpp"

#include <signal.h>
#include <unistd.h>

#include <fmt/format.h>

#include "capture/recording/orphan_recorder.hpp"
#include "capture/recording/recording_handshake.hpp"
#include "capture/recording/single_assignment_signal.hpp"
#include "support/app_paths.hpp"
#include "support/movie_info.hpp"
#include "support/uuid.hpp"

namespace orvanta {
namespace {

using Case = RecordingError::Case;
using namespace std::chrono_literals;

std::chrono::milliseconds milliseconds(double seconds) {
  return std::chrono::milliseconds(static_cast<std::int64_t>(std::max(seconds, 0.0) * 1000));
}

RecordingError exitError(const ProcessRunner::Result& result) {
  RecordingError error = RecordingError::of(Case::unexpectedProcessExit);
  if (!result) {
    error.message = result.error().description();
    return error;
  }
  error.status = result->terminationStatus;
  std::string text = decodeUtf8Lossy(result->stderr.view());
  if (text.find_first_not_of(" \n\t") == std::string::npos) text = decodeUtf8Lossy(result->stdout.view());
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  error.message =
      text.empty() ? "simctl " + terminationText(result->terminationStatus, result->terminatedBySignal) + "." : text;
  return error;
}

}  // namespace

SimulatorRecordingSession::~SimulatorRecordingSession() {
  // Dropping an unfinished session ends its recorder and frees the simulator.
  process_.reset();
  if (gate_) gate_->release(target_.simulatorUDID, gate_labels::screenRecording);
  if (service_ && service_->active_ == this) service_->active_ = nullptr;
}

std::filesystem::path SimulatorRecordingService::defaultTemporaryDirectory() {
  return scratchDirectory() / fmt::format("Orvanta-Recording-{}-{}", ::getpid(), makeUUID());
}

SimulatorRecordingService::SimulatorRecordingService(StartLongRunningFunction start,
                                                     std::filesystem::path temporaryDirectory,
                                                     bool ownsTemporaryDirectory, std::filesystem::path xcrun,
                                                     SimulatorMutationGate* gate, double startHandshakeTimeout,
                                                     double stopTimeout)
    : start_(std::move(start)),
      temporaryDirectory_(std::move(temporaryDirectory)),
      ownsTemporaryDirectory_(ownsTemporaryDirectory),
      xcrun_(std::move(xcrun)),
      gate_(gate),
      startHandshakeTimeout_(milliseconds(startHandshakeTimeout)),
      stopTimeout_(milliseconds(stopTimeout)) {}

SimulatorRecordingService::~SimulatorRecordingService() = default;

void SimulatorRecordingService::fail(SimulatorRecordingSession& session, RecordingError error) {
  if (session.process_) {
    if (!session.process_->waitForResult(0ms)) (void)session.process_->terminate();
    session.process_.reset();
  }
  if (!session.temporaryURL_.empty()) ::unlink(session.temporaryURL_.c_str());
  session.state_ = SimulatorRecordingSession::State::failed;
  session.error_ = std::move(error);
  if (session.gate_) {
    session.gate_->release(session.target_.simulatorUDID, gate_labels::screenRecording);
    session.gate_ = nullptr;
  }
  if (active_ == &session) active_ = nullptr;
}

expected<std::unique_ptr<SimulatorRecordingSession>, RecordingError> SimulatorRecordingService::start(
    const RecordingTarget& target, bool booted, const RecordingConfiguration& configuration,
    orvanta::stop_token stop) {
  if (target.simulatorUDID.empty()) return unexpected(RecordingError::of(Case::noSimulatorSelected));
  if (!booted) return unexpected(RecordingError::of(Case::simulatorNotBooted));
  if (active_) return unexpected(RecordingError::of(Case::recordingAlreadyInProgress));

  std::unique_ptr<SimulatorRecordingSession> session(new SimulatorRecordingSession());
  session->target_ = target;
  session->configuration_ = configuration;
  session->service_ = this;
  if (gate_) {
    if (!gate_->acquire(target.simulatorUDID, gate_labels::screenRecording)) {
      auto holder = gate_->holder(target.simulatorUDID);
      if (!holder) holder = gate_->otherProcessHolder(target.simulatorUDID);
      return unexpected(RecordingError::of(Case::recordingAlreadyInProgress, holder.value_or("")));
    }
    session->gate_ = gate_;
  }

  if (ownsTemporaryDirectory_) {
    if (!owned_) {
      // A recording whose orvanta was killed may still be running: its recorder writes into the abandoned
      // folder. End it (it finishes its movie on SIGINT) before the folder goes.
      PrivateDirectory::removeAbandoned(temporaryDirectory_.parent_path(), "Orvanta-Recording-",
                                        [](const std::filesystem::path& folder) { endOrphanRecorders(folder); });
      auto created = PrivateDirectory::create(temporaryDirectory_.parent_path(), temporaryDirectory_.filename().string());
      if (!created) return unexpected(RecordingError::of(Case::temporaryLocationUnavailable));
      owned_ = std::move(*created);
    }
  } else if (!ensurePrivateDirectory(temporaryDirectory_)) {
    return unexpected(RecordingError::of(Case::temporaryLocationUnavailable));
  }

  session->temporaryURL_ = temporaryDirectory_ / (makeUUID() + ".mov");
  session->startedAt_ = std::chrono::system_clock::now();
  session->startGeneration_ = ++generation_;
  session->state_ = SimulatorRecordingSession::State::starting;
  active_ = session.get();

  // The hand-shake's verdict: nullopt for "recording", else the failure. Shared with the reading thread,
  // which may outlive this call by a moment.
  using Verdict = std::optional<RecordingError>;
  auto verdict = std::make_shared<SingleAssignmentSignal<Verdict>>();
  auto scanner = std::make_shared<RecordingHandshakeScanner>();
  auto onOutput = [verdict, scanner](OutputStream stream, std::string_view bytes) {
    if (verdict->value()) return;
    auto event = scanner->feed(stream, bytes);
    if (!event) return;
    verdict->assign(*event == RecordingHandshakeScanner::Event::started
                        ? Verdict()
                        : Verdict(RecordingError::of(Case::simulatorRecordingResourceBusy)));
  };
  const std::vector<std::string> arguments{"simctl",
                                           "io",
                                           target.simulatorUDID,
                                           "recordVideo",
                                           "--codec=" + std::string(rawValue(configuration.codec)),
                                           session->temporaryURL_.string()};
  auto launched = start_(xcrun_, arguments, onOutput);
  if (!launched) {
    fail(*session, RecordingError::of(Case::launchFailed, launched.error().description()));
    return unexpected(*session->error_);
  }
  session->process_ = std::move(*launched);

  const auto deadline = std::chrono::steady_clock::now() + startHandshakeTimeout_;
  while (!verdict->waitFor(20ms)) {
    if (stop.stop_requested()) {
      verdict->assign(RecordingError::of(Case::cancelled));
    } else if (auto ended = session->process_->waitForResult(0ms)) {
      // Everything the recorder printed has been scanned by now: a confirmation in its last words counts.
      verdict->assign(exitError(*ended));
    } else if (std::chrono::steady_clock::now() >= deadline) {
      verdict->assign(RecordingError::of(Case::startHandshakeTimedOut));
    }
  }
  if (auto failure = verdict->wait()) {
    fail(*session, *failure);
    return unexpected(*failure);
  }
  session->state_ = SimulatorRecordingSession::State::recording;
  return session;
}

std::optional<RecordingError> SimulatorRecordingService::checkRecorder(SimulatorRecordingSession& session) {
  if (session.state_ != SimulatorRecordingSession::State::recording || !session.process_) return std::nullopt;
  auto ended = session.process_->waitForResult(0ms);
  if (!ended) return std::nullopt;
  fail(session, exitError(*ended));
  return session.error_;
}

expected<RecordingArtifact, RecordingError> SimulatorRecordingService::stop(SimulatorRecordingSession& session) {
  using State = SimulatorRecordingSession::State;
  if (session.state_ == State::failed && session.error_) return unexpected(*session.error_);
  if (session.state_ != State::recording || active_ != &session || session.startGeneration_ != generation_) {
    return unexpected(RecordingError::of(Case::staleTarget));
  }
  if (auto ended = checkRecorder(session)) return unexpected(*ended);

  session.state_ = State::stopping;
  session.process_->sendSignal(SIGINT);
  if (!session.process_->waitForResult(stopTimeout_)) {
    fail(session, RecordingError::of(Case::graceFulStopTimedOut));
    return unexpected(*session.error_);
  }
  session.process_.reset();

  session.state_ = State::finalizing;
  std::error_code error;
  if (!std::filesystem::exists(session.temporaryURL_, error)) {
    fail(session, RecordingError::of(Case::missingMovie));
    return unexpected(*session.error_);
  }
  auto info = readMovieInfoFile(session.temporaryURL_);
  const auto fileSize = std::filesystem::file_size(session.temporaryURL_, error);
  if (!info || error) {
    fail(session, RecordingError::of(Case::invalidMovie, info ? error.message() : info.error()));
    return unexpected(*session.error_);
  }
  session.artifact_ = RecordingArtifact{makeUUID(),
                                        session.target_,
                                        session.configuration_,
                                        session.startedAt_,
                                        session.temporaryURL_,
                                        info->duration,
                                        info->pixelWidth,
                                        info->pixelHeight,
                                        static_cast<std::int64_t>(fileSize)};
  session.state_ = State::ready;
  if (session.gate_) {
    session.gate_->release(session.target_.simulatorUDID, gate_labels::screenRecording);
    session.gate_ = nullptr;
  }
  active_ = nullptr;
  return *session.artifact_;
}

void SimulatorRecordingService::cancel(SimulatorRecordingSession& session) {
  using State = SimulatorRecordingSession::State;
  if (session.state_ == State::ready || session.state_ == State::failed) return;
  fail(session, RecordingError::of(Case::cancelled));
}

expected<std::filesystem::path, RecordingError> RecordingExportService::save(const RecordingArtifact& artifact,
                                                                             const std::filesystem::path& folder) const {
  std::error_code error;
  if (!std::filesystem::exists(artifact.temporaryURL, error)) {
    return unexpected(RecordingError::of(Case::saveFailed, "The recording is no longer available."));
  }
  auto saved = copyWithoutReplacing(artifact.temporaryURL, folder,
                                    captureFileName(artifact.target.simulatorName, artifact.startedAt, ".mov"));
  if (!saved) return unexpected(RecordingError::of(Case::saveFailed, saved.error()));
  return *saved;
}

}  // namespace orvanta
