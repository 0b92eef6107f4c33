#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "apps/bundle_identifier.hpp"
#include "tests/core/fake_run.hpp"
#include "tests/support/test_files.hpp"
#include "tools/privacy/privacy_service_list.hpp"
#include "tools/privacy/simulator_privacy_service.hpp"

namespace orvanta {
namespace {

using testing::FakeRun;
using testing::readFixture;

const std::string kUDID = "3BC9A608-0042-414F-B35C-7ADB869BC572";

// The captured usage text with services added after "siri", as some runtimes list them.
std::string usageWithExtras() {
  std::string text = readFixture("simctl/privacy-usage.txt");
  const std::string siri = "\t         siri - Allow use of the app with Siri.\n";
  text.insert(text.find(siri) + siri.size(),
              "\t         camera - Allow access to camera.\n\t         notifications - Allow access to notifications.\n");
  return text;
}

TEST(PrivacyServiceListTest, ReadsTheServiceSectionOfTheUsageText) {
  auto words = parsePrivacyServiceWords(readFixture("simctl/privacy-usage.txt"));
  ASSERT_TRUE(words.has_value());
  EXPECT_EQ(*words, (std::vector<std::string>{"all", "calendar", "contacts-limited", "contacts", "location",
                                              "location-always", "photos-add", "photos", "media-library",
                                              "microphone", "motion", "reminders", "siri"}));
  // Nothing of the action section slips in.
  const auto list = privacyServicesFromWords(*words);
  EXPECT_EQ(list.services[5].note,
            "Apps read this as ordinary authorized access; Orvanta couldn't observe a difference from Contacts.");
  EXPECT_FALSE(list.offers("grant"));

  // A runtime without contacts-limited does not offer it.
  std::string older = readFixture("simctl/privacy-usage.txt");
  const std::string limited = "\t         contacts-limited - Allow access to basic contact info.\n";
  older.erase(older.find(limited), limited.size());
  EXPECT_FALSE(privacyServicesFromWords(*parsePrivacyServiceWords(older)).offers("contacts-limited"));
}

TEST(PrivacyServiceListTest, ReadsEitherStreamWhateverTheStatusAndFallsBackToTheTable) {
  struct Row {
    std::string name;
    std::string out, err;
    int status;
    bool fromSimctl;
  };
  for (const auto& row : std::vector<Row>{{"stderr, usage status", "", usageWithExtras(), 64, true},
                                          {"stdout, success", usageWithExtras(), "", 0, true},
                                          {"no service section", "", "\tservice\n\t     The service:\n\n", 64, false}}) {
    SCOPED_TRACE(row.name);
    FakeRun fake;
    fake.reply(row.out, row.status, row.err);
    auto list = readOfferedPrivacyServices(SimctlClient{fake.function()});
    ASSERT_TRUE(list.has_value());
    EXPECT_EQ(list->fromSimctl, row.fromSimctl);
    ASSERT_EQ(list->services.size(), row.fromSimctl ? 15u : 13u);
    // Services the known list lacks are offered after it, under their own word.
    if (row.fromSimctl) {
      EXPECT_EQ(list->services[13], (SimulatorPrivacyServiceOption{"camera", "camera", std::nullopt, std::nullopt}));
    }
    ASSERT_EQ(fake.calls.size(), 1u);
    EXPECT_EQ(fake.calls[0].arguments, (std::vector<std::string>{"simctl", "privacy"}));
  }
}

TEST(BundleIdentifierTest, AcceptsReverseDomainIdentifiersOnly) {
  for (const char* good : {"com.example.cafe", "com.DefaultCompany.NeonDrift", "-23.Test", "org.x_y.app-2"}) {
    EXPECT_TRUE(isWellFormedBundleIdentifier(good)) << good;
  }
  for (const char* bad : {"", "cafe", "com.example.", ".com.example", "com..example", "com.example cafe",
                          "com/example.cafe", "com\\example.cafe", "com.example\tcafe", "com.caf\xc3\xa9"}) {
    EXPECT_FALSE(isWellFormedBundleIdentifier(bad)) << bad;
  }
  EXPECT_FALSE(isWellFormedBundleIdentifier("a." + std::string(254, 'b')));
}

// ---- applying a change ---------------------------------------------------------------------------------

SimulatorDevice booted() {
  SimulatorDevice device;
  device.udid = kUDID;
  device.name = "iPhone 16";
  device.state = SimulatorState::booted;
  return device;
}

class SimulatorPrivacyServiceTest : public ::testing::Test {
 protected:
  expected<void, SimulatorPrivacyError> apply(SimulatorPrivacyAction action, const std::string& service,
                                              const std::string& bundle,
                                              const SimulatorTargetStatus& target = SimulatorTargetStatus::selected(booted())) {
    SimulatorPrivacyService privacy(SimctlClient{fake_.function()}, gate_);
    return privacy.apply({action, service, bundle}, target, {});
  }
  std::vector<std::vector<std::string>> argvs() const {
    std::vector<std::vector<std::string>> result;
    for (const auto& call : fake_.calls) result.push_back(call.arguments);
    return result;
  }

