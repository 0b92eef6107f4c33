#include "automation/workspace_plan.hpp"

#include "core/simulator_target.hpp"
#include "support/uuid.hpp"
#include "tools/controls/simulator_controls_readback.hpp"
#include "tools/controls/simulator_controls_service.hpp"
#include "tools/location/location_persistence.hpp"

namespace orvanta {

using ControlsAction = SimulatorControlsAction;

expected<WorkspaceDeviceState, std::string> captureWorkspaceState(const SimctlClient& client,
                                                                  const SimulatorDevice& device,
                                                                  const std::shared_ptr<SettingsStore>& settings,
                                                                  orvanta::stop_token stop) {
  SimulatorControlsService controls(client);
  const auto target = SimulatorTargetStatus::selected(device);
  auto query = [&](ControlsAction::Case kind) -> expected<std::string, std::string> {
    auto reading = controls.perform(target, ControlsAction::query(kind), stop);
    if (!reading) return unexpected(reading.error().description());
    return reading->stdout;
  };
  auto unknown = [](std::string_view what, std::string_view value) {
    return "The simulator reports a " + std::string(what) + " Orvanta does not know: \"" + std::string(value) + "\".";
  };

  WorkspaceDeviceState state;
  auto appearance = query(ControlsAction::Case::queryAppearance);
  if (!appearance) return unexpected(appearance.error());
  const std::string appearanceText = firstOutputLine(*appearance);
  state.appearance = fromRawValue<SimulatorAppearance>(appearanceText);
  if (!state.appearance) return unexpected(unknown("appearance", appearanceText));

  auto contrast = query(ControlsAction::Case::queryIncreaseContrast);
  if (!contrast) return unexpected(contrast.error());
  const std::string contrastText = firstOutputLine(*contrast);
  if (contrastText != "enabled" && contrastText != "disabled") return unexpected(unknown("contrast", contrastText));
  state.increasedContrast = contrastText == "enabled";

  auto size = query(ControlsAction::Case::queryContentSize);
  if (!size) return unexpected(size.error());
  const std::string sizeText = firstOutputLine(*size);
  state.contentSize = fromRawValue<SimulatorContentSize>(sizeText);
  if (!state.contentSize) return unexpected(unknown("text size", sizeText));

  auto bar = query(ControlsAction::Case::queryStatusBarOverrides);
  if (!bar) return unexpected(bar.error());
  state.statusBarOverride = parseStatusBarList(*bar).values;

  if (settings) {
    auto history = LocationHistoryStore(settings).entries();
    if (!history.empty()) state.location = history.front().coordinate;
  }
  return state;
}

WorkspaceSimulator workspaceSimulator(const SimulatorDevice& device) {
  return {device.udid, device.name, device.deviceTypeIdentifier.value_or(""), device.runtimeIdentifier};
}

ScenarioDefinition workspaceRestoreScenario(const Workspace& workspace, bool booted) {
  ScenarioDefinition scenario;
  scenario.id = workspace.id;
  scenario.schemaVersion = currentScenarioSchemaVersion;
  scenario.name = workspace.name;
  scenario.createdAt = workspace.createdAt;
  scenario.updatedAt = workspace.updatedAt;
  auto add = [&](ScenarioStepKind kind) { scenario.steps.push_back({makeUUID(), std::move(kind)}); };
  const auto& state = workspace.state;
  if (!booted) add(ScenarioStepKind::bootSimulator());
  if (state.appearance) add(ScenarioStepKind::setAppearance(*state.appearance));
  if (state.increasedContrast) add(ScenarioStepKind::setIncreasedContrast(*state.increasedContrast));
  if (state.contentSize) add(ScenarioStepKind::setContentSize(*state.contentSize));
  if (state.statusBarOverride) {
    add(state.statusBarOverride->isEmpty() ? ScenarioStepKind::clearStatusBarOverrides()
                                           : ScenarioStepKind::setStatusBarOverride(*state.statusBarOverride));
  }
  if (state.location) add(ScenarioStepKind::setLocation(*state.location));
  if (workspace.bundleIdentifier) add(ScenarioStepKind::launchApp());
  return scenario;
}

std::string workspaceSimulatorGoneText(const WorkspaceSimulator& simulator) {
  return "The simulator this workspace was saved from is gone: \"" + simulator.name + "\" (device type " +
         (simulator.deviceTypeIdentifier.empty() ? std::string("unknown") : simulator.deviceTypeIdentifier) +
         ", runtime " + simulator.runtimeIdentifier + ", udid " + simulator.udid + ").";
}

const SimulatorDevice* workspaceSavedDevice(const WorkspaceSimulator& simulator,
                                            const std::vector<SimulatorDevice>& devices) {
  const auto saved = parseUUID(simulator.udid);
  if (!saved) return nullptr;
  for (const auto& device : devices) {
    if (parseUUID(device.udid) == saved) return &device;
  }
  return nullptr;
}

std::vector<SimulatorDevice> workspaceStandIns(const WorkspaceSimulator& simulator,
                                               const std::vector<SimulatorDevice>& devices) {
  std::vector<SimulatorDevice> matching;
  for (const auto& device : devices) {
    if (device.runtimeIdentifier == simulator.runtimeIdentifier &&
        device.deviceTypeIdentifier.value_or("") == simulator.deviceTypeIdentifier) {
      matching.push_back(device);
    }
  }
  return matching;
}

}  // namespace orvanta
