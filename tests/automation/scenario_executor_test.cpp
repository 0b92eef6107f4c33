#include "automation/scenario_executor.hpp"

#include <gtest/gtest.h>

#include "tests/automation/scenario_fake_simctl.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using OutcomeCase = ScenarioStepOutcome::Case;
using testing::readFixture;

constexpr const char* kUDID = "3BC9A608-0042-414F-B35C-7ADB869BC572";

SimulatorDevice booted() {
  return {kUDID, "iPhone 16", SimulatorState::booted, "com.apple.CoreSimulator.SimRuntime.iOS-18-2", "iOS 18.2", {}};
}

SimulatorApp cafe() {
  SimulatorApp app;
  app.bundleIdentifier = "com.example.cafe";
  app.displayName = "Cafe";
  app.kind = SimulatorAppKind::user;
  return app;
}

ScenarioPlanStep planStep(std::string id, ScenarioStepKind kind) {
  ScenarioResolvedStep resolved;
  resolved.kind = kind.kind;
  resolved.appearance = kind.appearance;
  resolved.contentSize = kind.contentSize;
  resolved.location = kind.location;
  resolved.resetPlan = {booted(), cafe(), kind.resetPermissions};
  return {std::move(id), std::move(kind), std::move(resolved)};
}

ScenarioExecutionPlan planOf(std::vector<ScenarioPlanStep> steps, bool withApp = true) {
  ScenarioExecutionPlan plan;
  plan.id = "RUN";
  plan.simulatorUDID = kUDID;
  plan.simulatorName = "iPhone 16";
  plan.simulator = booted();
  if (withApp) plan.app = cafe();
  plan.steps = std::move(steps);
  return plan;
}

std::vector<std::string> outcomes(const ScenarioResult& result) {
  std::vector<std::string> lines;
  for (const auto& step : result.stepResults) {
    lines.push_back(step.id + " " + std::string(step.outcome.caseName()) +
                    (step.outcome.message().empty() ? "" : ": " + step.outcome.message()));
  }
  return lines;
}

class ScenarioExecutorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // The simulator remembers what it was told, so read-backs see it.
    simctl.on("ui", [this](const std::vector<std::string>& arguments) {
      std::lock_guard lock(mutex);
      const std::string& setting = arguments.at(3);
      if (arguments.size() > 4) {
        ui[setting] = ignoreChanges ? ui[setting] : arguments[4];
        return ProcessRunner::Output{};
      }
      return ProcessRunner::Output{ByteBuffer(ui[setting] + "\n"), {}, 0, false};
    });
    simctl.on("status_bar", "");
    simctl.on("location", "");
    simctl.on("launch", "com.example.cafe: 4242\n");
    simctl.on("terminate", "", 3,
              "An error was encountered processing the command (domain=NSPOSIXErrorDomain, code=3):\n"
              "found nothing to terminate\n");
    simctl.on("openurl", "");
    simctl.on("push", "");
  }
  ScenarioExecutor executor() {
    return ScenarioExecutor(
        ScenarioExecutorEnvironment{SimctlClient{simctl.function()}, nullptr, nullptr, folder.path()});
  }

  testing::ScratchFolder folder;
  testing::FakeSimctl simctl;
  std::mutex mutex;
  std::map<std::string, std::string> ui{{"appearance", "light"}, {"content_size", "large"}};
  bool ignoreChanges = false;
};

TEST_F(ScenarioExecutorTest, StepsRunInOrderAndAFailureStopsTheRest) {
  simctl.on("openurl", "", 1, "An error was encountered processing the command (code=1)");
  auto plan = planOf({planStep("1", ScenarioStepKind::setAppearance(SimulatorAppearance::dark)),
                      planStep("2", ScenarioStepKind::setContentSize(SimulatorContentSize::extraLarge)),
                      planStep("3", ScenarioStepKind::launchApp()), planStep("4", ScenarioStepKind::terminateApp()),
                      planStep("5", ScenarioStepKind::openDeepLink("myapp://x")),
                      planStep("6", ScenarioStepKind::launchApp()), planStep("7", ScenarioStepKind::clearLocation())});
  plan.steps[4].resolved.deepLink = {"myapp://x", DeepLinkKind::custom("myapp")};
  std::vector<std::string> reported;
  auto runner = executor();
  auto result = runner.execute(plan, nullptr, [&](std::size_t index, const ScenarioStepResult& step) {
    reported.push_back(std::to_string(index) + " " + std::string(step.outcome.caseName()));
  });
  ASSERT_TRUE(result);
  EXPECT_EQ(outcomes(*result), (std::vector<std::string>{
                                   "1 succeeded: Appearance set to Dark.", "2 succeeded: Text size set to Extra Large.",
                                   "3 succeeded: Launched.", "4 succeeded: Wasn't running.",
                                   "5 failed: Couldn't send the URL to the simulator.", "6 notRun", "7 notRun"}));
  EXPECT_EQ(reported, (std::vector<std::string>{"0 running", "0 succeeded", "1 running", "1 succeeded", "2 running",
                                                "2 succeeded", "3 running", "3 succeeded", "4 running", "4 failed",
                                                "5 notRun", "6 notRun"}));
  EXPECT_EQ(scenarioResultSummary(*result), "4 succeeded, 1 failed, 2 not run.");
  EXPECT_TRUE(result->stepResults[0].startedAt && result->stepResults[0].duration);
  EXPECT_FALSE(result->stepResults[5].startedAt || result->stepResults[5].duration);
  EXPECT_EQ(simctl.calls().back(), std::string("openurl ") + kUDID + " myapp://x");
}

