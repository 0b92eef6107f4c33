#include "tools/controls/simulator_controls_service.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/core/fake_run.hpp"

namespace orvanta {
namespace {

using testing::FakeRun;
using testing::readFixture;
using Args = std::vector<std::string>;

const SimulatorDevice kDevice{"UDID-1", "iPhone 16", SimulatorState::booted, "rt", "iOS 18.2", std::nullopt};

// The exact argv of the actions that controls_cli_test does not send to the strict emulator; an override
// names only its fields that are set.
TEST(SimulatorControlsTest, ArgumentListsOfActionsTheCliTestsDoNotSend) {
  StatusBarOverride onlyBattery;
  onlyBattery.batteryLevel = 10;
  const StatusBarOverride everything{"9:41", StatusBarDataNetwork::ltePlus,       StatusBarWifiMode::searching,
                                     2,      StatusBarCellularMode::notSupported, 1,
                                     "",     StatusBarBatteryState::charging,     0};
  struct Row {
    SimulatorControlsAction action;
    Args arguments;
  } rows[] = {
      {SimulatorControlsAction::setIncreaseContrast(false), {"simctl", "ui", "U", "increase_contrast", "disabled"}},
      {SimulatorControlsAction::applyStatusBarOverride(onlyBattery),
       {"simctl", "status_bar", "U", "override", "--batteryLevel", "10"}},
      {SimulatorControlsAction::applyStatusBarOverride(everything),
       {"simctl", "status_bar", "U", "override", "--time", "9:41", "--dataNetwork", "lte+", "--wifiMode", "searching",
        "--wifiBars", "2", "--cellularMode", "notSupported", "--cellularBars", "1", "--operatorName", "",
        "--batteryState", "charging", "--batteryLevel", "0"}},
  };
  auto device = kDevice;
  device.udid = "U";
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.action.caseName()));
    FakeRun fake;
    SimulatorControlsService service(SimctlClient{fake.function(), "/usr/bin/xcrun"});
    ASSERT_TRUE(service.perform(SimulatorTargetStatus::selected(device), row.action).has_value());
    ASSERT_EQ(fake.calls.size(), 1u);
    EXPECT_EQ(fake.calls[0].executable, "/usr/bin/xcrun");
    EXPECT_EQ(fake.calls[0].arguments, row.arguments);
  }
}

TEST(SimulatorControlsTest, RefusalsAndFailures) {
  using Error = SimulatorControlsError;
  FakeRun fake;
  fake.reply("", 1, "  An error was encountered\n");
  fake.reply("only stdout\n", 2, "");
  fake.fail(ProcessRunnerError::executableNotFound("/usr/bin/xcrun"));
  SimulatorControlsService service(SimctlClient{fake.function()});
  const auto dark = SimulatorControlsAction::setAppearance(SimulatorAppearance::dark);

  // The other refusals' sentences are checked end to end in controls_cli_test.
  EXPECT_EQ(service.perform(SimulatorTargetStatus::noBootedSimulator(), dark).error().kind,
            Error::Case::noSimulatorSelected);
  const auto selected = SimulatorTargetStatus::selected(kDevice);
  StatusBarOverride tooManyBars;
  tooManyBars.wifiBars = 4;
  EXPECT_EQ(service.perform(selected, SimulatorControlsAction::applyStatusBarOverride(tooManyBars)).error(),
            Error::invalidStatusBarValue("Wi-Fi bars must be between 0 and 3 (got 4)."));
  EXPECT_TRUE(fake.calls.empty()) << "refusals must not run simctl";

  EXPECT_EQ(service.perform(selected, dark).error().description(),
            "Simulator command failed (exit 1): An error was encountered");
  EXPECT_EQ(service.perform(selected, dark).error().description(), "Simulator command failed (exit 2): only stdout");
  EXPECT_EQ(service.perform(selected, dark).error().description(),
            "Simulator command failed: Executable not found at /usr/bin/xcrun.");
}

