// The per-simulator guard that keeps two state-changing operations off one simulator at a time.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "support/file_error.hpp"
#include "support/file_lock.hpp"

namespace orvanta {

// Holder labels in use.
namespace gate_labels {
inline constexpr std::string_view apps = "apps";
inline constexpr std::string_view appData = "app-data";
inline constexpr std::string_view scenario = "scenario";
inline constexpr std::string_view scenarioReset = "scenario-reset";
inline constexpr std::string_view workspaceRestore = "workspace-restore";
inline constexpr std::string_view screenRecording = "ScreenRecording";
inline constexpr std::string_view userDefaults = "UserDefaults";
inline constexpr std::string_view erase = "erase";
inline constexpr std::string_view lifecycle = "lifecycle";
}  // namespace gate_labels

// What a refused tool tells the user.
namespace gate_messages {
inline constexpr std::string_view apps =
    "Another change to this simulator's apps is in progress. Try again when it finishes.";
inline constexpr std::string_view appData = "Another change to this simulator is in progress.";
inline constexpr std::string_view dataInspector =
    "Another operation (Reset App Data or a running scenario) is in progress on this simulator.";
}  // namespace gate_messages

// Per simulator: free, or held by exactly one label. Acquiring never waits: a held simulator is refused at
// once. Because every `orvanta` invocation is a process of its own, a hold is also a non-blocking
// advisory lock on a per-simulator lock file in the user's runtime folder, so a second process is refused
// too; a holder that dies frees its simulators with it. Lock descriptors are close-on-exec: the children
// a holder starts never keep a simulator locked.
//
// A gate that was given a lock folder never falls back to guarding this process alone: when the folder or
// a lock file cannot be used, every acquire is refused and problem() says why.
//
// Used on the main thread only (like the interface state it guards), so it has no lock of its own.
class SimulatorMutationGate {
 public:
  // `lockDirectory`: where the lock files live (created 0700); none keeps the gate within this process.
  explicit SimulatorMutationGate(std::optional<std::filesystem::path> lockDirectory = std::nullopt);
  // A gate whose lock folder could not be had: it refuses every acquire, and problem() is `problem`.
  explicit SimulatorMutationGate(FileError problem);

  // Takes the simulator for `label`. False when any label already holds it, here or in another process.
  [[nodiscard]] bool acquire(const std::string& udid, std::string_view label);
  // Frees the simulator only if `label` holds it here.
  void release(const std::string& udid, std::string_view label);

  // The label holding `udid` in this process, if any.
  [[nodiscard]] std::optional<std::string> holder(const std::string& udid) const;
  // What another process recorded when it took `udid` ("apps (pid 4242)"), if it still holds it.
  [[nodiscard]] std::optional<std::string> otherProcessHolder(const std::string& udid) const;

  // Why the last refusal was not another holder: the lock folder or file could not be used. nullopt when
  // every refusal so far was a real holder.
  [[nodiscard]] const std::optional<FileError>& problem() const { return problem_; }

  // The lock file of `udid` (characters other than letters, digits and '-' are replaced).
  [[nodiscard]] std::optional<std::filesystem::path> lockFile(const std::string& udid) const;

 private:
  struct Hold {
    std::string label;
    std::optional<FileLock> lock;
  };
  std::optional<std::filesystem::path> lockDirectory_;
  std::optional<FileError> problem_;
  std::map<std::string, Hold, std::less<>> holders_;
};

// One hold of the gate, released when the object goes: on every path out of the operation that took it.
// Move-only; used on the gate's thread.
class SimulatorGateHold {
 public:
  // Takes `udid` for `label`; nullopt when the simulator is held already (here or by another process).
  // A null gate means "no gate": the hold is granted and releases nothing.
  [[nodiscard]] static std::optional<SimulatorGateHold> take(SimulatorMutationGate* gate, std::string udid,
                                                             std::string_view label);
  SimulatorGateHold(SimulatorGateHold&& other) noexcept
      : gate_(std::exchange(other.gate_, nullptr)), udid_(std::move(other.udid_)), label_(std::move(other.label_)) {}
  SimulatorGateHold& operator=(SimulatorGateHold&&) = delete;
  SimulatorGateHold(const SimulatorGateHold&) = delete;
  SimulatorGateHold& operator=(const SimulatorGateHold&) = delete;
  ~SimulatorGateHold() { release(); }

  void release() {
    if (gate_ != nullptr) gate_->release(udid_, label_);
    gate_ = nullptr;
  }

 private:
  SimulatorGateHold(SimulatorMutationGate* gate, std::string udid, std::string_view label)
      : gate_(gate), udid_(std::move(udid)), label_(label) {}
  SimulatorMutationGate* gate_;
  std::string udid_;
  std::string label_;
};

inline std::optional<SimulatorGateHold> SimulatorGateHold::take(SimulatorMutationGate* gate, std::string udid,
                                                                std::string_view label) {
  if (gate != nullptr && !gate->acquire(udid, label)) return std::nullopt;
  return SimulatorGateHold(gate, std::move(udid), label);
}

}  // namespace orvanta
