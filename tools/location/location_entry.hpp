// What the user types for the location tool (a coordinate pair, a route speed) and the texts sent to
// simctl for them. All functions are pure and thread-safe.
#pragma once

#include <string>
#include <string_view>

#include "support/expected.hpp"
#include "tools/location/location_route.hpp"
#include "tools/location/location_simulation_error.hpp"

namespace orvanta {

inline constexpr double minimumRouteSpeed = 0.1;    // metres per second
inline constexpr double maximumRouteSpeed = 1000.0;

// Reads a typed coordinate pair. The texts are taken as they are (nothing is trimmed) and each check runs
// on latitude first, then longitude: an empty text (emptyLatitude, emptyLongitude); a text that is not
// an optional sign, digits and an optional "." with digits, or that does not give a finite value
// (invalidLatitude, invalidLongitude); a value outside -90...90 or -180...180, bounds included
// (latitudeOutOfRange, longitudeOutOfRange).
[[nodiscard]] expected<SimulatedLocation, LocationSimulationError> parseCoordinateEntry(std::string_view latitudeText,
                                                                                        std::string_view longitudeText);

// Reads a typed route speed in metres per second: an optional "+", then digits with an optional fraction
// or a bare fraction (".5"), finite and above zero, else invalidSpeed; then within 0.1...1000, bounds
// included, else speedOutOfRange.
[[nodiscard]] expected<double, LocationSimulationError> parseSpeedEntry(std::string_view text);

// A coordinate as sent to simctl: the shortest dot-decimal text that reads back as the same double,
// never with an exponent ("0.00001"), and "0" for either zero. A value that is not finite or lies
// outside -180...180 (which validation never lets through) gets the standard library's shortest form.
[[nodiscard]] std::string coordinateText(double degrees);

// "latitude,longitude", each written by coordinateText.
[[nodiscard]] std::string coordinatePairText(const SimulatedLocation& location);

// A speed as sent to simctl: three fraction digits, then trailing zeros and a final "." dropped: 20 -> "20",
// 1.5 -> "1.5", 0.125 -> "0.125".
[[nodiscard]] std::string speedText(double metresPerSecond);

}  // namespace orvanta
