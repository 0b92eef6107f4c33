#include "tools/location/location_entry.hpp"

#include <charconv>
#include <cmath>
#include <optional>

#include "support/number_text.hpp"

namespace orvanta {

expected<SimulatedLocation, LocationSimulationError> parseCoordinateEntry(std::string_view latitudeText,
                                                                          std::string_view longitudeText) {
  using Case = LocationSimulationError::Case;
  if (latitudeText.empty()) return unexpected(LocationSimulationError(Case::emptyLatitude));
  if (longitudeText.empty()) return unexpected(LocationSimulationError(Case::emptyLongitude));
  const std::optional<double> latitude = parseStrictDecimal(latitudeText);
  if (!latitude) return unexpected(LocationSimulationError(Case::invalidLatitude));
  const std::optional<double> longitude = parseStrictDecimal(longitudeText);
  if (!longitude) return unexpected(LocationSimulationError(Case::invalidLongitude));
  if (*latitude < -90 || *latitude > 90) return unexpected(LocationSimulationError(Case::latitudeOutOfRange));
  if (*longitude < -180 || *longitude > 180) return unexpected(LocationSimulationError(Case::longitudeOutOfRange));
  return SimulatedLocation{*latitude, *longitude};
}

expected<double, LocationSimulationError> parseSpeedEntry(std::string_view text) {
  using Case = LocationSimulationError::Case;
  if (!text.empty() && text.front() == '+') text.remove_prefix(1);
  // A bare fraction is the one form the strict decimal reader does not take, and no sign may follow.
  std::optional<double> speed;
  if (!text.empty() && text.front() == '.') {
    speed = parseStrictDecimal("0" + std::string(text));
  } else if (!text.empty() && text.front() >= '0' && text.front() <= '9') {
    speed = parseStrictDecimal(text);
  }
  if (!speed || !(*speed > 0)) return unexpected(LocationSimulationError(Case::invalidSpeed));
  if (*speed < minimumRouteSpeed || *speed > maximumRouteSpeed) {
    return unexpected(LocationSimulationError(Case::speedOutOfRange));
  }
  return *speed;
}

std::string coordinateText(double degrees) {
  if (std::isfinite(degrees) && degrees >= -180 && degrees <= 180) return formatPlainDecimal(degrees);
  if (std::isnan(degrees)) return "nan";
  char buffer[64];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, degrees);
  return std::string(buffer, result.ptr);
}

std::string coordinatePairText(const SimulatedLocation& location) {
  return coordinateText(location.latitude) + "," + coordinateText(location.longitude);
}

std::string speedText(double metresPerSecond) { return formatTrimmedFixed(metresPerSecond, 3); }

}  // namespace orvanta
