// The argument lists of `simctl location`, word by word, as they follow the xcrun executable. Building them
// is pure; running them is the location services' business. Thread-safe.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/location/location_route.hpp"

namespace orvanta {

// "simctl", "location", udid, "set", "latitude,longitude"
[[nodiscard]] std::vector<std::string> locationSetArguments(std::string_view udid, const SimulatedLocation& location);

// "simctl", "location", udid, "clear" (also what stopping a route or scenario sends)
[[nodiscard]] std::vector<std::string> locationClearArguments(std::string_view udid);

// "simctl", "location", udid, "start", "--speed=" + speed, "--", then one "latitude,longitude" word per
// position. The positions are those prepareRoutePlayback returned; the speed one parseSpeedEntry accepted.
[[nodiscard]] std::vector<std::string> locationStartArguments(std::string_view udid, double speedMetersPerSecond,
                                                              std::span<const SimulatedLocation> positions);

// "simctl", "location", udid, "list"
[[nodiscard]] std::vector<std::string> locationListArguments(std::string_view udid);

// "simctl", "location", udid, "run", scenario name
[[nodiscard]] std::vector<std::string> locationRunArguments(std::string_view udid, std::string_view scenarioName);

}  // namespace orvanta
