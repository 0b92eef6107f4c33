#include "app/target_resolution.hpp"

#include "app/environment.hpp"

namespace orvanta {

CommandFailure failureFrom(const ProcessRunnerError& error) {
  if (error.kind == ProcessRunnerError::Case::cancelled) return CommandFailure::interrupted();
  std::vector<std::string> hints;
  if (error.kind == ProcessRunnerError::Case::executableNotFound) {
    hints.push_back("Orvanta needs Xcode's xcrun. Point --xcrun or ORVANTA_XCRUN at it (or at orvanta-simctl-emulator).");
  }
  return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
}

CommandOutcome refreshDevices(Environment& environment, const orvanta::stop_token& stop) {
  if (auto error = environment.discovery().refresh(stop)) return unexpected(failureFrom(*error));
  return {};
}

expected<SimulatorDevice, CommandFailure> findListedDevice(const std::vector<SimulatorDevice>& devices,
                                                           const std::string& udidOrName) {
  for (const auto& device : devices) {
    if (device.udid == udidOrName) return device;
  }
  std::vector<const SimulatorDevice*> named;
  for (const auto& device : devices) {
    if (device.name == udidOrName) named.push_back(&device);
  }
  if (named.size() == 1) return *named.front();
  std::vector<std::string> hints;
  std::string message;
  if (named.empty()) {
    message = "No listed simulator has the udid or name \"" + udidOrName + "\".";
    hints.push_back("Run 'orvanta devices' to see the simulators and their udids.");
  } else {
    message = "Several simulators are named \"" + udidOrName + "\"; give a udid instead:";
    for (const auto* device : named) {
      hints.push_back("  " + device->udid + "  " + device->name + " · " + device->runtimeDisplayName + " (" +
                      std::string(rawValue(device->state)) + ")");
    }
  }
  return unexpected(CommandFailure::usage(std::move(message), std::move(hints)));
}

expected<SimulatorTargetStatus, CommandFailure> currentTargetStatus(Environment& environment,
                                                                    const std::optional<std::string>& device,
                                                                    const orvanta::stop_token& stop) {
  if (auto refreshed = refreshDevices(environment, stop); !refreshed) return unexpected(refreshed.error());
  const auto& devices = environment.discovery().devices();
  std::optional<std::string> udid;
  if (device) {
    auto listed = findListedDevice(devices, *device);
    if (!listed) return unexpected(listed.error());
    udid = listed->udid;
  } else {
    auto remembered = environment.selection().selectedUDID();
    if (!remembered) return unexpected(CommandFailure::failure(std::string(remembered.error().caseName()),
                                                               remembered.error().description()));
    udid = *remembered;
  }
  return resolveTargetStatus(udid, devices);
}

expected<SimulatorDevice, CommandFailure> requireSelectedTarget(Environment& environment,
                                                                const std::optional<std::string>& device,
                                                                const orvanta::stop_token& stop,
                                                                const TargetRequirement& requirement) {
  auto status = currentTargetStatus(environment, device, stop);
  if (!status) return unexpected(status.error());
  if (status->kind == SimulatorTargetStatus::Case::selected) return *status->device;
  const auto& devices = environment.discovery().devices();
  const bool lost = status->kind == SimulatorTargetStatus::Case::lost;
  std::vector<std::string> hints{statusLine(*status, devices)};
  hints.push_back(lost ? "Boot it again, or choose another with 'orvanta target set NAME' or --device."
                       : "Choose one with 'orvanta target set NAME', or pass --device for one call.");
  return unexpected(CommandFailure::failure(lost ? requirement.notBootedCase : requirement.noSimulatorCase,
                                            lost ? requirement.notBootedMessage : requirement.noSimulatorMessage,
                                            std::move(hints)));
}

}  // namespace orvanta
