// Plays a route on a simulator: `simctl location <udid> start --speed=<m/s> -- <lat,lon>...`, which
// returns as soon as the simulator has taken the waypoints; the simulator then moves along them on its
// own at the one chosen speed. Nothing reports progress or the end of the route: after the last point the
// simulator stays there until the location is cleared or set again.
#pragma once

#include <cstdio>  // before any use of the names stdout and stderr (macros on some systems)

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tools/location/location_route.hpp"
#include "tools/location/location_route_library.hpp"
#include "tools/location/location_route_playback.hpp"
#include "tools/location/location_simulator_service.hpp"

namespace orvanta {

// What is shown with every route: the simulator plays it blind.
inline constexpr std::string_view locationRouteNote =
    "Orvanta can't observe progress or completion. After the last point the simulator holds that location until "
    "you Stop, Clear, or Set another. Stop clears the simulated location.";
// What is shown beside a route's timed average speed.
inline constexpr std::string_view locationTimedSpeedNote =
    "Average over the whole route. The simulator cannot replay per-point timestamps.";
// What is shown with the simulator's scenarios.
inline constexpr std::string_view locationScenarioNote =
    "Scenarios come from the installed Xcode's simctl and can differ per simulator. They are not guaranteed to "
    "loop; a finished scenario holds its last location.";
// What is shown when recent routes are removed.
inline constexpr std::string_view locationRecentsRemovedNote =
    "Saved route data is deleted. GPX files and the Simulator are unaffected.";

inline constexpr double defaultRouteSpeed = 20.0;  // metres per second, simctl's own default

struct LocationRouteStart {
  LocationActiveOperation operation;
  LocationRouteMetrics metrics;
  std::string stdout;
  std::string stderr;
  // The route as remembered among the recent routes (when the service has a library and saving worked).
  std::optional<LocationRouteRecent> recent;
  // persistenceFailed when the route is playing but could not be remembered.
  std::optional<LocationSimulationError> persistenceError;
};

// Used on the main thread (it takes the mutation gate and updates the activity record); start blocks
// while simctl runs and may be cancelled through `stop`.
class LocationRouteService {
 public:
  // `library`, when given, remembers every route that starts.
  explicit LocationRouteService(LocationServiceEnvironment environment,
                                std::shared_ptr<LocationRouteLibrary> library = nullptr);

  // Checks the route and the speed before any simulator is touched: routeNeedsTwoPoints,
  // routeTooManyPoints(count, 4000) or routeCrossesAntimeridian (see prepareRoutePlayback), then
  // invalidSpeed (not finite or not above zero) or speedOutOfRange (outside 0.1...1000). Then
  // noSimulatorSelected / simulatorNotBooted, simulatorBusy, and simctlFailed as
  // LocationSimulatorService::perform has them. On success the route becomes the active operation and is
  // remembered (a failure to remember it is only reported in persistenceError).
  [[nodiscard]] expected<LocationRouteStart, LocationSimulationError> start(const SimulatorTargetStatus& target,
                                                                            const LocationRoute& route,
                                                                            double speedMetersPerSecond,
                                                                            orvanta::stop_token stop = {});

  [[nodiscard]] const std::optional<LocationActiveOperation>& activeOperation() const {
    return environment_.activity->current();
  }

 private:
  LocationServiceEnvironment environment_;
  std::shared_ptr<LocationRouteLibrary> library_;
};

}  // namespace orvanta
