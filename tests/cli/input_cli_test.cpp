// orvanta input and orvanta pasteboard over the emulator. The copies of secret fields, which need the
// Secret Service, are tested in tests/keyring/.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/cli/cli_harness.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::contains;

using testing::CliResult;
using testing::kIPhone16;
using Json = nlohmann::json;

constexpr const char* kUnicode = "Zo\xC3\xAB \xF0\x9F\x91\xA9\xE2\x80\x8D\xF0\x9F\x92\xBB e\xCC\x81\xCC\xA3\nline two";

class InputCliTest : public testing::TargetedCliTest {
 protected:
  // An xclip on PATH whose clipboard is the emulator's host pasteboard, as the Mac's is for simctl.
  void installHostClipboard() {
    const auto bin = root() / "bin";
    std::filesystem::create_directories(bin);
    testing::writeBytes(
        bin / "xclip",
        "#!/bin/sh\n"
        "board=\"$ORVANTA_EMULATOR_HOME/host-pasteboard\"\n"
        "case \" $* \" in\n"
        "  *' -out '*) [ -f \"$board\" ] && exec cat \"$board\"; exit 1 ;;\n"
        "  *) mkdir -p \"$ORVANTA_EMULATOR_HOME\"; cat > \"$board.new\" && mv \"$board.new\" \"$board\" ;;\n"
        "esac\n");
    std::filesystem::permissions(bin / "xclip", std::filesystem::perms::owner_all);
    setEnvironment("PATH", bin.string() + ":" + std::string(std::getenv("PATH")));
    setEnvironment("DISPLAY", ":99");
  }
  std::optional<std::string> hostClipboard() { return testing::readBytes(root() / "emulator" / "host-pasteboard"); }
  std::string simulatorClipboard() { return orvanta({"pasteboard", "show"}).out; }

  void expectFailure(const CliResult& result, int status, const std::string& kind, const std::string& message) {
    EXPECT_EQ(result.status, status) << result.err;
    EXPECT_TRUE(contains(result.err, message)) << result.err;
    if (!result.out.empty()) {
      EXPECT_EQ(result.json()["error"]["kind"], kind);
      EXPECT_EQ(result.json()["error"]["message"], message);
    }
  }
};

TEST_F(InputCliTest, ProfilesAndFieldsAreKeptAndListed) {
  auto added = orvanta({"input", "profile", "add", "Shop tester", "--json"});
  ASSERT_EQ(added.status, 0) << added.err;
  const std::string shopID = added.json()["id"];
  ASSERT_EQ(orvanta({"input", "profile", "add", "Admin"}).status, 0);

  ASSERT_EQ(
      orvanta({"input", "field", "add", "--kind", "email", "--label", "Email", "--value", "a@example.com"}).status, 0);
  ASSERT_EQ(orvanta({"input", "field", "add", "--kind", "otp", "--label", "Code", "--no-value"}).status, 0);
  ASSERT_EQ(orvanta({"input", "profile", "select", "Admin"}).status, 0);
  ASSERT_EQ(orvanta({"input", "field", "add", "--kind", "username", "--label", "User", "--value", "root", "--profile",
                     shopID})
                .status,
            0);

  auto listed = orvanta({"input", "profiles", "--json"});
  ASSERT_EQ(listed.status, 0) << listed.err;
  const Json document = listed.json();
  ASSERT_EQ(document["profiles"].size(), 2u);
  EXPECT_EQ(document["selectedProfileID"], document["profiles"][1]["id"]);
  const Json& fields = document["profiles"][0]["fields"];
  ASSERT_EQ(fields.size(), 3u);
  EXPECT_EQ(fields[0]["plainValue"], "a@example.com");
  EXPECT_EQ(fields[1]["savesValue"], false);
  EXPECT_FALSE(fields[1].contains("plainValue"));
  EXPECT_EQ(fields[2]["label"], "User");

  auto text = orvanta({"input", "profiles"});
  EXPECT_TRUE(contains(text.out, "* Admin")) << text.out;
  EXPECT_TRUE(contains(text.out, "Code [One-Time Code]  (no value)")) << text.out;

  ASSERT_EQ(orvanta({"input", "field", "remove", "Email", "--profile", "Shop tester"}).status, 0);
  expectFailure(orvanta({"input", "field", "remove", "Email", "--profile", "Shop tester", "--json"}), 1,
                "fieldNotFound", "That field no longer exists.");
  ASSERT_EQ(orvanta({"input", "profile", "remove", shopID}).status, 0);
  EXPECT_EQ(orvanta({"input", "profiles", "--json"}).json()["profiles"].size(), 1u);
}