  FakeRun fake_;
  SimulatorMutationGate gate_;
};

TEST_F(SimulatorPrivacyServiceTest, ResetOfAllChecksTheAppThenSendsResetAllAndTheBundle) {
  fake_.reply(readFixture("simctl/appinfo-user.txt"));
  fake_.reply("", 64, readFixture("simctl/privacy-usage.txt"));
  fake_.reply("");
  ASSERT_TRUE(apply(SimulatorPrivacyAction::reset, "all", "com.DefaultCompany.NeonDrift").has_value());
  EXPECT_EQ(argvs(), (std::vector<std::vector<std::string>>{
                         {"simctl", "appinfo", kUDID, "com.DefaultCompany.NeonDrift"},
                         {"simctl", "privacy"},
                         {"simctl", "privacy", kUDID, "reset", "all", "com.DefaultCompany.NeonDrift"}}));
  EXPECT_FALSE(gate_.holder(kUDID).has_value()) << "the gate is released";
}

TEST_F(SimulatorPrivacyServiceTest, TheFirstFailingCheckWinsAndLaterOnesNeverRun) {
  using A = SimulatorPrivacyAction;
  const std::string installed = readFixture("simctl/appinfo-user.txt");
  const std::string missing = readFixture("simctl/appinfo-missing.txt");
  const std::string usage = readFixture("simctl/privacy-usage.txt");
  struct Row {
    std::string name;
    A action;
    std::string service, bundle;
    SimulatorTargetStatus target;
    std::vector<std::string> appinfoAndUsage;  // the replies given, in order
    std::string sentence;
    std::size_t calls;
  };
  const auto selected = SimulatorTargetStatus::selected(booted());
  const std::vector<Row> rows = {
      {"no target beats everything", A::grant, "nope", "", SimulatorTargetStatus::needsChoice(2), {},
       "Choose a booted simulator.", 0},
      {"target not booted", A::grant, "nope", "", SimulatorTargetStatus::lost(kUDID, booted()), {},
       "The selected simulator is not booted.", 0},
      {"no app", A::grant, "nope", "", selected, {}, "Choose an installed app.", 0},
      {"malformed identifier", A::grant, "all", "com.example/../x", selected, {}, "That bundle identifier isn't valid.", 0},
      {"missing app beats the refused pair", A::grant, "all", "com.apple.MobileSafari", selected, {missing},
       "com.apple.MobileSafari is not installed on this simulator.", 1},
      {"refused pair beats an unknown service list", A::revoke, "all", "com.x.y", selected, {installed},
       "Revoke isn't supported for All Permissions. Use Reset to clear it instead.", 1},
      {"service simctl does not list", A::grant, "camera", "com.x.y", selected, {installed, usage},
       "Xcode's simctl doesn't list a \xe2\x80\x9c" "camera\xe2\x80\x9d privacy service.", 2},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    fake_ = FakeRun();
    for (const auto& reply : row.appinfoAndUsage) fake_.reply(reply);
    auto result = apply(row.action, row.service, row.bundle, row.target);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().description(), row.sentence);
    EXPECT_EQ(fake_.calls.size(), row.calls);
  }
}

TEST_F(SimulatorPrivacyServiceTest, AFailedCommandCarriesSimctlsDiagnostic) {
  const std::string envelope =
      "An error was encountered processing the command (domain=NSPOSIXErrorDomain, code=1):\n"
      "Failed to set access\nOperation not permitted\n";
  fake_.reply(readFixture("simctl/appinfo-user.txt"));
  fake_.reply(readFixture("simctl/privacy-usage.txt"));
  fake_.reply("", 1, envelope);
  auto failed = apply(SimulatorPrivacyAction::grant, "photos", "com.x.y");
  ASSERT_FALSE(failed.has_value());
  EXPECT_EQ(failed.error(), SimulatorPrivacyError::processFailure(1, envelope.substr(0, envelope.size() - 1)));
  EXPECT_EQ(failed.error().description(),
            "simctl privacy failed (exit 1): An error was encountered processing the command "
            "(domain=NSPOSIXErrorDomain, code=1):\nFailed to set access\nOperation not permitted");
}

TEST_F(SimulatorPrivacyServiceTest, TheServiceListIsReadOnceAndTheFallbackIsToldOnce) {
  SimulatorPrivacyService privacy(SimctlClient{fake_.function()}, gate_);
  fake_.reply("not a usage text", 64);
  ASSERT_NE(privacy.offeredServices(), nullptr);
  EXPECT_FALSE(privacy.offeredServices()->fromSimctl);
  EXPECT_EQ(fake_.calls.size(), 1u);
  EXPECT_TRUE(privacy.takeFallbackNotice().has_value());
  EXPECT_FALSE(privacy.takeFallbackNotice().has_value());
}

}  // namespace
}  // namespace orvanta
