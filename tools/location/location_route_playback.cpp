#include "tools/location/location_route_playback.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace orvanta {

expected<std::vector<SimulatedLocation>, LocationSimulationError> prepareRoutePlayback(const LocationRoute& route) {
  std::size_t count = 0;
  for (const auto& segment : route.segments) count += segment.points.size();
  if (count < 2) return unexpected(LocationSimulationError(LocationSimulationError::Case::routeNeedsTwoPoints));
  if (count > static_cast<std::size_t>(maximumRoutePoints)) {
    return unexpected(
        LocationSimulationError::routeTooManyPoints(static_cast<std::int64_t>(count), maximumRoutePoints));
  }
  std::vector<SimulatedLocation> positions;
  positions.reserve(count);
  for (const auto& segment : route.segments) {
    for (const auto& point : segment.points) {
      if (!positions.empty() && std::fabs(point.longitude - positions.back().longitude) > 180.0) {
        return unexpected(LocationSimulationError(LocationSimulationError::Case::routeCrossesAntimeridian));
      }
      positions.push_back({point.latitude, point.longitude});
    }
  }
  return positions;
}

double greatCircleDistance(double latitude1, double longitude1, double latitude2, double longitude2) {
  constexpr double radiansPerDegree = 0.017453292519943295;
  constexpr double earthDiameter = 12742017.6;
  const double phi1 = latitude1 * radiansPerDegree;
  const double phi2 = latitude2 * radiansPerDegree;
  const double lambda1 = longitude1 * radiansPerDegree;
  const double lambda2 = longitude2 * radiansPerDegree;
  const double sinHalfLatitude = std::sin((phi2 - phi1) * 0.5);
  const double sinHalfLongitude = std::sin((lambda2 - lambda1) * 0.5);
  const double a =
      sinHalfLatitude * sinHalfLatitude + std::cos(phi1) * std::cos(phi2) * sinHalfLongitude * sinHalfLongitude;
  return earthDiameter * std::asin(std::min(1.0, std::sqrt(a)));
}

std::optional<double> LocationRouteMetrics::timedAverageSpeed() const {
  if (!duration || !(*duration > 0)) return std::nullopt;
  return distanceMeters / *duration;
}

std::optional<LocationRouteMetrics> routeMetrics(const LocationRoute& route) {
  LocationRouteMetrics metrics;
  metrics.segmentCount = static_cast<std::int64_t>(route.segments.size());
  metrics.segmentGapCount = std::max<std::int64_t>(0, metrics.segmentCount - 1);
  metrics.hasCompleteTimestamps = true;
  const LocationRoutePoint* first = nullptr;
  const LocationRoutePoint* last = nullptr;
  for (const auto& segment : route.segments) {
    const LocationRoutePoint* previous = nullptr;
    for (const auto& point : segment.points) {
      if (!first) {
        first = &point;
        metrics.bounds = {point.latitude, point.latitude, point.longitude, point.longitude};
      }
      auto& bounds = metrics.bounds;
      bounds.minLatitude = std::min(bounds.minLatitude, point.latitude);
      bounds.maxLatitude = std::max(bounds.maxLatitude, point.latitude);
      bounds.minLongitude = std::min(bounds.minLongitude, point.longitude);
      bounds.maxLongitude = std::max(bounds.maxLongitude, point.longitude);
      if (previous) {
        metrics.distanceMeters +=
            greatCircleDistance(previous->latitude, previous->longitude, point.latitude, point.longitude);
      }
      if (!point.timestamp()) metrics.hasCompleteTimestamps = false;
      ++metrics.pointCount;
      previous = last = &point;
    }
  }
  if (!first) return std::nullopt;
  metrics.first = *first;
  metrics.last = *last;
  if (metrics.hasCompleteTimestamps) {
    metrics.duration = std::chrono::duration<double>(*last->timestamp() - *first->timestamp()).count();
  }
  return metrics;
}

}  // namespace orvanta
