// What every front end does before it acts on a simulator: list the devices and resolve the target, from a
// device the caller named (udid or unique name) or else the remembered choice. The choice is never made
// silently, not even when exactly one simulator is booted.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "app/command_failure.hpp"
#include "core/process_runner.hpp"
#include "core/simulator_target.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

class Environment;

// A failed simctl run as the front ends report it: the error's case and sentence, with a hint where one
// helps (a missing xcrun).
[[nodiscard]] CommandFailure failureFrom(const ProcessRunnerError& error);

// Refreshes the device list through the environment's discovery service. Blocks on simctl.
[[nodiscard]] CommandOutcome refreshDevices(Environment& environment, const orvanta::stop_token& stop);

// The listed device whose udid is `udidOrName`, else the one device with exactly that name. Otherwise a
// usage failure that says so and lists the candidates.
[[nodiscard]] expected<SimulatorDevice, CommandFailure> findListedDevice(const std::vector<SimulatorDevice>& devices,
                                                                         const std::string& udidOrName);

// The target status from `device` (which must name a listed device) or else the remembered choice.
// Refreshes the device list first.
[[nodiscard]] expected<SimulatorTargetStatus, CommandFailure> currentTargetStatus(
    Environment& environment, const std::optional<std::string>& device, const orvanta::stop_token& stop);

// A tool's sentences for a target that cannot be acted on.
struct TargetRequirement {
  std::string noSimulatorCase = "noSimulatorSelected";
  std::string noSimulatorMessage = "Select a simulator first.";
  std::string notBootedCase = "simulatorNotBooted";
  std::string notBootedMessage = "The selected simulator is no longer booted.";
};

// The device to act on when the status is `selected`; otherwise the tool's sentence, then the status line
// and a hint.
[[nodiscard]] expected<SimulatorDevice, CommandFailure> requireSelectedTarget(
    Environment& environment, const std::optional<std::string>& device, const orvanta::stop_token& stop,
    const TargetRequirement& requirement = {});

}  // namespace orvanta
