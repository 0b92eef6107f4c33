// Every failure of the privacy tool, with the sentence the user sees.
#pragma once

// <cstdio> first: `stderr` is a field name below, and some C libraries define it as a macro that must
// expand the same way in every file that sees this header.
#include <cstdio>

#include <cstdint>
#include <string>
#include <string_view>

#include "tools/privacy/simulator_privacy_types.hpp"

namespace orvanta {

// One case per failure; payload fields that a case does not use keep their defaults.
struct SimulatorPrivacyError {
  enum class Case {
    appNotInstalled,            // bundleIdentifier + " is not installed on this simulator."
    unsupportedService,         // "Xcode's simctl doesn't list a “" + name + "” privacy service."
    unsupportedAction,          // action title + " isn't supported for " + service label + ". Use Reset to clear it instead."
    processLaunchFailure,       // "Couldn't run simctl: " + reason
    processFailure,             // "simctl privacy failed (exit " + status + "): " + stderr
    simulatorNotSelected,       // "Choose a booted simulator."
    simulatorNotBooted,         // "The selected simulator is not booted."
    appNotSelected,             // "Choose an installed app."
    invalidBundleIdentifier,    // "That bundle identifier isn't valid."
    privacyStateNotInspectable, // "Current authorization state isn't exposed by supported Simulator tooling."
    operationCancelled,         // "Cancelled. The change may or may not have been applied."
    simulatorBusy,              // the mutation gate's busy sentence for the apps tool; nothing ran
  };

  Case kind = Case::operationCancelled;
  std::string bundleIdentifier;  // appNotInstalled
  std::string name;              // unsupportedService: the service word; unsupportedAction: the service label
  SimulatorPrivacyAction action = SimulatorPrivacyAction::reset;  // unsupportedAction
  std::string reason;            // processLaunchFailure
  std::int32_t status = 0;       // processFailure
  std::string stderr;            // processFailure

  SimulatorPrivacyError() = default;
  explicit SimulatorPrivacyError(Case kind_) : kind(kind_) {}

  static SimulatorPrivacyError appNotInstalled(std::string bundleIdentifier);
  static SimulatorPrivacyError unsupportedService(std::string name);
  static SimulatorPrivacyError unsupportedAction(SimulatorPrivacyAction action, std::string serviceLabel);
  static SimulatorPrivacyError processLaunchFailure(std::string reason);
  static SimulatorPrivacyError processFailure(std::int32_t status, std::string stderrText);

  // The exact user-facing sentence.
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it in --json output ("appNotInstalled", ...).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const SimulatorPrivacyError&) const = default;
};

}  // namespace orvanta
