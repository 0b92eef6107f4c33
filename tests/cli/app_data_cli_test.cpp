#include <gtest/gtest.h>

#include "tests/cli/cli_harness.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using AppDataCliTest = testing::TargetedCliTest;
using testing::contains;

constexpr const char* cafe = "com.example.cafe";
constexpr const char* database = "Library/Application Support/Cafe.sqlite";

TEST_F(AppDataCliTest, ContainerPathsInEveryForm) {
  auto data = orvanta({"data", "path", cafe});
  ASSERT_EQ(data.status, 0) << data.err;
  const fs::path container = data.out.substr(0, data.out.size() - 1);
  EXPECT_TRUE(fs::is_directory(container / "Library" / "Preferences"));
  EXPECT_TRUE(orvanta({"data", "path", cafe, "app"}).out.ends_with("Cafe.app\n"));

  auto groups = orvanta({"data", "path", cafe, "groups"});
  ASSERT_EQ(groups.status, 0) << groups.err;
  ASSERT_TRUE(groups.out.starts_with("group.com.example.cafe\t/")) << groups.out;
  auto group = orvanta({"--json", "data", "path", cafe, "group.com.example.cafe"}).json();
  EXPECT_EQ(groups.out, "group.com.example.cafe\t" + group["path"].get<std::string>() + "\n");

  expectFailure(orvanta({"--json", "data", "path", "com.example.gone"}), "appNotInstalled",
                "com.example.gone is not installed on the simulator.");
  expectFailure(orvanta({"data", "path", cafe, "group.nope"}), "containerNotFound",
                "The app has no container group.nope.");
}

TEST_F(AppDataCliTest, PathsThatLeaveTheContainerAreRefused) {
  const fs::path container = orvanta({"--json", "data", "path", cafe}).json()["path"].get<std::string>();
  fs::create_directory_symlink("/", container / "Documents" / "root");
  for (const auto& arguments : std::vector<std::vector<std::string>>{
           {"data", "ls", cafe, ".."},
           {"data", "ls", cafe, "/etc"},
           {"data", "pull", cafe, "Documents/root/etc/passwd", temporary().string()},
           {"data", "inspect", cafe, "Documents/../../x.json"},
           {"data", "rm", cafe, "Documents/root/tmp", "--yes"}}) {
    SCOPED_TRACE(arguments[1] + " " + arguments[3]);
    auto refused = orvanta(arguments);
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(contains(refused.err, " leads outside the app's container.")) << refused.err;
  }
  // The link itself may go; what it points to stays.
  EXPECT_EQ(orvanta({"data", "rm", cafe, "Documents/root", "--yes"}).status, 0);
  EXPECT_TRUE(fs::exists("/etc"));
}

TEST_F(AppDataCliTest, ListPullPushAndRemove) {
  auto listed = orvanta({"--json", "data", "ls", cafe, "Documents", "--recursive"}).json();
  ASSERT_TRUE(listed.is_array());
  ASSERT_EQ(listed.size(), 3u) << listed.dump();
  EXPECT_EQ(listed[0]["path"], "Documents/Receipts");
  EXPECT_EQ(listed[0]["kind"], "folder");
  EXPECT_EQ(listed[2]["path"], "Documents/notes.txt");
  EXPECT_EQ(listed[2]["size"], 30);
  const std::string modified = listed[2]["modified"];
  EXPECT_EQ(modified.size(), 24u);
  EXPECT_EQ(modified.substr(19, 1), ".");
  EXPECT_TRUE(modified.ends_with("Z"));

  const fs::path out = temporary() / "out";
  fs::create_directories(out);
  ASSERT_EQ(orvanta({"data", "pull", cafe, "Documents/notes.txt", out.string()}).status, 0);
  auto again = orvanta({"--json", "data", "pull", cafe, "Documents/notes.txt", out.string()}).json();
  EXPECT_EQ(again["path"], (out / "notes 2.txt").string());
  EXPECT_EQ(testing::readBytes(out / "notes 2.txt"), "Oat milk runs out on Fridays.\n");
  auto folder = orvanta({"--json", "data", "pull", cafe, "Documents", out.string()}).json();
  EXPECT_EQ(folder["fileCount"], 2);
  EXPECT_TRUE(fs::exists(out / "Documents" / "Receipts" / "2026-11-01.json"));
  EXPECT_EQ(testing::entries(out), (std::set<std::string>{"Documents", "notes 2.txt", "notes.txt"}));

  testing::writeBytes(temporary() / "seed.json", "{\"fresh\": true}");
  auto pushed = orvanta({"--json", "data", "push", cafe, (temporary() / "seed.json").string(), "Documents"});
  ASSERT_EQ(pushed.status, 0) << pushed.err;
  EXPECT_EQ(pushed.json()["path"], "Documents/seed.json");
  expectFailure(orvanta({"data", "push", cafe, (temporary() / "seed.json").string(), "Nowhere/deep/x.json"}),
                "pathNotFound", "There is no Nowhere/deep in the app's container.");

  auto asked = orvanta({"data", "rm", cafe, "Documents/seed.json"});
  EXPECT_EQ(asked.status, 1);
  EXPECT_TRUE(contains(asked.err, "pass --yes")) << asked.err;
  EXPECT_EQ(orvanta({"data", "rm", cafe, "Documents/seed.json", "--yes"}).status, 0);
  expectFailure(orvanta({"data", "rm", cafe, "Documents/seed.json", "--yes"}), "pathNotFound",
                "There is no Documents/seed.json in the app's container.");
}

