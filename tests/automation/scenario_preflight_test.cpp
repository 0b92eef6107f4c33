#include "automation/scenario_preflight.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <condition_variable>
#include <mutex>

#include "support/settings_store.hpp"
#include "support/uuid.hpp"
#include "tests/automation/scenario_fake_simctl.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using IssueCase = ScenarioPreflightIssue::Case;
using testing::readFixture;

constexpr const char* kBooted = "3BC9A608-0042-414F-B35C-7ADB869BC572";
constexpr const char* kShutdown = "E386B311-8A47-4772-8679-FE21D12C20A8";

ScenarioStep step(std::string id, ScenarioStepKind kind) { return {std::move(id), std::move(kind)}; }

ScenarioDefinition scenarioOf(std::vector<ScenarioStep> steps, std::int64_t version = 1) {
  return {makeUUID(), version, "Checkout", std::nullopt, std::move(steps), {}, {}};
}

class ScenarioPreflightTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(folder / "Cafe.app");
    simctl.on("list", readFixture("simctl/list-devices.json"));
    simctl.on("listapps", readFixture("plist/listapps.txt"));
    simctl.on("privacy", readFixture("simctl/privacy-usage.txt"), 64);
    simctl.on("get_app_container", (folder / "Cafe.app").string() + "\n");
  }
  std::vector<std::string> issues(const ScenarioDefinition& scenario, ScenarioSelection selection) {
    auto outcome = preflight.check(scenario, selection);
    EXPECT_TRUE(outcome);
    std::vector<std::string> texts;
    if (!outcome) return texts;
    for (const auto& issue : outcome->issues) {
      texts.push_back(std::string(issue.caseName()) + (issue.stepID ? " @" + *issue.stepID : "") + ": " +
                      issue.description());
    }
    return texts;
  }

  testing::ScratchFolder folder;
  testing::FakeSimctl simctl;
  std::shared_ptr<LocationRouteLibrary> routes = std::make_shared<LocationRouteLibrary>(
      std::make_shared<InMemorySettingsStore>(), folder / "Routes");
  ScenarioPreflight preflight{SimctlClient{simctl.function()}, routes};
};

