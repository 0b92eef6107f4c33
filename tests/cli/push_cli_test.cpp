#include <gtest/gtest.h>

#include "tests/cli/cli_harness.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::CliResult;
using testing::kIPadPro;
using testing::kIPhone16;
using Json = nlohmann::json;
namespace fs = std::filesystem;

const std::string kNoApp = "Select an installed app for this simulator. Refresh apps if needed.";
const std::string kNoSimulator = "Select a booted simulator.";

class PushCliTest : public testing::TargetedCliTest {
 protected:
  // What the emulator's iPhone 16 received, oldest first.
  Json delivered() {
    const Json push = emulatorState(kIPhone16, "push");
    return push.is_object() ? push.value("delivered", Json::array()) : Json::array();
  }

  // Payload folders left in the user's scratch folder.
  int payloadFolders() const {
    int count = 0;
    const auto scratch = temporary() / ("orvanta-" + std::to_string(::geteuid()));
    if (!fs::exists(scratch)) return 0;
    for (const auto& entry : fs::directory_iterator(scratch)) {
      if (entry.path().filename().string().starts_with("Orvanta-Push-")) ++count;
    }
    return count;
  }
};

TEST_F(PushCliTest, SendsFromPresetFileAndStandardInputAndKeepsTheHistory) {
  auto preset = orvanta({"push", "send", "com.example.cafe", "--preset", "badge"});
  ASSERT_EQ(preset.status, 0) << preset.err;
  EXPECT_EQ(preset.out, "Notification sent to com.example.cafe on iPhone 16.\n");

  testing::writeBytes(root() / "alert.json", "\n{\"aps\": {\"alert\": \"Caf\xc3\xa9\"}, \"id\": 7}\n\n");
  auto file = orvanta({"--json", "push", "send", "com.example.cafe", (root() / "alert.json").string()});
  ASSERT_EQ(file.status, 0) << file.err;
  EXPECT_EQ(file.json(), (Json{{"bundleIdentifier", "com.example.cafe"},
                               {"simulatorUDID", kIPhone16},
                               {"payload", "{\"aps\": {\"alert\": \"Caf\xc3\xa9\"}, \"id\": 7}"}}));

  auto piped = orvanta({"push", "send", "com.example.cafe", "-"}, std::string("{\"aps\":{\"badge\":1}}"));
  ASSERT_EQ(piped.status, 0) << piped.err;

  const Json received = delivered();
  ASSERT_EQ(received.size(), 3u);
  EXPECT_EQ(received[0]["payload"], (Json{{"aps", {{"badge", 1}}}}));
  EXPECT_EQ(received[1]["payload"]["aps"]["alert"], "Caf\xc3\xa9");
  EXPECT_EQ(received[1]["bytes"], 36);  // trimmed before it was written
  EXPECT_EQ(payloadFolders(), 0);

  auto history = orvanta({"--json", "push", "history"}).json();
  ASSERT_EQ(history.size(), 3u);
  EXPECT_EQ(history[0]["payload"], "{\"aps\":{\"badge\":1}}");
  EXPECT_EQ(history[0]["simulatorName"], "iPhone 16");
}

// The sentence of a failed send is checked in tests/push/push_test.cpp.
TEST_F(PushCliTest, RefusalsAndAFailedSendLeaveNothingBehind) {
  auto notInstalled = orvanta({"--json", "push", "send", "com.example.missing", "--preset", "badge"});
  expectFailure(notInstalled, "noApp", kNoApp);
  EXPECT_NE(notInstalled.err.find("com.example.missing is not installed on iPhone 16"), std::string::npos);

  auto invalid = orvanta({"--json", "push", "send", "com.example.cafe", "-"}, std::string("[1, 2]"));
  expectFailure(invalid, "invalidPayload", "Payload must be a JSON object containing an aps object.");

  expectFailure(orvanta({"push", "send", "com.example.cafe", "--preset", "silent", "-d", kIPadPro}), "noSimulator",
                kNoSimulator);

  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"push": {"exit": 149, "stderr": "Unable to lookup in current state\n"}})");
  auto failed = orvanta({"--json", "push", "send", "com.example.cafe", "--preset", "basic-alert"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(failed.json()["error"]["kind"], "sendFailed");

  EXPECT_EQ(payloadFolders(), 0);
  EXPECT_TRUE(delivered().empty());
  EXPECT_TRUE(orvanta({"--json", "push", "history"}).json().empty());

  EXPECT_EQ(orvanta({"push", "send", "com.example.cafe"}).status, 2);
  EXPECT_EQ(orvanta({"push", "send", "com.example.cafe", "-", "--preset", "badge"}).status, 2);
  EXPECT_EQ(orvanta({"push", "send", "com.example.cafe", "--preset", "loud"}).status, 2);
}

TEST_F(PushCliTest, ValidateNeedsNoSimulator) {
  ASSERT_EQ(orvanta({"target", "clear"}).status, 0);
  auto valid = orvanta({"--json", "push", "validate", "-"}, std::string("  {\"aps\":{}}\n"));
  ASSERT_EQ(valid.status, 0) << valid.err;
  EXPECT_EQ(valid.json(), (Json{{"payload", "{\"aps\":{}}"}, {"byteCount", 10}}));

  auto presets = orvanta({"push", "presets"});
  ASSERT_EQ(presets.status, 0);
  EXPECT_TRUE(presets.out.starts_with("basic-alert  Basic Alert\n  {\n    \"aps\": {\n")) << presets.out;
}

}  // namespace
}  // namespace orvanta
