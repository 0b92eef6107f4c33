#include "tools/location/location_route_service.hpp"

#include <cmath>

#include "tools/location/location_commands.hpp"
#include "tools/location/location_entry.hpp"
#include "tools/location/location_service_support.hpp"

namespace orvanta {

LocationRouteService::LocationRouteService(LocationServiceEnvironment environment,
                                           std::shared_ptr<LocationRouteLibrary> library)
    : environment_(std::move(environment)), library_(std::move(library)) {
  if (!environment_.activity) environment_.activity = std::make_shared<LocationActivity>();
}

expected<LocationRouteStart, LocationSimulationError> LocationRouteService::start(const SimulatorTargetStatus& target,
                                                                                  const LocationRoute& route,
                                                                                  double speedMetersPerSecond,
                                                                                  orvanta::stop_token stop) {
  using Case = LocationSimulationError::Case;
  auto positions = prepareRoutePlayback(route);
  if (!positions) return unexpected(positions.error());
  if (!std::isfinite(speedMetersPerSecond) || !(speedMetersPerSecond > 0)) {
    return unexpected(LocationSimulationError(Case::invalidSpeed));
  }
  if (speedMetersPerSecond < minimumRouteSpeed || speedMetersPerSecond > maximumRouteSpeed) {
    return unexpected(LocationSimulationError(Case::speedOutOfRange));
  }
  auto device = detail::bootedLocationTarget(target);
  if (!device) return unexpected(device.error());
  auto hold = detail::LocationGateHold::take(environment_.gate, device->udid);
  if (!hold) return unexpected(hold.error());
  auto output = detail::runLocationCommand(
      environment_.client, locationStartArguments(device->udid, speedMetersPerSecond, *positions), std::move(stop));
  hold->release();
  if (!output) return unexpected(output.error());

  LocationRouteStart started;
  started.metrics = *routeMetrics(route);  // prepareRoutePlayback saw at least two points
  started.operation.kind = LocationActiveOperation::Kind::route;
  started.operation.name = route.name;
  started.operation.pointCount = started.metrics.pointCount;
  started.operation.speedMetersPerSecond = speedMetersPerSecond;
  started.operation.simulatorUDID = device->udid;
  started.operation.simulatorName = device->name;
  started.operation.startedAt = environment_.now();
  started.stdout = std::move(output->stdout);
  started.stderr = std::move(output->stderr);
  environment_.activity->started(started.operation);
  if (library_) {
    auto remembered = library_->remember(route, speedMetersPerSecond, started.operation.startedAt);
    if (remembered) {
      started.recent = std::move(*remembered);
    } else {
      started.persistenceError = remembered.error();
    }
  }
  return started;
}

}  // namespace orvanta
