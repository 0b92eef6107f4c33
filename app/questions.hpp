// The confirmation questions that the front ends ask (or, without a yes, refuse with) before a change
// that cannot be undone, written once for all of them.
#pragma once

#include <string>

#include "core/simulator_device.hpp"

namespace orvanta {

// "Erase all content and settings of iPhone 16 (UDID)?"
[[nodiscard]] inline std::string eraseQuestion(const SimulatorDevice& device) {
  return "Erase all content and settings of " + device.name + " (" + device.udid + ")?";
}

// "Reset the data of Cafe on iPhone 16? It is uninstalled and installed again from its installed build."
[[nodiscard]] inline std::string resetDataQuestion(const std::string& appName, const std::string& deviceName,
                                                   bool permissions) {
  return "Reset the data of " + appName + " on " + deviceName + (permissions ? " and its privacy permissions" : "") +
         "? It is uninstalled and installed again from its installed build.";
}

}  // namespace orvanta