TEST_F(ScenarioPreflightTest, GlobalChecksComeAloneAndInOrder) {
  const ScenarioSelection chosen{kBooted, "com.example.cafe"};
  struct Row {
    const char* name;
    ScenarioDefinition scenario;
    ScenarioSelection selection;
    std::vector<std::string> expected;
  };
  const Row rows[] = {
      {"empty beats schema", scenarioOf({}, 2), {}, {"noSteps: This scenario has no steps."}},
      {"schema", scenarioOf({step("A", ScenarioStepKind::launchApp())}, 2), {},
       {"unsupportedSchemaVersion: This scenario was saved by a newer version of Orvanta (schema 2)."}},
      {"no simulator", scenarioOf({step("A", ScenarioStepKind::launchApp())}), {std::nullopt, "com.example.cafe"},
       {"simulatorNotSelected: Choose a simulator."}},
      {"gone", scenarioOf({step("A", ScenarioStepKind::launchApp())}),
       {"00000000-0000-4000-8000-000000000000", "com.example.cafe"},
       {"simulatorNotFound: The selected simulator no longer exists."}},
      {"shut down", scenarioOf({step("A", ScenarioStepKind::launchApp())}), {kShutdown, "com.example.cafe"},
       {"simulatorNotBooted: The selected simulator is not booted."}},
      {"no app", scenarioOf({step("A", ScenarioStepKind::setLocation({91, 0})), step("B", ScenarioStepKind::launchApp())}),
       {"iPhone 16", std::nullopt},
       {"appRequired: This scenario needs an app \xE2\x80\x94 choose one.",
        "invalidLocation @A: That location isn't valid."}},
      {"not installed", scenarioOf({step("A", ScenarioStepKind::launchApp())}), {kBooted, "com.example.gone"},
       {"appNotInstalled: com.example.gone is not installed on this simulator."}},
      {"fine", scenarioOf({step("A", ScenarioStepKind::launchApp())}), chosen, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(issues(row.scenario, row.selection), row.expected);
  }
}

TEST_F(ScenarioPreflightTest, EveryStepIsCheckedByItsToolAndIssuesKeepStepOrder) {
  StatusBarOverride badBars;
  badBars.wifiBars = 7;
  auto scenario = scenarioOf({
      step("1", ScenarioStepKind::setAppearance(SimulatorAppearance::dark)),
      step("2", ScenarioStepKind::setStatusBarOverride(badBars)),
      step("4", ScenarioStepKind::runLocationRoute("0B1C2D3E-4F50-4617-8293-A4B5C6D7E8F9", 0.09)),
      step("5", ScenarioStepKind::privacyAction("grant", "all")),
      step("6", ScenarioStepKind::privacyAction("grant", "teleport")),
      step("7", ScenarioStepKind::privacyAction("reset", "photos")),
      step("8", ScenarioStepKind::openDeepLink("example.com/path")),
      step("9", ScenarioStepKind::sendPush(R"({"alert": 1})")),
      step("10", ScenarioStepKind::resetAppData(false)),
  });
  EXPECT_EQ(issues(scenario, {kBooted, "com.example.cafe"}),
            (std::vector<std::string>{
                "invalidStatusBarOverride @2: Status bar override: Wi-Fi bars must be between 0 and 3 (got 7).",
                "routeNotFound @4: That saved route no longer exists.",
                "invalidRouteSpeed @4: That route's speed is out of range.",
                "unsupportedPrivacyAction @5: grant isn't supported for All Permissions.",
                "unsupportedPrivacyService @6: teleport isn't a privacy service this Xcode's simctl supports.",
                "invalidDeepLinkURL @8: Deep link: The URL needs a scheme, like myapp:// or https://.",
                "invalidPushPayload @9: Push payload: Payload must be a JSON object containing an aps object.",
            }));

  // The reset's own checks: a system app, and an installed build that can't be found.
  simctl.on("get_app_container", "", 2, "No such file or directory");
  auto reset = scenarioOf({step("R", ScenarioStepKind::resetAppData(true))});
  EXPECT_EQ(issues(reset, {kBooted, "com.example.cafe"}),
            (std::vector<std::string>{"installSourceUnavailable @R: Couldn't find the app's installed build to use "
                                      "for Reset App Data."}));
  EXPECT_EQ(issues(reset, {kBooted, "com.apple.Bridge"}),
            (std::vector<std::string>{"systemAppNotSupported @R: Reset App Data isn't supported for a system app."}));
}

TEST_F(ScenarioPreflightTest, RouteSpeedBoundsAndSavedRoutes) {
  LocationRoute route{"", "Loop", {"loop.gpx"}, {{{{47.0, 8.0}, {47.001, 8.001}, {47.002, 8.0}}}}};
  auto recent = routes->remember(route, 5, std::chrono::system_clock::now());
  ASSERT_TRUE(recent);
  ScenarioWorld world;
  world.routes = routes.get();
  const std::pair<double, bool> speeds[] = {{0.1, true},   {1000.0, true}, {0.09, false},
                                            {1000.01, false}, {std::nan(""), false}, {-5, false}};
  for (auto [speed, passes] : speeds) {
    SCOPED_TRACE(speed);
    auto resolution = resolveScenarioStep(step("S", ScenarioStepKind::runLocationRoute(recent->id, speed)), world);
    EXPECT_EQ(resolution.resolved.has_value(), passes);
    if (passes) {
      EXPECT_EQ(resolution.resolved->route.name, "Loop");
    }
  }
  std::filesystem::remove(routes->file(recent->id));
  auto unreadable = resolveScenarioStep(step("S", ScenarioStepKind::runLocationRoute(recent->id, 5)), world);
  ASSERT_EQ(unreadable.issues.size(), 1u);
  EXPECT_EQ(unreadable.issues[0].kind, IssueCase::routeInvalid);
}

TEST_F(ScenarioPreflightTest, APlanAndItsConfirmationForMixedSteps) {
  StatusBarOverride bar;
  bar.time = "9:41";
  auto scenario = scenarioOf({
      step("1", ScenarioStepKind::setStatusBarOverride(bar)),
      step("2", ScenarioStepKind::resetAppData(true)),
      step("3", ScenarioStepKind::sendPush(R"( {"aps": {"alert": "Hi"}} )")),
  });
  auto outcome = preflight.check(scenario, {kBooted, "com.example.cafe"});
  ASSERT_TRUE(outcome);
  ASSERT_TRUE(outcome->plan) << outcome->issues.at(0).description();
  const auto& plan = *outcome->plan;
  EXPECT_EQ(plan.simulatorName, "iPhone 16");
  EXPECT_EQ(plan.steps.at(2).resolved.payload, R"({"aps": {"alert": "Hi"}})");
  EXPECT_EQ(plan.steps.at(1).resolved.resetPlan.app.bundleIdentifier, "com.example.cafe");
  EXPECT_TRUE(plan.steps.at(1).resolved.resetPlan.resetPermissions);

  auto confirmation = makeScenarioConfirmation(plan);
  EXPECT_EQ(confirmation.title, "Run Scenario");
  EXPECT_EQ(confirmation.confirmButtonTitle, "Run 3 Steps");
  EXPECT_EQ(confirmation.target, "Caf\xC3\xA9 \"Bar\" (com.example.cafe) on iPhone 16");
  EXPECT_EQ(confirmation.text(),
            "Steps:\n"
            "1. Set Status Bar Override\n"
            "2. Reset App Data (also reset permissions)\n"
            "3. Send Push Notification\n"
            "\n"
            "Irreversible or unverifiable:\n"
            "1. Set Status Bar Override \xE2\x80\x94 changes simulator state; resettable to a known default, not "
            "restored automatically.\n"
            "2. Reset App Data (also reset permissions) \xE2\x80\x94 irreversible once the app is removed. No rollback.\n"
            "3. Send Push Notification \xE2\x80\x94 Orvanta can only confirm the command was accepted, not what the app "
            "did with it. Cannot be un-sent.\n"
            "\n"
            "This is not a transaction: steps run in order, and a failure stops the ones after it. Nothing already "
            "applied is rolled back.");
}

TEST_F(ScenarioPreflightTest, LookOnlyScenariosNeedNoAppAndHaveNoNotes) {
  auto scenario = scenarioOf({step("1", ScenarioStepKind::setAppearance(SimulatorAppearance::light)),
                              step("2", ScenarioStepKind::setContentSize(SimulatorContentSize::small))});
  auto outcome = preflight.check(scenario, {kBooted, "com.example.cafe"});
  ASSERT_TRUE(outcome && outcome->plan);
  EXPECT_FALSE(outcome->plan->app);
  auto confirmation = makeScenarioConfirmation(*outcome->plan);
  EXPECT_EQ(confirmation.target, "iPhone 16");
  EXPECT_TRUE(confirmation.destructiveNotes.empty());
  EXPECT_EQ(confirmation.text().find("Irreversible"), std::string::npos);
  // Nothing app-related was asked of simctl.
  EXPECT_EQ(simctl.calls(), (std::vector<std::string>{"list devices --json"}));
}

TEST_F(ScenarioPreflightTest, IndependentQueriesRunAtTheSameTime) {
  std::mutex mutex;
  std::condition_variable changed;
  int waiting = 0;
  // Each query waits until all three have started: run one after another, they would never finish.
  auto rendezvous = [&](std::string text, int status) {
    return [&, text, status](const std::vector<std::string>&) {
      std::unique_lock lock(mutex);
      ++waiting;
      changed.notify_all();
      bool all = changed.wait_for(lock, std::chrono::seconds(5), [&] { return waiting >= 3; });
      return ProcessRunner::Output{ByteBuffer(all ? text : std::string("{}")), {}, status, false};
    };
  };
  simctl.on("list", rendezvous(readFixture("simctl/list-devices.json"), 0));
  simctl.on("listapps", rendezvous(readFixture("plist/listapps.txt"), 0));
  simctl.on("privacy", rendezvous(readFixture("simctl/privacy-usage.txt"), 64));
  auto scenario = scenarioOf({step("1", ScenarioStepKind::privacyAction("grant", "photos"))});
  auto outcome = preflight.check(scenario, {kBooted, "com.example.cafe"});
  ASSERT_TRUE(outcome);
  EXPECT_TRUE(outcome->plan);
}

}  // namespace
}  // namespace orvanta
