// list_scenarios, check_scenario, run_scenario, doctor
#include <algorithm>

#include "automation/scenario_executor.hpp"
#include "automation/scenario_library.hpp"
#include "automation/scenario_preflight.hpp"
#include "automation/workspace_plan.hpp"
#include "automation/workspace_store.hpp"
#include "core/toolchain_doctor.hpp"
#include "mcp/tool_support.hpp"
#include "support/uuid.hpp"
#include "tools/location/location_route_library.hpp"

namespace orvanta {

namespace {

using Json = nlohmann::json;
using Entry = ScenarioLibrary::Entry;

expected<ScenarioLibrary, CommandFailure> openLibrary() {
  auto file = ScenarioLibrary::defaultFile();
  if (!file) return unexpected(CommandFailure::failure(std::string(file.error().caseName()), file.error().description()));
  return ScenarioLibrary::load(*file);
}

// The scenario named by its id (any letter case) or its exact name.
expected<ScenarioDefinition, CommandFailure> findScenario(const ScenarioLibrary& library, const std::string& nameOrID) {
  const auto id = parseUUID(nameOrID);
  std::vector<const Entry*> named;
  const Entry* found = nullptr;
  for (const auto& entry : library.entries) {
    if (id && entry.id() == *id) found = &entry;
    if (entry.kind == Entry::Case::record && entry.record.name == nameOrID) named.push_back(&entry);
  }
  if (found == nullptr && named.size() > 1) {
    return unexpected(CommandFailure::usage("Several scenarios are named \"" + nameOrID + "\".",
                                            {"Name one by its id (see list_scenarios)."}));
  }
  if (found == nullptr && named.size() == 1) found = named.front();
  if (found == nullptr) {
    return unexpected(CommandFailure::failure(
        "notFound", ScenarioLibraryError::of(ScenarioLibraryError::Case::notFound).description(), {"See list_scenarios."}));
  }
  if (found->kind == Entry::Case::unsupportedFormat) {
    return unexpected(CommandFailure::failure("unsupportedSchemaVersion", found->message()));
  }
  return found->record;
}

// The plan of `scenario` on the selected simulator, or the first blocking issue (the others as hints).
expected<ScenarioExecutionPlan, CommandFailure> preflightOf(ToolCall& call, const ScenarioDefinition& scenario,
                                                           const ScenarioSelection& selection) {
  ScenarioPreflight checker(call.environment.simctl(), call.environment.recentRoutes());
  auto outcome = checker.check(scenario, selection, call.stop);
  if (!outcome) {
    if (call.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
    return unexpected(CommandFailure::failure("preflightFailed", outcome.error().message));
  }
  if (outcome->blocked()) {
    const auto& first = outcome->issues.front();
    auto failure = CommandFailure::failure(std::string(first.caseName()), first.description());
    if (first.caseName() == "appRequired") failure.hints.push_back("Name it with \"app\".");
    for (std::size_t i = 1; i < outcome->issues.size(); ++i) failure.hints.push_back(outcome->issues[i].description());
    return unexpected(std::move(failure));
  }
  return std::move(*outcome->plan);
}

// The plan of the named scenario on the call's simulator.
expected<ScenarioExecutionPlan, CommandFailure> preflight(ToolCall& call) {
  auto library = openLibrary();
  if (!library) return unexpected(library.error());
  auto scenario = findScenario(*library, *call.string("scenario"));
  if (!scenario) return unexpected(scenario.error());
  ScenarioSelection selection;
  selection.bundleIdentifier = call.string("app");
  if (auto device = call.device()) {
    selection.simulator = device;
  } else if (auto remembered = call.environment.selection().selectedUDID(); remembered && *remembered) {
    selection.simulator = **remembered;
  }
  return preflightOf(call, *scenario, selection);
}

ToolResult listScenarios(ToolCall&) {
  auto library = openLibrary();
  if (!library) return ToolResult::failed(library.error());
  return ToolResult::of(scenarioListJson(*library));
}

ToolResult checkScenario(ToolCall& call) {
  auto plan = preflight(call);
  if (!plan) return ToolResult::failed(plan.error());
  return ToolResult::of(scenarioCheckJson(*plan, makeScenarioConfirmation(*plan)));
}

// Asks for "confirm", then runs `plan` under the gate with `gateLabel`, a progress notification per step.
ToolResult confirmAndExecute(ToolCall& call, const ScenarioExecutionPlan* plan, std::string_view title,
                             std::string_view gateLabel);

ToolResult runScenario(ToolCall& call) {
  auto plan = preflight(call);
  if (!plan) return ToolResult::failed(plan.error());
  return confirmAndExecute(call, &*plan, {}, gate_labels::scenario);
}

ToolResult confirmAndExecute(ToolCall& call, const ScenarioExecutionPlan* plan, std::string_view title,
                             std::string_view gateLabel) {
  auto confirmation = makeScenarioConfirmation(*plan);
  if (!title.empty()) confirmation.title = std::string(title);
  if (!call.confirmed()) {
    return ToolResult::failed(confirmationRequired(confirmation.sheet(plan->scenarioName)));
  }
  ScenarioExecutor executor(ScenarioExecutorEnvironment{call.environment.simctl(), call.environment.recentRoutes(), nullptr,
                                                        std::nullopt});
  const double total = static_cast<double>(plan->steps.size());
  auto result = executor.execute(
      *plan, &call.environment.gate(),
      [&](std::size_t index, const ScenarioStepResult& step) {
        if (step.outcome.kind == ScenarioStepOutcome::Case::running) {
          call.progress(static_cast<double>(index), total, step.title);
        } else {
          call.progress(static_cast<double>(index + 1), total, step.title + ": " + std::string(step.outcome.caseName()));
        }
      },
      call.stop, gateLabel);
  if (!result) return ToolResult::failed(CommandFailure::failure("simulatorBusy", result.error().message));
  ToolResult done = ToolResult::of(scenarioRunJson(*result));
  bool allSucceeded = true;
  for (const auto& step : result->stepResults) allSucceeded &= step.outcome.kind == ScenarioStepOutcome::Case::succeeded;
  if (!allSucceeded) {
    // The step results say what happened; the summary is the failure's sentence.
    auto failure = CommandFailure::failure(call.stop.stop_requested() ? "cancelled" : "scenarioFailed",
                                           scenarioResultSummary(*result));
    for (const auto& step : result->stepResults) {
      failure.hints.push_back(step.title + ": " + std::string(step.outcome.caseName()) +
                              (step.outcome.message().empty() ? "" : " (" + step.outcome.message() + ")"));
    }
    return ToolResult::failed(std::move(failure));
  }
  return done;
}

// The saved workspace's setup brought back: onto its own simulator (booted first when it is shut down), or
// onto the one "device" names.
ToolResult restoreWorkspace(ToolCall& call) {
  auto file = WorkspaceStore::defaultFile();
  if (!file) return ToolResult::failed(CommandFailure::failure(std::string(file.error().caseName()), file.error().description()));
  const auto store = WorkspaceStore::load(*file);
  const auto* entry = store.find(*call.string("workspace"));
  if (entry == nullptr) {
    return ToolResult::failed(CommandFailure::failure(
        "notFound", WorkspaceStoreError::of(WorkspaceStoreError::Case::notFound).description()));
  }
  if (!entry->readable()) return ToolResult::failed(CommandFailure::failure("unsupportedSchemaVersion", entry->message()));
  const Workspace& workspace = entry->record;

  if (auto refreshed = refreshDevices(call.environment, call.stop); !refreshed) return ToolResult::failed(refreshed.error());
  const auto devices = &call.environment.discovery().devices();
  const auto wanted = call.device().value_or(workspace.simulator.udid);
  auto device = std::find_if(devices->begin(), devices->end(),
                             [&](const SimulatorDevice& each) { return parseUUID(each.udid) == parseUUID(wanted); });
  if (device == devices->end()) {
    std::vector<std::string> hints;
    for (const auto& standIn : workspaceStandIns(workspace.simulator, *devices)) {
      hints.push_back("\"" + standIn.name + "\" is of the same kind: pass \"device\": \"" + standIn.udid + "\".");
    }
    return ToolResult::failed(
        CommandFailure::failure("simulatorNotFound", workspaceSimulatorGoneText(workspace.simulator), std::move(hints)));
  }
  ScenarioSelection selection;
  selection.simulator = device->udid;
  selection.bundleIdentifier = workspace.bundleIdentifier;
  auto plan = preflightOf(call, workspaceRestoreScenario(workspace, device->state == SimulatorState::booted), selection);
  if (!plan) return ToolResult::failed(plan.error());
  return confirmAndExecute(call, &*plan, "Restore Workspace", gate_labels::workspaceRestore);
}

ToolResult doctor(ToolCall& call) {
  const DoctorInputs inputs = call.environment.doctorInputs();
  const auto checks = runDoctor(inputs, call.stop);
  if (call.stop.stop_requested()) return ToolResult::failed(CommandFailure::interrupted());
  // The checks are the answer whether they pass or not: a failed check is data, not a failed call.
  return ToolResult::of(doctorJson(checks));
}

Json scenarioArguments() {
  return schema::object({{"scenario", schema::string("The scenario's id or exact name (see list_scenarios)")},
                         {"app", schema::string("The bundle identifier of the app the scenario's app steps act on")}},
                        {"scenario"});
}

}  // namespace

std::vector<ToolDefinition> scenarioTools() {
  return {
      {"list_scenarios", "List scenarios", "The saved scenarios, in order. Structured content: {items: [...]}.",
       schema::object({}), schema::items({{"type", "object"}}), {.readOnly = true, .idempotent = true}, false, false,
       listScenarios},
      {"check_scenario", "Check a scenario",
       "Preflight a scenario on the simulator: the plan and the confirmation text, or the blocking issues.",
       scenarioArguments(), schema::result({{"plan", {{"type", "object"}}}, {"confirmation", {{"type", "object"}}}}),
       {.readOnly = true, .idempotent = true}, true, false, checkScenario},
      {"run_scenario", "Run a scenario",
       "Preflight, then run a scenario's steps on the simulator with per-step progress. Steps may change or "
       "remove data: runs only with \"confirm\": true (without it, returns what would run).",
       scenarioArguments(), schema::result({{"summary", {{"type", "string"}}}, {"stepResults", {{"type", "array"}}}}),
       {.destructive = true}, true, true, runScenario},
      {"restore_workspace", "Restore a workspace",
       "Bring back a saved workspace: boot its simulator when shut down, apply the saved appearance, contrast, "
       "text size, status bar and location with read-back, launch its app; per-step progress. Runs only with "
       "\"confirm\": true (without it, returns what would run).",
       schema::object({{"workspace", schema::string("The workspace's id or exact name")}}, {"workspace"}),
       schema::result({{"summary", {{"type", "string"}}}, {"stepResults", {{"type", "array"}}}}), {.destructive = true},
       true, true, restoreWorkspace},
      {"doctor", "Check the toolchain",
       "Checks xcrun, the selected Xcode, simctl, the device list and the settings folder; one entry per check "
       "with status ok, warning or failed.",
       schema::object({}), schema::result({{"checks", {{"type", "array"}}}}), {.readOnly = true, .idempotent = true},
       false, false, doctor},
  };
}

}  // namespace orvanta
