// location <device> list | set <lat>,<lon> | clear | run <scenario> | start [--speed=N] [--] <lat>,<lon>...
//
// Each device keeps what was last sent under device["emulator"]["location"]:
//   {"mode": "cleared"}
//   {"mode": "point", "latitude": 48.1, "longitude": 11.5}
//   {"mode": "route", "speed": 20, "waypoints": [[48.1, 11.5], ...]}
//   {"mode": "scenario", "scenario": "City Run"}
// Like simctl, every action prints nothing on success, and `start` and `run` return at once: the movement
// would happen inside the simulator.
#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include <fmt/format.h>

#include "emulator/emulator.hpp"
#include "support/number_text.hpp"

namespace orvanta::emulator {
namespace {

// What `list` prints on the runtimes seen so far: bare names, one a line, no header.
constexpr std::array<const char*, 4> kScenarios{"Apple", "City Bicycle Ride", "City Run", "Freeway Drive"};

constexpr const char* kHelp = R"(Control a device's simulated location
Usage: simctl location <device> <action> [arguments]

    list
        List available simulation scenarios.

    clear
        Stop any running scenario and clear any simulated location.

    set <lat1>,<lon1>
        Set the location to a specific latitude and longitude.

    run <scenario>
        Run a simulated location scenario (use the list action to get a list of scenarios).

    start [--speed=<meters/sec>] [--distance=<meters per second>|--interval=<seconds>] <lat1>,<lon1> <latN>,<lonN>...
        Set the location to a series of waypoints specified as 'lat,lon' pairs, interpolating between them over time.
        At least two waypoints are required. Use '-' to read waypoints from stdin, one waypoint per line.

        Speed specifies how quickly to move between waypoints in meters per second. If not specified 20m/s is used.)";

std::optional<std::array<double, 2>> waypoint(const std::string& text) {
  const auto comma = text.find(',');
  if (comma == std::string::npos) return std::nullopt;
  const auto latitude = parsePlainDecimal(std::string_view(text).substr(0, comma));
  const auto longitude = parsePlainDecimal(std::string_view(text).substr(comma + 1));
  if (!latitude || !longitude || std::fabs(*latitude) > 90 || std::fabs(*longitude) > 180) return std::nullopt;
  return std::array<double, 2>{*latitude, *longitude};
}

// The emulator's wording: simctl's own texts for these refusals have not been captured.
int invalidArgument(Invocation& call, const std::string& line) {
  return call.fail(SimctlFailure{"NSPOSIXErrorDomain", 22, line + "\nInvalid argument", ""});
}

int start(Invocation& call, Json& state) {
  double speed = 20;
  Json waypoints = Json::array();
  bool positional = false;
  for (std::size_t i = 2; i < call.args.size(); ++i) {
    const std::string& arg = call.args[i];
    if (!positional && arg == "--") {
      positional = true;
    } else if (!positional && arg.starts_with("--speed=")) {
      auto value = parsePlainDecimal(std::string_view(arg).substr(8));
      if (!value || !(*value > 0)) return call.usage("Invalid speed: " + arg.substr(8));
      speed = *value;
    } else if (!positional && (arg.starts_with("--distance=") || arg.starts_with("--interval="))) {
      continue;
    } else if (!positional && arg.starts_with("--")) {
      return call.usage("Unrecognized option: " + arg + "\n" + kHelp);
    } else if (auto point = waypoint(arg)) {
      waypoints.push_back(Json::array({(*point)[0], (*point)[1]}));
    } else {
      return invalidArgument(call, "Invalid waypoint: " + arg);
    }
  }
  if (waypoints.size() < 2) return invalidArgument(call, "At least two waypoints are required.");
  state = Json{{"mode", "route"}, {"speed", speed}, {"waypoints", std::move(waypoints)}};
  return 0;
}

int location(Invocation& call) {
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  if (call.args.size() < 2) return call.usage(kHelp);
  if (call.requireBooted(*device, &status)) return status;
  const std::string action = call.args[1];
  Json state;

  if (action == "list") {
    for (const char* name : kScenarios) call.out += std::string(name) + "\n";
    return 0;
  } else if (action == "clear") {
    state = Json{{"mode", "cleared"}};
  } else if (action == "set") {
    if (call.args.size() != 3) return call.usage(kHelp);
    auto point = waypoint(call.args[2]);
    if (!point) return invalidArgument(call, "Invalid location: " + call.args[2]);
    state = Json{{"mode", "point"}, {"latitude", (*point)[0]}, {"longitude", (*point)[1]}};
  } else if (action == "run") {
    if (call.args.size() != 3) return call.usage(kHelp);
    const std::string& name = call.args[2];
    if (std::find(kScenarios.begin(), kScenarios.end(), name) == kScenarios.end()) {
      return invalidArgument(call, fmt::format("No location scenario named \u201c{}\u201d.", name));
    }
    state = Json{{"mode", "scenario"}, {"scenario", name}};
  } else if (action == "start") {
    if (int refused = start(call, state)) return refused;
  } else {
    return call.usage("Unknown location action '" + action + "'.\n" + kHelp);
  }
  (*device)["emulator"]["location"] = std::move(state);
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

}  // namespace

void registerLocationCommands(CommandTable& table) {
  table["location"] = location;
}

}  // namespace orvanta::emulator
