#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "automation/scenario_library.hpp"
#include "automation/workspace_plan.hpp"
#include "support/file_lock.hpp"
#include "support/uuid.hpp"
#include "tests/viewmodels/panel_fixture.hpp"
#include "viewmodels/scenarios_model.hpp"
#include "viewmodels/workspaces_model.hpp"

namespace orvanta::testing {
namespace {

using Outcome = ScenarioStepOutcome::Case;

class AutomationModelsTest : public PanelModelTest {
 protected:
  // Writes a scenario into the library file, as another process would, and returns its id.
  static std::string saveScenario(const std::string& name, std::vector<ScenarioStepKind> kinds) {
    ScenarioDefinition scenario;
    scenario.id = makeUUID();
    scenario.name = name;
    for (auto& kind : kinds) scenario.steps.push_back({makeUUID(), std::move(kind)});
    scenario.createdAt = scenario.updatedAt = std::chrono::system_clock::now();
    auto library = ScenarioLibrary::load(*ScenarioLibrary::defaultFile());
    EXPECT_TRUE(library.add(scenario));
    return scenario.id;
  }
  static std::vector<std::string> names(const ScenarioLibrary& library) {
    std::vector<std::string> found;
    for (const auto& entry : library.entries) found.push_back(entry.readable() ? entry.record.name : "?");
    return found;
  }
  static std::vector<Outcome> outcomes(const PlanRunModel& model) {
    std::vector<Outcome> found;
    for (const auto& step : model.stepResults()) found.push_back(step.outcome.kind);
    return found;
  }
};

TEST(StepFields, EveryKindReadsBackItsOwnFieldsUnchanged) {
  const std::vector<LocationRouteRecent> routes = {{"R1", "Loop", "loop.gpx", 2, 1, 100, 12.5, {}, ""}};
  for (auto kindCase : allScenarioStepCases) {
    const auto kind = newStepKind(kindCase, routes);
    SCOPED_TRACE(std::string(kind.caseName()));
    EXPECT_EQ(kind.kind, kindCase);
    auto read = stepKindWithFields(kind, stepFields(kind, routes));
    ASSERT_TRUE(read) << read.error();
    EXPECT_EQ(*read, kind);
  }
  EXPECT_EQ(newStepKind(ScenarioStepKind::Case::runLocationRoute, routes).routeID, "R1");
}

TEST(StepFields, ChangedValuesAreTypedAndBadTextIsRefusedByName) {
  auto bar = newStepKind(ScenarioStepKind::Case::setStatusBarOverride);
  auto fields = stepFields(bar);
  auto set = [&](const std::string& key, const std::string& value) {
    for (auto& field : fields) {
      if (field.key == key) field.value = value;
    }
  };
  set("wifiBars", "2");
  set("dataNetwork", "lte+");
  set("time", "");
  auto changed = stepKindWithFields(bar, fields);
  ASSERT_TRUE(changed) << changed.error();
  EXPECT_EQ(changed->statusBar.wifiBars, 2);
  EXPECT_EQ(changed->statusBar.dataNetwork, StatusBarDataNetwork::ltePlus);
  EXPECT_FALSE(changed->statusBar.time);  // emptied: no longer overridden
  set("wifiBars", "two");
  EXPECT_EQ(stepKindWithFields(bar, fields).error(), "Wi-Fi bars must be a whole number.");

  const auto location = newStepKind(ScenarioStepKind::Case::setLocation);
  auto point = stepFields(location);
  point[0].value = "48.1";
  point[1].value = "11.5";
  auto moved = stepKindWithFields(location, point);
  ASSERT_TRUE(moved);
  EXPECT_EQ(moved->title(), "Set Location: 48.1, 11.5");
  point[0].value = "91";
  EXPECT_FALSE(stepKindWithFields(location, point));
}

TEST_F(AutomationModelsTest, TheLibraryKeepsNamesUniqueAndOrderAsEdited) {
  session();
  ScenariosModel model(*session_);
  EXPECT_TRUE(model.library().entries.empty());
  model.create("Smoke");
  const std::string smoke = model.selectedID();
  model.create("Smoke");
  EXPECT_EQ(messageOf(model), "Created \"Smoke 2\".");
  const std::string second = model.selectedID();
  model.rename(second, "Smoke");
  EXPECT_TRUE(failed(model));
  EXPECT_EQ(messageOf(model), "A scenario named \"Smoke\" already exists; choose another name.");
  model.duplicate(smoke);
  EXPECT_EQ(names(model.library()), (std::vector<std::string>{"Smoke", "Smoke Copy", "Smoke 2"}));
  model.move(second, -1);
  model.move(second, -1);
  EXPECT_EQ(names(model.library()), (std::vector<std::string>{"Smoke 2", "Smoke", "Smoke Copy"}));
  model.move(second, -1);  // already first: nothing changes
  EXPECT_EQ(names(model.library()).front(), "Smoke 2");

  // A description is trimmed, and removed when emptied.
  model.describe(second, "  Dark mode, then the largest text  \n");
  EXPECT_EQ(messageOf(model), "Description saved.");
  EXPECT_EQ(model.library().lookup(second)->description, "Dark mode, then the largest text");
  model.describe(second, " ");
  EXPECT_EQ(messageOf(model), "Description removed.");
  EXPECT_FALSE(model.library().lookup(second)->description.has_value());
  model.describe("no-such-id", "x");
  EXPECT_TRUE(failed(model));

  // Changes are written through: a library read from the file sees them.
  EXPECT_EQ(names(ScenarioLibrary::load(*ScenarioLibrary::defaultFile())), names(model.library()));

  // Export and import back: the id is taken, so the copy gets a new one and a numbered name.
  model.select(smoke);
  model.addStep(ScenarioStepKind::Case::setAppearance);
  const auto file = root_ / "smoke.json";
  model.exportTo(smoke, file);
  EXPECT_EQ(messageOf(model), "Exported to " + file.string());
  model.importFrom(file);
  EXPECT_EQ(messageOf(model), "Imported \"Smoke 3\".");
  ASSERT_NE(model.selected(), nullptr);
  EXPECT_NE(model.selectedID(), smoke);
  EXPECT_EQ(model.selected()->steps.size(), 1u);

  // An item written by a newer version is kept and listed with the reason it cannot be used.
  std::ofstream(root_ / "newer.json") << R"({"items": [{"id": "0B1C2D3E-0000-4000-8000-000000000001", "schemaVersion": 2}]})";
  model.importFrom(root_ / "newer.json");
  ASSERT_FALSE(model.library().entries.back().readable());
  model.check();
  EXPECT_EQ(messageOf(model), "This scenario was saved by a newer version of Orvanta (schema 2).");
  std::ofstream(root_ / "broken.json") << "{";
  model.importFrom(root_ / "broken.json");
  EXPECT_TRUE(failed(model));
  EXPECT_EQ(messageOf(model).rfind("The file is not JSON: ", 0), 0u) << messageOf(model);

  // Deleting the chosen scenario chooses the one after it.
  model.select(smoke);
  const auto count = model.library().entries.size();
  model.remove(smoke);
  EXPECT_EQ(messageOf(model), "Deleted \"Smoke\".");
  EXPECT_EQ(model.library().entries.size(), count - 1);
  ASSERT_NE(model.selected(), nullptr);
  EXPECT_EQ(model.selected()->name, "Smoke Copy");
}

TEST_F(AutomationModelsTest, StepsAreEditedInPlaceAndTheCheckMarksTheStepsAtFault) {
  session();
  ScenariosModel model(*session_);
  model.bundleIdentifier = kCafe;
  model.create("Editor");
  model.addStep(ScenarioStepKind::Case::setAppearance);
  model.addStep(ScenarioStepKind::Case::sendPush);
  model.addStep(ScenarioStepKind::Case::launchApp);
  ASSERT_EQ(model.selected()->steps.size(), 3u);
  const auto push = model.selected()->steps[1];

  auto fields = stepFields(push.kind);
  fields[0].value = "{\"alert\": 1}";
  model.editStep(push.id, fields);
  EXPECT_EQ(messageOf(model), "Step 2 is now \"Send Push Notification\".");
  model.moveStep(push.id, 1);
  EXPECT_EQ(model.selected()->steps[2].id, push.id);
  EXPECT_EQ(model.selected()->steps[2].kind.payload, "{\"alert\": 1}");

  // The payload has no "aps": the push step is marked, the others are not.
  model.check();
  settle();
  EXPECT_TRUE(failed(model));
  EXPECT_FALSE(model.awaitingConfirmation());
  EXPECT_EQ(messageOf(model).rfind("\"Editor\" can't run:\n- ", 0), 0u) << messageOf(model);
  ASSERT_EQ(model.issuesOf(push.id).size(), 1u);
  EXPECT_EQ(model.issuesOf(push.id).front().kind, ScenarioPreflightIssue::Case::invalidPushPayload);
  EXPECT_TRUE(model.issuesOf(model.selected()->steps[0].id).empty());
  EXPECT_EQ(model.issues().size(), 1u);

  // An edit forgets the marks: they described the steps as they were.
  model.removeStep(push.id);
  EXPECT_EQ(messageOf(model), "Removed \"Send Push Notification\".");
  EXPECT_TRUE(model.issues().empty());
}

TEST_F(AutomationModelsTest, ARunIsConfirmedWithTheCommandLinesTextAndHoldsTheSimulator) {
  session();
  saveScenario("Launch dark", {ScenarioStepKind::setAppearance(SimulatorAppearance::dark), ScenarioStepKind::launchApp()});
  ScenariosModel model(*session_);
  model.bundleIdentifier = kCafe;
  int ready = 0;
  model.check([&] { ++ready; });
  settle();
  ASSERT_TRUE(model.awaitingConfirmation()) << messageOf(model);
  EXPECT_EQ(ready, 1);
  EXPECT_EQ(model.confirmButtonTitle(), "Run 2 Steps");
  EXPECT_EQ(model.confirmationText(),
            "Run Scenario: Launch dark\nCaf\xC3\xA9 \"Bar\" (com.example.cafe) on iPhone 16\n\n"
            "Steps:\n1. Set Appearance: Dark\n2. Launch App\n\n"
            "Irreversible or unverifiable:\n2. Launch App \xE2\x80\x94 changes simulator state; resettable to a known "
            "default, not restored automatically.\n\n"
            "This is not a transaction: steps run in order, and a failure stops the ones after it. Nothing already "
            "applied is rolled back.");

  // Another operation holds the simulator: the run is refused and the plan is spent.
  ASSERT_TRUE(environment_->gate().acquire(kIPhone16, "apps"));  // makes the lock folder
  environment_->gate().release(kIPhone16, "apps");
  {
    auto held = FileLock::acquire(root_ / "runtime" / "orvanta" / (std::string("gate-") + kIPhone16 + ".lock"),
                                  FileLock::Wait::nonBlocking);
    ASSERT_TRUE(held && *held);
    model.confirmRun();
    EXPECT_FALSE(model.running());
    EXPECT_FALSE(model.awaitingConfirmation());
    EXPECT_EQ(messageOf(model), "Another change to this simulator is in progress.");
  }

  model.check();
  settle();
  model.confirmRun();
  EXPECT_TRUE(model.running());
  EXPECT_EQ(environment_->gate().holder(kIPhone16), "scenario");
  settle();
  EXPECT_FALSE(model.running());
  EXPECT_EQ(outcomes(model), (std::vector<Outcome>{Outcome::succeeded, Outcome::succeeded}));
  EXPECT_EQ(model.summary(), "2 succeeded.");
  EXPECT_EQ(messageOf(model), "2 succeeded.");
  EXPECT_FALSE(failed(model));
  EXPECT_EQ(environment_->gate().holder(kIPhone16), std::nullopt);  // released with the run
}

TEST_F(AutomationModelsTest, CancelStopsBeforeTheNextStepAndTheStatesShowAsTheyChange) {
  session();
  const auto dark = ScenarioStepKind::setAppearance(SimulatorAppearance::dark);
  const auto light = ScenarioStepKind::setAppearance(SimulatorAppearance::light);
  saveScenario("Flip", {dark, light, dark, light});
  ScenariosModel model(*session_);
  model.check();
  settle();
  ASSERT_TRUE(model.awaitingConfirmation()) << messageOf(model);

  setFaults(R"({"ui": {"delaySeconds": 0.3}})");  // each step takes a while, so it is seen running
  std::vector<std::vector<Outcome>> seen;
  model.onChanged([&] {
    if (!model.running()) return;
    seen.push_back(outcomes(model));
    if (model.stepResults()[1].outcome.kind == Outcome::running) model.cancelRun();
  });
  model.confirmRun();
  settle();
  EXPECT_EQ(outcomes(model), (std::vector<Outcome>{Outcome::succeeded, Outcome::succeeded, Outcome::cancelled,
                                                   Outcome::cancelled}));
  EXPECT_EQ(model.summary(), "2 succeeded, 2 cancelled.");
  EXPECT_TRUE(failed(model));
  EXPECT_NE(std::find(seen.begin(), seen.end(),
                      std::vector<Outcome>{Outcome::running, Outcome::pending, Outcome::pending, Outcome::pending}),
            seen.end());
  EXPECT_EQ(stepStateText(2, model.stepResults()[2]), "3. Set Appearance: Dark \xE2\x80\x94 cancelled");
}

TEST_F(AutomationModelsTest, WorkspacesSaveTheTargetAndRestoreItStepByStep) {
  session();
  const auto pinned = saveScenario("Pinned one", {ScenarioStepKind::launchApp()});
  WorkspacesModel model(*session_);
  model.save("Morning", std::string(kCafe), {pinned});
  settle();
  EXPECT_EQ(messageOf(model), "Saved workspace \"Morning\" from iPhone 16.");
  const auto* workspace = model.selected();
  ASSERT_NE(workspace, nullptr);
  EXPECT_EQ(model.pinned(*workspace), (std::vector<PinnedScenario>{{pinned, "Pinned one"}}));
  const auto lines = model.detailLines(*workspace);
  ASSERT_GE(lines.size(), 3u);
  EXPECT_EQ(lines[0], "Simulator: iPhone 16");
  EXPECT_EQ(lines[1], "App: com.example.cafe");
  EXPECT_EQ(lines[2], "Appearance: light");

  model.save("Morning", std::nullopt, {});
  EXPECT_TRUE(failed(model));
  EXPECT_FALSE(model.busy());  // refused before anything is read

  const std::string id = workspace->id;
  model.restore(id);
  settle();
  ASSERT_TRUE(model.awaitingConfirmation()) << messageOf(model);
  EXPECT_EQ(model.confirmationText().rfind("Restore Workspace: Morning\n", 0), 0u) << model.confirmationText();
  model.confirmRun();
  EXPECT_EQ(environment_->gate().holder(kIPhone16), "workspace-restore");
  settle();
  ASSERT_FALSE(model.stepResults().empty());
  EXPECT_EQ(model.stepResults().back().title, "Launch App");
  for (const auto& step : model.stepResults()) EXPECT_EQ(step.outcome.kind, Outcome::succeeded) << step.title;
  EXPECT_FALSE(failed(model)) << messageOf(model);

  // Export, import (a new id and a numbered name), rename, delete.
  model.exportTo(id, root_ / "morning.json");
  model.importFrom(root_ / "morning.json");
  EXPECT_EQ(messageOf(model), "Imported \"Morning 2\".");
  model.rename(model.selectedID(), "Evening");
  EXPECT_EQ(messageOf(model), "Renamed to \"Evening\".");
  model.remove(id);
  ASSERT_EQ(model.store().entries.size(), 1u);
  EXPECT_EQ(model.selected()->name, "Evening");

  // A workspace whose simulator is gone says which one it was.
  auto gone = *model.selected();
  gone.simulator.udid = "00000000-0000-4000-8000-000000000000";
  auto store = WorkspaceStore::load(*WorkspaceStore::defaultFile());
  ASSERT_TRUE(store.update(gone));
  model.reload();
  model.restore(gone.id);
  settle();
  EXPECT_EQ(messageOf(model), workspaceSimulatorGoneText(gone.simulator));
  // ... and restores onto another one when asked: a shut-down one is booted first.
  model.restore(gone.id, {}, std::string(kIPhone15));
  settle();
  ASSERT_TRUE(model.awaitingConfirmation()) << messageOf(model);
  EXPECT_NE(model.confirmationText().find("Boot"), std::string::npos) << model.confirmationText();
  EXPECT_NE(model.confirmationText().find("iPhone 15"), std::string::npos) << model.confirmationText();
  model.discardRun();
  model.restore(gone.id, {}, std::string("00000000-0000-4000-8000-00000000000F"));
  settle();
  EXPECT_EQ(messageOf(model), "No listed simulator has the udid or name \"00000000-0000-4000-8000-00000000000F\".");
}

}  // namespace
}  // namespace orvanta::testing
