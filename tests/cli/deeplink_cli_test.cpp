#include <gtest/gtest.h>

#include "tests/cli/cli_harness.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::contains;

using testing::CliResult;
using testing::kIPadPro;
using testing::kIPhone15Old;
using testing::kIPhone16;
using Json = nlohmann::json;

constexpr const char* kNoHandler = "No app on the simulator is registered to handle this URL.";

class DeepLinkCliTest : public testing::TargetedCliTest {
 protected:
  Json openedURLs(const char* udid) {
    const Json opened = emulatorState(udid, "openedURLs");
    return opened.is_null() ? Json::array() : opened;
  }
};

TEST_F(DeepLinkCliTest, OpenReachesTheAppThatDeclaresTheScheme) {
  auto opened = orvanta({"open", "  Cafe://menu/today "});
  ASSERT_EQ(opened.status, 0) << opened.err;
  EXPECT_EQ(opened.out, "Opened Cafe://menu/today on iPhone 16.\n");
  EXPECT_EQ(opened.err, "");
  EXPECT_EQ(openedURLs(kIPhone16),
            (Json::array({{{"url", "Cafe://menu/today"}, {"bundleIdentifier", "com.example.cafe"}}})));

  auto json = orvanta({"open", "https://example.com/a", "--json"});
  ASSERT_EQ(json.status, 0) << json.err;
  EXPECT_EQ(json.json(), (Json{{"urlString", "https://example.com/a"},
                               {"simulatorUDID", kIPhone16},
                               {"kind", "https"},
                               {"scheme", "https"}}));
  EXPECT_EQ(openedURLs(kIPhone16)[1]["bundleIdentifier"], "com.apple.mobilesafari");

  // Newest first; moving a repeat to the front is deep_link_service_test's.
  auto history = orvanta({"deeplink", "history", "--json"}).json();
  EXPECT_EQ(history[0]["urlString"], "https://example.com/a");
  EXPECT_EQ(history[1]["urlString"], "Cafe://menu/today");
}

TEST_F(DeepLinkCliTest, FailuresKeepTheirSentences) {
  // Both runtimes' ways of saying that nothing handles the scheme.
  for (const char* device : {kIPhone16, kIPhone15Old}) {
    SCOPED_TRACE(device);
    auto refused = orvanta({"open", "tea://pot", "--device", device, "--json"});
    expectFailure(refused, "noHandler", kNoHandler);
  }
  expectFailure(orvanta({"open", "cafe://x", "--device", kIPadPro}), "simulatorNotBooted",
                "The selected simulator is no longer booted.");
  expectFailure(orvanta({"open", "myapp://in box", "--json"}), "malformedURL", "That doesn't look like a valid URL.");
  expectFailure(orvanta({"open", "example.com"}), "missingScheme",
                "The URL needs a scheme, like myapp:// or https://.");
  expectFailure(orvanta({"open", " "}), "emptyURL", "Enter a URL first.");

  setEnvironment("ORVANTA_EMULATOR_FAULTS",
                 R"({"openurl": {"exit": 60, "stderr": "An error was encountered processing the command )"
                 R"((domain=NSPOSIXErrorDomain, code=60):\nOperation timed out\n"}})");
  auto timedOut = orvanta({"open", "cafe://x"});
  expectFailure(timedOut, "simctlFailed", "Couldn't send the URL to the simulator.");
  EXPECT_TRUE(contains(timedOut.err, "simctl: Operation timed out\n")) << timedOut.err;

  EXPECT_EQ(orvanta({"deeplink", "history", "--json"}).json(), Json::array());
}

TEST_F(DeepLinkCliTest, ValidateNeedsNoSimulator) {
  ASSERT_EQ(orvanta({"target", "clear"}).status, 0);
  auto custom = orvanta({"deeplink", "validate", "MyApp://x"});
  ASSERT_EQ(custom.status, 0) << custom.err;
  EXPECT_EQ(custom.out, "MyApp://x: custom scheme \"myapp\"\n");
  auto json = orvanta({"deeplink", "validate", "HTTP://[::1]:8080/", "--json"});
  EXPECT_EQ(json.json(), (Json{{"urlString", "HTTP://[::1]:8080/"}, {"kind", "http"}, {"scheme", "http"}}));
  expectFailure(orvanta({"deeplink", "validate", "a%zz:b"}), "malformedURL", "That doesn't look like a valid URL.");
  expectFailure(orvanta({"open", "cafe://x"}), "noSimulatorSelected", "Select a simulator first.");
}