TEST_F(AppDataCliTest, TheInspectorSeesTheRowsStillInTheLog) {
  auto found = orvanta({"--json", "data", "inspect", cafe}).json();
  std::map<std::string, std::string> kinds;
  for (const auto& file : found) kinds[file["path"]] = file["kind"];
  EXPECT_EQ(kinds, (std::map<std::string, std::string>{{database, "sqlite"},
                                                       {"Documents/Receipts/2026-11-01.json", "json"},
                                                       {"Library/Caches/menu.json", "json"},
                                                       {"Library/Preferences/com.example.cafe.plist", "propertyList"}}));

  const fs::path container = orvanta({"--json", "data", "path", cafe}).json()["path"].get<std::string>();
  // The app's database, its log and its shared-memory file, as the app left them.
  auto companions = [&] {
    std::vector<std::pair<std::uintmax_t, fs::file_time_type>> state;
    for (const char* suffix : {"", "-wal", "-shm"}) {
      const fs::path file = container / (std::string(database) + suffix);
      state.emplace_back(fs::file_size(file), fs::last_write_time(file));
    }
    return state;
  };
  const auto before = companions();
  auto inspected = orvanta({"--json", "data", "inspect", cafe, database}).json();
  EXPECT_EQ(inspected["kind"], "sqlite");
  ASSERT_EQ(inspected["tables"].size(), 2u);
  const auto& orders = inspected["tables"][1];
  EXPECT_EQ(orders["name"], "ZORDER");
  EXPECT_EQ(orders["rowCount"], 1001);
  EXPECT_EQ(orders["columns"][1], nlohmann::json::parse(R"({"name": "ZDRINK", "type": "TEXT", "notNull": true,
                                                             "primaryKey": false})"));
  EXPECT_EQ(orders["indexes"][0]["name"], "ZORDER_ZDRINK_INDEX");
  EXPECT_EQ(companions(), before);

  auto rows = orvanta({"--json", "data", "sql", cafe, database,
                       "SELECT ZDRINK AS drink, count(*) AS n FROM ZORDER GROUP BY ZDRINK ORDER BY n DESC, drink"})
                  .json();
  EXPECT_EQ(rows[0], nlohmann::json::parse(R"({"drink": "Cortado", "n": 334})"));
  auto blobs = orvanta({"--json", "data", "sql", cafe, database, "SELECT ZNAME, ZAVATAR FROM ZCUSTOMER"}).json();
  EXPECT_EQ(blobs[0]["ZAVATAR"], nlohmann::json::parse(R"({"base64": "iVBORw=="})"));
  EXPECT_EQ(blobs[1]["ZAVATAR"], nullptr);
  auto table = orvanta({"data", "sql", cafe, database, "SELECT Z_PK, ZDRINK FROM ZORDER ORDER BY Z_PK LIMIT 2", "--limit", "1"});
  EXPECT_EQ(table.status, 0);
  EXPECT_EQ(table.out, "Z_PK  ZDRINK\n1     Flat white\n(1 row)\n");
  EXPECT_EQ(table.err, "orvanta: Only the first 1 rows are shown (--limit raises the limit).\n");
  expectFailure(orvanta({"--json", "data", "sql", cafe, database, "DELETE FROM ZORDER"}), "queryRefused",
                "Only a query that reads can run: the statement would change the database");

  auto plist = orvanta({"--json", "data", "inspect", cafe, "Library/Preferences/com.example.cafe.plist"}).json();
  EXPECT_EQ(plist["kind"], "propertyList");
  EXPECT_EQ(plist["format"], "binary");
  EXPECT_EQ(plist["value"]["value"]["launchCount"], nlohmann::json::parse(R"({"type": "integer", "value": 7})"));
  auto json = orvanta({"data", "inspect", cafe, "Library/Caches/menu.json"});
  EXPECT_TRUE(contains(json.out, "  seasonal (null): null\n")) << json.out;
  expectFailure(orvanta({"data", "inspect", cafe, "Documents/notes.txt"}), "notInspectable",
                "Documents/notes.txt is not a SQLite database, property list or JSON file.");
}

