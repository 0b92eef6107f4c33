#include "tools/location/location_service_support.hpp"

#include "tools/location/location_simulator_service.hpp"

namespace orvanta::detail {

expected<SimulatorDevice, LocationSimulationError> bootedLocationTarget(const SimulatorTargetStatus& target) {
  using Case = LocationSimulationError::Case;
  if (target.kind == SimulatorTargetStatus::Case::lost)
    return unexpected(LocationSimulationError(Case::simulatorNotBooted));
  if (target.kind != SimulatorTargetStatus::Case::selected || !target.device) {
    return unexpected(LocationSimulationError(Case::noSimulatorSelected));
  }
  return *target.device;
}

expected<LocationGateHold, LocationSimulationError> LocationGateHold::take(SimulatorMutationGate* gate,
                                                                           const std::string& udid) {
  if (gate && !gate->acquire(udid, gate_labels::location)) {
    auto holder = gate->holder(udid);
    if (!holder) holder = gate->otherProcessHolder(udid);
    return unexpected(LocationSimulationError::simulatorBusy(holder.value_or("another operation")));
  }
  return LocationGateHold(gate, udid);
}

void LocationGateHold::release() {
  if (gate_) gate_->release(udid_, gate_labels::location);
  gate_ = nullptr;
}

expected<LocationCommandOutput, LocationSimulationError> runLocationCommand(const SimctlClient& client,
                                                                            const std::vector<std::string>& arguments,
                                                                            orvanta::stop_token stop) {
  auto output = client.run(client.xcrunPath, arguments, std::move(stop));
  if (!output) return unexpected(LocationSimulationError::simctlFailed(std::nullopt, output.error().description()));
  LocationCommandOutput texts{utf8OrEmpty(output->stdout), utf8OrEmpty(output->stderr)};
  if (output->terminatedBySignal) return unexpected(LocationSimulationError::simctlFailed(std::nullopt, texts.stderr));
  if (output->terminationStatus != 0) {
    // simctl's diagnostics go to stderr; a few tools print theirs on stdout instead.
    const bool quiet = texts.stderr.find_first_not_of(" \t\r\n") == std::string::npos;
    return unexpected(
        LocationSimulationError::simctlFailed(output->terminationStatus, quiet ? texts.stdout : texts.stderr));
  }
  return texts;
}

}  // namespace orvanta::detail
