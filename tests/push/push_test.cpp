#include <unistd.h>

#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/reference_date.hpp"
#include "support/settings_store.hpp"
#include "support/uuid.hpp"
#include "tests/core/fake_run.hpp"
#include "tests/support/test_files.hpp"
#include "tools/push/push_history.hpp"
#include "tools/push/push_payload.hpp"
#include "tools/push/push_preset.hpp"
#include "tools/push/push_sender_service.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using testing::FakeRun;
using testing::ScratchFolder;

const std::string kApsMessage = "Payload must be a JSON object containing an aps object.";

// {"aps":{"alert":"xxx…"}} padded with `filler` until it is exactly `bytes` long.
std::string objectOfSize(std::size_t bytes, const std::string& filler = "x") {
  const std::string head = R"({"aps":{"alert":")";
  const std::string tail = R"("}})";
  std::string body;
  while (head.size() + body.size() + tail.size() + filler.size() <= bytes) body += filler;
  while (head.size() + body.size() + tail.size() < bytes) body += "x";
  return head + body + tail;
}

TEST(PushPayloadTest, ChecksInOrderAndTheFirstFailureWins) {
  const std::string limit = objectOfSize(4096);
  const std::string over = objectOfSize(4097);
  // "é" is two bytes: 2047 of them and a few ASCII bytes make a text of fewer than 4096 characters
  // but more than 4096 bytes.
  const std::string accented = objectOfSize(4097, "\xc3\xa9");
  struct Row {
    std::string name;
    std::string text;
    std::string error;  // empty: valid
  };
  const std::vector<Row> rows = {
      {"only white space", " \n\t\r\n  ", "Enter a JSON payload."},
      {"Unicode spaces only", "\xc2\xa0\xe3\x80\x80\xe2\x80\xa8", "Enter a JSON payload."},
      {"exactly 4096 bytes after trimming", "\n  " + limit + "  \n\xc2\xa0", ""},
      {"4097 bytes", over, "Payload exceeds the 4,096-byte limit (4097 bytes)."},
      {"multi-byte text over the limit", accented, "Payload exceeds the 4,096-byte limit (4097 bytes)."},
      {"size before JSON", std::string(5000, '{'), "Payload exceeds the 4,096-byte limit (5000 bytes)."},
      {"aps string", R"({"aps":"alert"})", kApsMessage},
      {"no aps", R"({"alert":{}})", kApsMessage},
      {"empty aps object", R"({"aps":{}})", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    auto result = validatePushPayload(row.text);
    if (row.error.empty()) {
      ASSERT_TRUE(result.has_value()) << result.error().description();
      EXPECT_EQ(*result, std::string(trimmedPayloadText(row.text)));
    } else {
      ASSERT_FALSE(result.has_value());
      EXPECT_EQ(result.error(), PushError::invalidPayload(row.error));
      EXPECT_EQ(result.error().description(), row.error);
    }
  }
  ASSERT_EQ(limit.size(), 4096u);
  ASSERT_EQ(accented.size(), 4097u);
}

TEST(PushPayloadTest, InvalidJsonCarriesTheParsersOwnMessage) {
  auto result = validatePushPayload(R"({"aps": {"badge": 1,}})");
  ASSERT_FALSE(result.has_value());
  const std::string message = result.error().description();
  EXPECT_TRUE(message.starts_with("Invalid JSON: parse error at line 1, column 21: ")) << message;
  EXPECT_EQ(message.find("[json.exception"), std::string::npos) << message;

  auto notUtf8 = validatePushPayload("{\"aps\": {\"alert\": \"\xff\"}}");
  ASSERT_FALSE(notUtf8.has_value());
  EXPECT_TRUE(notUtf8.error().description().starts_with("Invalid JSON: ")) << notUtf8.error().description();
}

TEST(PushPayloadTest, TrimmingLeavesBrokenUtf8Alone) {
  EXPECT_EQ(trimmedPayloadText(" \xc2 "), "\xc2");
  EXPECT_EQ(trimmedPayloadText("\xa0{}\xe3\x80"), "\xa0{}\xe3\x80");
  EXPECT_EQ(trimmedPayloadText("\xe2\x80\xa9{}\xe2\x80\x8a"), "{}");
}

TEST(PushPresetTest, PresetsArePrettyValidPayloads) {
  for (const auto preset : allPushPresets) {
    const std::string text(payload(preset));
    EXPECT_TRUE(validatePushPayload(text).has_value()) << text;
    EXPECT_TRUE(text.starts_with("{\n  \"aps\": {\n    \"")) << text;
  }
}

// ---- sending ------------------------------------------------------------------------------------------

class PushSenderTest : public ::testing::Test {
 protected:
  // A run function that looks at the payload file while "simctl" runs, then answers as told.
  RunFunction watchingRun(ProcessRunner::Output answer) {
    return [this, answer](const fs::path&, const std::vector<std::string>& arguments,
                          orvanta::stop_token) -> ProcessRunner::Result {
      arguments_ = arguments;
      seen_.file = arguments.back();
      seen_.bytes = testing::readBytes(seen_.file).value_or("<missing>");
      seen_.fileMode = testing::permissions(seen_.file);
      seen_.folderMode = testing::permissions(seen_.file.parent_path());
      return answer;
    };
  }
  PushSenderService service(RunFunction run) { return PushSenderService(SimctlClient{std::move(run)}, temporary_.path()); }
  bool temporaryFolderIsEmpty() const { return fs::is_empty(temporary_.path()); }

  ScratchFolder temporary_;
  std::vector<std::string> arguments_;
  struct {
    fs::path file;
    std::string bytes;
    int fileMode = -1, folderMode = -1;
  } seen_;  // the payload file as it was while simctl ran
};

TEST_F(PushSenderTest, WritesAPrivatePayloadFileRunsSimctlAndRemovesTheFolder) {
  const std::string payloadText(payload(PushPreset::badge));
  auto sent = service(watchingRun({ByteBuffer("Notification sent to 'com.example.cafe'\n"), {}, 0, false}))
                  .send(payloadText, "com.example.cafe", "3BC9A608-0042-414F-B35C-7ADB869BC572");
  ASSERT_TRUE(sent.has_value()) << sent.error().description();

  ASSERT_EQ(arguments_.size(), 5u);
  EXPECT_EQ((std::vector<std::string>(arguments_.begin(), arguments_.end() - 1)),
            (std::vector<std::string>{"simctl", "push", "3BC9A608-0042-414F-B35C-7ADB869BC572", "com.example.cafe"}));
  EXPECT_EQ(seen_.file.filename(), "payload.apns");
  const std::string folder = seen_.file.parent_path().filename().string();
  ASSERT_TRUE(folder.starts_with("Orvanta-Push-")) << folder;
  const std::string owner = std::to_string(::getpid()) + "-";
  ASSERT_TRUE(folder.substr(13).starts_with(owner)) << "the owner's pid comes first";
  EXPECT_EQ(parseUUID(folder.substr(13 + owner.size())), folder.substr(13 + owner.size())) << "an upper-case UUID";
  EXPECT_EQ(seen_.file.parent_path().parent_path(), temporary_.path());
  EXPECT_EQ(seen_.bytes, payloadText);
  EXPECT_EQ(seen_.fileMode, 0600);
  EXPECT_EQ(seen_.folderMode, 0700);
  EXPECT_TRUE(temporaryFolderIsEmpty());
}

TEST_F(PushSenderTest, AFailedSendReportsSimctlsDiagnosticAndStillRemovesTheFolder) {
  const std::string envelope =
      "An error was encountered processing the command (domain=com.apple.CoreSimulator.SimError, code=405):\n"
      "Unable to lookup in current state: Shutdown\n";
  auto sent = service(watchingRun({ByteBuffer(), ByteBuffer(envelope), 149, false}))
                  .send("{\"aps\":{}}", "com.example.cafe", "3BC9A608-0042-414F-B35C-7ADB869BC572");
  ASSERT_FALSE(sent.has_value());
  EXPECT_EQ(sent.error().description(),
            "Could not send notification: An error was encountered processing the command "
            "(domain=com.apple.CoreSimulator.SimError, code=405):\nUnable to lookup in current state: Shutdown");
  EXPECT_EQ(seen_.bytes, "{\"aps\":{}}");
  EXPECT_TRUE(temporaryFolderIsEmpty());
}

TEST_F(PushSenderTest, RefusesAMissingTargetOrAppBeforeAnythingRuns) {
  FakeRun fake;
  auto sender = service(fake.function());
  EXPECT_EQ(sender.send("{\"aps\":{}}", "com.example.cafe", "").error(), PushError::noSimulator());
  EXPECT_EQ(sender.send("{\"aps\":{}}", "com.example.cafe", "booted").error(), PushError::noSimulator());
  EXPECT_EQ(sender.send("{\"aps\":{}}", "", "3BC9A608").error(), PushError::noApp());
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_TRUE(temporaryFolderIsEmpty());
}

TEST_F(PushSenderTest, AFolderThatCannotBeMadeIsASendFailureWithTheSystemsMessage) {
  // A file where the temporary folder should be: mkdir fails with ENOTDIR, whoever runs the test.
  testing::writeBytes(temporary_ / "occupied", "");
  FakeRun fake;
  auto sent = PushSenderService(SimctlClient{fake.function()}, temporary_ / "occupied" / "tmp")
                  .send("{\"aps\":{}}", "com.example.cafe", "3BC9A608");
  ASSERT_FALSE(sent.has_value());
  EXPECT_EQ(sent.error().description(), "Could not send notification: Not a directory");
  EXPECT_TRUE(fake.calls.empty());
}

// ---- history ------------------------------------------------------------------------------------------

class PushHistoryTest : public ::testing::Test {
 protected:
  PushHistoryEntry entry(const std::string& payloadText, const std::string& bundle, int minute) {
    return PushHistoryEntry::make(payloadText, bundle, "iPhone 16", *fromReferenceSeconds(800000000.0 + minute * 60));
  }
  std::shared_ptr<InMemorySettingsStore> settings_ = std::make_shared<InMemorySettingsStore>();
  PushHistoryStore store_{settings_};
};

TEST_F(PushHistoryTest, SamePayloadAndAppMovesToTheFrontAnotherAppAddsAnEntry) {
  ASSERT_TRUE(store_.record(entry("{\"aps\":{\"badge\":1}}", "com.example.cafe", 1)).has_value());
  ASSERT_TRUE(store_.record(entry("{\"aps\":{\"badge\":2}}", "com.example.cafe", 2)).has_value());
  ASSERT_TRUE(store_.record(entry("{\"aps\":{\"badge\":1}}", "com.example.notes", 3)).has_value());
  auto again = entry("{\"aps\":{\"badge\":1}}", "com.example.cafe", 4);
  auto history = store_.record(again);
  ASSERT_TRUE(history.has_value());
  ASSERT_EQ(history->size(), 3u);
  EXPECT_EQ((*history)[0], again);
  EXPECT_EQ((*history)[1].bundleIdentifier, "com.example.notes");
  EXPECT_EQ((*history)[2].payload, "{\"aps\":{\"badge\":2}}");
  EXPECT_EQ(store_.load(), *history);

  // The stored form uses the documented keys and 2001-based seconds.
  const auto stored = settings_->value(PushHistoryStore::key).value().value();
  EXPECT_EQ(stored[0]["sentAt"], 800000240.0);
  EXPECT_EQ(stored[0]["id"], again.id);
  EXPECT_EQ(stored[0]["simulatorName"], "iPhone 16");
}

// The limit and the tolerance of a damaged list belong to RecentList (private_directory_test); here, only
// that an entry of the wrong shape is one the codec refuses.
TEST_F(PushHistoryTest, AnEntryOfTheWrongShapeIsDroppedByTheNextSend) {
  ASSERT_TRUE(settings_->setValue(PushHistoryStore::key,
                                  nlohmann::json::array({{{"id", "nope"}, {"payload", 3}}})).has_value());
  EXPECT_TRUE(store_.load().empty());
  auto sent = entry("{\"aps\":{}}", "com.example.cafe", 1);
  ASSERT_TRUE(store_.record(sent).has_value());
  EXPECT_EQ(settings_->value(PushHistoryStore::key).value().value(),
            nlohmann::json::array({PushHistoryCodec::encode(sent)}));
}

}  // namespace
}  // namespace orvanta
