// Checking a scenario against the current world before it runs: the simulator from a fresh device list,
// the app among the installed apps, and every step by its own tool's rules. The result is either a frozen
// plan or every issue that blocks the run.
//
// The checks, in order:
//   1. no steps: `noSteps` alone;
//   2. a schema version other than 1: `unsupportedSchemaVersion` alone;
//   3. no simulator chosen: `simulatorNotSelected`; not on the fresh device list: `simulatorNotFound`; not
//      booted: `simulatorNotBooted` (each alone), unless the first step boots it;
//   4. app steps without an app: `appRequired`; an app that is not installed: `appNotInstalled`;
//   5. every step, all issues collected in step order.
//
// The queries that do not depend on each other (the device list, the installed apps, the privacy services
// the installed simctl offers, the app's installed bundle) run at the same time, each on a worker thread,
// so a check costs about one simctl round trip rather than their sum.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "automation/scenario_plan.hpp"
#include "core/simctl_client.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"
#include "tools/location/location_route_library.hpp"
#include "tools/privacy/privacy_service_list.hpp"

namespace orvanta {

// What the user chose for the run.
struct ScenarioSelection {
  std::optional<std::string> simulator;         // a udid, or the exact name of one listed device
  std::optional<std::string> bundleIdentifier;  // the app for app steps
};

// What the world looks like, as far as one scenario needs to know.
struct ScenarioWorld {
  SimulatorDevice simulator;
  std::optional<SimulatorApp> app;                             // the selected app, when installed
  std::optional<SimulatorPrivacyServiceList> privacyServices;  // when a step needs them
  std::optional<expected<std::filesystem::path, std::string>> installedBundle;  // when a step resets app data
  const LocationRouteLibrary* routes = nullptr;                // none: every route is missing
};

// The per-step result of preflight.
struct StepResolution {
  std::optional<ScenarioResolvedStep> resolved;  // present when the step is valid
  std::vector<ScenarioPreflightIssue> issues;    // empty when valid
};

// Checks one step by its tool's rules. Pure apart from reading saved routes.
[[nodiscard]] StepResolution resolveScenarioStep(const ScenarioStep& step, const ScenarioWorld& world);

// Why preflight could not decide at all: a query that failed (its sentence) or a stop request.
struct ScenarioPreflightFailure {
  std::string message;
};

// Thread-safe apart from its route library, which is as thread-safe as its settings store; blocks while
// simctl runs.
class ScenarioPreflight {
 public:
  ScenarioPreflight(SimctlClient client, std::shared_ptr<LocationRouteLibrary> routes)
      : client_(std::move(client)), routes_(std::move(routes)) {}

  [[nodiscard]] expected<ScenarioPreflightOutcome, ScenarioPreflightFailure> check(
      const ScenarioDefinition& scenario, const ScenarioSelection& selection, orvanta::stop_token stop = {}) const;

 private:
  SimctlClient client_;
  std::shared_ptr<LocationRouteLibrary> routes_;
};

}  // namespace orvanta
