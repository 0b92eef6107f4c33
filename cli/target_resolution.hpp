// What every simulator command does first: list the devices and resolve the target.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "cli/command.hpp"
#include "core/process_runner.hpp"
#include "core/simulator_target.hpp"

namespace orvanta {

// A failed simctl run as the command line reports it: the error's case and sentence, with a hint where
// one helps (a missing xcrun).
[[nodiscard]] CommandFailure failureFrom(const ProcessRunnerError& error);

// Refreshes the device list through the discovery service.
[[nodiscard]] CommandOutcome refreshDevices(CommandContext& context);

// The listed device whose udid is `udidOrName`, else the one device with exactly that name. Otherwise a
// usage failure that says so and lists the candidates.
[[nodiscard]] expected<SimulatorDevice, CommandFailure> findListedDevice(const std::vector<SimulatorDevice>& devices,
                                                                         const std::string& udidOrName);

// The target status from --device (which must name a listed device) or else the remembered choice.
// Refreshes the device list first.
[[nodiscard]] expected<SimulatorTargetStatus, CommandFailure> currentTargetStatus(CommandContext& context);

// A tool's sentences for a target that cannot be acted on.
struct TargetRequirement {
  std::string noSimulatorCase = "noSimulatorSelected";
  std::string noSimulatorMessage = "Select a simulator first.";
  std::string notBootedCase = "simulatorNotBooted";
  std::string notBootedMessage = "The selected simulator is no longer booted.";
};

// The device to act on when the status is `selected`; otherwise the tool's sentence, then the status line
// and a hint.
[[nodiscard]] expected<SimulatorDevice, CommandFailure> requireSelectedTarget(CommandContext& context,
                                                                              const TargetRequirement& requirement = {});

// The --json shape of a device.
[[nodiscard]] nlohmann::json deviceJson(const SimulatorDevice& device);

}  // namespace orvanta
