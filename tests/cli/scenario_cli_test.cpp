// orvanta scenario, end to end over the simctl emulator: a scenario with every kind of step is imported,
// checked, confirmed and run, and its JUnit report is read back with an XML parser.
#include <gtest/gtest.h>

#include <fstream>
#include <regex>

#include "tests/cli/cli_harness.hpp"
#include "tests/support/junit_xml.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::contains;

using testing::CliResult;
using testing::kIPadPro;
using testing::kIPhone16;
using Json = nlohmann::json;

const char* const kLoop = R"(<?xml version="1.0"?>
<gpx version="1.1" creator="test" xmlns="http://www.topografix.com/GPX/1/1">
  <trk><name>Loop</name><trkseg><trkpt lat="47.3769" lon="8.5417"/><trkpt lat="47.3779" lon="8.5427"/></trkseg></trk>
</gpx>
)";

class ScenarioCliTest : public testing::TargetedCliTest {
 protected:
  // Plays a GPX route once so that it is in the recent routes, and returns its id.
  std::string playedRouteID() {
    const auto file = root() / "loop.gpx";
    std::ofstream(file) << kLoop;
    EXPECT_EQ(orvanta({"location", "route", file.string(), "--speed", "5"}).status, 0);
    return orvanta({"--json", "location", "recents"}).json()[0]["id"];
  }

  // Writes `items` as a scenario file and imports it.
  void import(const Json& items) {
    const auto file = root() / "import.json";
    std::ofstream(file) << Json{{"formatVersion", 1}, {"items", items}}.dump();
    auto imported = orvanta({"scenario", "import", file.string()});
    ASSERT_EQ(imported.status, 0) << imported.err;
  }

  std::string emulatorAnswer(std::vector<std::string> arguments) {
    auto answer = simctl(std::move(arguments));
    EXPECT_EQ(answer.status, 0) << answer.err;
    return answer.out;
  }
};

Json everyStepKind(const std::string& routeID) {
  return Json::array({
      {{"kind", {{"setAppearance", {{"_0", "dark"}}}}}},
      {{"kind", {{"setContentSize", {{"_0", "extra-large"}}}}}},
      {{"kind", {{"setStatusBarOverride", {{"_0", {{"time", "9:41"}, {"batteryLevel", 100}}}}}}}},
      {{"kind", {{"clearStatusBarOverrides", Json::object()}}}},
      {{"kind", {{"setLocation", {{"_0", {{"latitude", 48.1374}, {"longitude", 11.5755}}}}}}}},
      {{"kind", {{"clearLocation", Json::object()}}}},
      {{"kind", {{"runLocationRoute", {{"routeID", routeID}, {"speedMetersPerSecond", 12.5}}}}}},
      {{"kind", {{"privacyAction", {{"actionName", "grant"}, {"serviceName", "photos"}}}}}},
      {{"kind", {{"launchApp", Json::object()}}}},
      {{"kind", {{"terminateApp", Json::object()}}}},
      {{"kind", {{"resetAppData", {{"resetPermissions", true}}}}}},
      {{"kind", {{"openDeepLink", {{"urlString", "cafe://orders/42"}}}}}},
      {{"kind", {{"sendPush", {{"payload", R"({"aps": {"alert": "Ready"}})"}}}}}},
  });
}

const char* const kTitles[] = {"1. Set Appearance: Dark",
                               "2. Set Text Size: Extra Large",
                               "3. Set Status Bar Override",
                               "4. Clear Status Bar Overrides",
                               "5. Set Location: 48.1374, 11.5755",
                               "6. Clear Location",
                               "7. Run Location Route",
                               "8. Grant Privacy: Photos",
                               "9. Launch App",
                               "10. Terminate App",
                               "11. Reset App Data (also reset permissions)",
                               "12. Open Deep Link",
                               "13. Send Push Notification"};

