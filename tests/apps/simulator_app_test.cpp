#include "apps/simulator_app.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/property_list.hpp"
#include "tests/core/fake_run.hpp"

namespace orvanta {
namespace {

using testing::readFixture;

std::vector<std::string> identifiers(const std::vector<SimulatorApp>& apps) {
  std::vector<std::string> ids;
  for (const auto& app : apps) ids.push_back(app.bundleIdentifier);
  return ids;
}

TEST(SimulatorAppTest, ListingCaptureBecomesSortedVisibleApps) {
  auto apps = decodeAppList(readFixture("plist/listapps.txt"));
  ASSERT_TRUE(apps) << apps.error().reason;
  // SpringBoard is hidden; "Café" sorts before "Watch".
  ASSERT_EQ(identifiers(*apps), (std::vector<std::string>{"com.example.cafe", "com.apple.Bridge"}));

  const SimulatorApp& cafe = (*apps)[0];
  EXPECT_EQ(cafe.displayName, "Caf\xc3\xa9 \"Bar\"");
  EXPECT_EQ(cafe.kind, SimulatorAppKind::user);
  EXPECT_EQ(cafe.version, "42");
  EXPECT_EQ(cafe.executableName, std::nullopt);
  EXPECT_EQ(cafe.bundlePath, "");
  EXPECT_FALSE(cafe.hasDataContainer);

  const SimulatorApp& bridge = (*apps)[1];
  EXPECT_EQ(bridge.displayName, "Watch");
  EXPECT_EQ(bridge.kind, SimulatorAppKind::system);
  EXPECT_EQ(bridge.version, "1.0");
  EXPECT_EQ(bridge.executableName, "Bridge");
  EXPECT_TRUE(bridge.hasDataContainer);

  auto withHidden = decodeAppList(readFixture("plist/listapps.txt"), true);
  ASSERT_TRUE(withHidden);
  EXPECT_EQ(identifiers(*withHidden),
            (std::vector<std::string>{"com.example.cafe", "com.apple.springboard", "com.apple.Bridge"}));
}

TEST(SimulatorAppTest, AppinfoCapturesConvert) {
  struct Case {
    const char* fixture;
    const char* bundleIdentifier;
    const char* displayName;
    SimulatorAppKind kind;
    const char* version;
    bool hasDataContainer;
    bool hidden;
  };
  const Case cases[] = {
      {"plist/appinfo-user.txt", "com.DefaultCompany.NeonDrift", "NeonDrift", SimulatorAppKind::user, "0", true, false},
      {"plist/appinfo-user-older.txt", "-23.Test", "Test", SimulatorAppKind::user, "1", true, false},
      {"plist/appinfo-system.txt", "com.apple.springboard", "SpringBoard", SimulatorAppKind::unknown, "50", false, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.fixture);
    auto value = parsePropertyList(readFixture(c.fixture));
    ASSERT_TRUE(value);
    auto app = simulatorAppFromListing(c.bundleIdentifier, *value);
    ASSERT_TRUE(app);
    EXPECT_EQ(app->displayName, c.displayName);
    EXPECT_EQ(app->kind, c.kind);
    EXPECT_EQ(app->version, c.version);
    EXPECT_EQ(app->hasDataContainer, c.hasDataContainer);
    EXPECT_EQ(isHiddenAppEntry(*value), c.hidden);
    EXPECT_TRUE(app->bundlePath.ends_with(".app")) << app->bundlePath;
  }
  EXPECT_FALSE(simulatorAppFromListing("x", PropertyListValue("User")));
}

TEST(SimulatorAppTest, DisplayNameFallsBackToBundleNameThenIdentifier) {
  using Dictionary = PropertyListDictionary;
  struct Case {
    Dictionary entry;
    const char* expected;
  };
  const Case cases[] = {
      {Dictionary{{"CFBundleDisplayName", ""}, {"CFBundleName", "Named"}}, "Named"},
      {Dictionary{{"CFBundleDisplayName", PropertyListValue(true)}, {"CFBundleName", "Named"}}, "Named"},
      {Dictionary{{"CFBundleDisplayName", ""}, {"CFBundleName", ""}}, "com.example.id"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expected);
    auto app = simulatorAppFromListing("com.example.id", PropertyListValue(c.entry));
    ASSERT_TRUE(app);
    EXPECT_EQ(app->displayName, c.expected);
  }
}

// Each flag is read with the property-list text rules (1, true, YES), which simctl prints.
TEST(SimulatorAppTest, FlagsAreReadFromTheirOwnKeys) {
  auto listed = decodeAppList(
      "{ a = { IsAppClip = 1; IsRemovable = true; IsFirstParty = YES; IsDeveloperApp = 0; };"
      " b = { ApplicationType = User; IsHidden = 1; }; c = { IsDeveloperApp = true; }; }");
  ASSERT_TRUE(listed);
  ASSERT_EQ(identifiers(*listed), (std::vector<std::string>{"a", "c"}));
  const SimulatorApp& a = (*listed)[0];
  EXPECT_TRUE(a.isAppClip && a.isRemovable && a.isFirstParty);
  EXPECT_FALSE(a.isDeveloperApp);
  EXPECT_TRUE((*listed)[1].isDeveloperApp);
  EXPECT_FALSE((*listed)[1].isAppClip || (*listed)[1].isRemovable || (*listed)[1].isFirstParty);
}

// Filtering by kind is checked end to end (apps_cli_test ListsTheTargetsAppsSortedAndFiltered).
TEST(SimulatorAppTest, SortIgnoresAsciiCaseAndBreaksTiesByIdentifier) {
  auto apps = decodeAppList(
      "{ z = { CFBundleName = zebra; }; b = { CFBundleName = apple; }; a = { CFBundleName = Apple; };"
      " m = { CFBundleName = Mango; }; }");
  ASSERT_TRUE(apps);
  EXPECT_EQ(identifiers(*apps), (std::vector<std::string>{"a", "b", "m", "z"}));
}

TEST(SimulatorAppTest, UnreadableListingsSayWhy) {
  EXPECT_EQ(decodeAppList("( a, b )").error().reason, "The top level is not a dictionary.");
  EXPECT_EQ(decodeAppList("{ com.example.a = text; }").error().reason,
            "The entry for com.example.a is not a dictionary.");
  EXPECT_FALSE(decodeAppList("{ a = { b = c; };").error().reason.empty());  // the property-list reader's
}

TEST(SimulatorAppTest, LaunchOutputGivesTheProcessIdentifier) {
  struct Case {
    const char* text;
    std::optional<std::int32_t> pid;
  };
  const Case cases[] = {
      {"com.DefaultCompany.NeonDrift: 96076\n", 96076},
      {"hello from the app\ncom.example: 41234\r\n\n", 41234},
      {"com.example: 12\nconsole output after it\n", std::nullopt},
      {"com.example: ", std::nullopt},
      {"com.example: 0", std::nullopt},
      {"com.example: 99999999999", std::nullopt},
      {"com.example: 12x", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(parseLaunchOutput(c.text).processIdentifier, c.pid);
  }
}

}  // namespace
}  // namespace orvanta
