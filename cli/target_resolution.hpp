// The command line's side of target resolution: the shared rules of app/target_resolution.hpp applied to
// the command's --device and stop token.
#pragma once

#include <string>
#include <vector>

#include "app/result_json.hpp"
#include "app/target_resolution.hpp"
#include "cli/command.hpp"

namespace orvanta {

// Refreshes the device list through the discovery service.
[[nodiscard]] inline CommandOutcome refreshDevices(CommandContext& context) {
  return refreshDevices(context.environment, context.stop);
}

// The target status from --device or else the remembered choice. Refreshes the device list first.
[[nodiscard]] inline expected<SimulatorTargetStatus, CommandFailure> currentTargetStatus(CommandContext& context) {
  return currentTargetStatus(context.environment, context.options.device, context.stop);
}

// The device to act on when the status is `selected`; otherwise the tool's sentence, then the status line
// and a hint.
[[nodiscard]] inline expected<SimulatorDevice, CommandFailure> requireSelectedTarget(
    CommandContext& context, const TargetRequirement& requirement = {}) {
  return requireSelectedTarget(context.environment, context.options.device, context.stop, requirement);
}

}  // namespace orvanta