TEST_F(ScenarioCliTest, EveryStepKindIsImportedCheckedRunAndReported) {
  import(Json::array({{ {"name", "Every kind"}, { "steps", everyStepKind(playedRouteID()) } }}));

  // The confirmation's text is scenario_preflight_test's; here it is printed after the title and target.
  auto check = orvanta({"scenario", "check", "Every kind", "--app", "com.example.cafe"});
  ASSERT_EQ(check.status, 0) << check.err;
  EXPECT_TRUE(
      check.out.starts_with("Run Scenario: Every kind\nCaf\xC3\xA9 \"Bar\" (com.example.cafe) on iPhone 16\n\n"
                            "Steps:\n"))
      << check.out;

  // Without --yes a run needs a terminal to ask on; nothing runs.
  auto unconfirmed = orvanta({"scenario", "run", "Every kind", "--app", "com.example.cafe"});
  EXPECT_EQ(unconfirmed.status, 1);
  EXPECT_TRUE(contains(unconfirmed.err, "pass --yes to confirm")) << unconfirmed.err;
  EXPECT_EQ(emulatorAnswer({"ui", kIPhone16, "appearance"}), "light\n");

  const auto report = root() / "report.xml";
  auto run =
      orvanta({"--yes", "scenario", "run", "Every kind", "--app", "com.example.cafe", "--junit", report.string()});
  ASSERT_EQ(run.status, 0) << run.out << run.err;
  for (const char* title : kTitles) EXPECT_TRUE(contains(run.out, std::string(title) + " ...\n")) << title;
  EXPECT_TRUE(contains(run.out,
                       ": Started \xE2\x80\x9CLoop\xE2\x80\x9D (2 points, 12.5 m/s). Continues running in the "
                       "simulator.\n"));
  EXPECT_TRUE(contains(run.out, ": Granted Photos.\n")) << run.out;
  EXPECT_TRUE(run.out.ends_with("13 succeeded.\n")) << run.out;
  EXPECT_EQ(emulatorAnswer({"ui", kIPhone16, "appearance"}), "dark\n");
  EXPECT_EQ(emulatorProcessesAlive(), 0);

  const auto parsed = testing::parseJUnit(testing::readBytes(report).value());
  ASSERT_TRUE(parsed.wellFormed);
  ASSERT_EQ(parsed.order.size(), 13u);
  for (std::size_t index = 0; index < 13; ++index) EXPECT_EQ(parsed.order[index], kTitles[index]);
  EXPECT_EQ(parsed.attributes.at("testsuite.failures"), "0");  // each case's shape: scenario_junit_test
}

TEST_F(ScenarioCliTest, AFailedStepStopsTheRest) {
  import(Json::parse(R"([{"name": "Links", "steps": [
      {"kind": {"setAppearance": {"_0": "dark"}}},
      {"kind": {"openDeepLink": {"urlString": "cafe://orders"}}},
      {"kind": {"setAppearance": {"_0": "light"}}}]}])"));
  setEnvironment("ORVANTA_EMULATOR_FAULTS",
                 R"({"openurl": {"exit": 1, "stderr": "Simulator device failed to open cafe://orders.\n"}})");
  auto run = orvanta({"--yes", "scenario", "run", "Links", "--app", "com.example.cafe"});
  EXPECT_EQ(run.status, 1);
  // A quick step's duration is in milliseconds, not "0.0 s".
  EXPECT_TRUE(
      std::regex_search(run.out, std::regex(R"(2\. Open Deep Link \.\.\.\n   failed \(([1-9]\d* ms|\d+\.\d s)\): )")))
      << run.out;
  EXPECT_TRUE(contains(run.out, "3. Set Appearance: Light: not run\n1 succeeded, 1 failed, 1 not run.\n")) << run.out;
  EXPECT_EQ(emulatorAnswer({"ui", kIPhone16, "appearance"}), "dark\n");
}

