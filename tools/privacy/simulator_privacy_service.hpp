// Granting, revoking and resetting an app's privacy permissions through
// `xcrun simctl privacy <udid> <action> <service> <bundle identifier>`.
//
// A change goes through the simulator's mutation gate under "apps", because simctl terminates a running
// app when some permissions change: a simulator that another operation holds is refused at once with the
// apps tool's busy sentence, and the gate is released on every way out. The permission's state cannot be
// read back afterwards (simctl has no way to query it), which callers say with privacyStateNotInspectable's
// sentence.
//
// Main thread only, like the gate; the calls block while simctl runs. A stop request cancels the running
// simctl.
#pragma once

#include <optional>
#include <string>

#include "core/simctl_client.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "core/simulator_target.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"
#include "tools/privacy/privacy_service_list.hpp"
#include "tools/privacy/simulator_privacy_error.hpp"
#include "tools/privacy/simulator_privacy_types.hpp"

namespace orvanta {

struct SimulatorPrivacyRequest {
  SimulatorPrivacyAction action = SimulatorPrivacyAction::reset;
  std::string service;  // a service's command word, known or not
  std::string bundleIdentifier;
};

class SimulatorPrivacyService {
 public:
  SimulatorPrivacyService(SimctlClient client, SimulatorMutationGate& gate) : client_(std::move(client)), gate_(gate) {}

  // The services the installed simctl offers. Read once, on first use, and kept for the service's life.
  // nullopt only when the stop was requested before the list could be read.
  [[nodiscard]] const SimulatorPrivacyServiceList* offeredServices(orvanta::stop_token stop = {});
  // Once, after the list had to fall back to the built-in table: a sentence saying so. nullopt otherwise.
  [[nodiscard]] std::optional<std::string> takeFallbackNotice();

  // Applies the request on the target. The checks run in this order, the first failure winning:
  //   1. simulatorNotSelected (no target chosen), simulatorNotBooted (the target is not booted now);
  //   2. appNotSelected (empty bundle identifier), invalidBundleIdentifier (isWellFormedBundleIdentifier);
  //   3. simulatorBusy (the gate, taken here and held to the end);
  //   4. appNotInstalled: `simctl appinfo` does not report the app as installed (it answers a missing app
  //      with a stub dictionary and exit status 0, so an app counts as installed only when the answer is a
  //      dictionary with "ApplicationType"); a failed appinfo is processFailure or processLaunchFailure;
  //   5. unsupportedAction (isSupportedPrivacyPair), then unsupportedService (a word simctl does not list);
  //   6. the command: processLaunchFailure when simctl cannot be run, processFailure (exit status and
  //      stderr) on a non-zero exit, operationCancelled when the stop is requested (the change may or may
  //      not have been applied).
  [[nodiscard]] expected<void, SimulatorPrivacyError> apply(const SimulatorPrivacyRequest& request,
                                                            const SimulatorTargetStatus& target,
                                                            orvanta::stop_token stop = {});

 private:
  SimctlClient client_;
  SimulatorMutationGate& gate_;
  std::optional<SimulatorPrivacyServiceList> offered_;
  bool fallbackNoticeTaken_ = false;
};

}  // namespace orvanta
