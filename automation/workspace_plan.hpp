// Saving and restoring a workspace: reading a simulator's current state into a record, and turning a
// record into the scenario that brings it back, which then goes through scenario preflight, confirmation
// and the executor like any other.
//
// Pure functions, apart from captureWorkspaceState, which runs simctl queries (blocking) and reads the
// location history; thread-safe as its settings store is.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "automation/scenario_model.hpp"
#include "automation/workspace_store.hpp"
#include "core/simctl_client.hpp"
#include "core/simulator_device.hpp"
#include "support/expected.hpp"
#include "support/settings_store.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

// The state of the booted `device` as the controls read it back (appearance, increased contrast, text size,
// the status-bar overrides) and the newest location of the location tool's history in `settings` (none
// when empty or when `settings` is null). A status bar without overrides is saved as an empty override.
// The battery state is not kept (simctl lists it as an undocumented code). Fails with the controls'
// sentence of the first query that fails, or with a sentence for a value it does not know.
[[nodiscard]] expected<WorkspaceDeviceState, std::string> captureWorkspaceState(
    const SimctlClient& client, const SimulatorDevice& device, const std::shared_ptr<SettingsStore>& settings,
    orvanta::stop_token stop = {});

// The simulator part of a record, from the device it is saved from.
[[nodiscard]] WorkspaceSimulator workspaceSimulator(const SimulatorDevice& device);

// The scenario that restores `workspace`, in this order: boot (only when `booted` is false), appearance,
// increased contrast, text size, the status bar (its overrides, or clearing them when none were saved),
// the location, and a launch of the app when one is saved. The scenario has the workspace's id and name;
// its steps get new ids.
[[nodiscard]] ScenarioDefinition workspaceRestoreScenario(const Workspace& workspace, bool booted);

// "The simulator this workspace was saved from is gone: "iPhone 16" (device type <id>, runtime <id>,
// udid <udid>)."
[[nodiscard]] std::string workspaceSimulatorGoneText(const WorkspaceSimulator& simulator);

// The listed device that the workspace was saved from (the same udid), or null when it is gone.
[[nodiscard]] const SimulatorDevice* workspaceSavedDevice(const WorkspaceSimulator& simulator,
                                                          const std::vector<SimulatorDevice>& devices);

// The listed devices of the saved device type and runtime, the ones a restore could go to instead.
[[nodiscard]] std::vector<SimulatorDevice> workspaceStandIns(const WorkspaceSimulator& simulator,
                                                             const std::vector<SimulatorDevice>& devices);

}  // namespace orvanta
