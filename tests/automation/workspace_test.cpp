// Workspace records, reading a simulator's state into one, and the scenario that restores it.
#include "automation/workspace_plan.hpp"

#include <gtest/gtest.h>

#include "automation/scenario_preflight.hpp"
#include "support/reference_date.hpp"
#include "support/settings_store.hpp"
#include "tests/automation/scenario_fake_simctl.hpp"
#include "tests/support/test_files.hpp"
#include "tools/location/location_persistence.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using Step = ScenarioStepKind::Case;
using testing::readFixture;

constexpr const char* kBooted = "3BC9A608-0042-414F-B35C-7ADB869BC572";
constexpr const char* kShutdown = "E386B311-8A47-4772-8679-FE21D12C20A8";
constexpr const char* kScenario = "0B1C2D3E-4F50-4617-8293-A4B5C6D7E8F9";

std::chrono::system_clock::time_point at(double seconds) { return *fromReferenceSeconds(seconds); }

Workspace fullWorkspace() {
  Workspace workspace;
  workspace.id = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
  workspace.name = "Checkout dark";
  workspace.simulator = {kBooted, "iPhone 16", "com.apple.CoreSimulator.SimDeviceType.iPhone-16",
                         "com.apple.CoreSimulator.SimRuntime.iOS-18-0"};
  workspace.bundleIdentifier = "com.example.cafe";
  workspace.state.appearance = SimulatorAppearance::dark;
  workspace.state.increasedContrast = true;
  workspace.state.contentSize = SimulatorContentSize::extraLarge;
  StatusBarOverride bar;
  bar.time = "9:41";
  bar.batteryLevel = 100;
  workspace.state.statusBarOverride = bar;
  workspace.state.location = SimulatedLocation{48.1374, 11.5755};
  workspace.pinnedScenarioIDs = {kScenario};
  workspace.createdAt = at(752000000.25);
  workspace.updatedAt = at(752000100.5);
  return workspace;
}

std::vector<Step> kinds(const ScenarioDefinition& scenario) {
  std::vector<Step> list;
  for (const auto& step : scenario.steps) list.push_back(step.kind.kind);
  return list;
}

TEST(WorkspaceModelTest, JsonKeysRoundTripAndFailures) {
  const auto workspace = fullWorkspace();
  auto json = encodeWorkspace(workspace);
  ASSERT_TRUE(json) << json.error();
  EXPECT_EQ(json->dump(),
            R"({"bundleIdentifier":"com.example.cafe","createdAt":752000000.25,"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F",)"
            R"("name":"Checkout dark","pinnedScenarioIDs":["0B1C2D3E-4F50-4617-8293-A4B5C6D7E8F9"],"schemaVersion":1,)"
            R"("simulator":{"deviceTypeIdentifier":"com.apple.CoreSimulator.SimDeviceType.iPhone-16","name":"iPhone 16",)"
            R"("runtimeIdentifier":"com.apple.CoreSimulator.SimRuntime.iOS-18-0","udid":"3BC9A608-0042-414F-B35C-7ADB869BC572"},)"
            R"("state":{"appearance":"dark","contentSize":"extra-large","increasedContrast":true,)"
            R"("location":{"latitude":48.1374,"longitude":11.5755},"statusBarOverride":{"batteryLevel":100,"time":"9:41"}},)"
            R"("updatedAt":752000100.5})");
  EXPECT_EQ(*decodeWorkspace(*json), workspace);

  // No app and no state at all is a workspace too; pins are read in any letter case.
  auto bare = *json;
  bare.erase("bundleIdentifier");
  bare["state"] = Json::object();
  bare["pinnedScenarioIDs"] = {"0b1c2d3e-4f50-4617-8293-a4b5c6d7e8f9"};
  auto decoded = decodeWorkspace(bare);
  ASSERT_TRUE(decoded) << decoded.error();
  EXPECT_FALSE(decoded->bundleIdentifier);
  EXPECT_EQ(decoded->state, WorkspaceDeviceState{});
  EXPECT_EQ(decoded->pinnedScenarioIDs, std::vector<std::string>{kScenario});

  struct Row {
    const char* pointer;
    Json value;
    const char* problem;
  };
  const Row rows[] = {
      {"/simulator/udid", nullptr, "\"udid\" is missing in a workspace's simulator."},
      {"/state/appearance", "sepia", "\"sepia\" is not a known value of \"appearance\" in a workspace's state."},
      {"/state/location", Json{{"latitude", 91}, {"longitude", 0}}, "\"location\" is not a valid position in a workspace's state."},
      {"/pinnedScenarioIDs", Json::array({"nope"}), "\"pinnedScenarioIDs\" holds something that is not a UUID in a workspace."},
      {"/updatedAt", "yesterday", "\"updatedAt\" is not a date in a workspace."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.pointer);
    auto broken = *json;
    broken[Json::json_pointer(row.pointer)] = row.value;
    auto failed = decodeWorkspace(broken);
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error(), row.problem);
  }
}

