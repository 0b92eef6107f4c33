#include "automation/scenario_library.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/reference_date.hpp"
#include "support/uuid.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using Case = ScenarioStepKind::Case;
using testing::ScratchFolder;

const std::string kRoute = "0B1C2D3E-4F50-4617-8293-A4B5C6D7E8F9";

std::chrono::system_clock::time_point at(double seconds) { return *fromReferenceSeconds(seconds); }

// Every kind is read, written and titled end to end (tests/app/scenario_cli_test.cpp); these are the kinds
// whose JSON or title takes a path of its own.
TEST(ScenarioModelTest, StepKindsReadFromHandWrittenJsonAndWriteItBack) {
  struct Row {
    const char* json;
    ScenarioStepKind expected;
    const char* title;
  };
  StatusBarOverride bar;
  bar.time = "9:41";
  bar.batteryLevel = 100;
  bar.dataNetwork = StatusBarDataNetwork::lteA;
  const Row rows[] = {
      {R"({"setStatusBarOverride": {"_0": {"time": "9:41", "batteryLevel": 100, "dataNetwork": "lte-a"}}})",
       ScenarioStepKind::setStatusBarOverride(bar), "Set Status Bar Override"},
      {R"({"setLocation": {"_0": {"latitude": 48.1, "longitude": -11.5}}})",
       ScenarioStepKind::setLocation({48.1, -11.5}), "Set Location: 48.1, -11.5"},
      {R"({"runLocationRoute": {"routeID": "0b1c2d3e-4f50-4617-8293-a4b5c6d7e8f9", "speedMetersPerSecond": 8.3}})",
       ScenarioStepKind::runLocationRoute(kRoute, 8.3), "Run Location Route"},
      {R"({"privacyAction": {"actionName": "allow", "serviceName": "camera"}})",
       ScenarioStepKind::privacyAction("allow", "camera"), "allow Privacy: camera"},
      {R"({"openDeepLink": {"urlString": " myapp://x "}})", ScenarioStepKind::openDeepLink(" myapp://x "),
       "Open Deep Link"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.json);
    auto json = nlohmann::json::parse(row.json);
    auto decoded = decodeScenarioStepKind(json);
    ASSERT_TRUE(decoded) << decoded.error();
    EXPECT_EQ(*decoded, row.expected);
    EXPECT_EQ(decoded->title(), row.title);
    auto encoded = encodeScenarioStepKind(*decoded);
    ASSERT_TRUE(encoded);
    // The route id is written upper-case; everything else comes back as it was written.
    auto want = json;
    if (decoded->kind == Case::runLocationRoute) want["runLocationRoute"]["routeID"] = kRoute;
    EXPECT_EQ(*encoded, want);
  }
}

TEST(ScenarioModelTest, KindObjectsAndScenariosThatDoNotDecode) {
  const char* rows[][2] = {
      {R"({"launchApp": {}, "terminateApp": {}})", "Invalid number of keys found, expected one."},
      {R"({"shakeDevice": {}})", "\"shakeDevice\" is not a step kind."},
      {R"({"setAppearance": {"_0": "sepia"}})", "\"sepia\" is not a known value of \"_0\" in setAppearance."},
      {R"({"runLocationRoute": {"routeID": "not-a-uuid", "speedMetersPerSecond": 3}})",
       "\"routeID\" is not a UUID in runLocationRoute."},
      {R"({"resetAppData": {}})", "\"resetPermissions\" is missing in resetAppData."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row[0]);
    auto decoded = decodeScenarioStepKind(nlohmann::json::parse(row[0]));
    ASSERT_FALSE(decoded);
    EXPECT_EQ(decoded.error(), row[1]);
  }
  ScenarioDefinition scenario{"E621E1F8-C36C-495A-93FC-0C247A3E6E5F", 1, "Route", std::nullopt,
                              {{"11111111-2222-4333-8444-555555555555",
                                ScenarioStepKind::runLocationRoute(kRoute, std::nan(""))}},
                              at(1), at(2)};
  EXPECT_FALSE(encodeScenario(scenario));
}

TEST(ScenarioModelTest, ScenarioJsonKeysDatesAndImportDefaults) {
  ScenarioDefinition scenario{"E621E1F8-C36C-495A-93FC-0C247A3E6E5F", 1, "Smoke", std::nullopt,
                              {{"11111111-2222-4333-8444-555555555555", ScenarioStepKind::launchApp()}},
                              at(752000000.25), at(752000100.5)};
  auto json = encodeScenario(scenario);
  ASSERT_TRUE(json);
  EXPECT_EQ(json->dump(),
            R"({"createdAt":752000000.25,"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","name":"Smoke","schemaVersion":1,)"
            R"("steps":[{"id":"11111111-2222-4333-8444-555555555555","kind":{"launchApp":{}}}],"updatedAt":752000100.5})");
  scenario.description = "about";
  auto withDescription = encodeScenario(scenario);
  EXPECT_EQ((*withDescription)["description"], "about");
  EXPECT_EQ(*decodeScenario(*withDescription), scenario);

  auto missingDate = *json;
  missingDate.erase("updatedAt");
  EXPECT_EQ(decodeScenario(missingDate).error(), "\"updatedAt\" is missing in a scenario.");

  auto imported = decodeImportedScenario(nlohmann::json::parse(
                                             R"({"name": "Bare", "steps": [{"kind": {"clearLocation": {}}}]})"),
                                         at(5));
  ASSERT_TRUE(imported) << imported.error();
  EXPECT_EQ(imported->schemaVersion, 1);
  EXPECT_EQ(imported->createdAt, at(5));
  EXPECT_EQ(imported->updatedAt, at(5));
  EXPECT_TRUE(parseUUID(imported->id));
  EXPECT_TRUE(parseUUID(imported->steps.at(0).id));
}

}  // namespace
}  // namespace orvanta
