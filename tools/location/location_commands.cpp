#include "tools/location/location_commands.hpp"

#include "tools/location/location_entry.hpp"

namespace orvanta {
namespace {

std::vector<std::string> locationArguments(std::string_view udid, std::string_view action) {
  return {"simctl", "location", std::string(udid), std::string(action)};
}

}  // namespace

std::vector<std::string> locationSetArguments(std::string_view udid, const SimulatedLocation& location) {
  auto arguments = locationArguments(udid, "set");
  arguments.push_back(coordinatePairText(location));
  return arguments;
}

std::vector<std::string> locationClearArguments(std::string_view udid) { return locationArguments(udid, "clear"); }

std::vector<std::string> locationStartArguments(std::string_view udid, double speedMetersPerSecond,
                                                std::span<const SimulatedLocation> positions) {
  auto arguments = locationArguments(udid, "start");
  arguments.reserve(arguments.size() + 2 + positions.size());
  arguments.push_back("--speed=" + speedText(speedMetersPerSecond));
  arguments.push_back("--");
  for (const auto& position : positions) arguments.push_back(coordinatePairText(position));
  return arguments;
}

std::vector<std::string> locationListArguments(std::string_view udid) { return locationArguments(udid, "list"); }

std::vector<std::string> locationRunArguments(std::string_view udid, std::string_view scenarioName) {
  auto arguments = locationArguments(udid, "run");
  arguments.emplace_back(scenarioName);
  return arguments;
}

}  // namespace orvanta
