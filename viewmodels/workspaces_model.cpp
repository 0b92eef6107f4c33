#include "viewmodels/workspaces_model.hpp"

#include <algorithm>

#include "app/environment.hpp"
#include "app/target_resolution.hpp"
#include "automation/workspace_plan.hpp"
#include "support/uuid.hpp"
#include "tools/location/location_entry.hpp"

namespace orvanta {
WorkspacesModel::WorkspacesModel(PanelSession& session)
    : StoredItemsModel(session, "Restore Workspace", gate_labels::workspaceRestore) {
  reload();
}

void WorkspacesModel::reload() {
  if (!loadStore()) return;
  if (auto library = ScenarioLibrary::defaultFile()) scenarios_ = ScenarioLibrary::load(*library);
  changed();
}

std::vector<PinnedScenario> WorkspacesModel::pinned(const Workspace& workspace) const {
  std::vector<PinnedScenario> pins;
  for (const auto& id : workspace.pinnedScenarioIDs) {
    const auto* scenario = scenarios_.lookup(id);
    pins.push_back({id, scenario != nullptr ? std::optional(scenario->name) : std::nullopt});
  }
  return pins;
}

std::vector<std::string> WorkspacesModel::detailLines(const Workspace& workspace) const {
  std::vector<std::string> lines;
  const auto& simulator = workspace.simulator;
  lines.push_back("Simulator: " + simulator.name);
  if (workspace.bundleIdentifier) lines.push_back("App: " + *workspace.bundleIdentifier);
  for (auto& line : workspaceStateLines(workspace.state)) lines.push_back(std::move(line));
  return lines;
}

void WorkspacesModel::save(const std::string& name, const std::optional<std::string>& bundleIdentifier,
                           const std::vector<std::string>& pinnedScenarioIDs) {
  if (name.empty()) return fail("Name the workspace first.");
  if (store_.nameTaken(name)) return fail(WorkspaceStoreError::of(WorkspaceStoreError::Case::nameTaken, name).description());
  auto device = requireTarget();
  if (!device) return;
  std::vector<std::string> pins;
  for (const auto& id : pinnedScenarioIDs) {
    const auto* scenario = scenarios_.lookup(id);
    if (scenario == nullptr) return fail("There is no scenario \"" + id + "\" to pin.");
    if (std::find(pins.begin(), pins.end(), scenario->id) == pins.end()) pins.push_back(scenario->id);
  }
  using Outcome = expected<WorkspaceDeviceState, std::string>;
  auto& environment = session_.environment();
  run<Outcome>(
      [client = environment.simctl(), settings = environment.settings(), device = *device](const orvanta::stop_token& stop) {
        return captureWorkspaceState(client, device, settings, stop);
      },
      [this, name, bundleIdentifier, pins, device = *device](Outcome state) {
        if (!state) return fail(state.error());
        Workspace workspace;
        workspace.id = makeUUID();
        workspace.name = name;
        workspace.simulator = workspaceSimulator(device);
        workspace.bundleIdentifier = bundleIdentifier;
        workspace.state = *state;
        workspace.pinnedScenarioIDs = pins;
        workspace.createdAt = workspace.updatedAt = std::chrono::system_clock::now();
        auto saved = store_.add(workspace, NameClash::refuse);
        if (!saved) return fail(saved.error().description());
        selectedID_ = saved->id;
        forgetCheck();
        succeed("Saved workspace \"" + saved->name + "\" from " + saved->simulator.name + ".");
      });
}

void WorkspacesModel::restore(const std::string& id, std::function<void()> ready, std::optional<std::string> ontoUDID) {
  const auto* workspace = store_.lookup(id);
  if (workspace == nullptr) {
    const auto* entry = store_.find(id);
    return fail(entry != nullptr ? entry->message() : notFoundText());
  }
  checkPlan(
      [client = session_.environment().simctl(), routes = session_.environment().recentRoutes(),
       workspace = *workspace, ontoUDID = std::move(ontoUDID)](const orvanta::stop_token& stop) {
        // A fresh list: whether the simulator is still there, and whether it must be booted first.
        auto devices = client.listDevices(stop);
        if (!devices) return PlanCheck{workspace.name, unexpected(ScenarioPreflightFailure{failureFrom(devices.error()).message})};
        SimulatorDevice device;
        if (ontoUDID) {
          auto listed = findListedDevice(*devices, *ontoUDID);
          if (!listed) return PlanCheck{workspace.name, unexpected(ScenarioPreflightFailure{listed.error().message})};
          device = *listed;
        } else if (const auto* saved = workspaceSavedDevice(workspace.simulator, *devices)) {
          device = *saved;
        } else {
          return PlanCheck{workspace.name, unexpected(ScenarioPreflightFailure{workspaceSimulatorGoneText(workspace.simulator)})};
        }
        const auto scenario = workspaceRestoreScenario(workspace, device.state == SimulatorState::booted);
        ScenarioSelection selection;
        selection.simulator = device.udid;
        selection.bundleIdentifier = workspace.bundleIdentifier;
        return PlanCheck{workspace.name, ScenarioPreflight(client, routes).check(scenario, selection, stop)};
      },
      std::move(ready));
}

void WorkspacesModel::runEnded() {
  // A restore may have booted the simulator.
  session_.refreshDevices();
}

void WorkspacesModel::importFrom(const std::filesystem::path& file) {
  auto items = readImportedItemsFile(file);
  if (!items) return fail(items.error());
  auto read = importItemsOf<WorkspaceStoreTraits>(*items, "workspace", decodeWorkspace);
  if (!read) return fail(read.error());
  const auto& imports = *read;
  auto added = store_.addItems(imports);
  if (!added) return fail(added.error().description());
  if (added->empty()) return fail("Nothing was imported: every item's id is already in the store.");
  std::string text = added->size() == 1 && added->front().readable()
                         ? "Imported \"" + added->front().record.name + "\"."
                         : "Imported " + std::to_string(added->size()) + " workspaces.";
  if (added->size() < imports.size()) {
    text += " " + std::to_string(imports.size() - added->size()) + " item(s) left out: their id is already in the store.";
  }
  selectedID_ = added->front().id();
  forgetCheck();
  succeed(text);
}

}  // namespace orvanta
