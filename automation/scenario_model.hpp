// What a scenario is: a named, ordered list of simulator actions ("steps") that is saved once and run
// later against the selected simulator and app, and how one scenario is written as JSON.
//
// One scenario as JSON (keys are written sorted when the library saves them):
//
//   {"id": "E621E1F8-...", "schemaVersion": 1, "name": "Dark mode smoke test", "description": "...",
//    "steps": [{"id": "...", "kind": {"setAppearance": {"_0": "dark"}}}, ...],
//    "createdAt": 752000000.25, "updatedAt": 752000100.5}
//
// A step's kind is an object with exactly one key, the case's name, whose value holds the payload:
// `_0` for the single unnamed value of setAppearance, setContentSize, setStatusBarOverride and setLocation,
// and setIncreasedContrast (true or false), named fields for the others, and an empty object for the
// cases without payload. UUIDs are upper-case,
// dates are seconds since 2001-01-01 00:00:00 UTC with their fraction, and `description` is left out when
// there is none.
//
// Plain values and pure functions; thread-safe.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/expected.hpp"
#include "support/versioned_document_store.hpp"
#include "tools/controls/simulator_controls_types.hpp"
#include "tools/location/location_route.hpp"

namespace orvanta {

// The only scenario format this version reads and writes.
inline constexpr std::int64_t currentScenarioSchemaVersion = 1;

// The status-bar values a step overrides; an absent field is left as it is. The same nine fields as the
// controls' override; whether the combination is acceptable is checked when the scenario is preflighted.
using StatusBarOverrideFields = StatusBarOverride;

struct ScenarioStepKind {
  // In declaration order, which is also the order of the step titles.
  enum class Case {
    setAppearance,
    setContentSize,
    setStatusBarOverride,
    clearStatusBarOverrides,
    setLocation,
    clearLocation,
    runLocationRoute,
    privacyAction,
    terminateApp,
    launchApp,
    resetAppData,
    openDeepLink,
    sendPush,
    setIncreasedContrast,
    bootSimulator,
  };
  Case kind = Case::launchApp;
  SimulatorAppearance appearance = SimulatorAppearance::light;       // setAppearance
  SimulatorContentSize contentSize = SimulatorContentSize::large;    // setContentSize
  StatusBarOverrideFields statusBar;                                 // setStatusBarOverride
  SimulatedLocation location;                                        // setLocation
  std::string routeID;                                               // runLocationRoute
  double speedMetersPerSecond = 0;                                   // runLocationRoute
  std::string actionName;                                            // privacyAction: "grant", "revoke", "reset"
  std::string serviceName;                                           // privacyAction: simctl's service word
  bool resetPermissions = false;                                     // resetAppData
  std::string urlString;                                             // openDeepLink, exactly as typed
  std::string payload;                                               // sendPush, exactly as typed
  bool increasedContrast = false;                                    // setIncreasedContrast

  static ScenarioStepKind setAppearance(SimulatorAppearance value);
  static ScenarioStepKind setContentSize(SimulatorContentSize value);
  static ScenarioStepKind setStatusBarOverride(StatusBarOverrideFields value);
  static ScenarioStepKind clearStatusBarOverrides();
  static ScenarioStepKind setLocation(SimulatedLocation value);
  static ScenarioStepKind clearLocation();
  static ScenarioStepKind runLocationRoute(std::string routeID, double speedMetersPerSecond);
  static ScenarioStepKind privacyAction(std::string actionName, std::string serviceName);
  static ScenarioStepKind terminateApp();
  static ScenarioStepKind launchApp();
  static ScenarioStepKind resetAppData(bool resetPermissions);
  static ScenarioStepKind openDeepLink(std::string urlString);
  static ScenarioStepKind sendPush(std::string payload);
  static ScenarioStepKind setIncreasedContrast(bool enabled);
  static ScenarioStepKind bootSimulator();

  // The case's name, which is also its JSON key ("setAppearance").
  [[nodiscard]] std::string_view caseName() const;
  // The display text used in lists, confirmations and results ("Set Appearance: Dark", "Grant Privacy:
  // Photos", "Reset App Data (also reset permissions)").
  [[nodiscard]] std::string title() const;
  // Whether the step acts on the app chosen for the run: terminate, launch, reset, deep link, push, privacy.
  [[nodiscard]] bool needsApp() const;

  bool operator==(const ScenarioStepKind&) const = default;
};

inline constexpr std::array<ScenarioStepKind::Case, 15> allScenarioStepCases{
    ScenarioStepKind::Case::setAppearance,        ScenarioStepKind::Case::setContentSize,
    ScenarioStepKind::Case::setStatusBarOverride, ScenarioStepKind::Case::clearStatusBarOverrides,
    ScenarioStepKind::Case::setLocation,          ScenarioStepKind::Case::clearLocation,
    ScenarioStepKind::Case::runLocationRoute,     ScenarioStepKind::Case::privacyAction,
    ScenarioStepKind::Case::terminateApp,         ScenarioStepKind::Case::launchApp,
    ScenarioStepKind::Case::resetAppData,         ScenarioStepKind::Case::openDeepLink,
    ScenarioStepKind::Case::sendPush,             ScenarioStepKind::Case::setIncreasedContrast,
    ScenarioStepKind::Case::bootSimulator,
};

// The case named `name` (exact), if any.
[[nodiscard]] std::optional<ScenarioStepKind::Case> scenarioStepCaseNamed(std::string_view name);

struct ScenarioStep {
  std::string id;  // upper-case UUID, unique inside its scenario
  ScenarioStepKind kind;
  bool operator==(const ScenarioStep&) const = default;
};

struct ScenarioDefinition {
  std::string id;  // upper-case UUID; never changes
  std::int64_t schemaVersion = currentScenarioSchemaVersion;
  std::string name;
  std::optional<std::string> description;
  std::vector<ScenarioStep> steps;
  std::chrono::system_clock::time_point createdAt;
  std::chrono::system_clock::time_point updatedAt;
  bool operator==(const ScenarioDefinition&) const = default;
};

// The JSON of a step kind, of a step and of a scenario, as described above. Fails with a sentence when a
// number is not finite (JSON has no way to write it).
[[nodiscard]] expected<nlohmann::json, std::string> encodeScenarioStepKind(const ScenarioStepKind& kind);
[[nodiscard]] expected<nlohmann::json, std::string> encodeScenario(const ScenarioDefinition& scenario);

// Reads them back. Every key is required except `description` and the absent status-bar fields; extra
// keys are ignored. Fails with a sentence: a kind object without exactly one key reads "Invalid number of
// keys found, expected one."
[[nodiscard]] expected<ScenarioStepKind, std::string> decodeScenarioStepKind(const nlohmann::json& json);
[[nodiscard]] expected<ScenarioDefinition, std::string> decodeScenario(const nlohmann::json& json);

// Reads a scenario written by hand or by another tool for import: as decodeScenario, but the scenario's
// and steps' ids and the dates may be missing; missing ids are made new and missing dates are `now`.
// `schemaVersion` may be missing too and then means the current version.
[[nodiscard]] expected<ScenarioDefinition, std::string> decodeImportedScenario(
    const nlohmann::json& json, std::chrono::system_clock::time_point now);

}  // namespace orvanta
