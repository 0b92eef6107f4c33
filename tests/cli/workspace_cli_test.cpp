// orvanta workspace, end to end over the simctl emulator: a setup saved from one state is restored onto a
// shut-down simulator, a value the simulator ignores stops the restore, and the store file keeps its rules.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/cli/cli_harness.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::contains;
using testing::kIPhone16;
using Json = nlohmann::json;

class WorkspaceCliTest : public testing::TargetedCliTest {
 protected:
  std::filesystem::path storeFile() const { return root() / "data" / "orvanta" / "Workspaces" / "workspaces.json"; }
  std::string emulatorAnswer(std::vector<std::string> arguments) {
    auto answer = simctl(std::move(arguments));
    EXPECT_EQ(answer.status, 0) << answer.err;
    return answer.out;
  }
  // Sets a dark, high-contrast, overridden, located state and saves it as `name`.
  void saveDarkSetup(const std::string& name) {
    ASSERT_EQ(orvanta({"ui", "appearance", "dark"}).status, 0);
    ASSERT_EQ(orvanta({"ui", "contrast", "on"}).status, 0);
    ASSERT_EQ(orvanta({"status-bar", "set", "--time", "9:41", "--battery-level", "100"}).status, 0);
    ASSERT_EQ(orvanta({"location", "set", "48.1374", "11.5755"}).status, 0);
    auto saved = orvanta({"workspace", "save", name, "--app", "com.example.cafe"});
    ASSERT_EQ(saved.status, 0) << saved.err;
  }
};

TEST_F(WorkspaceCliTest, SavedSetupIsRestoredOntoAShutDownSimulatorWhichBootsFirst) {
  saveDarkSetup("Checkout dark");
  auto shown = orvanta({"--json", "workspace", "show", "Checkout dark"}).json();
  EXPECT_EQ(shown["simulator"]["udid"], kIPhone16);
  EXPECT_EQ(shown["bundleIdentifier"], "com.example.cafe");
  EXPECT_EQ(shown["state"]["appearance"], "dark");
  EXPECT_EQ(shown["state"]["increasedContrast"], true);
  EXPECT_EQ(shown["state"]["statusBarOverride"]["time"], "9:41");
  EXPECT_EQ(shown["state"]["location"], (Json{{"latitude", 48.1374}, {"longitude", 11.5755}}));
  EXPECT_TRUE(shown["createdAt"].get<std::string>().ends_with("Z"));

  // A second save under the same name is refused.
  expectFailure(orvanta({"--json", "workspace", "save", "Checkout dark"}), "nameTaken",
                "A workspace named \"Checkout dark\" already exists; choose another name.");

  ASSERT_EQ(orvanta({"ui", "appearance", "light"}).status, 0);
  ASSERT_EQ(orvanta({"ui", "contrast", "off"}).status, 0);
  ASSERT_EQ(orvanta({"status-bar", "clear"}).status, 0);
  emulatorAnswer({"shutdown", kIPhone16});

  const auto report = root() / "restore.xml";
  auto restored = orvanta({"--yes", "workspace", "restore", "Checkout dark", "--junit", report.string()});
  ASSERT_EQ(restored.status, 0) << restored.out << restored.err;
  EXPECT_TRUE(restored.out.starts_with("Restore Workspace: Checkout dark\n")) << restored.out;
  const auto boot = restored.out.find("1. Boot Simulator ...\n   succeeded");
  const auto appearance = restored.out.find("2. Set Appearance: Dark ...\n");
  const auto launch = restored.out.find("7. Launch App ...\n");
  ASSERT_NE(boot, std::string::npos) << restored.out;
  EXPECT_LT(boot, appearance);
  EXPECT_LT(appearance, launch);
  EXPECT_TRUE(restored.out.ends_with("7 succeeded.\n")) << restored.out;
  EXPECT_EQ(emulatorAnswer({"ui", kIPhone16, "appearance"}), "dark\n");
  EXPECT_EQ(emulatorAnswer({"ui", kIPhone16, "increase_contrast"}), "enabled\n");
  EXPECT_TRUE(contains(emulatorAnswer({"status_bar", kIPhone16, "list"}), "Time: 9:41"));
  EXPECT_TRUE(std::filesystem::exists(report));

  // Booted now: the same restore has nothing to boot, and --json is the shape of a scenario run.
  auto again = orvanta({"--yes", "--json", "workspace", "restore", "Checkout dark"});
  ASSERT_EQ(again.status, 0) << again.err;
  auto json = again.json();
  EXPECT_EQ(json["summary"], "6 succeeded.");
  EXPECT_EQ(json["stepResults"][0]["title"], "Set Appearance: Dark");
  EXPECT_EQ(json["stepResults"][5]["outcome"], "succeeded");
}

