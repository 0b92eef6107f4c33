#include "app/device_window.hpp"

#include "app/target_resolution.hpp"
#include "core/simctl_client.hpp"
#include "support/platform.hpp"

namespace orvanta {

CommandFailure lifecycleFailure(const SimulatorLifecycleError& error, const SimulatorDevice& device) {
  if (error.kind == SimulatorLifecycleError::Case::cancelled) return CommandFailure::interrupted();
  std::vector<std::string> hints;
  if (error.kind == SimulatorLifecycleError::Case::mustBeShutDown) {
    hints.push_back("Run: orvanta device shutdown " + device.udid);
  }
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

CommandOutcome openDeviceWindow(const RunFunction& run, const SimulatorDevice& device, const orvanta::stop_token& stop) {
  if (!buildIsForMacOS) {
    SimulatorLifecycleError error{SimulatorLifecycleError::Case::unsupportedPlatform, device.name, {}, 0, {}};
    return unexpected(lifecycleFailure(error, device));
  }
  std::string lastError;
  for (const auto& arguments : SimulatorLifecycleService::windowOpeners(device.udid)) {
    auto output = run("/usr/bin/open", arguments, stop);
    if (!output) return unexpected(failureFrom(output.error()));
    if (output->terminationStatus == 0) return {};
    lastError = simctlDiagnostic(*output);
  }
  return unexpected(CommandFailure::failure("openFailed", "Couldn't open the window of " + device.name + ".",
                                            lastError.empty() ? std::vector<std::string>{} : std::vector{lastError}));
}

std::string openedWindowText(const SimulatorDevice& device) { return "Opened the window of " + device.name + "."; }

std::string lifecycleResultText(SimulatorLifecycleAction action, const SimulatorLifecycleResult& result) {
  const std::string& name = result.device.name;
  switch (action) {
    case SimulatorLifecycleAction::boot: return name + (result.alreadyDone ? " was already booted." : " is booted.");
    case SimulatorLifecycleAction::shutdown:
      return name + (result.alreadyDone ? " was already shut down." : " is shut down.");
    case SimulatorLifecycleAction::erase: return name + " is erased: its content and settings are as new.";
  }
  return {};
}

}  // namespace orvanta
