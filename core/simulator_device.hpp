// The device vocabulary: a simulator as simctl lists it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvanta {

// Boot state. Any text other than the four known ones (compared exactly) is `unknown`.
enum class SimulatorState { booted, shutdown, shuttingDown, booting, unknown };

[[nodiscard]] SimulatorState simulatorStateFromRawValue(std::string_view text);
// "Booted", "Shutdown", "Shutting Down", "Booting", "unknown".
[[nodiscard]] std::string_view rawValue(SimulatorState state);

// One listed simulator. Identified by `udid` everywhere.
struct SimulatorDevice {
  std::string udid;
  std::string name;
  SimulatorState state = SimulatorState::unknown;
  std::string runtimeIdentifier;
  std::string runtimeDisplayName;
  std::optional<std::string> deviceTypeIdentifier;

  bool operator==(const SimulatorDevice&) const = default;
};

// "com.apple.CoreSimulator.SimRuntime.iOS-17-2" -> "iOS 17.2"; an identifier without that prefix is
// returned unchanged; the bare prefix gives "".
[[nodiscard]] std::string runtimeDisplayName(std::string_view runtimeIdentifier);

}  // namespace orvanta