TEST_F(InputCliTest, BadFieldOptionsAreUsageErrors) {
  ASSERT_EQ(orvanta({"input", "profile", "add", "A"}).status, 0);
  struct Row {
    std::vector<std::string> arguments;
    std::string message;
  };
  const std::vector<Row> rows = {
      {{"--kind", "pin", "--label", "PIN", "--value", "1"}, "Unknown kind \"pin\""},
      {{"--kind", "password", "--label", "Password", "--value", "hunter2"}, "never taken from an argument"},
      {{"--kind", "email", "--label", "Email"}, "Give the value with --value TEXT, --secret, or --no-value."},
      {{"--kind", "email", "--label", "Email", "--value", "a", "--no-value"}, "Give only one of"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.message);
    std::vector<std::string> arguments = {"input", "field", "add"};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    auto result = orvanta(arguments);
    EXPECT_EQ(result.status, 2) << result.err;
    EXPECT_TRUE(contains(result.err, row.message)) << result.err;
  }
  auto empty = orvanta({"input", "field", "add", "--kind", "email", "--label", "  ", "--value", "x"});
  EXPECT_EQ(empty.status, 1);
  EXPECT_TRUE(contains(empty.err, "Give the field a label.")) << empty.err;
}

TEST_F(InputCliTest, PasteboardRoundTripsUtf8AsIs) {
  auto set = orvanta({"pasteboard", "set", kUnicode, "--json"});
  ASSERT_EQ(set.status, 0) << set.err;
  EXPECT_EQ(set.json(), (Json{{"simulatorUDID", kIPhone16}, {"viaHostPasteboard", false}}));
  EXPECT_EQ(simulatorClipboard(), kUnicode);
  EXPECT_EQ(orvanta({"pasteboard", "show", "--json"}).json()["stdout"], kUnicode);

  ASSERT_EQ(orvanta({"pasteboard", "set", "-"}, std::string("from stdin\n")).status, 0);
  EXPECT_EQ(simulatorClipboard(), "from stdin\n");

  // Each simulator has a clipboard of its own.
  EXPECT_EQ(orvanta({"pasteboard", "show", "--device", testing::kIPhone15Old}).out, "");
}

TEST_F(InputCliTest, PlainFieldCopiesWithoutTheSecretStoreButCannotBeClearedLater) {
  ASSERT_EQ(orvanta({"input", "profile", "add", "A"}).status, 0);
  ASSERT_EQ(orvanta({"input", "field", "add", "--kind", "custom", "--label", "Greeting", "--value", kUnicode}).status,
            0);
  auto copied = orvanta({"input", "copy", "Greeting", "--json"});
  ASSERT_EQ(copied.status, 0) << copied.err;
  EXPECT_EQ(copied.json()["fingerprintStored"], false);
  EXPECT_TRUE(contains(copied.err, "will not be able to clear this copy")) << copied.err;
  EXPECT_EQ(simulatorClipboard(), kUnicode);

  auto clear = orvanta({"input", "clear"});
  ASSERT_EQ(clear.status, 0) << clear.err;
  EXPECT_EQ(clear.out, "Nothing Orvanta copied is waiting to be cleared\n");
  EXPECT_EQ(simulatorClipboard(), kUnicode);

  expectFailure(orvanta({"input", "copy", "Nope", "--json"}), 1, "fieldNotFound", "That field no longer exists.");
}

TEST_F(InputCliTest, RetryGoesThroughTheHostClipboardWhenPbcopyKeepsNothing) {
  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"pbcopyStoresNothing": {}})");
  ASSERT_EQ(orvanta({"pasteboard", "show"}).out, "");

  // Without a clipboard on this computer there is nothing to retry through.
  expectFailure(orvanta({"pasteboard", "set", "hello", "--json"}), 1, "writeNotAccepted",
                "The Simulator didn't accept the clipboard write.");

  installHostClipboard();
  auto set = orvanta({"pasteboard", "set", kUnicode, "--json"});
  ASSERT_EQ(set.status, 0) << set.err;
  EXPECT_EQ(set.json()["viaHostPasteboard"], true);
  EXPECT_EQ(simulatorClipboard(), kUnicode);
  EXPECT_EQ(hostClipboard().value_or("?"), "") << "the value must be taken off the host's clipboard";

  // pbsync on its own copies the host's clipboard.
  testing::writeBytes(root() / "emulator" / "host-pasteboard", "from the Mac");
  ASSERT_EQ(orvanta({"pasteboard", "sync"}).status, 0);
  EXPECT_EQ(simulatorClipboard(), "from the Mac");
}

}  // namespace
}  // namespace orvanta
