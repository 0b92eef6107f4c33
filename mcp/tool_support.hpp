// What the tool handlers share: turning the services' errors into failures, and resolving the device a
// call acts on.
#pragma once

#include <optional>
#include <string>

#include "app/command_failure.hpp"
#include "app/environment.hpp"
#include "app/result_json.hpp"
#include "app/target_resolution.hpp"
#include "mcp/tool.hpp"

namespace orvanta {

// A service error as a failure: its case name and sentence. A stop request makes any failure a
// cancellation.
template <class Error>
[[nodiscard]] CommandFailure failureOf(const ToolCall& call, const Error& error) {
  if (call.stop.stop_requested()) return CommandFailure::interrupted();
  return CommandFailure::failure(std::string(error.caseName()), error.description());
}

// The booted device the call acts on: its "device" argument, else the remembered target.
[[nodiscard]] inline expected<SimulatorDevice, CommandFailure> targetDevice(ToolCall& call,
                                                                            const TargetRequirement& requirement = {}) {
  return requireSelectedTarget(call.environment, call.device(), call.stop, requirement);
}

// The target status the call acts on (for services that take the status and say themselves what is wrong).
[[nodiscard]] inline expected<SimulatorTargetStatus, CommandFailure> targetStatus(ToolCall& call) {
  return currentTargetStatus(call.environment, call.device(), call.stop);
}

}  // namespace orvanta