TEST(WorkspacePlanTest, RestoreStepsBootFirstAndLaunchLast) {
  auto workspace = fullWorkspace();
  auto shutDown = workspaceRestoreScenario(workspace, /*booted=*/false);
  EXPECT_EQ(shutDown.id, workspace.id);
  EXPECT_EQ(shutDown.name, "Checkout dark");
  EXPECT_EQ(kinds(shutDown), (std::vector<Step>{Step::bootSimulator, Step::setAppearance, Step::setIncreasedContrast,
                                                Step::setContentSize, Step::setStatusBarOverride, Step::setLocation,
                                                Step::launchApp}));
  EXPECT_EQ(shutDown.steps[4].kind.statusBar, *workspace.state.statusBarOverride);
  EXPECT_NE(shutDown.steps[0].id, shutDown.steps[1].id);

  // Booted, no app, a status bar saved without overrides: nothing to boot or launch, the overrides cleared.
  workspace.bundleIdentifier.reset();
  workspace.state.statusBarOverride = StatusBarOverride{};
  workspace.state.location.reset();
  workspace.state.increasedContrast.reset();
  EXPECT_EQ(kinds(workspaceRestoreScenario(workspace, true)),
            (std::vector<Step>{Step::setAppearance, Step::setContentSize, Step::clearStatusBarOverrides}));

  EXPECT_EQ(workspaceSimulatorGoneText(workspace.simulator),
            "The simulator this workspace was saved from is gone: \"iPhone 16\" (device type "
            "com.apple.CoreSimulator.SimDeviceType.iPhone-16, runtime com.apple.CoreSimulator.SimRuntime.iOS-18-0, "
            "udid 3BC9A608-0042-414F-B35C-7ADB869BC572).");
}

TEST(WorkspacePlanTest, CaptureReadsTheControlsAndTheNewestLocation) {
  testing::FakeSimctl simctl;
  std::string contrast = "enabled\n";
  simctl.on("ui", [&](const std::vector<std::string>& arguments) {
    const std::string& option = arguments.at(3);
    const std::string out = option == "appearance" ? "dark\n" : option == "increase_contrast" ? contrast : "extra-large\n";
    return ProcessRunner::Output{ByteBuffer(out), ByteBuffer(), 0, false};
  });
  simctl.on("status_bar", readFixture("simctl/status-bar-list-no-service.txt"));
  auto settings = std::make_shared<InMemorySettingsStore>();
  LocationHistoryStore history(settings);
  ASSERT_TRUE(history.record({48.1, 11.5}, at(5)));
  ASSERT_TRUE(history.record({47.3769, 8.5417}, at(6)));

  SimulatorDevice device{kBooted, "iPhone 16", SimulatorState::booted, "com.apple.CoreSimulator.SimRuntime.iOS-18-0",
                         "iOS 18.0", "com.apple.CoreSimulator.SimDeviceType.iPhone-16"};
  auto state = captureWorkspaceState(SimctlClient{simctl.function()}, device, settings);
  ASSERT_TRUE(state) << state.error();
  EXPECT_EQ(simctl.calls(), (std::vector<std::string>{std::string("ui ") + kBooted + " appearance",
                                                      std::string("ui ") + kBooted + " increase_contrast",
                                                      std::string("ui ") + kBooted + " content_size",
                                                      std::string("status_bar ") + kBooted + " list"}));
  EXPECT_EQ(state->appearance, SimulatorAppearance::dark);
  EXPECT_EQ(state->increasedContrast, true);
  EXPECT_EQ(state->contentSize, SimulatorContentSize::extraLarge);
  ASSERT_TRUE(state->statusBarOverride);
  EXPECT_EQ(state->statusBarOverride->time, "6:07");
  EXPECT_EQ(state->statusBarOverride->operatorName, "No Service");
  EXPECT_FALSE(state->statusBarOverride->batteryState);
  EXPECT_EQ(state->location, (SimulatedLocation{47.3769, 8.5417}));

  contrast = "sometimes\n";
  auto odd = captureWorkspaceState(SimctlClient{simctl.function()}, device, nullptr);
  ASSERT_FALSE(odd);
  EXPECT_EQ(odd.error(), "The simulator reports a contrast Orvanta does not know: \"sometimes\".");
}

TEST(WorkspacePlanTest, APlanThatBootsFirstMayStartFromAShutDownSimulator) {
  testing::FakeSimctl simctl;
  simctl.on("list", readFixture("simctl/list-devices.json"));
  ScenarioPreflight preflight(SimctlClient{simctl.function()}, nullptr);
  auto workspace = fullWorkspace();
  workspace.simulator.udid = kShutdown;

  auto outcome = preflight.check(workspaceRestoreScenario(workspace, false), {kShutdown, "com.example.cafe"});
  ASSERT_TRUE(outcome);
  ASSERT_FALSE(outcome->blocked()) << outcome->issues.front().description();
  // Its apps cannot be listed before it boots: the app is taken as named.
  ASSERT_TRUE(outcome->plan->app);
  EXPECT_EQ(outcome->plan->app->bundleIdentifier, "com.example.cafe");
  EXPECT_EQ(outcome->plan->steps.front().kind.kind, Step::bootSimulator);
  for (const auto& call : simctl.calls()) EXPECT_FALSE(call.starts_with("listapps")) << call;

  auto withoutBoot = preflight.check(workspaceRestoreScenario(workspace, true), {kShutdown, "com.example.cafe"});
  ASSERT_TRUE(withoutBoot);
  ASSERT_TRUE(withoutBoot->blocked());
  EXPECT_EQ(withoutBoot->issues.front().kind, ScenarioPreflightIssue::Case::simulatorNotBooted);
}

}  // namespace
}  // namespace orvanta
