// The location tool's values: a simulated position, and a route of timed points imported from a GPX file.
//
// Plain values without behaviour beyond validity and comparison; every function here is pure and may be
// called from any thread.
#pragma once

#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace orvanta {

// An instant on the UTC time line, to the microsecond.
using LocationInstant = std::chrono::sys_time<std::chrono::microseconds>;

// A fixed position in degrees. Valid when both are finite, latitude lies in -90...90 and longitude in
// -180...180, bounds included.
struct SimulatedLocation {
  double latitude = 0;
  double longitude = 0;

  [[nodiscard]] bool isValid() const {
    return std::isfinite(latitude) && std::isfinite(longitude) && latitude >= -90 && latitude <= 90 &&
           longitude >= -180 && longitude <= 180;
  }
  bool operator==(const SimulatedLocation&) const = default;
};

// One point of a route. Kept to 32 bytes because a 25 MiB GPX file holds up to about a million of them:
// an absent elevation is stored as NaN and an absent timestamp as the smallest tick count, neither of
// which a GPX file can produce.
class LocationRoutePoint {
 public:
  double latitude = 0;
  double longitude = 0;

  LocationRoutePoint() = default;
  LocationRoutePoint(double latitude_, double longitude_, std::optional<double> elevation = std::nullopt,
                     std::optional<LocationInstant> timestamp = std::nullopt)
      : latitude(latitude_), longitude(longitude_) {
    setElevation(elevation);
    setTimestamp(timestamp);
  }

  // Metres; absent when the file gave none or an unreadable one.
  [[nodiscard]] std::optional<double> elevation() const {
    if (std::isnan(elevation_)) return std::nullopt;
    return elevation_;
  }
  void setElevation(std::optional<double> metres) { elevation_ = metres.value_or(kNoElevation); }

  [[nodiscard]] std::optional<LocationInstant> timestamp() const {
    if (timestamp_ == kNoTimestamp) return std::nullopt;
    return LocationInstant(std::chrono::microseconds(timestamp_));
  }
  void setTimestamp(std::optional<LocationInstant> instant) {
    timestamp_ = instant ? instant->time_since_epoch().count() : kNoTimestamp;
  }

  bool operator==(const LocationRoutePoint& other) const {
    return latitude == other.latitude && longitude == other.longitude && elevation() == other.elevation() &&
           timestamp_ == other.timestamp_;
  }

 private:
  static constexpr double kNoElevation = std::numeric_limits<double>::quiet_NaN();
  static constexpr std::int64_t kNoTimestamp = std::numeric_limits<std::int64_t>::min();
  double elevation_ = kNoElevation;
  std::int64_t timestamp_ = kNoTimestamp;
};

struct LocationRouteSegment {
  std::vector<LocationRoutePoint> points;
  bool operator==(const LocationRouteSegment&) const = default;
};

// Where a route came from: a GPX file, by its last path component.
struct LocationRouteSource {
  std::string filename;
  bool operator==(const LocationRouteSource&) const = default;
};

struct LocationRoute {
  std::string id;  // random (makeUUID), 36 upper-case hyphenated characters
  std::string name;
  LocationRouteSource source;
  std::vector<LocationRouteSegment> segments;
  bool operator==(const LocationRoute&) const = default;
};

}  // namespace orvanta

template <>
struct std::hash<orvanta::SimulatedLocation> {
  std::size_t operator()(const orvanta::SimulatedLocation& location) const noexcept {
    const std::size_t latitude = std::hash<double>{}(location.latitude);
    return latitude ^ (std::hash<double>{}(location.longitude) + 0x9e3779b97f4a7c15ULL + (latitude << 6) +
                       (latitude >> 2));
  }
};
