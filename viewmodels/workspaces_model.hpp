// The Workspaces page: the saved setups (a simulator, an app, the device state that reads back, pinned
// scenarios), saving the target's current setup, and restoring one through the same check, confirmation
// and step-by-step run as a scenario.
//
// Main thread only; reading the target's state, the check and the run go to the session's workers.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "automation/scenario_library.hpp"
#include "automation/workspace_store.hpp"
#include "viewmodels/scenarios_model.hpp"

namespace orvanta {


// A scenario pinned to a workspace; `name` is absent when the library no longer has it.
struct PinnedScenario {
  std::string id;
  std::optional<std::string> name;
  bool operator==(const PinnedScenario&) const = default;
};

class WorkspacesModel : public StoredItemsModel<WorkspaceStore> {
 public:
  explicit WorkspacesModel(PanelSession& session);

  // Reads the workspace store and the scenario library again.
  void reload();
  [[nodiscard]] const WorkspaceStore& store() const { return store_; }
  // The scenarios that can be pinned.
  [[nodiscard]] const ScenarioLibrary& scenarios() const { return scenarios_; }

  // The pinned scenarios of a workspace, in its order; they come first in its detail.
  [[nodiscard]] std::vector<PinnedScenario> pinned(const Workspace& workspace) const;
  // What the workspace restores, after its pinned scenarios: the simulator, the app, the state lines.
  [[nodiscard]] std::vector<std::string> detailLines(const Workspace& workspace) const;

  // Saves the target's current state under `name` (refused when the name is taken), with the app and the
  // pinned scenario ids given. The target must be booted.
  void save(const std::string& name, const std::optional<std::string>& bundleIdentifier,
            const std::vector<std::string>& pinnedScenarioIDs);
  // Checks the restore of `id` on its saved simulator, or on the one `ontoUDID` names instead (booting it
  // first when it is shut down); `ready` when the plan waits for confirmation.
  void restore(const std::string& id, std::function<void()> ready = {},
               std::optional<std::string> ontoUDID = std::nullopt);
  void importFrom(const std::filesystem::path& file);

 protected:
  void runEnded() override;

 private:
  ScenarioLibrary scenarios_;
};

}  // namespace orvanta
