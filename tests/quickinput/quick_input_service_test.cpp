#include "tools/quickinput/quick_input_service.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/hmac_sha256.hpp"
#include "tests/quickinput/fake_pasteboard_simctl.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::FakePasteboardSimctl;
using Json = nlohmann::json;
using ValueKind = QuickInputFieldDraft::ValueKind;

constexpr const char* kUDID = "3BC9A608-0042-414F-B35C-7ADB869BC572";
constexpr const char* kSecret = "hunter2-\xF0\x9F\xA6\x8A-e\xCC\x81";

class QuickInputServiceTest : public ::testing::Test {
 protected:
  QuickInputServiceTest()
      : defaults(std::make_shared<JsonFileSettingsStore>(scratch / "settings.json")),
        service(defaults, secrets, SimulatorPasteboardService({simctl.function(), "/usr/bin/xcrun", &host})) {
    simctl.host = &host;
  }

  QuickInputProfile profile() { return service.addProfile("Test account").value(); }
  QuickInputField field(const QuickInputProfile& owner, QuickInputFieldKind kind, ValueKind valueKind,
                        std::string value) {
    auto added = service.addField(owner.id, {kind, std::string(title(kind)), valueKind, std::move(value)});
    EXPECT_TRUE(added) << added.error().description();
    return added.value_or(QuickInputField{});
  }
  std::string settingsBytes() { return testing::readBytes(scratch / "settings.json").value_or(""); }

  testing::ScratchFolder scratch;
  std::shared_ptr<SettingsStore> defaults;
  InMemorySecretStore secrets;
  FakePasteboardSimctl simctl;
  InMemoryHostPasteboard host;
  QuickInputService service;
};

TEST_F(QuickInputServiceTest, UndecodableDocumentIsKeptAsideAndTheToolStartsEmpty) {
  const std::vector<Json> unreadable = {
      Json("not a document"),
      Json{{"schemaVersion", 99}, {"profiles", Json::array()}},
      Json{{"schemaVersion", 1}, {"profiles", {{{"id", "not-a-uuid"}, {"name", "A"}, {"fields", Json::array()}}}}},
      // A secret field with its value in the document.
      Json::parse(R"({"schemaVersion": 1, "profiles": [{"id": "E621E1F8-C36C-495A-93FC-0C247A3E6E5F", "name": "A",
          "fields": [{"id": "0B3E6A1C-6E0F-4C1B-9C5D-2F8A7B6C5D4E", "kind": "password", "label": "Password",
                      "isSecret": true, "savesValue": true, "plainValue": "leaked"}]}]})"),
  };
  for (const auto& document : unreadable) {
    SCOPED_TRACE(document.dump());
    ASSERT_TRUE(defaults->setValue(QuickInputStore::key, document));
    auto loaded = service.store().document();
    ASSERT_TRUE(loaded) << loaded.error().description();
    EXPECT_EQ(*loaded, QuickInputDocument{});
    EXPECT_EQ(defaults->value(QuickInputStore::unreadableKey).value(), document);
    EXPECT_EQ(defaults->value(QuickInputStore::key).value(), encodeQuickInputDocument(QuickInputDocument{}));
    EXPECT_TRUE(service.store().takeRecoveryNotice().has_value());
    EXPECT_FALSE(service.store().takeRecoveryNotice().has_value());
  }
  // A readable document is kept across processes: input_cli_test ProfilesAndFieldsAreKeptAndListed.
}

TEST_F(QuickInputServiceTest, SecretsNeverReachTheSettingsFile) {
  auto owner = profile();
  auto password = field(owner, QuickInputFieldKind::password, ValueKind::secret, kSecret);
  ASSERT_TRUE(password.secretAccount);
  EXPECT_FALSE(password.plainValue);
  EXPECT_EQ(secrets.readSecret(KeychainQuickInputSecretStore::service, *password.secretAccount).value_or(""), kSecret);

  auto copied = service.copyField(password, kUDID);
  ASSERT_TRUE(copied) << copied.error().description();
  EXPECT_EQ(copied->fingerprintProblem, std::nullopt);

  const std::string bytes = settingsBytes();
  EXPECT_NE(bytes.find(*password.secretAccount), std::string::npos) << bytes;
  for (const char* part : {kSecret, "hunter2"}) {
    EXPECT_EQ(bytes.find(part), std::string::npos) << bytes;
  }
  // Nor is the fingerprint's key.
  const auto key = KeychainQuickInputSecretStore(secrets).fingerprintKey(false).value();
  EXPECT_EQ(bytes.find(lowerHex(key)), std::string::npos);

  ASSERT_TRUE(service.removeField(owner.id, password.id));
  EXPECT_EQ(secrets.readSecret(KeychainQuickInputSecretStore::service, *password.secretAccount).error(),
            SecretStoreError::notFound());
}

TEST_F(QuickInputServiceTest, NoSecretIsLeftBehindWhenAFieldCannotBeAdded) {
  auto missing = service.addField("E621E1F8-C36C-495A-93FC-0C247A3E6E5F",
                                  {QuickInputFieldKind::password, "Password", ValueKind::secret, kSecret});
  EXPECT_EQ(missing.error().kind, QuickInputError::Case::profileNotFound);
  EXPECT_EQ(secrets.count(), 0u);

  auto owner = profile();
  secrets.failWith(SecretStoreError::keychain(2, "Cannot autolaunch D-Bus without X11 $DISPLAY"));
  auto refused = service.addField(owner.id, {QuickInputFieldKind::password, "Password", ValueKind::secret, kSecret});
  EXPECT_EQ(refused.error().description(), "Cannot autolaunch D-Bus without X11 $DISPLAY");
  EXPECT_TRUE(service.store().document().value().profiles[0].fields.empty());
}

// Copy, then clear only while the clipboard holds the copy, seen from another process: keyring/input_secrets_cli.cpp.
TEST_F(QuickInputServiceTest, CopyFailuresNameTheirCause) {
  auto owner = profile();
  EXPECT_FALSE(service.clear(kUDID, "iPhone 16").value().cleared);  // nothing copied yet: simctl is not asked
  auto noValue = field(owner, QuickInputFieldKind::otp, ValueKind::none, "");
  EXPECT_EQ(service.copyField(noValue, kUDID).error().kind, QuickInputError::Case::noValue);

  auto password = field(owner, QuickInputFieldKind::password, ValueKind::secret, kSecret);
  ASSERT_TRUE(secrets.removeSecret(KeychainQuickInputSecretStore::service, *password.secretAccount));
  auto lost = service.copyField(password, kUDID);
  EXPECT_EQ(lost.error().caseName(), "notFound");

  auto email = field(owner, QuickInputFieldKind::email, ValueKind::plain, "a@example.com");
  EXPECT_EQ(service.copyField(email, "").error().description(), "No Simulator was given.");
  EXPECT_TRUE(simctl.calls.empty());

  // The copy stands when the fingerprint cannot be kept; the outcome says why a clear will not find it.
  secrets.failWith(SecretStoreError::keychain(-25308, "User interaction is not allowed."));
  auto copied = service.copyField(email, kUDID);
  ASSERT_TRUE(copied);
  EXPECT_EQ(copied->fingerprintProblem, "User interaction is not allowed.");
}

}  // namespace
}  // namespace orvanta
