// A scenario checked against the world it is about to run in: the issues that block it, or the frozen
// plan the executor runs, and the confirmation shown before it runs.
//
// Plain values and pure functions; thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/simulator_app.hpp"
#include "automation/app_data_reset_service.hpp"
#include "automation/scenario_model.hpp"
#include "core/simulator_device.hpp"
#include "tools/deeplink/deep_link_validation.hpp"
#include "tools/location/location_route.hpp"
#include "tools/privacy/simulator_privacy_types.hpp"

namespace orvanta {

struct ScenarioPreflightIssue {
  // The number of each case is its order.
  enum class Case {
    unsupportedSchemaVersion,
    appNotInstalled,
    systemAppNotSupported,
    invalidStatusBarOverride,
    invalidLocation,
    routeNotFound,
    routeInvalid,
    invalidRouteSpeed,
    unsupportedPrivacyService,
    unsupportedPrivacyAction,
    invalidDeepLinkURL,
    invalidPushPayload,
    installSourceUnavailable,
    noSteps,
    simulatorNotSelected,
    simulatorNotFound,
    simulatorNotBooted,
    appRequired,
  };
  Case kind = Case::noSteps;
  std::optional<std::string> stepID;  // the cases about one step
  std::int64_t schemaVersion = 0;     // unsupportedSchemaVersion
  std::string bundleIdentifier;       // appNotInstalled
  std::string reason;                 // invalidStatusBarOverride, routeInvalid, invalidDeepLinkURL, invalidPushPayload
  std::string serviceName;            // unsupportedPrivacyService, unsupportedPrivacyAction (its display name)
  std::string actionName;             // unsupportedPrivacyAction

  static ScenarioPreflightIssue of(Case kind) {
    ScenarioPreflightIssue issue;
    issue.kind = kind;
    return issue;
  }
  static ScenarioPreflightIssue forStep(Case kind, std::string stepID, std::string reason = {}) {
    ScenarioPreflightIssue issue;
    issue.kind = kind;
    issue.stepID = std::move(stepID);
    issue.reason = std::move(reason);
    return issue;
  }

  [[nodiscard]] std::string description() const;
  [[nodiscard]] std::string_view caseName() const;
  bool operator==(const ScenarioPreflightIssue&) const = default;
};

// A step ready to run: the saved kind with its values checked and typed.
struct ScenarioResolvedStep {
  using Case = ScenarioStepKind::Case;
  Case kind = Case::launchApp;
  SimulatorAppearance appearance = SimulatorAppearance::light;
  SimulatorContentSize contentSize = SimulatorContentSize::large;
  bool increasedContrast = false;
  StatusBarOverride statusBarOverride;
  SimulatedLocation location;
  LocationRoute route;
  double speedMetersPerSecond = 0;
  SimulatorPrivacyAction privacyAction = SimulatorPrivacyAction::reset;
  SimulatorPrivacyServiceOption privacyService;
  AppDataResetPlan resetPlan;
  ValidatedDeepLink deepLink;
  std::string payload;  // validated
};

struct ScenarioPlanStep {
  std::string id;
  ScenarioStepKind kind;  // as saved
  ScenarioResolvedStep resolved;
};

// A frozen snapshot taken at preflight; the executor never looks at the scenario again.
struct ScenarioExecutionPlan {
  std::string id;  // this run
  std::string scenarioID;
  std::string scenarioName;
  std::int64_t scenarioSchemaVersion = currentScenarioSchemaVersion;
  std::string simulatorUDID;
  std::string simulatorName;
  std::string runtimeIdentifier;
  SimulatorDevice simulator;  // the device as the fresh list showed it
  std::optional<SimulatorApp> app;
  std::vector<ScenarioPlanStep> steps;
};

struct ScenarioPreflightOutcome {
  std::optional<ScenarioExecutionPlan> plan;    // ready to confirm
  std::vector<ScenarioPreflightIssue> issues;  // blocked (never empty then)
  [[nodiscard]] bool blocked() const { return !plan; }
};

struct ScenarioConfirmation {
  std::string title;
  std::string confirmButtonTitle;
  std::string target;
  std::vector<std::string> stepLines;
  std::vector<std::string> destructiveNotes;
  std::string note;

  // "Steps:" and the step lines; "Irreversible or unverifiable:" and the notes when there are any; the
  // note. Sections are separated by a blank line.
  [[nodiscard]] std::string text() const;
  // The whole sheet as a person reads it: "<title>: <scenario>", the target, a blank line, then text().
  [[nodiscard]] std::string sheet(const std::string& scenarioName) const;
};

[[nodiscard]] ScenarioConfirmation makeScenarioConfirmation(const ScenarioExecutionPlan& plan);

}  // namespace orvanta
