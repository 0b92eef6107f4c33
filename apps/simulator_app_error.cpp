#include "apps/simulator_app_error.hpp"

#include "core/simulator_mutation_gate.hpp"
#include "support/text.hpp"

namespace orvanta {
SimulatorAppError SimulatorAppError::of(Case kind) {
  SimulatorAppError error;
  error.kind = kind;
  return error;
}

SimulatorAppError SimulatorAppError::withName(Case kind, std::string name, std::string text) {
  SimulatorAppError error;
  error.kind = kind;
  error.name = std::move(name);
  error.text = std::move(text);
  return error;
}

SimulatorAppError SimulatorAppError::withText(Case kind, std::string text) {
  SimulatorAppError error;
  error.kind = kind;
  error.text = std::move(text);
  return error;
}

SimulatorAppError SimulatorAppError::simctlFailed(std::int32_t status, std::string text) {
  SimulatorAppError error;
  error.kind = Case::simctlFailed;
  error.status = status;
  error.text = std::move(text);
  return error;
}

std::string SimulatorAppError::description() const {
  switch (kind) {
    case Case::noAppSelected: return "Choose an installed app.";
    case Case::launchFailed: return withReason("Couldn't launch " + name, text);
    case Case::terminateFailed: return withReason("Couldn't terminate " + name, text);
    case Case::appNotRunning: return name + " isn't running.";
    case Case::uninstallFailed: return withReason("Couldn't uninstall " + name, text);
    case Case::appStillInstalled: return "The simulator did not remove the app: " + name;
    case Case::installFailed: return withReason("Install failed", text);
    case Case::unreadableOutput: return withReason("Couldn't read the app list", text);
    case Case::simctlUnavailable: return withReason("Couldn't run simctl", text);
    case Case::simctlFailed: return withReason("simctl failed (exit " + std::to_string(status) + ")", text);
    case Case::cancelled: return "Cancelled.";
    case Case::simulatorBusy: return std::string(gate_messages::apps);
  }
  return {};
}

std::string_view SimulatorAppError::caseName() const {
  switch (kind) {
    case Case::noAppSelected: return "noAppSelected";
    case Case::launchFailed: return "launchFailed";
    case Case::terminateFailed: return "terminateFailed";
    case Case::appNotRunning: return "appNotRunning";
    case Case::uninstallFailed: return "uninstallFailed";
    case Case::appStillInstalled: return "appStillInstalled";
    case Case::installFailed: return "installFailed";
    case Case::unreadableOutput: return "unreadableOutput";
    case Case::simctlUnavailable: return "simctlUnavailable";
    case Case::simctlFailed: return "simctlFailed";
    case Case::cancelled: return "cancelled";
    case Case::simulatorBusy: return "simulatorBusy";
  }
  return {};
}

}  // namespace orvanta
