#include <gtest/gtest.h>

#include "support/file_lock.hpp"
#include "tests/viewmodels/panel_fixture.hpp"
#include "viewmodels/controls_model.hpp"
#include "viewmodels/deeplinks_model.hpp"
#include "viewmodels/location_model.hpp"
#include "viewmodels/privacy_model.hpp"
#include "viewmodels/push_model.hpp"

namespace orvanta::testing {
namespace {

class ToolModelsTest : public PanelModelTest {};

TEST_F(ToolModelsTest, ControlsReadTheSimulatorAndConfirmEachChange) {
  auto& panel = session();
  ControlsModel controls(panel);
  settle();
  EXPECT_EQ(controls.reading().appearance, SimulatorAppearance::light);
  ASSERT_TRUE(controls.reading().contentSize);

  controls.setAppearance(SimulatorAppearance::dark);
  settle();
  EXPECT_EQ(messageOf(controls), "Appearance set to Dark (confirmed).");
  EXPECT_EQ(controls.reading().appearance, SimulatorAppearance::dark);  // read again after the change

  controls.applyPreset("clean-screenshot");
  settle();
  EXPECT_EQ(messageOf(controls), "Status bar override applied (confirmed).");
  ASSERT_TRUE(controls.reading().statusBar);
  EXPECT_TRUE(controls.reading().statusBar->hasOverrides);
  // The draft is kept between runs.
  ControlsModel again(panel);
  EXPECT_EQ(again.draft(), statusBarPresets()[0].override);

  controls.setContentSize(SimulatorContentSize::accessibilityExtraExtraExtraLarge);
  settle();
  controls.stepContentSize(SimulatorContentSizeStep::increment);
  EXPECT_FALSE(controls.busy());  // nothing is sent past the end of the range
  EXPECT_EQ(messageOf(controls),
            "The text size of iPhone 16 stays accessibility-extra-extra-extra-large: it is already at the largest size.");

  // A change the simulator ignores is a failure, in the controls' own words.
  setFaults(R"({"ui": {"exit": 0, "stdout": "light\n"}})");
  controls.setAppearance(SimulatorAppearance::dark);
  settle();
  EXPECT_TRUE(failed(controls));
  EXPECT_EQ(messageOf(controls), "Sent appearance dark, but the simulator reports light.");

  StatusBarEditorDraft wrong;
  wrong.wifiBars = 7;
  controls.setDraft(wrong);
  controls.applyDraft();
  EXPECT_FALSE(controls.busy());
  EXPECT_NE(messageOf(controls).find("Wi-Fi bars must be between 0 and 3"), std::string::npos) << messageOf(controls);
}

TEST_F(ToolModelsTest, LocationSetsPointsRemembersThemAndDrawsAndPlaysRoutes) {
  auto& panel = session();
  LocationModel location(panel);
  location.latitudeText = "91";
  location.longitudeText = "0";
  location.setPoint();
  EXPECT_TRUE(failed(location));
  EXPECT_FALSE(location.busy());

  location.latitudeText = "35.6812";
  location.longitudeText = "139.7671";
  location.setPoint();
  settle();
  EXPECT_EQ(messageOf(location), "Location of iPhone 16 set to 35.6812, 139.7671.");
  ASSERT_EQ(location.recents().size(), 1u);
  location.addPreset("Tokyo Station");
  ASSERT_EQ(location.presets().size(), 1u);
  location.addPreset("Tokyo Station");
  EXPECT_TRUE(failed(location));  // labels are unique
  location.latitudeText.clear();
  location.usePreset(location.presets().front().id);
  EXPECT_EQ(location.latitudeText, "35.6812");

  location.loadRoute(std::string(ORVANTA_FIXTURES) + "/gpx/gpx10_track.gpx");
  settle();
  ASSERT_TRUE(location.route()) << messageOf(location);
  EXPECT_GT(location.route()->metrics.pointCount, 1);
  EXPECT_EQ(location.route()->metricLines.front().rfind("Points:", 0), 0u);
  location.speedText = "0";
  location.playRoute();
  EXPECT_TRUE(failed(location));
  location.speedText = "12.5";
  location.playRoute();
  settle();
  EXPECT_EQ(messageOf(location).rfind("Started \xE2\x80\x9C", 0), 0u) << messageOf(location);

  location.loadRoute((root_ / "missing.gpx").string());
  settle();
  EXPECT_TRUE(failed(location));
  EXPECT_TRUE(location.route());  // the route shown stays

  location.listScenarios();
  settle();
  ASSERT_FALSE(location.scenarios().empty());
  location.runScenario(location.scenarios().front().name);
  settle();
  EXPECT_EQ(messageOf(location).rfind("Running the scenario", 0), 0u) << messageOf(location);
}

TEST(PushPayloadCheck, SaysWhatIsWrongAndWhere) {
  EXPECT_TRUE(checkPushPayload(R"({"aps": {"alert": "Hi"}})").valid);
  EXPECT_EQ(checkPushPayload(R"({"aps": {"alert": "Hi"}})").text, "Valid payload (24 of 4096 bytes).");
  EXPECT_EQ(checkPushPayload("   ").text, "Enter a JSON payload.");
  EXPECT_EQ(checkPushPayload(R"({"alert": "Hi"})").text, "Payload must be a JSON object containing an aps object.");
  EXPECT_FALSE(checkPushPayload(R"({"alert": "Hi"})").place);

  struct Row {
    std::string text;
    TextPlace place;
  };
  // The place is counted in the text as typed, leading blank lines and spaces included.
  for (const auto& row : {Row{"{\"aps\": {,}}", {1, 10}}, Row{"\n\n  {\"aps\": x}", {3, 11}},
                          Row{"{\n  \"aps\": {\n    \"alert\": \"Hi\",\n  }\n}", {4, 3}}}) {
    const auto check = checkPushPayload(row.text);
    EXPECT_FALSE(check.valid);
    ASSERT_TRUE(check.place) << check.text;
    EXPECT_EQ(*check.place, row.place) << row.text << " -> " << check.text;
  }
}

TEST_F(ToolModelsTest, PushValidatesAsTypedAndSendsToAnInstalledApp) {
  auto& panel = session();
  PushModel push(panel);
  EXPECT_TRUE(push.check().valid);  // starts from the basic alert
  push.setPayload("{");
  EXPECT_FALSE(push.check().valid);
  push.send();
  EXPECT_FALSE(push.busy());
  push.usePreset(PushPreset::badge);
  push.bundleIdentifier = "com.example.missing";
  push.send();
  EXPECT_EQ(messageOf(push), "Select an installed app for this simulator. Refresh apps if needed.");
  push.bundleIdentifier = kCafe;
  push.send();
  settle();
  EXPECT_EQ(messageOf(push), "Notification sent to com.example.cafe on iPhone 16.");
  ASSERT_EQ(push.history().size(), 1u);
  push.setPayload("{}");
  push.useHistoryEntry(push.history().front().id);
  EXPECT_TRUE(push.check().valid);

  setFaults(R"({"push": {"exit": 149, "stderr": "Unable to lookup in current state\n"}})");
  push.send();
  settle();
  EXPECT_TRUE(failed(push));
  EXPECT_EQ(messageOf(push).rfind("Could not send notification: ", 0), 0u) << messageOf(push);
}

TEST_F(ToolModelsTest, PrivacyChangesSayThatTheStateCannotBeReadBack) {
  auto& panel = session();
  PrivacyModel privacy(panel);
  settle();
  ASSERT_NE(privacy.services().find("photos"), nullptr);
  privacy.bundleIdentifier = kCafe;
  privacy.apply(SimulatorPrivacyAction::grant, "photos");
  settle();
  EXPECT_EQ(messageOf(privacy),
            "Granted Photos for com.example.cafe on iPhone 16. Note: Current authorization state isn't exposed by "
            "supported Simulator tooling.");

  auto held = FileLock::acquire(root_ / "runtime" / "orvanta" / (std::string("gate-") + kIPhone16 + ".lock"),
                                FileLock::Wait::nonBlocking);
  ASSERT_TRUE(held && *held);
  privacy.apply(SimulatorPrivacyAction::revoke, "photos");
  EXPECT_FALSE(privacy.busy());
  EXPECT_EQ(messageOf(privacy), "Another change to this simulator's apps is in progress. Try again when it finishes.");
}

TEST_F(ToolModelsTest, DeepLinksCheckAsTypedAdviseOnSchemesAndKeepAHistory) {
  auto& panel = session();
  DeepLinksModel links(panel);
  links.setURL("https://example.com/menu");
  EXPECT_TRUE(links.check().valid);
  EXPECT_EQ(links.check().text, "https");
  links.setURL("not a url");
  EXPECT_FALSE(links.check().valid);
  EXPECT_FALSE(links.check().text.empty());
  links.setURL("  ");
  EXPECT_TRUE(links.check().text.empty());

  links.setBundleIdentifier(kCafe);
  settle();
  ASSERT_TRUE(links.schemes() && *links.schemes()) << "schemes not read";
  links.setURL("cafe://menu/today");
  EXPECT_EQ(links.check().text, "custom scheme \xE2\x80\x9C" "cafe\xE2\x80\x9D");
  EXPECT_TRUE(links.notes().empty());
  links.setURL("elsewhere://x");
  EXPECT_FALSE(links.notes().empty());  // a scheme the app does not declare

  links.setURL("cafe://menu/today");
  links.open();
  settle();
  EXPECT_EQ(messageOf(links), "Opened cafe://menu/today on iPhone 16.");
  ASSERT_EQ(links.history().size(), 1u);
  links.addFavorite("Today");
  ASSERT_EQ(links.favorites().size(), 1u);
  links.removeFavorite(links.favorites().front().id);
  EXPECT_TRUE(links.favorites().empty());
}

}  // namespace
}  // namespace orvanta::testing
