#include "tools/privacy/simulator_privacy_error.hpp"

#include "core/simulator_mutation_gate.hpp"

namespace orvanta {

using Case = SimulatorPrivacyError::Case;

SimulatorPrivacyError SimulatorPrivacyError::appNotInstalled(std::string bundleIdentifier) {
  SimulatorPrivacyError error(Case::appNotInstalled);
  error.bundleIdentifier = std::move(bundleIdentifier);
  return error;
}

SimulatorPrivacyError SimulatorPrivacyError::unsupportedService(std::string name) {
  SimulatorPrivacyError error(Case::unsupportedService);
  error.name = std::move(name);
  return error;
}

SimulatorPrivacyError SimulatorPrivacyError::unsupportedAction(SimulatorPrivacyAction action, std::string serviceLabel) {
  SimulatorPrivacyError error(Case::unsupportedAction);
  error.action = action;
  error.name = std::move(serviceLabel);
  return error;
}

SimulatorPrivacyError SimulatorPrivacyError::processLaunchFailure(std::string reason) {
  SimulatorPrivacyError error(Case::processLaunchFailure);
  error.reason = std::move(reason);
  return error;
}

SimulatorPrivacyError SimulatorPrivacyError::processFailure(std::int32_t status, std::string stderrText) {
  SimulatorPrivacyError error(Case::processFailure);
  error.status = status;
  error.stderr = std::move(stderrText);
  return error;
}

std::string SimulatorPrivacyError::description() const {
  switch (kind) {
    case Case::appNotInstalled: return bundleIdentifier + " is not installed on this simulator.";
    case Case::unsupportedService:
      return "Xcode's simctl doesn't list a \xe2\x80\x9c" + name + "\xe2\x80\x9d privacy service.";
    case Case::unsupportedAction:
      return std::string(title(action)) + " isn't supported for " + name + ". Use Reset to clear it instead.";
    case Case::processLaunchFailure: return "Couldn't run simctl: " + reason;
    case Case::processFailure: return "simctl privacy failed (exit " + std::to_string(status) + "): " + stderr;
    case Case::simulatorNotSelected: return "Choose a booted simulator.";
    case Case::simulatorNotBooted: return "The selected simulator is not booted.";
    case Case::appNotSelected: return "Choose an installed app.";
    case Case::invalidBundleIdentifier: return "That bundle identifier isn't valid.";
    case Case::privacyStateNotInspectable:
      return "Current authorization state isn't exposed by supported Simulator tooling.";
    case Case::operationCancelled: return "Cancelled. The change may or may not have been applied.";
    case Case::simulatorBusy: return std::string(gate_messages::apps);
  }
  return {};
}

std::string_view SimulatorPrivacyError::caseName() const {
  switch (kind) {
    case Case::appNotInstalled: return "appNotInstalled";
    case Case::unsupportedService: return "unsupportedService";
    case Case::unsupportedAction: return "unsupportedAction";
    case Case::processLaunchFailure: return "processLaunchFailure";
    case Case::processFailure: return "processFailure";
    case Case::simulatorNotSelected: return "simulatorNotSelected";
    case Case::simulatorNotBooted: return "simulatorNotBooted";
    case Case::appNotSelected: return "appNotSelected";
    case Case::invalidBundleIdentifier: return "invalidBundleIdentifier";
    case Case::privacyStateNotInspectable: return "privacyStateNotInspectable";
    case Case::operationCancelled: return "operationCancelled";
    case Case::simulatorBusy: return "simulatorBusy";
  }
  return {};
}

}  // namespace orvanta
