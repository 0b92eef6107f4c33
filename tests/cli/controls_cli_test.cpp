#include <gtest/gtest.h>

#include "tests/cli/cli_harness.hpp"

namespace orvanta {
namespace {

using testing::CliTest;

using ControlsCliTest = testing::TargetedCliTest;

TEST_F(ControlsCliTest, AppearanceContrastAndTextSizeAreSetAndReadBack) {
  EXPECT_EQ(orvanta({"ui", "appearance"}).out, "light\n");
  auto dark = orvanta({"ui", "appearance", "dark"});
  ASSERT_EQ(dark.status, 0) << dark.err;
  EXPECT_EQ(dark.out, "The appearance of iPhone 16 is now dark (confirmed).\n");
  EXPECT_EQ(orvanta({"ui", "appearance"}).out, "dark\n");

  EXPECT_EQ(orvanta({"ui", "contrast", "on"}).status, 0);
  EXPECT_EQ(orvanta({"ui", "contrast"}).out, "on\n");

  auto json = orvanta({"--json", "ui", "text-size", "accessibility-extra-extra-extra-large"}).json();
  EXPECT_EQ(json["value"], "accessibility-extra-extra-extra-large");
  EXPECT_EQ(json["confirmed"], true);
  auto atTheTop = orvanta({"ui", "text-size", "increment"});
  EXPECT_EQ(atTheTop.status, 0);
  EXPECT_EQ(
      atTheTop.out,
      "The text size of iPhone 16 stays accessibility-extra-extra-extra-large: it is already at the largest size.\n");
  auto down = orvanta({"--json", "ui", "text-size", "decrement"}).json();
  EXPECT_EQ(down["previous"], "accessibility-extra-extra-extra-large");
  EXPECT_EQ(down["value"], "accessibility-extra-extra-large");

  EXPECT_EQ(orvanta({"ui", "text-size", "huge"}).status, 2);
}

TEST_F(ControlsCliTest, AChangeTheSimulatorDidNotTakeIsAFailure) {
  // This simulator answers every ui call with "light" and changes nothing.
  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"ui": {"exit": 0, "stdout": "light\n"}})");
  auto ignored = orvanta({"ui", "appearance", "dark"});
  EXPECT_EQ(ignored.status, 1);
  EXPECT_TRUE(ignored.err.starts_with("orvanta: Sent appearance dark, but the simulator reports light.\n"))
      << ignored.err;
  EXPECT_EQ(orvanta({"ui", "appearance", "dark", "--no-verify"}).status, 0);
}

TEST_F(ControlsCliTest, StatusBarPresetsOverridesDraftsAndClearing) {
  auto preset = orvanta({"status-bar", "preset", "clean-screenshot"});
  ASSERT_EQ(preset.status, 0) << preset.err;
  EXPECT_EQ(preset.out, "The \"Clean Screenshot\" preset applied to iPhone 16 (confirmed).\n");
  auto shown = orvanta({"--json", "status-bar", "show"}).json();
  EXPECT_EQ(shown["overrides"]["time"], "9:41");
  EXPECT_EQ(shown["overrides"]["wifiBars"], 3);
  EXPECT_TRUE(shown["overrides"].contains("batteryStateCode"));

  auto bad = orvanta({"status-bar", "set", "--wifi-bars", "4"});
  EXPECT_EQ(bad.status, 1);
  EXPECT_EQ(bad.err, "orvanta: Wi-Fi bars must be between 0 and 3 (got 4).\n");
  expectFailure(orvanta({"--json", "status-bar", "set"}), "emptyStatusBarOverride",
                "Set at least one status bar field before applying.");
  EXPECT_EQ(orvanta({"status-bar", "set", "--data-network", "6g"}).status, 2);

  ASSERT_EQ(
      orvanta({"status-bar", "set", "--operator-name", "Orvanta", "--battery-level", "42", "--save-draft"}).status, 0);
  auto applied = orvanta({"--json", "status-bar", "set", "--from-draft", "--battery-level", "7"}).json();
  EXPECT_EQ(applied["override"]["operatorName"], "Orvanta");
  EXPECT_EQ(applied["override"]["batteryLevel"], 7);
  EXPECT_EQ(applied["confirmed"], true);

  auto cleared = orvanta({"status-bar", "clear"});
  EXPECT_EQ(cleared.status, 0);
  EXPECT_EQ(orvanta({"status-bar", "show"}).out, "No status bar overrides on iPhone 16.\n");
}

TEST_F(ControlsCliTest, WithoutABootedTargetNothingRuns) {
  ASSERT_EQ(orvanta({"target", "clear"}).status, 0);
  auto refused = orvanta({"ui", "appearance", "dark"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(refused.err.starts_with("orvanta: Choose a booted simulator.\n2 Simulators booted")) << refused.err;
  expectFailure(orvanta({"--json", "--device", testing::kIPadPro, "status-bar", "clear"}), "simulatorNotBooted",
                "The selected simulator is no longer booted. Choose a simulator explicitly.");
}

}  // namespace
}  // namespace orvanta