TEST_F(WorkspaceCliTest, AValueTheSimulatorIgnoresFailsItsStepAndTheRestAreNotRun) {
  saveDarkSetup("Dark");
  // This simulator answers every ui call with "light" and changes nothing.
  setEnvironment("ORVANTA_EMULATOR_FAULTS", R"({"ui": {"exit": 0, "stdout": "light\n"}})");
  auto restored = orvanta({"--yes", "--json", "workspace", "restore", "Dark"});
  EXPECT_EQ(restored.status, 1);
  auto json = restored.json();
  EXPECT_EQ(json["summary"], "1 failed, 5 not run.");
  EXPECT_EQ(json["stepResults"][0]["outcome"], "failed");
  EXPECT_EQ(json["stepResults"][0]["message"], "Sent appearance dark, but the simulator reports light.");
  for (std::size_t index = 1; index < 6; ++index) EXPECT_EQ(json["stepResults"][index]["outcome"], "notRun");
  EXPECT_EQ(json["error"]["kind"], "scenarioFailed");
}

TEST_F(WorkspaceCliTest, TheStoreFileIsMovedAsideWhenUnreadableAndKeepsWhatItCannotRead) {
  std::filesystem::create_directories(storeFile().parent_path());
  testing::writeBytes(storeFile(), "{not json");
  auto listed = orvanta({"workspace", "list"});
  EXPECT_EQ(listed.status, 0);
  EXPECT_TRUE(contains(listed.err, "could not be read; it was moved to ")) << listed.err;
  EXPECT_EQ(listed.out, "No workspaces yet. Save the target's setup with 'orvanta workspace save NAME'.\n");
  bool movedAside = false;
  for (const auto& entry : std::filesystem::directory_iterator(storeFile().parent_path())) {
    const auto name = entry.path().filename().string();
    movedAside |= name.starts_with("workspaces.unreadable-") && name.ends_with(".json");
  }
  EXPECT_TRUE(movedAside);

  const Json future = Json::parse(R"({"id": "0C2B1E7A-5D4F-4E8B-9A61-3F2E1D0C9B8A", "schemaVersion": 2, "layout": [1, 2]})");
  testing::writeBytes(storeFile(), Json{{"formatVersion", 1}, {"items", Json::array({future})}}.dump());
  saveDarkSetup("Mine");
  auto list = orvanta({"--json", "workspace", "list"}).json();
  ASSERT_EQ(list.size(), 2u) << list;
  EXPECT_EQ(list[0]["supported"], false);
  EXPECT_EQ(list[0]["message"], "This workspace was saved by a newer version of Orvanta (schema 2).");
  EXPECT_EQ(Json::parse(*testing::readBytes(storeFile()))["items"][0], future);

  // Export, import: the copy is named " 2"; a rename onto a taken name is refused.
  const auto exported = root() / "mine.json";
  ASSERT_EQ(orvanta({"workspace", "export", "Mine", exported.string()}).status, 0);
  auto imported = orvanta({"workspace", "import", exported.string()});
  ASSERT_EQ(imported.status, 0) << imported.err;
  EXPECT_TRUE(imported.out.starts_with("Imported \"Mine 2\"")) << imported.out;
  expectFailure(orvanta({"workspace", "rename", "Mine 2", "Mine"}), "nameTaken",
                "A workspace named \"Mine\" already exists; choose another name.");
  ASSERT_EQ(orvanta({"workspace", "delete", "Mine 2"}).status, 0);
  EXPECT_EQ(orvanta({"--json", "workspace", "list"}).json().size(), 2u);
}

TEST_F(WorkspaceCliTest, ASimulatorThatIsGoneIsNamedWithItsKindAndAStandIn) {
  saveDarkSetup("Gone");
  auto item = orvanta({"--json", "workspace", "show", "Gone"}).json();
  ASSERT_EQ(orvanta({"workspace", "delete", "Gone"}).status, 0);
  const auto exported = root() / "gone.json";
  // A store item as another computer saved it: the same kind of device under a udid this one lacks.
  Json stored = {{"id", "5A0E2C4B-1D3F-4A6E-8B7C-9D0E1F2A3B4C"},
                 {"schemaVersion", 1},
                 {"name", "Gone"},
                 {"createdAt", 1},
                 {"updatedAt", 2},
                 {"simulator", item["simulator"]},
                 {"state", item["state"]},
                 {"pinnedScenarioIDs", Json::array()}};
  stored["simulator"]["udid"] = "11111111-2222-4333-8444-555555555555";
  std::ofstream(exported) << Json{{"formatVersion", 1}, {"items", Json::array({stored})}}.dump();
  ASSERT_EQ(orvanta({"workspace", "import", exported.string()}).status, 0);

  auto restored = orvanta({"--yes", "workspace", "restore", "Gone"});
  EXPECT_EQ(restored.status, 1);
  EXPECT_TRUE(contains(restored.err, "orvanta: The simulator this workspace was saved from is gone: \"iPhone 16\" (device type " +
                                         item["simulator"]["deviceTypeIdentifier"].get<std::string>() + ", runtime " +
                                         item["simulator"]["runtimeIdentifier"].get<std::string>() +
                                         ", udid 11111111-2222-4333-8444-555555555555).\n"))
      << restored.err;
  EXPECT_TRUE(contains(restored.err, std::string("orvanta --device ") + kIPhone16 + " workspace restore")) << restored.err;
}

}  // namespace
}  // namespace orvanta