TEST_F(ScenarioExecutorTest, ReadBackDisagreementNoAppAndEmptyResults) {
  ignoreChanges = true;
  auto runner = executor();
  auto result =
      runner.execute(planOf({planStep("1", ScenarioStepKind::setAppearance(SimulatorAppearance::dark))}), nullptr, {});
  ASSERT_TRUE(result);
  EXPECT_EQ(outcomes(*result),
            (std::vector<std::string>{"1 failed: Sent appearance dark, but the simulator reports light."}));

  auto noApp = runner.execute(planOf({planStep("1", ScenarioStepKind::launchApp())}, false), nullptr, {});
  EXPECT_EQ(outcomes(*noApp), (std::vector<std::string>{"1 failed: No app selected."}));
  EXPECT_EQ(ScenarioStepOutcome::failed("").message(), "The step failed.");
  EXPECT_EQ(scenarioResultSummary(ScenarioResult{}), "No steps");
}

TEST_F(ScenarioExecutorTest, TheRunHoldsTheGateWithoutRefusingItsOwnSteps) {
  SimulatorMutationGate gate;
  auto plan = planOf({planStep("1", ScenarioStepKind::launchApp()), planStep("2", ScenarioStepKind::clearLocation())});
  auto runner = executor();
  std::optional<std::string> holderDuringRun;
  auto result = runner.execute(plan, &gate,
                               [&](std::size_t, const ScenarioStepResult&) { holderDuringRun = gate.holder(kUDID); });
  ASSERT_TRUE(result);
  EXPECT_EQ(scenarioResultSummary(*result), "2 succeeded.");
  EXPECT_EQ(holderDuringRun, "scenario");
  EXPECT_FALSE(gate.holder(kUDID));

  ASSERT_TRUE(gate.acquire(kUDID, gate_labels::apps));
  auto refused = runner.execute(plan, &gate, {});
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().message, "Another change to this simulator is in progress.");
}

// ---- app-data reset --------------------------------------------------------------------------------------

class AppDataResetTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(bundle / "Base.lproj");
    testing::writeBytes(bundle / "Info.plist", "<plist/>");
    simctl.on("get_app_container", bundle.string() + "\n");
    simctl.on("terminate", "");
    simctl.on("uninstall", "");
    simctl.on("install", [this](const std::vector<std::string>& arguments) {
      installedFrom = arguments.at(3);
      copied = std::filesystem::exists(std::filesystem::path(installedFrom) / "Base.lproj");
      return ProcessRunner::Output{};
    });
    // Uninstall checks that the app is gone, the reset that it is back.
    simctl.on("listapps", [this](const std::vector<std::string>&) {
      const bool back = !installedFrom.empty() && listedAfterInstall;
      return ProcessRunner::Output{
          ByteBuffer(back ? readFixture("plist/listapps.txt") : std::string("{}")), {}, 0, false};
    });
    simctl.on("appinfo", readFixture("simctl/appinfo-user.txt"));
    simctl.on("privacy", "");
  }
  AppDataResetOutcome reset(bool permissions) {
    AppDataResetService service(SimctlClient{simctl.function()}, gate);
    service.setTemporaryParent(folder / "tmp");
    return service.reset({booted(), cafe(), permissions});
  }
  std::vector<std::string> subcommands() {
    std::vector<std::string> words;
    for (const auto& call : simctl.calls()) words.push_back(call.substr(0, call.find(' ')));
    return words;
  }

  testing::ScratchFolder folder;
  std::filesystem::path bundle = folder / "Containers" / "Cafe.app";
  testing::FakeSimctl simctl;
  SimulatorMutationGate gate;
  std::string installedFrom;
  bool copied = false;
  bool listedAfterInstall = true;
};

TEST_F(AppDataResetTest, ReinstallsFromAPrivateCopyAndLeavesNothingBehind) {
  auto outcome = reset(true);
  EXPECT_EQ(outcome.kind, AppDataResetOutcome::Case::succeeded) << outcome.summary;
  EXPECT_TRUE(copied);
  EXPECT_EQ(std::filesystem::path(installedFrom).filename(), "Cafe.app");
  EXPECT_EQ(testing::entries(folder / "tmp"), std::set<std::string>{});
  // The first privacy call reads the services this simctl offers; the second resets them.
  EXPECT_EQ(subcommands(), (std::vector<std::string>{"get_app_container", "terminate", "uninstall", "listapps",
                                                     "install", "appinfo", "privacy", "privacy", "listapps"}));
  EXPECT_EQ(simctl.calls()[7], std::string("privacy ") + kUDID + " reset all com.example.cafe");
  EXPECT_FALSE(gate.holder(kUDID));
}

TEST_F(AppDataResetTest, PartialAndFailedOutcomes) {
  simctl.on("privacy", "", 1, "Failed to reset access");
  listedAfterInstall = false;
  auto partial = reset(true);
  EXPECT_EQ(partial.kind, AppDataResetOutcome::Case::partial);
  EXPECT_EQ(partial.summary.rfind("App data reset, but the privacy permissions were not reset (", 0), 0u)
      << partial.summary;
  EXPECT_NE(partial.summary.find("; and the simulator doesn't list the app after the reinstall."), std::string::npos);

  simctl.on("get_app_container", "", 2, "No such file or directory");
  auto noSource = reset(false);
  EXPECT_EQ(noSource.kind, AppDataResetOutcome::Case::failed);
  EXPECT_EQ(noSource.summary, "Couldn't find the app's installed build to use for Reset App Data.");
  EXPECT_EQ(subcommands().back(), "get_app_container");  // nothing was changed

  ASSERT_TRUE(gate.acquire(kUDID, gate_labels::apps));
  auto busy = reset(false);
  EXPECT_EQ(busy.summary, "Another change to this simulator is in progress.");
}

}  // namespace
}  // namespace orvanta