TEST_F(ScenarioCliTest, CtrlCCancelsBeforeTheNextStep) {
  import(Json::parse(R"([{"name": "Slow", "steps": [
      {"kind": {"setAppearance": {"_0": "dark"}}},
      {"kind": {"setLocation": {"_0": {"latitude": 1.5, "longitude": 2.5}}}}]}])"));
  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"ui": {"delaySeconds": 1}})");
  // The signal comes while the step's simctl call runs (not as it is spawned, when a terminal's Ctrl-C
  // would reach the child too): the step ends as it would have, the next one is cancelled.
  auto run = orvantaInterrupted({"--yes", "scenario", "run", "Slow"}, "1. Set Appearance: Dark ...", SIGINT,
                                OutputStream::standardOutput, std::chrono::milliseconds(300));
  EXPECT_EQ(run.status, 130) << run.out << run.err;
  EXPECT_TRUE(contains(run.out, "   succeeded (")) << run.out;
  EXPECT_TRUE(contains(run.out, "2. Set Location: 1.5, 2.5: cancelled\n1 succeeded, 1 cancelled.\n")) << run.out;
  EXPECT_EQ(emulatorProcessesAlive(), 0);
}

// The order of the issues is checked in tests/automation/scenario_preflight_test.cpp.
TEST_F(ScenarioCliTest, CheckSaysWhyAScenarioCannotRun) {
  // No steps is said alone, before the simulator is even looked at.
  ASSERT_EQ(orvanta({"target", "clear"}).status, 0);
  import(Json::parse(R"([{"name": "Empty", "steps": []},
                          {"name": "Launch", "steps": [{"kind": {"launchApp": {}}}]}])"));
  auto empty = orvanta({"scenario", "check", "Empty"});
  EXPECT_EQ(empty.status, 1);
  EXPECT_EQ(empty.err, "\"Empty\" can't run:\n  - This scenario has no steps.\norvanta: This scenario has no steps.\n");

  auto shutDown = orvanta({"--json", "--device", kIPadPro, "scenario", "check", "Launch", "--app", "com.example.cafe"});
  EXPECT_EQ(shutDown.status, 1);
  const auto document = shutDown.json();
  EXPECT_EQ(document["issues"][0]["message"], "The selected simulator is not booted.") << shutDown.out;
  EXPECT_EQ(document["error"]["message"], "The selected simulator is not booted.");
}

TEST_F(ScenarioCliTest, TheLibraryIsKeptThroughImportRenameMoveDuplicateAndDelete) {
  import(Json::parse(R"([{"name": "One", "steps": [{"kind": {"clearLocation": {}}}]},
                          {"schemaVersion": 7, "id": "0C2B1E7A-5D4F-4E8B-9A61-3F2E1D0C9B8A", "future": true}])"));
  ASSERT_EQ(orvanta({"scenario", "duplicate", "One"}).status, 0);
  ASSERT_EQ(orvanta({"scenario", "rename", "One Copy", "Two"}).status, 0);
  ASSERT_EQ(orvanta({"scenario", "move", "Two", "1"}).status, 0);
  auto list = orvanta({"--json", "scenario", "list"}).json();
  ASSERT_EQ(list.size(), 3u) << list;
  EXPECT_EQ(list[0]["name"], "Two");
  EXPECT_EQ(list[1]["name"], "One");
  EXPECT_EQ(list[2]["supported"], false);
  EXPECT_EQ(list[2]["schemaVersion"], 7);

  const auto exported = root() / "two.json";
  ASSERT_EQ(orvanta({"scenario", "export", "Two", exported.string()}).status, 0);
  ASSERT_EQ(orvanta({"scenario", "delete", "Two"}).status, 0);
  ASSERT_EQ(orvanta({"scenario", "import", exported.string()}).status, 0);
  list = orvanta({"--json", "scenario", "list"}).json();
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(list[2]["name"], "Two");
}

}  // namespace
}  // namespace orvanta
