// orvanta input with secret fields, end to end over the emulator and a real Secret Service.
#include <gtest/gtest.h>

#include "core/secret_store.hpp"
#include "tests/cli/cli_harness.hpp"
#include "tests/keyring/keyring_session.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::kIPhone16;
using Json = nlohmann::json;

constexpr const char* kSecret = "s3cret \xF0\x9F\x94\x91 e\xCC\x81";

class InputSecretsCliTest : public testing::TargetedCliTest {
 protected:
  std::string settingsBytes() {
    return testing::readBytes(root() / "config" / "orvanta" / "settings.json").value_or("");
  }
  std::string simulatorClipboard() { return orvanta({"pasteboard", "show"}).out; }
};

TEST_F(InputSecretsCliTest, SecretIsCopiedReadBackAndClearedOnlyWhileItIsThere) {
  ORVANTA_REQUIRE_KEYRING_SESSION();
  ASSERT_EQ(orvanta({"input", "profile", "add", "Shop"}).status, 0);
  // Standard input is not a terminal here, so the secret is read from it (one final newline dropped).
  auto added = orvanta({"input", "field", "add", "--kind", "password", "--label", "Password", "--secret", "--json"},
                       std::string(kSecret) + "\n");
  ASSERT_EQ(added.status, 0) << added.err;
  EXPECT_EQ(added.json()["isSecret"], true);
  EXPECT_FALSE(added.json().contains("plainValue"));

  auto copied = orvanta({"input", "copy", "Password", "--json"});
  ASSERT_EQ(copied.status, 0) << copied.err;
  EXPECT_EQ(copied.json()["fingerprintStored"], true);
  EXPECT_EQ(copied.err, "");
  EXPECT_EQ(simulatorClipboard(), kSecret);

  const std::string settings = settingsBytes();
  ASSERT_FALSE(settings.empty());
  EXPECT_EQ(settings.find("s3cret"), std::string::npos) << settings;
  EXPECT_NE(settings.find("Orvanta.QuickInput.pasteboardFingerprints"), std::string::npos) << settings;

  // Something else copied in the simulator meanwhile is left alone.
  ASSERT_EQ(orvanta({"pasteboard", "set", "the user's own"}).status, 0);
  auto untouched = orvanta({"input", "clear", "--json"});
  ASSERT_EQ(untouched.status, 0) << untouched.err;
  EXPECT_EQ(untouched.json(), (Json{{"cleared", false},
                                    {"message", "Nothing Orvanta copied is waiting to be cleared"},
                                    {"simulatorUDID", kIPhone16}}));
  EXPECT_EQ(simulatorClipboard(), "the user's own");

  ASSERT_EQ(orvanta({"input", "copy", "Password"}).status, 0);
  auto cleared = orvanta({"input", "clear"});
  ASSERT_EQ(cleared.status, 0) << cleared.err;
  EXPECT_EQ(cleared.out, "iPhone 16's clipboard cleared\n");
  EXPECT_EQ(simulatorClipboard(), "");
  EXPECT_EQ(orvanta({"input", "clear"}).out, "Nothing Orvanta copied is waiting to be cleared\n");

  // The secret lives in the Secret Service, and goes with its field.
  const std::string account = added.json()["secretAccount"];
  auto store = makeSecretStore();
  EXPECT_EQ(store->readSecret("me.tarlenvik.Orvanta.quick-input", account).value_or("?"), kSecret);
  ASSERT_EQ(orvanta({"input", "field", "remove", "Password"}).status, 0);
  EXPECT_EQ(store->readSecret("me.tarlenvik.Orvanta.quick-input", account).error(), SecretStoreError::notFound());
}

}  // namespace
}  // namespace orvanta
