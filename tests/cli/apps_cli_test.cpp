#include <unistd.h>

#include <fstream>

#include <gtest/gtest.h>

#include "core/simulator_mutation_gate.hpp"
#include "support/png.hpp"
#include "tests/cli/cli_harness.hpp"

namespace orvanta {
namespace {

using testing::contains;

using testing::CliTest;
using testing::kIPhone16;

namespace fs = std::filesystem;

const std::string kCafe = "Caf\xc3\xa9 \"Bar\"";

class AppsCliTest : public testing::TargetedCliTest {
 protected:
  nlohmann::json appsJson(const std::string& filter = "all") {
    auto result = orvanta({"apps", "--json", "--filter", filter});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.json();
  }
  static const nlohmann::json* find(const nlohmann::json& apps, const std::string& bundleIdentifier) {
    for (const auto& app : apps) {
      if (app["bundleIdentifier"] == bundleIdentifier) return &app;
    }
    return nullptr;
  }

  // An .app folder as a build would leave it.
  fs::path buildBundle(const std::string& name, const std::string& bundleIdentifier) {
    const fs::path bundle = root() / "Build" / (name + ".app");
    fs::create_directories(bundle);
    std::ofstream(bundle / "Info.plist") << "{ CFBundleIdentifier = \"" << bundleIdentifier
                                         << "\"; CFBundleName = " << name << "; CFBundleExecutable = " << name
                                         << "; CFBundleVersion = 3; CFBundleIconFiles = ( Icon ); }";
    std::ofstream(bundle / "Icon@2x.png", std::ios::binary) << solidColorPng(40, 40, 200, 10, 10);
    std::ofstream(bundle / name) << "";
    return bundle;
  }
};

TEST_F(AppsCliTest, ListsTheTargetsAppsSortedAndFiltered) {
  auto text = orvanta({"apps"});
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_TRUE(text.out.starts_with("NAME")) << text.out;  // which apps, in which order: simulator_app_test

  auto user = appsJson("user");
  ASSERT_EQ(user.size(), 2u);
  const auto& cafe = user[0];
  EXPECT_EQ(cafe["displayName"], kCafe);  // from the emulator's \U escapes, as simctl prints them
  const fs::path bundlePath = cafe["bundlePath"].get<std::string>();
  EXPECT_TRUE(fs::is_directory(bundlePath)) << bundlePath;
  EXPECT_EQ(fs::path(cafe["iconPath"].get<std::string>()), bundlePath / "AppIcon60x60@3x.png");

  auto system = appsJson("system");
  ASSERT_FALSE(system.empty());
  for (const auto& app : system) {
    SCOPED_TRACE(app.dump());
    EXPECT_EQ(app["kind"], "system");
    EXPECT_FALSE(app.contains("iconPath"));  // their bundles live in the runtime
  }
  EXPECT_EQ(appsJson().size(), user.size() + system.size());
}

TEST_F(AppsCliTest, LaunchAndTerminate) {
  auto launched = orvanta({"app", "launch", "com.example.cafe"});
  ASSERT_EQ(launched.status, 0) << launched.err;
  EXPECT_TRUE(launched.out.starts_with("Launched " + kCafe + " on iPhone 16 (process ")) << launched.out;

  // Launching a running app brings it forward: the same process.
  auto again = orvanta({"--json", "app", "launch", "com.example.cafe"}).json();
  EXPECT_TRUE(contains(launched.out, "(process " + std::to_string(again["processIdentifier"].get<int>()) + ")."));

  auto terminated = orvanta({"app", "terminate", "com.example.cafe"});
  ASSERT_EQ(terminated.status, 0) << terminated.err;
  EXPECT_EQ(terminated.out, "Terminated " + kCafe + " on iPhone 16.\n");

  expectFailure(orvanta({"--json", "app", "terminate", "com.example.cafe"}), "appNotRunning",
                kCafe + " isn't running.");

  // A hidden app is not listed but still found; simctl refuses to launch it.
  auto springboard = orvanta({"app", "launch", "com.apple.springboard"});
  EXPECT_EQ(springboard.status, 1);
  EXPECT_TRUE(springboard.err.starts_with(
      "orvanta: Couldn't launch SpringBoard: An error was encountered processing the command "
      "(domain=FBSOpenApplicationServiceErrorDomain, code=1):\n"))
      << springboard.err;

  auto missing = orvanta({"--json", "app", "launch", "com.example.missing"});
  expectFailure(missing, "noAppSelected", "Choose an installed app.");
  EXPECT_TRUE(contains(missing.err, "com.example.missing is not installed on iPhone 16.")) << missing.err;
}

TEST_F(AppsCliTest, InstallThenUninstallWithConfirmation) {
  const fs::path built = buildBundle("Rocket", "com.example.rocket");
  auto installed = orvanta({"app", "install", built.string() + "/"});
  ASSERT_EQ(installed.status, 0) << installed.err;
  EXPECT_EQ(installed.out, "Installed Rocket (com.example.rocket) on iPhone 16.\n");

  auto listed = appsJson("user");
  const auto* rocket = find(listed, "com.example.rocket");
  ASSERT_NE(rocket, nullptr) << listed.dump();
  const fs::path bundle = (*rocket)["bundlePath"].get<std::string>();
  EXPECT_EQ(fs::path((*rocket)["iconPath"].get<std::string>()), bundle / "Icon@2x.png");
  EXPECT_EQ((*rocket)["version"], "3");
  const std::string data = orvanta({"app", "container", "com.example.rocket"}).out;
  ASSERT_TRUE(fs::is_directory(data.substr(0, data.size() - 1))) << data;
  auto container = orvanta({"--json", "app", "container", "com.example.rocket", "app"}).json();
  EXPECT_EQ(container["container"], "app");
  EXPECT_EQ(fs::path(container["path"].get<std::string>()), bundle);

  // Without a terminal, an uninstall needs --yes.
  auto unconfirmed = orvanta({"app", "uninstall", "com.example.rocket"});
  EXPECT_EQ(unconfirmed.status, 1);
  EXPECT_TRUE(contains(unconfirmed.err, "pass --yes")) << unconfirmed.err;
  ASSERT_NE(find(appsJson("user"), "com.example.rocket"), nullptr);

  auto removed = orvanta({"app", "uninstall", "com.example.rocket", "--yes"});
  ASSERT_EQ(removed.status, 0) << removed.err;
  EXPECT_EQ(removed.out, "Uninstalled Rocket from iPhone 16.\n");
  EXPECT_EQ(find(appsJson("user"), "com.example.rocket"), nullptr);
  EXPECT_FALSE(fs::exists(bundle));

  // The simulator keeps system apps however often it is asked.
  auto kept = orvanta({"--json", "-y", "app", "uninstall", "com.apple.mobilesafari"});
  EXPECT_EQ(kept.status, 1);
  EXPECT_EQ(kept.json()["error"]["kind"], "appStillInstalled");
}

TEST_F(AppsCliTest, AnotherProcessHoldingTheSimulatorRefusesChanges) {
  ASSERT_EQ(orvanta({"app", "launch", "com.example.cafe"}).status, 0);
  SimulatorMutationGate holder(root() / "runtime" / "orvanta");
  ASSERT_TRUE(holder.acquire(kIPhone16, gate_labels::scenario));

  // Every change is refused by the app service (checked there for each); here the refusal reaches the user.
  auto refused = orvanta({"app", "uninstall", "com.example.cafe", "--yes"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_TRUE(refused.err.starts_with(
      "orvanta: Another change to this simulator's apps is in progress. Try again when it finishes.\n"))
      << refused.err;
  EXPECT_TRUE(contains(refused.err, "iPhone 16 is held by scenario (pid " + std::to_string(::getpid()) + ")."))
      << refused.err;
  EXPECT_EQ(orvanta({"--json", "app", "terminate", "com.example.cafe"}).json()["error"]["kind"], "simulatorBusy");
  EXPECT_EQ(orvanta({"apps"}).status, 0) << "reading is not a change";

  holder.release(kIPhone16, gate_labels::scenario);
  // Nothing was changed while refused: the app is installed and still running.
  ASSERT_NE(find(appsJson("user"), "com.example.cafe"), nullptr);
  EXPECT_EQ(orvanta({"app", "terminate", "com.example.cafe"}).status, 0);
}

}  // namespace
}  // namespace orvanta
