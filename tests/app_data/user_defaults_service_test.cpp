#include "tools/app_data/user_defaults_service.hpp"

#include <gtest/gtest.h>

#include "tests/core/fake_run.hpp"

namespace orvanta {
namespace {

using testing::FakeRun;
using Case = AppDataError::Case;
using Arguments = std::vector<std::string>;

constexpr const char* container = "/D/data/Containers/Data/Application/ABC";
constexpr const char* domain = "/D/data/Containers/Data/Application/ABC/Library/Preferences/com.example.cafe";

std::string exported(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n" + body + "</dict>\n</plist>\n";
}

const std::string nothingToTerminate =
    "An error was encountered processing the command (domain=NSPOSIXErrorDomain, code=3):\n"
    "Simulator device returned an error for the requested operation.\nfound nothing to terminate\n";

TEST(UserDefaultsValueTest, EachTypeReadsItsOwnForms) {
  struct Row {
    UserDefaultsType type;
    const char* text;
    PropertyListValue value;
    const char* argument;
  } rows[] = {
      {UserDefaultsType::string, " spaced ", std::string(" spaced "), " spaced "},
      {UserDefaultsType::integer, "-42", std::int64_t{-42}, "-42"},
      {UserDefaultsType::real, "2.50", 2.5, "2.5"},
      {UserDefaultsType::boolean, "YES", true, "true"},
      {UserDefaultsType::boolean, "0", false, "false"},
      {UserDefaultsType::date, "2026-11-24T08:31:13.285Z", PropertyListDate{817201873}, "2026-11-24 08:31:13 +0000"},
      {UserDefaultsType::data, "00fFA0", PropertyListValue::Data{0x00, 0xff, 0xa0}, "00ffa0"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    auto value = parseUserDefaultsValue(row.type, row.text);
    ASSERT_TRUE(value) << value.error().description();
    EXPECT_EQ(value->value, row.value);
    EXPECT_EQ(value->argument, row.argument);
  }
  struct Bad {
    UserDefaultsType type;
    const char* text;
  } bad[] = {{UserDefaultsType::integer, "4.2"},   {UserDefaultsType::integer, ""},
             {UserDefaultsType::integer, "9223372036854775808"}, {UserDefaultsType::real, "1e5"},
             {UserDefaultsType::boolean, "maybe"}, {UserDefaultsType::date, "2026-02-30T00:00:00Z"},
             {UserDefaultsType::date, "2026-11-24 08:31:13"}, {UserDefaultsType::data, "abc"},
             {UserDefaultsType::data, "zz"}};
  for (const auto& row : bad) {
    SCOPED_TRACE(row.text);
    auto value = parseUserDefaultsValue(row.type, row.text);
    ASSERT_FALSE(value);
    EXPECT_EQ(value.error().description(),
              "\"" + std::string(row.text) + "\" is not a valid " + std::string(rawValue(row.type)) + " value.");
  }
}

TEST(UserDefaultsServiceTest, WriteTerminatesTheAppWritesTheContainersDomainAndReadsBack) {
  FakeRun fake;
  fake.reply(std::string(container) + "\n");
  fake.reply(exported("<key>launchCount</key><integer>7</integer>\n"));
  fake.reply("");  // terminate: the app was running
  fake.reply("");  // write
  fake.reply(exported("<key>launchCount</key><integer>7</integer>\n<key>tip</key><real>12.5</real>\n"));
  SimulatorMutationGate gate;
  UserDefaultsService service(SimctlClient{fake.function(), "/x/xcrun"}, gate);
  auto value = parseUserDefaultsValue(UserDefaultsType::real, "12.5");
  auto written = service.write("UDID", "com.example.cafe", std::nullopt, "tip", *value);
  ASSERT_TRUE(written) << written.error().description();
  EXPECT_TRUE(written->terminatedApp);
  EXPECT_EQ(written->domain, domain);
  EXPECT_EQ(written->readBack, PropertyListValue(12.5));

  std::vector<Arguments> calls;
  for (const auto& call : fake.calls) calls.push_back(call.arguments);
  EXPECT_EQ(calls, (std::vector<Arguments>{
                       {"simctl", "get_app_container", "UDID", "com.example.cafe", "data"},
                       {"simctl", "spawn", "UDID", "defaults", "export", domain, "-"},
                       {"simctl", "terminate", "UDID", "com.example.cafe"},
                       {"simctl", "spawn", "UDID", "defaults", "write", domain, "tip", "-float", "12.5"},
                       {"simctl", "spawn", "UDID", "defaults", "export", domain, "-"},
                   }));
  EXPECT_FALSE(gate.holder("UDID"));
}

TEST(UserDefaultsServiceTest, AGroupsPreferencesLiveInTheGroupContainer) {
  FakeRun fake;
  fake.reply("/D/Shared/AppGroup/G1\n");
  fake.reply(exported("<key>sharedToken</key><string>c0ffee</string>\n"));
  SimulatorMutationGate gate;
  UserDefaultsService service(SimctlClient{fake.function(), "/x/xcrun"}, gate);
  auto reading = service.read("UDID", "com.example.cafe", std::string("group.com.example.cafe"));
  ASSERT_TRUE(reading);
  EXPECT_EQ(reading->domain, "/D/Shared/AppGroup/G1/Library/Preferences/group.com.example.cafe");
  EXPECT_EQ(fake.calls[0].arguments,
            (Arguments{"simctl", "get_app_container", "UDID", "com.example.cafe", "group.com.example.cafe"}));
  EXPECT_EQ(*reading->values.find("sharedToken"), PropertyListValue("c0ffee"));
}

TEST(UserDefaultsServiceTest, AChangeTheSimulatorDidNotKeepIsAFailure) {
  SimulatorMutationGate gate;
  {
    FakeRun fake;
    fake.reply(std::string(container) + "\n");
    fake.reply(exported("<key>onboardingDone</key><false/>\n"));
    fake.reply("", 3, nothingToTerminate);
    fake.reply("");
    fake.reply(exported("<key>onboardingDone</key><false/>\n"));
    UserDefaultsService service(SimctlClient{fake.function(), "/x/xcrun"}, gate);
    auto value = parseUserDefaultsValue(UserDefaultsType::boolean, "true");
    auto written = service.write("UDID", "com.example.cafe", std::nullopt, "onboardingDone", *value);
    ASSERT_FALSE(written);
    EXPECT_EQ(written.error().kind, Case::changeNotConfirmed);
    EXPECT_EQ(written.error().description(),
              "Wrote onboardingDone (boolean): true, but the app's preferences read back onboardingDone (boolean): false.");
  }
  {
    FakeRun fake;
    fake.reply(std::string(container) + "\n");
    fake.reply(exported("<key>lastSync</key><date>2026-11-24T08:31:13Z</date>\n"));
    fake.reply("", 3, nothingToTerminate);
    fake.reply("");
    fake.reply(exported("<key>lastSync</key><date>2026-11-24T08:31:13Z</date>\n"));
    UserDefaultsService service(SimctlClient{fake.function(), "/x/xcrun"}, gate);
    auto deleted = service.remove("UDID", "com.example.cafe", std::nullopt, "lastSync");
    ASSERT_FALSE(deleted);
    EXPECT_EQ(deleted.error().description(), "Deleted lastSync, but the app's preferences still hold it.");
    EXPECT_EQ(fake.calls[3].arguments, (Arguments{"simctl", "spawn", "UDID", "defaults", "delete", domain, "lastSync"}));
  }
}

TEST(UserDefaultsServiceTest, RefusalsComeBeforeAnyChange) {
  SimulatorMutationGate gate;
  FakeRun fake;
  fake.reply(std::string(container) + "\n");
  fake.reply(exported(""));
  UserDefaultsService service(SimctlClient{fake.function(), "/x/xcrun"}, gate);
  auto missing = service.remove("UDID", "com.example.cafe", std::nullopt, "nope");
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().description(), "The preferences have no key nope.");
  EXPECT_EQ(fake.calls.size(), 2u);

  ASSERT_TRUE(gate.acquire("UDID", gate_labels::scenario));
  auto busy = service.write("UDID", "com.example.cafe", std::nullopt, "k",
                            *parseUserDefaultsValue(UserDefaultsType::string, "v"));
  ASSERT_FALSE(busy);
  EXPECT_EQ(busy.error().description(),
            "Another operation (Reset App Data or a running scenario) is in progress on this simulator.");
  EXPECT_EQ(fake.calls.size(), 2u);
}

}  // namespace
}  // namespace orvanta
