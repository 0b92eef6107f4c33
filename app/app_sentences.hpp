// What the front ends say after an app action, written once for all of them.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "apps/simulator_app.hpp"

namespace orvanta {

// "Launched Cafe on iPhone 16 (process 4242)." (without the process when simctl gave none)
[[nodiscard]] inline std::string launchedText(const SimulatorApp& app, const std::string& deviceName,
                                              const SimulatorAppLaunchResult& result) {
  return "Launched " + app.displayName + " on " + deviceName +
         (result.processIdentifier ? " (process " + std::to_string(*result.processIdentifier) + ")." : ".");
}

[[nodiscard]] inline std::string terminatedText(const SimulatorApp& app, const std::string& deviceName) {
  return "Terminated " + app.displayName + " on " + deviceName + ".";
}

// "Installed Cafe (com.example.cafe) on iPhone 16.", or the bundle's path when the app is not listed.
[[nodiscard]] inline std::string installedText(const std::filesystem::path& bundle,
                                               const std::optional<SimulatorApp>& installed,
                                               const std::string& deviceName) {
  if (installed) {
    return "Installed " + installed->displayName + " (" + installed->bundleIdentifier + ") on " + deviceName + ".";
  }
  return "Installed " + bundle.string() + " on " + deviceName + ".";
}

[[nodiscard]] inline std::string uninstalledText(const SimulatorApp& app, const std::string& deviceName) {
  return "Uninstalled " + app.displayName + " from " + deviceName + ".";
}

}  // namespace orvanta
