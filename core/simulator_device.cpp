#include "core/simulator_device.hpp"

#include <vector>

namespace orvanta {

SimulatorState simulatorStateFromRawValue(std::string_view text) {
  if (text == "Booted") return SimulatorState::booted;
  if (text == "Shutdown") return SimulatorState::shutdown;
  if (text == "Shutting Down") return SimulatorState::shuttingDown;
  if (text == "Booting") return SimulatorState::booting;
  return SimulatorState::unknown;
}

std::string_view rawValue(SimulatorState state) {
  switch (state) {
    case SimulatorState::booted: return "Booted";
    case SimulatorState::shutdown: return "Shutdown";
    case SimulatorState::shuttingDown: return "Shutting Down";
    case SimulatorState::booting: return "Booting";
    case SimulatorState::unknown: return "unknown";
  }
  return "unknown";
}

std::string runtimeDisplayName(std::string_view runtimeIdentifier) {
  constexpr std::string_view prefix = "com.apple.CoreSimulator.SimRuntime.";
  if (!runtimeIdentifier.starts_with(prefix)) return std::string(runtimeIdentifier);
  std::string_view rest = runtimeIdentifier.substr(prefix.size());
  std::vector<std::string_view> pieces;
  for (std::size_t start = 0; start <= rest.size();) {
    std::size_t end = rest.find('-', start);
    if (end == std::string_view::npos) end = rest.size();
    if (end > start) pieces.push_back(rest.substr(start, end - start));
    start = end + 1;
  }
  if (pieces.empty()) return std::string(rest);
  std::string version;
  for (std::size_t i = 1; i < pieces.size(); ++i) {
    if (i > 1) version += '.';
    version += pieces[i];
  }
  std::string name(pieces[0]);
  if (!version.empty()) name += " " + version;
  return name;
}

}  // namespace orvanta
