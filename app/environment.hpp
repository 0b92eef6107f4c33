// The environment that creates and owns the program's services and hands them to the commands.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include "core/host_pasteboard.hpp"
#include "core/process_runner.hpp"
#include "core/secret_store.hpp"
#include "core/simctl_client.hpp"
#include "core/simulator_discovery_service.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "core/simulator_target.hpp"
#include "core/toolchain_doctor.hpp"
#include "support/main_loop.hpp"
#include "support/settings_store.hpp"
#include "tools/location/location_route_library.hpp"
#include "tools/quickinput/simulator_pasteboard_service.hpp"

namespace orvanta {

// Created once per invocation on the main thread by whichever front end runs (the command line, the
// panel, the MCP server); services are created on first use and live until the invocation ends. Main
// thread only.
class Environment {
 public:
  // `xcrunOption`: the --xcrun given on the command line, if any.
  explicit Environment(const std::optional<std::string>& xcrunOption);
  ~Environment();

  [[nodiscard]] const ProcessRunner& processRunner() const { return runner_; }
  [[nodiscard]] const RunFunction& run() const { return run_; }
  // The runner for calls that pass standard input, environment overrides or a time-out.
  [[nodiscard]] const RunWithOptionsFunction& runWithOptions() const { return runWithOptions_; }
  // --xcrun, else $ORVANTA_XCRUN when set and not empty, else /usr/bin/xcrun.
  [[nodiscard]] const std::filesystem::path& xcrunPath() const { return xcrun_; }
  // Where xcrunPath() came from: "--xcrun", "ORVANTA_XCRUN" or "the default".
  [[nodiscard]] const std::string& xcrunSource() const { return xcrunSource_; }

  [[nodiscard]] const SimctlClient& simctl() const { return simctl_; }
  // A simctl client whose runs end after `seconds` instead of the time-out of what they do.
  [[nodiscard]] SimctlClient simctlWithTimeout(double seconds) const;
  [[nodiscard]] SimulatorDiscoveryService& discovery() { return discovery_; }
  [[nodiscard]] MainLoop& mainLoop() { return mainLoop_; }
  // The settings file of the config folder; an in-memory store when no config folder can be found.
  [[nodiscard]] std::shared_ptr<SettingsStore> settings();
  // What the toolchain doctor checks: this environment's xcrun and runner, the platform, DEVELOPER_DIR and
  // the folders Orvanta keeps its files in.
  [[nodiscard]] DoctorInputs doctorInputs();
  // The location tool's recent routes, which scenario route steps name; null when their folder is unknown.
  [[nodiscard]] std::shared_ptr<LocationRouteLibrary> recentRoutes();
  // A notice to show when the settings file could not be read and was moved aside (once).
  [[nodiscard]] std::optional<std::string> takeSettingsNotice();
  [[nodiscard]] SimulatorSelectionStore& selection();
  // Lock files live in the user's runtime folder, so the gate holds across orvanta processes.
  [[nodiscard]] SimulatorMutationGate& gate();
  // Why the gate refused for a reason other than another holder (its folder is not private, say), if the
  // gate was used and did.
  [[nodiscard]] std::optional<FileError> gateProblem() const;
  // The host computer's clipboard (the platform's tools).
  [[nodiscard]] HostPasteboard& hostPasteboard();
  // The simulator's clipboard through simctl, with this computer's clipboard for the retry.
  [[nodiscard]] SimulatorPasteboardService simulatorPasteboard();
  // The platform's secret store (the Keychain on macOS, the Secret Service on Linux).
  [[nodiscard]] SecretStore& secretStore();

 private:
  ProcessRunner runner_;
  RunFunction run_;
  RunWithOptionsFunction runWithOptions_;
  std::filesystem::path xcrun_;
  std::string xcrunSource_;
  SimctlClient simctl_;
  SimulatorDiscoveryService discovery_;
  MainLoop mainLoop_;
  std::shared_ptr<SettingsStore> settings_;
  std::optional<SimulatorSelectionStore> selection_;
  std::optional<SimulatorMutationGate> gate_;
  std::unique_ptr<HostPasteboard> hostPasteboard_;
  std::unique_ptr<SecretStore> secretStore_;
};

}  // namespace orvanta