TEST(SimulatorControlsTest, StatusBarValueRules) {
  struct Row {
    const char* what;
    StatusBarOverride value;
    const char* message;  // nullptr: accepted
  };
  auto with = [](auto apply) {
    StatusBarOverride value;
    apply(value);
    return value;
  };
  Row rows[] = {
      // The lower limits and an empty operator name are accepted in the argv test above.
      {"upper limits", with([](auto& v) { v.wifiBars = 3, v.cellularBars = 4, v.batteryLevel = 100; }), nullptr},
      {"negative Wi-Fi bars", with([](auto& v) { v.wifiBars = -1; }), "Wi-Fi bars must be between 0 and 3 (got -1)."},
      {"five cellular bars", with([](auto& v) { v.cellularBars = 5; }),
       "Cellular bars must be between 0 and 4 (got 5)."},
      {"battery over 100", with([](auto& v) { v.batteryLevel = 101; }),
       "Battery level must be between 0 and 100 percent (got 101)."},
      {"blank time", with([](auto& v) { v.time = "  "; }), "The status bar time can't be empty."},
      {"time with a newline", with([](auto& v) { v.time = "9:41\n"; }),
       "The status bar time can't contain line breaks or control characters."},
      {"long time", with([](auto& v) { v.time = std::string(33, '1'); }),
       "The status bar time can be at most 32 characters long."},
      {"32 characters of time, some multi-byte", with([](auto& v) { v.time = std::string(30, '1') + "éé"; }), nullptr},
      {"long operator", with([](auto& v) { v.operatorName = std::string(65, 'x'); }),
       "The operator name can be at most 64 characters long."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    auto problem = validateStatusBarOverride(row.value);
    if (row.message == nullptr) {
      EXPECT_FALSE(problem.has_value()) << problem->description();
    } else {
      ASSERT_TRUE(problem.has_value());
      EXPECT_EQ(problem->description(), row.message);
    }
  }
}

TEST(SimulatorControlsTest, StatusBarListingsAreDecoded) {
  auto full = parseStatusBarList(readFixture("simctl/status-bar-list-full.txt"));
  EXPECT_TRUE(full.hasOverrides);
  EXPECT_EQ(full.values.time, "09:41");
  EXPECT_EQ(full.values.dataNetwork, StatusBarDataNetwork::g5);
  EXPECT_EQ(full.values.wifiMode, StatusBarWifiMode::active);
  EXPECT_EQ(full.values.wifiBars, 3);
  EXPECT_EQ(full.values.cellularMode, StatusBarCellularMode::active);
  EXPECT_EQ(full.values.cellularBars, 4);
  EXPECT_EQ(full.values.operatorName, "");
  EXPECT_EQ(full.values.batteryLevel, 100);
  EXPECT_EQ(full.batteryStateCode, 2);
  EXPECT_FALSE(full.values.batteryState.has_value());
  EXPECT_TRUE(full.unknownLines.empty());

  auto noService = parseStatusBarList(readFixture("simctl/status-bar-list-no-service.txt"));
  EXPECT_EQ(noService.values.dataNetwork, StatusBarDataNetwork::hide);
  EXPECT_EQ(noService.values.wifiMode, StatusBarWifiMode::failed);
  EXPECT_EQ(noService.values.cellularMode, StatusBarCellularMode::failed);
  EXPECT_EQ(noService.values.operatorName, "No Service");

  EXPECT_FALSE(parseStatusBarList("").hasOverrides);
  EXPECT_FALSE(parseStatusBarList("Current Status Bar Overrides:\n===\n").hasOverrides);
  auto odd = parseStatusBarList("Current Status Bar Overrides:\n===\nSomething New: 5\nWiFi Bars: x\n");
  EXPECT_EQ(odd.unknownLines.size(), 2u);
}

TEST(SimulatorControlsTest, TheDraftRoundTripsThroughTheSettingsStore) {
  auto store = std::make_shared<InMemorySettingsStore>();
  SimulatorControlsPersistence persistence(store);
  EXPECT_FALSE(persistence.loadDraft().has_value());
  const auto draft = statusBarPresets()[2].override;
  ASSERT_TRUE(persistence.saveDraft(draft).has_value());
  EXPECT_EQ(persistence.loadDraft(), draft);
  auto stored = store->value("Orvanta.SimulatorControls.statusBarDraft");
  EXPECT_EQ(**stored, nlohmann::json::parse(R"({"dataNetwork": "hide", "wifiMode": "failed", "wifiBars": 0,
                                                "cellularMode": "failed", "cellularBars": 0})"));
  // A damaged draft reads as none rather than as a half-filled one.
  ASSERT_TRUE(store->setValue("Orvanta.SimulatorControls.statusBarDraft", {{"wifiMode", "sideways"}}).has_value());
  EXPECT_FALSE(persistence.loadDraft().has_value());
}

}  // namespace
}  // namespace orvanta
