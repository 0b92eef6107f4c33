#include "tools/location/location_simulator_service.hpp"

#include <algorithm>
#include <cmath>

#include "tools/location/location_commands.hpp"
#include "tools/location/location_persistence.hpp"
#include "tools/location/location_service_support.hpp"

namespace orvanta {
namespace {

using Case = LocationSimulationError::Case;

std::optional<LocationSimulationError> checkCoordinate(const SimulatedLocation& location) {
  if (!std::isfinite(location.latitude)) return LocationSimulationError(Case::invalidLatitude);
  if (!std::isfinite(location.longitude)) return LocationSimulationError(Case::invalidLongitude);
  if (location.latitude < -90 || location.latitude > 90) return LocationSimulationError(Case::latitudeOutOfRange);
  if (location.longitude < -180 || location.longitude > 180) return LocationSimulationError(Case::longitudeOutOfRange);
  return std::nullopt;
}

}  // namespace

LocationSimulatorService::LocationSimulatorService(LocationServiceEnvironment environment,
                                                   std::shared_ptr<LocationHistoryStore> history)
    : environment_(std::move(environment)), history_(std::move(history)) {
  if (!environment_.activity) environment_.activity = std::make_shared<LocationActivity>();
}

expected<LocationCommandResult, LocationSimulationError> LocationSimulatorService::perform(
    const SimulatorTargetStatus& target, const LocationAction& action, orvanta::stop_token stop) {
  if (action.kind == LocationAction::Case::set) {
    if (auto invalid = checkCoordinate(action.location)) return unexpected(*invalid);
  }
  auto device = detail::bootedLocationTarget(target);
  if (!device) return unexpected(device.error());
  auto hold = detail::LocationGateHold::take(environment_.gate, device->udid);
  if (!hold) return unexpected(hold.error());
  const auto arguments = action.kind == LocationAction::Case::set ? locationSetArguments(device->udid, action.location)
                                                                  : locationClearArguments(device->udid);
  auto output = detail::runLocationCommand(environment_.client, arguments, std::move(stop));
  hold->release();
  if (!output) return unexpected(output.error());

  // A new position, like a clear, ends whatever route or scenario was moving this simulator.
  environment_.activity->endedOn(device->udid);
  LocationCommandResult result{
      action, device->udid, device->name, std::move(output->stdout), std::move(output->stderr), std::nullopt};
  if (action.kind == LocationAction::Case::set && history_) {
    if (auto recorded = history_->record(action.location, environment_.now()); !recorded) {
      result.persistenceError = recorded.error();
    }
  }
  return result;
}

expected<std::vector<LocationScenario>, LocationSimulationError> LocationSimulatorService::listScenarios(
    const SimulatorTargetStatus& target, orvanta::stop_token stop) {
  auto device = detail::bootedLocationTarget(target);
  if (!device) return unexpected(device.error());
  auto output = detail::runLocationCommand(environment_.client, locationListArguments(device->udid), std::move(stop));
  if (!output) return unexpected(LocationSimulationError::scenariosUnavailable(output.error().description()));
  auto scenarios = parseLocationScenarioList(output->stdout);
  if (!scenarios) return unexpected(scenarios.error());
  scenarios_ = *scenarios;
  return scenarios;
}

expected<LocationScenarioStart, LocationSimulationError> LocationSimulatorService::runScenario(
    const SimulatorTargetStatus& target, const std::string& name, orvanta::stop_token stop) {
  auto device = detail::bootedLocationTarget(target);
  if (!device) return unexpected(device.error());
  auto hold = detail::LocationGateHold::take(environment_.gate, device->udid);
  if (!hold) return unexpected(hold.error());
  auto output = detail::runLocationCommand(environment_.client, locationRunArguments(device->udid, name), stop);
  hold->release();
  if (!output) {
    // The scenario may have gone with a change of Xcode or runtime: look again before blaming simctl.
    if (output.error().status && !stop.stop_requested()) {
      if (auto listed = listScenarios(target, stop)) {
        const bool present = std::any_of(listed->begin(), listed->end(),
                                         [&](const LocationScenario& scenario) { return scenario.name == name; });
        if (!present) return unexpected(LocationSimulationError::scenarioUnavailable(name));
      }
    }
    return unexpected(output.error());
  }
  LocationActiveOperation operation;
  operation.kind = LocationActiveOperation::Kind::scenario;
  operation.name = name;
  operation.simulatorUDID = device->udid;
  operation.simulatorName = device->name;
  operation.startedAt = environment_.now();
  environment_.activity->started(operation);
  return LocationScenarioStart{std::move(operation), std::move(output->stdout), std::move(output->stderr)};
}

}  // namespace orvanta