TEST_F(AppDataCliTest, DefaultsAreTypedWrittenThroughTheDaemonAndReadBack) {
  auto all = orvanta({"--json", "defaults", cafe}).json();
  EXPECT_TRUE(all["domain"].get<std::string>().ends_with("/Library/Preferences/com.example.cafe"));
  EXPECT_EQ(all["values"]["tipPercent"], nlohmann::json::parse(R"({"type": "real", "value": 12.5})"));
  EXPECT_EQ(orvanta({"defaults", cafe, "favoriteDrink"}).out, "favoriteDrink (string): \"Flat white\"\n");

  ASSERT_EQ(orvanta({"app", "launch", cafe}).status, 0);
  auto written = orvanta({"defaults", "write", cafe, "lastSync", "2026-11-24T08:31:13Z", "--type", "date"});
  ASSERT_EQ(written.status, 0) << written.err;
  EXPECT_EQ(written.out, "Terminated com.example.cafe first.\n"
                         "Wrote lastSync (date): 2026-11-24T08:31:13.000Z (confirmed).\n");
  EXPECT_EQ(orvanta({"--json", "defaults", cafe, "lastSync"}).json()["values"]["lastSync"]["value"],
            "2026-11-24T08:31:13.000Z");
  auto deleted = orvanta({"--json", "defaults", "delete", cafe, "lastSync"}).json();
  EXPECT_EQ(deleted["deleted"], true);
  EXPECT_EQ(deleted["terminatedApp"], false);
  expectFailure(orvanta({"defaults", cafe, "lastSync"}), "keyNotFound", "The preferences have no key lastSync.");

  auto group = orvanta({"--json", "defaults", "write", cafe, "widgetEnabled", "no", "--type", "bool", "--group",
                        "group.com.example.cafe"})
                   .json();
  EXPECT_TRUE(group["domain"].get<std::string>().ends_with("/Library/Preferences/group.com.example.cafe"));
  EXPECT_EQ(group["value"], nlohmann::json::parse(R"({"type": "boolean", "value": false})"));

  EXPECT_EQ(orvanta({"defaults", "write", cafe, "n", "x", "--type", "int"}).err,
            "orvanta: \"x\" is not a valid int value.\n");
  setEnvironment("ORVANTA_EMULATOR_DEFAULTS_LOST", "1");
  expectFailure(orvanta({"--json", "defaults", "write", cafe, "launchCount", "8", "--type", "int"}), "changeNotConfirmed",
                "Wrote launchCount (integer): 8, but the app's preferences read back launchCount (integer): 7.");
}