TEST_F(DeepLinkCliTest, SchemesComeFromTheBinaryInfoPlist) {
  auto schemes = orvanta({"deeplink", "schemes", "com.orvanta.fieldnotes", "--json"});
  ASSERT_EQ(schemes.status, 0) << schemes.err;
  EXPECT_EQ(schemes.json(), (Json::array({{{"scheme", "fieldnotes"}},
                                          {{"scheme", "com.googleusercontent.apps.1234-abcd"},
                                           {"urlName", "com.orvanta.fieldnotes.oauth"},
                                           {"role", "Viewer"}}})));
  auto text = orvanta({"deeplink", "schemes", "com.example.cafe"});
  EXPECT_EQ(text.out, "cafe://  com.example.cafe  (Editor)\ncafe-beta://  com.example.cafe  (Editor)\n");
}

TEST_F(DeepLinkCliTest, OpenWithAppWarnsWithoutFailing) {
  auto undeclared = orvanta({"open", "fieldnotes://today", "--app", "com.example.cafe"});
  ASSERT_EQ(undeclared.status, 0) << undeclared.err;
  EXPECT_EQ(undeclared.err,
            "orvanta: warning: com.example.cafe doesn't declare the URL scheme \"fieldnotes\", so the link will open "
            "in another app, or fail if none handles it.\n");
  EXPECT_EQ(openedURLs(kIPhone16)[0]["bundleIdentifier"], "com.orvanta.fieldnotes");

  auto web = orvanta({"open", "https://example.com", "--app", "com.example.cafe"});
  ASSERT_EQ(web.status, 0);
  EXPECT_TRUE(contains(web.err, "universal links usually open in Safari")) << web.err;
}

TEST_F(DeepLinkCliTest, Favorites) {
  auto added = orvanta({"deeplink", "favorites", "add", " cafe://menu ", "--label", "Menu", "--json"});
  ASSERT_EQ(added.status, 0) << added.err;
  const std::string id = added.json()["id"];
  EXPECT_EQ(added.json()["urlString"], "cafe://menu");
  expectFailure(orvanta({"deeplink", "favorites", "add", "cafe://menu"}), "duplicateFavorite",
                "This URL is already a favorite.");

  ASSERT_EQ(orvanta({"deeplink", "favorites", "rename", id, "Today's menu"}).status, 0);
  auto listed = orvanta({"deeplink", "favorites", "--json"});
  EXPECT_EQ(listed.json(), (Json::array({{{"id", id}, {"urlString", "cafe://menu"}, {"label", "Today's menu"}}})));

  auto opened = orvanta({"deeplink", "favorites", "open", "Today's menu"});
  ASSERT_EQ(opened.status, 0) << opened.err;
  EXPECT_EQ(openedURLs(kIPhone16)[0]["url"], "cafe://menu");

  // The host clipboard through a stand-in for wl-copy that keeps what it was given.
  const auto bin = root() / "bin";
  std::filesystem::create_directories(bin);
  testing::writeBytes(bin / "wl-copy", "#!/bin/sh\ncat > \"$0.out\"\n");
  testing::writeBytes(bin / "wl-paste", "#!/bin/sh\ncat \"$(dirname \"$0\")/wl-copy.out\"\n");
  std::filesystem::permissions(bin / "wl-copy", std::filesystem::perms::owner_all);
  std::filesystem::permissions(bin / "wl-paste", std::filesystem::perms::owner_all);
  setEnvironment("PATH", bin.string() + ":/usr/bin:/bin");
  setEnvironment("WAYLAND_DISPLAY", "wayland-test");
  auto copied = orvanta({"deeplink", "favorites", "copy", id});
  ASSERT_EQ(copied.status, 0) << copied.err;
  EXPECT_EQ(testing::readBytes(bin / "wl-copy.out"), "cafe://menu");
  std::filesystem::remove(bin / "wl-copy");
  expectFailure(orvanta({"deeplink", "favorites", "copy", id}), "clipboardFailed",
                "Couldn't copy the URL to the clipboard.");

  ASSERT_EQ(orvanta({"deeplink", "favorites", "remove", id}).status, 0);
  expectFailure(orvanta({"deeplink", "favorites", "open", id}), "favoriteNotFound", "That favorite no longer exists.");
}

}  // namespace
}  // namespace orvanta
