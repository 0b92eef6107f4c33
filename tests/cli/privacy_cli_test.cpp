#include <gtest/gtest.h>

#include "core/simulator_mutation_gate.hpp"
#include "tests/cli/cli_harness.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::CliResult;
using testing::kIPadPro;
using testing::kIPhone16;
using Json = nlohmann::json;

const std::string kNote = "Current authorization state isn't exposed by supported Simulator tooling.";

using PrivacyCliTest = testing::TargetedCliTest;

TEST_F(PrivacyCliTest, GrantRevokeAndResetReachTheSimulatorWithTheNote) {
  auto granted = orvanta({"privacy", "grant", "photos", "com.example.cafe"});
  ASSERT_EQ(granted.status, 0) << granted.err;
  EXPECT_EQ(granted.out, "Granted Photos for com.example.cafe on iPhone 16.\nNote: " + kNote + "\n");

  auto revoked = orvanta({"--json", "privacy", "revoke", "location-always", "com.example.cafe"});
  ASSERT_EQ(revoked.status, 0) << revoked.err;
  EXPECT_EQ(revoked.json(), (Json{{"action", "revoke"},
                                  {"service", "location-always"},
                                  {"bundleIdentifier", "com.example.cafe"},
                                  {"simulatorUDID", kIPhone16},
                                  {"note", kNote}}));
  EXPECT_EQ(emulatorState(kIPhone16, "privacy"),
            (Json{{"com.example.cafe", {{"photos", "granted"}, {"location-always", "revoked"}}}}));

  ASSERT_EQ(orvanta({"privacy", "reset", "all", "com.example.cafe"}).status, 0);
  EXPECT_EQ(emulatorState(kIPhone16, "privacy"), Json::object());
}

// The order of the checks and their sentences are tested in tests/privacy/simulator_privacy_test.cpp.
TEST_F(PrivacyCliTest, RefusalsChangeNothing) {
  expectFailure(orvanta({"privacy", "grant", "photos", "com.example.missing"}), "appNotInstalled",
                "com.example.missing is not installed on this simulator.");
  expectFailure(orvanta({"privacy", "grant", "photos", "com.example.cafe", "-d", kIPadPro}), "simulatorNotBooted",
                "The selected simulator is not booted.");

  SimulatorMutationGate holder(root() / "runtime" / "orvanta");
  ASSERT_TRUE(holder.acquire(kIPhone16, gate_labels::scenario));
  auto busy = orvanta({"privacy", "reset", "photos", "com.example.cafe"});
  expectFailure(busy, "simulatorBusy", std::string(gate_messages::apps));
  EXPECT_NE(busy.err.find("iPhone 16 is held by scenario (pid "), std::string::npos) << busy.err;
  holder.release(kIPhone16, gate_labels::scenario);

  ASSERT_EQ(orvanta({"target", "clear"}).status, 0);
  expectFailure(orvanta({"--json", "privacy", "grant", "photos", "com.example.cafe"}), "simulatorNotSelected",
                "Choose a booted simulator.");
  EXPECT_TRUE(emulatorState(kIPhone16, "privacy").is_null());
}

TEST_F(PrivacyCliTest, ServicesFollowWhatSimctlLists) {
  auto listed = orvanta({"--json", "privacy", "services"});
  ASSERT_EQ(listed.status, 0) << listed.err;
  const Json services = listed.json();
  ASSERT_EQ(services.size(), 13u);
  EXPECT_EQ(services[0], (Json{{"name", "location"}, {"label", "Location"}}));
  EXPECT_TRUE(services[5].contains("note"));

  // Text simctl's usage does not hold: the built-in list, said once on stderr.
  testing::writeBytes(root() / "emulator" / "faults.json",
                      Json{{"privacy", {{"exit", 64}, {"stderr", "usage: simctl privacy\n"}, {"times", 1}}}}.dump());
  auto fallback = orvanta({"--json", "privacy", "services"});
  ASSERT_EQ(fallback.status, 0) << fallback.err;
  EXPECT_EQ(fallback.json().size(), 13u);
  EXPECT_EQ(fallback.err,
            "orvanta: Couldn't read the privacy services from simctl's usage text; offering Orvanta's built-in list "
            "instead.\n");
}

}  // namespace
}  // namespace orvanta
