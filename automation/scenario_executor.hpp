// Running a confirmed plan: the steps strictly in order through the tool services, each step's start and
// outcome reported as it happens, and a result per step.
//
// Nothing is a transaction: a failure stops the steps after it (notRun) and nothing already applied is
// rolled back. Cancellation is cooperative: a step that has started runs to its end, and a stop request
// is seen before the next step, which and all after it become `cancelled`.
//
// A boot step boots the simulator (waiting until it is listed as Booted) for the steps after it.
// Settings that simctl can read back (appearance, contrast, text size, the status bar) are read back after they are
// set; a reading that disagrees fails the step with the controls' not-confirmed sentence.
//
// The gate: a run holds the simulator's shared mutation gate under "scenario" from its first step to its
// last, so no other operation (in this process or another orvanta process) changes the simulator
// meanwhile. The services below act under a gate of the executor's own instead, which the run's hold does
// not refuse.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/simulator_app_service.hpp"
#include "automation/app_data_reset_service.hpp"
#include "automation/scenario_plan.hpp"
#include "core/simctl_client.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"
#include "tools/controls/simulator_controls_service.hpp"
#include "tools/deeplink/deep_link_service.hpp"
#include "tools/location/location_route_service.hpp"
#include "tools/location/location_simulator_service.hpp"
#include "tools/privacy/simulator_privacy_service.hpp"
#include "tools/push/push_sender_service.hpp"

namespace orvanta {

struct ScenarioStepError {
  std::string message;
  bool operator==(const ScenarioStepError&) const = default;
};

struct ScenarioStepOutcome {
  enum class Case { succeeded, partial, failed, pending, running, notRun, cancelled };
  Case kind = Case::pending;
  std::string summary;      // succeeded, partial
  ScenarioStepError error;  // failed

  static ScenarioStepOutcome of(Case kind) { return {kind, {}, {}}; }
  static ScenarioStepOutcome succeeded(std::string summary) { return {Case::succeeded, std::move(summary), {}}; }
  static ScenarioStepOutcome partial(std::string summary) { return {Case::partial, std::move(summary), {}}; }
  // An empty message reads "The step failed."
  static ScenarioStepOutcome failed(std::string message);

  // "succeeded", "partial", "failed", "pending", "running", "notRun", "cancelled".
  [[nodiscard]] std::string_view caseName() const;
  // The summary or the error's message; empty for the other cases.
  [[nodiscard]] const std::string& message() const { return kind == Case::failed ? error.message : summary; }
  bool operator==(const ScenarioStepOutcome&) const = default;
};

struct ScenarioStepResult {
  std::string id;
  std::string title;
  std::optional<std::chrono::system_clock::time_point> startedAt;  // absent for steps that never started
  std::optional<double> duration;                                  // seconds
  ScenarioStepOutcome outcome;
};

struct ScenarioResult {
  ScenarioExecutionPlan plan;
  std::vector<ScenarioStepResult> stepResults;  // one per plan step, same order
};

// "3 succeeded, 1 failed, 2 not run." (the non-zero counts in the order succeeded, partially completed,
// failed, cancelled, not run); "No steps" when nothing counts.
[[nodiscard]] std::string scenarioResultSummary(const ScenarioResult& result);
// How a step's outcome reads in a run's lines: "succeeded", "partly done", "not run", ...
[[nodiscard]] const char* scenarioOutcomeWords(ScenarioStepOutcome::Case kind);
// A step's time as a run shows it after its outcome: " (0.4 s)", or " (12 ms)" for a step too quick for
// tenths; empty without a time.
[[nodiscard]] std::string stepDurationText(const std::optional<double>& seconds);

// What the executor's services are built from.
struct ScenarioExecutorEnvironment {
  SimctlClient client;
  std::shared_ptr<LocationRouteLibrary> routeLibrary;        // recents of routes played (may be null)
  std::shared_ptr<DeepLinkHistoryStore> deepLinkHistory;     // may be null
  std::optional<std::filesystem::path> temporaryFolder;      // push payloads and reset copies
};

// Main thread only, like the gate; execute blocks for the whole run.
class ScenarioExecutor {
 public:
  explicit ScenarioExecutor(ScenarioExecutorEnvironment environment);
  ScenarioExecutor(const ScenarioExecutor&) = delete;
  ScenarioExecutor& operator=(const ScenarioExecutor&) = delete;

  // Called with the step's index and result when it starts running and when it has its final outcome.
  using Progress = std::function<void(std::size_t index, const ScenarioStepResult& result)>;

  // Runs `plan` under the shared `gate` (null: none), held under `gateLabel` ("scenario", or
  // "workspace-restore" for a restored workspace). Refused with the gate's busy sentence when another
  // operation holds the simulator; otherwise the result of every step.
  [[nodiscard]] expected<ScenarioResult, ScenarioStepError> execute(const ScenarioExecutionPlan& plan,
                                                                    SimulatorMutationGate* gate,
                                                                    const Progress& progress,
                                                                    orvanta::stop_token stop = {},
                                                                    std::string_view gateLabel = gate_labels::scenario);

 private:
  // `device` is the plan's simulator as it is now: a boot step updates it for the steps after it.
  ScenarioStepOutcome runStep(const ScenarioExecutionPlan& plan, SimulatorDevice& device, const ScenarioPlanStep& step);

  SimctlClient client_;
  SimulatorMutationGate stepGate_;  // before the services: they refer to it
  SimulatorControlsService controls_;
  LocationSimulatorService location_;
  LocationRouteService routes_;
  SimulatorPrivacyService privacy_;
  SimulatorAppService apps_;
  AppDataResetService appData_;
  DeepLinkService deepLink_;
  PushSenderService push_;
};

}  // namespace orvanta