TEST_F(AppDataCliTest, MediaAndKeychain) {
  for (const char* name : {"beach.heic", "beach.mov", "people.vcf", "notes.pdf", "root.pem"}) {
    testing::writeBytes(temporary() / name, "x");
  }
  auto added = orvanta({"--json", "media", "add", (temporary() / "beach.heic").string(),
                        (temporary() / "beach.mov").string(), (temporary() / "people.vcf").string()});
  ASSERT_EQ(added.status, 0) << added.err;
  EXPECT_EQ(added.json()["added"][1]["kind"], "video");
  EXPECT_EQ(emulatorState(testing::kIPhone16, "media").size(), 3u);
  expectFailure(orvanta({"media", "add", (temporary() / "notes.pdf").string()}), "unsupportedMedia",
                "Couldn't add " + (temporary() / "notes.pdf").string() +
                    ": File type unsupported. Photos, videos and contacts (vCard) can be added.");

  ASSERT_EQ(orvanta({"keychain", "add-root-cert", (temporary() / "root.pem").string()}).status, 0);
  EXPECT_EQ(emulatorState(testing::kIPhone16, "keychain")["certificates"][0]["root"], true);
  EXPECT_EQ(orvanta({"keychain", "reset"}).status, 1);
  EXPECT_EQ(orvanta({"keychain", "reset", "--yes"}).status, 0);
  EXPECT_EQ(emulatorState(testing::kIPhone16, "keychain")["resets"], 1);
}

TEST_F(AppDataCliTest, SnapshotsPutTheContainersBack) {
  auto saved = orvanta({"--json", "data", "snapshot", "save", cafe, "clean"});
  ASSERT_EQ(saved.status, 0) << saved.err;
  EXPECT_EQ(saved.json()["groups"], nlohmann::json::parse(R"(["group.com.example.cafe"])"));
  EXPECT_TRUE(fs::exists(root() / "data" / "orvanta" / "Snapshots" / cafe / "clean" / "manifest.json"));
  expectFailure(orvanta({"data", "snapshot", "save", cafe, "clean"}), "snapshotExists",
                "A snapshot named clean already exists for com.example.cafe.");

  testing::writeBytes(temporary() / "junk.txt", "junk");
  ASSERT_EQ(orvanta({"data", "push", cafe, (temporary() / "junk.txt").string()}).status, 0);
  ASSERT_EQ(orvanta({"data", "rm", cafe, "Documents", "--yes"}).status, 0);
  ASSERT_EQ(orvanta({"data", "rm", cafe, "Widget", "--group", "group.com.example.cafe", "--yes"}).status, 0);

  EXPECT_EQ(orvanta({"data", "snapshot", "restore", cafe, "clean"}).status, 1);  // asks
  auto restored = orvanta({"--json", "--yes", "data", "snapshot", "restore", cafe, "clean"});
  ASSERT_EQ(restored.status, 0) << restored.err;
  EXPECT_GE(restored.json()["filesVerified"], 8);
  auto names = orvanta({"--json", "data", "ls", cafe}).json();
  std::vector<std::string> top;
  for (const auto& entry : names) top.push_back(entry["path"]);
  EXPECT_EQ(top, (std::vector<std::string>{"Documents", "Library", "tmp"}));
  EXPECT_EQ(orvanta({"data", "ls", cafe, "Widget/today.json", "--group", "group.com.example.cafe"}).status, 0);
  EXPECT_EQ(orvanta({"--json", "data", "sql", cafe, database, "SELECT count(*) AS n FROM ZORDER"}).json()[0]["n"], 1001);

  auto listed = orvanta({"data", "snapshot", "list"});
  EXPECT_TRUE(contains(listed.out, "com.example.cafe  clean")) << listed.out;
  EXPECT_EQ(orvanta({"data", "snapshot", "delete", "clean"}).status, 0);
  EXPECT_EQ(orvanta({"data", "snapshot", "list"}).out, "No snapshots.\n");
  expectFailure(orvanta({"data", "snapshot", "restore", cafe, "clean", "--yes"}), "snapshotNotFound",
                "There is no snapshot named clean for com.example.cafe.");
}

TEST_F(AppDataCliTest, ResetReinstallsAndKeepsTheGroups) {
  EXPECT_EQ(orvanta({"data", "reset", cafe}).status, 1);  // asks
  auto reset = orvanta({"--json", "--yes", "data", "reset", cafe});
  ASSERT_EQ(reset.status, 0) << reset.err;
  EXPECT_EQ(reset.json()["outcome"], "succeeded");
  EXPECT_EQ(orvanta({"data", "path", cafe, "groups"}).status, 0);
  expectFailure(orvanta({"data", "reset", "com.apple.Maps", "--yes"}), "systemAppNotSupported",
                "Reset App Data isn't supported for a system app.");
}

}  // namespace
}  // namespace orvanta
