// The checks a route passes before it is sent to a simulator, and the figures shown for a route.
// All functions are pure and thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "support/expected.hpp"
#include "tools/location/location_route.hpp"
#include "tools/location/location_simulation_error.hpp"

namespace orvanta {

inline constexpr std::int64_t maximumRoutePoints = 4000;

// Flattens every segment, in order, into the list of positions that `simctl location start` receives.
// Fails with routeNeedsTwoPoints below 2 points, routeTooManyPoints(count, 4000) above 4000, and
// routeCrossesAntimeridian when two consecutive positions (a join between segments included) lie more
// than 180 degrees of longitude apart: the simulator would interpolate between them the long way round.
[[nodiscard]] expected<std::vector<SimulatedLocation>, LocationSimulationError> prepareRoutePlayback(
    const LocationRoute& route);

struct LocationRouteBounds {
  double minLatitude = 0;
  double maxLatitude = 0;
  double minLongitude = 0;
  double maxLongitude = 0;
  bool operator==(const LocationRouteBounds&) const = default;
};

struct LocationRouteMetrics {
  std::int64_t pointCount = 0;
  std::int64_t segmentCount = 0;
  LocationRoutePoint first;  // first point of the first segment
  LocationRoutePoint last;   // last point of the last segment
  LocationRouteBounds bounds;
  // Great-circle distance along each segment; the gaps between segments are not travelled and not counted.
  double distanceMeters = 0;
  std::int64_t segmentGapCount = 0;  // joins between consecutive segments
  bool hasCompleteTimestamps = false;
  std::optional<double> duration;  // seconds from the first to the last timestamp, when all points have one

  // distance / duration, present when there is a duration and it is positive. Only shown for information:
  // the simulator plays a route at the one speed the user chooses.
  [[nodiscard]] std::optional<double> timedAverageSpeed() const;
};

// The metrics of a route, or nothing when it holds no point at all.
[[nodiscard]] std::optional<LocationRouteMetrics> routeMetrics(const LocationRoute& route);

// Haversine distance in metres between two positions given in degrees, on a sphere of the Earth's mean
// radius (6371008.8 m).
[[nodiscard]] double greatCircleDistance(double latitude1, double longitude1, double latitude2, double longitude2);

}  // namespace orvanta
