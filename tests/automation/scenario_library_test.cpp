#include "automation/scenario_library.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/reference_date.hpp"
#include "support/uuid.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using Case = ScenarioStepKind::Case;
using testing::ScratchFolder;

const std::string kRoute = "0B1C2D3E-4F50-4617-8293-A4B5C6D7E8F9";

std::chrono::system_clock::time_point at(double seconds) { return *fromReferenceSeconds(seconds); }

// Every kind is read, written and titled end to end (tests/app/scenario_cli_test.cpp); these are the kinds
// whose JSON or title takes a path of its own.
TEST(ScenarioModelTest, StepKindsReadFromHandWrittenJsonAndWriteItBack) {
  struct Row {
    const char* json;
    ScenarioStepKind expected;
    const char* title;
  };
  StatusBarOverride bar;
  bar.time = "9:41";
  bar.batteryLevel = 100;
  bar.dataNetwork = StatusBarDataNetwork::lteA;
  const Row rows[] = {
      {R"({"setStatusBarOverride": {"_0": {"time": "9:41", "batteryLevel": 100, "dataNetwork": "lte-a"}}})",
       ScenarioStepKind::setStatusBarOverride(bar), "Set Status Bar Override"},
      {R"({"setLocation": {"_0": {"latitude": 48.1, "longitude": -11.5}}})",
       ScenarioStepKind::setLocation({48.1, -11.5}), "Set Location: 48.1, -11.5"},
      {R"({"runLocationRoute": {"routeID": "0b1c2d3e-4f50-4617-8293-a4b5c6d7e8f9", "speedMetersPerSecond": 8.3}})",
       ScenarioStepKind::runLocationRoute(kRoute, 8.3), "Run Location Route"},
      {R"({"privacyAction": {"actionName": "allow", "serviceName": "camera"}})",
       ScenarioStepKind::privacyAction("allow", "camera"), "allow Privacy: camera"},
      {R"({"openDeepLink": {"urlString": " myapp://x "}})", ScenarioStepKind::openDeepLink(" myapp://x "),
       "Open Deep Link"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.json);
    auto json = nlohmann::json::parse(row.json);
    auto decoded = decodeScenarioStepKind(json);
    ASSERT_TRUE(decoded) << decoded.error();
    EXPECT_EQ(*decoded, row.expected);
    EXPECT_EQ(decoded->title(), row.title);
    auto encoded = encodeScenarioStepKind(*decoded);
    ASSERT_TRUE(encoded);
    // The route id is written upper-case; everything else comes back as it was written.
    auto want = json;
    if (decoded->kind == Case::runLocationRoute) want["runLocationRoute"]["routeID"] = kRoute;
    EXPECT_EQ(*encoded, want);
  }
}

TEST(ScenarioModelTest, KindObjectsAndScenariosThatDoNotDecode) {
  const char* rows[][2] = {
      {R"({"launchApp": {}, "terminateApp": {}})", "Invalid number of keys found, expected one."},
      {R"({"shakeDevice": {}})", "\"shakeDevice\" is not a step kind."},
      {R"({"setAppearance": {"_0": "sepia"}})", "\"sepia\" is not a known value of \"_0\" in setAppearance."},
      {R"({"runLocationRoute": {"routeID": "not-a-uuid", "speedMetersPerSecond": 3}})",
       "\"routeID\" is not a UUID in runLocationRoute."},
      {R"({"resetAppData": {}})", "\"resetPermissions\" is missing in resetAppData."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row[0]);
    auto decoded = decodeScenarioStepKind(nlohmann::json::parse(row[0]));
    ASSERT_FALSE(decoded);
    EXPECT_EQ(decoded.error(), row[1]);
  }
  ScenarioDefinition scenario{"E621E1F8-C36C-495A-93FC-0C247A3E6E5F", 1, "Route", std::nullopt,
                              {{"11111111-2222-4333-8444-555555555555",
                                ScenarioStepKind::runLocationRoute(kRoute, std::nan(""))}},
                              at(1), at(2)};
  EXPECT_FALSE(encodeScenario(scenario));
}

TEST(ScenarioModelTest, ScenarioJsonKeysDatesAndImportDefaults) {
  ScenarioDefinition scenario{"E621E1F8-C36C-495A-93FC-0C247A3E6E5F", 1, "Smoke", std::nullopt,
                              {{"11111111-2222-4333-8444-555555555555", ScenarioStepKind::launchApp()}},
                              at(752000000.25), at(752000100.5)};
  auto json = encodeScenario(scenario);
  ASSERT_TRUE(json);
  EXPECT_EQ(json->dump(),
            R"({"createdAt":752000000.25,"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","name":"Smoke","schemaVersion":1,)"
            R"("steps":[{"id":"11111111-2222-4333-8444-555555555555","kind":{"launchApp":{}}}],"updatedAt":752000100.5})");
  scenario.description = "about";
  auto withDescription = encodeScenario(scenario);
  EXPECT_EQ((*withDescription)["description"], "about");
  EXPECT_EQ(*decodeScenario(*withDescription), scenario);

  auto missingDate = *json;
  missingDate.erase("updatedAt");
  EXPECT_EQ(decodeScenario(missingDate).error(), "\"updatedAt\" is missing in a scenario.");

  auto imported = decodeImportedScenario(nlohmann::json::parse(
                                             R"({"name": "Bare", "steps": [{"kind": {"clearLocation": {}}}]})"),
                                         at(5));
  ASSERT_TRUE(imported) << imported.error();
  EXPECT_EQ(imported->schemaVersion, 1);
  EXPECT_EQ(imported->createdAt, at(5));
  EXPECT_EQ(imported->updatedAt, at(5));
  EXPECT_TRUE(parseUUID(imported->id));
  EXPECT_TRUE(parseUUID(imported->steps.at(0).id));
}

class ScenarioLibraryTest : public ::testing::Test {
 protected:
  std::filesystem::path file() const { return folder / "Scenarios" / "scenarios.json"; }
  ScenarioLibrary load() { return ScenarioLibrary::load(file(), [this] { return now; }); }
  void write(const std::string& text) {
    std::filesystem::create_directories(file().parent_path());
    testing::writeBytes(file(), text);
  }
  nlohmann::json onDisk() const { return nlohmann::json::parse(*testing::readBytes(file())); }
  ScenarioDefinition scenario(std::string name) const {
    return {makeUUID(), 1, std::move(name), std::nullopt, {{makeUUID(), ScenarioStepKind::launchApp()}}, at(10), at(10)};
  }

  ScratchFolder folder;
  std::chrono::system_clock::time_point now = at(1000.5);
};

TEST_F(ScenarioLibraryTest, OtherSchemaVersionsAndItemsThatDoNotDecodeAreKeptInPlace) {
  const std::string v1 = R"({"id":"E621E1F8-C36C-495A-93FC-0C247A3E6E5F","schemaVersion":1,"name":"A","steps":[],
                              "createdAt":1,"updatedAt":2})";
  const std::string v2 = R"({"id":"aaaaaaaa-0000-4000-8000-000000000002","schemaVersion":2,"name":"Future",
                              "steps":[{"teleport":{"x":[1,2.5,{"deep":null}]}}],"newField":true})";
  const std::string v0 = R"({"id":"AAAAAAAA-0000-4000-8000-000000000000","schemaVersion":0})";
  const std::string twoKeys = R"({"id":"BBBBBBBB-0000-4000-8000-000000000000","schemaVersion":1,"name":"B",
      "steps":[{"id":"CCCCCCCC-0000-4000-8000-000000000000","kind":{"launchApp":{},"terminateApp":{}}}],
      "createdAt":1,"updatedAt":2})";
  const std::string noEnvelope = R"({"name":"no id","schemaVersion":1})";
  write(R"({"items":[)" + v2 + "," + noEnvelope + "," + v1 + "," + twoKeys + "," + v0 + "]}");

  auto library = load();
  ASSERT_EQ(library.entries.size(), 4u);
  EXPECT_EQ(library.entries[0], ScenarioLibrary::Entry::unsupported("AAAAAAAA-0000-4000-8000-000000000002", 2));
  EXPECT_EQ(library.entries[1].record.name, "A");
  EXPECT_EQ(library.entries[2].id(), "BBBBBBBB-0000-4000-8000-000000000000");
  EXPECT_TRUE(library.entries[2].message().starts_with("This scenario could not be read (")) << library.entries[2].message();
  EXPECT_EQ(library.entries[3], ScenarioLibrary::Entry::unsupported("AAAAAAAA-0000-4000-8000-000000000000", 0));
  EXPECT_EQ(library.lookup("e621e1f8-c36c-495a-93fc-0c247a3e6e5f")->name, "A");
  EXPECT_EQ(library.lookup("AAAAAAAA-0000-4000-8000-000000000002"), nullptr);

  ASSERT_TRUE(library.add(scenario("New")));
  auto disk = onDisk();
  EXPECT_EQ(disk["formatVersion"], 1);
  ASSERT_EQ(disk["items"].size(), 5u);
  EXPECT_EQ(disk["items"][0], nlohmann::json::parse(v2));
  EXPECT_EQ(disk["items"][2], nlohmann::json::parse(twoKeys));  // written back as it was read
  EXPECT_EQ(disk["items"][3], nlohmann::json::parse(v0));
  EXPECT_EQ(disk["items"][4]["name"], "New");
  // Pretty-printed with sorted keys.
  EXPECT_NE(testing::readBytes(file())->find("{\n  \"formatVersion\": 1,\n  \"items\": ["), std::string::npos);
  EXPECT_EQ(testing::permissions(file().parent_path()), 0700);
}

TEST_F(ScenarioLibraryTest, UnreadableFilesAreMovedAsideAndEmptyItemsKept) {
  const char* unreadable[] = {"not json", "[]", "{}", R"({"formatVersion":1})", R"({"items":{}})", R"({"items":[1]})"};
  for (const char* text : unreadable) {
    SCOPED_TRACE(text);
    std::filesystem::remove_all(file().parent_path());
    write(text);
    auto library = load();
    EXPECT_TRUE(library.entries.empty());
    EXPECT_TRUE(library.recoveryNotice());
    EXPECT_EQ(testing::entries(file().parent_path()),
              (std::set<std::string>{"scenarios.json.lock", "scenarios.unreadable-20010101-001640.json"}));
    EXPECT_EQ(testing::readBytes(file().parent_path() / "scenarios.unreadable-20010101-001640.json"), text);
  }
  std::filesystem::remove_all(file().parent_path());
  write(R"({"formatVersion":7,"items":[]})");
  auto library = load();
  EXPECT_TRUE(library.entries.empty());
  EXPECT_FALSE(library.recoveryNotice());
  EXPECT_TRUE(std::filesystem::exists(file()));
}

TEST_F(ScenarioLibraryTest, OperationsAndTheirFailures) {
  auto library = load();
  auto a = scenario("A");
  auto b = scenario("B");
  ASSERT_TRUE(library.add(a));
  ASSERT_TRUE(library.add(b));

  now = at(2000);
  auto renamed = a;
  renamed.name = "A2";
  auto updated = library.update(renamed);
  ASSERT_TRUE(updated);
  EXPECT_EQ(updated->createdAt, at(10));
  EXPECT_EQ(updated->updatedAt, at(2000));
  EXPECT_EQ(library.entries[0].record, *updated);

  auto copy = library.duplicate(a.id);
  ASSERT_TRUE(copy);
  auto copyOfCopy = library.duplicate(copy->id);
  ASSERT_TRUE(copyOfCopy);
  EXPECT_EQ(copyOfCopy->name, "A2 Copy Copy");
  EXPECT_EQ(copyOfCopy->createdAt, at(2000));
  std::vector<std::string> names;
  for (const auto& entry : library.entries) names.push_back(entry.record.name);
  EXPECT_EQ(names, (std::vector<std::string>{"A2", "A2 Copy", "A2 Copy Copy", "B"}));

  ASSERT_TRUE(library.reorder({b.id, copyOfCopy->id, a.id, copy->id}));
  EXPECT_EQ(library.entries[0].id(), b.id);
  EXPECT_EQ(library.reorder({b.id, a.id}).error().kind, ScenarioLibraryError::Case::invalidReorder);
  EXPECT_EQ(library.reorder({b.id, b.id, a.id, copy->id}).error().kind, ScenarioLibraryError::Case::invalidReorder);

  ASSERT_TRUE(library.remove(copy->id));
  ASSERT_TRUE(library.remove("FFFFFFFF-0000-4000-8000-000000000000"));
  EXPECT_EQ(library.entries.size(), 3u);
  EXPECT_EQ(library.duplicate(copy->id).error().kind, ScenarioLibraryError::Case::notFound);
  EXPECT_EQ(library.update(*copy).error().kind, ScenarioLibraryError::Case::notFound);
  EXPECT_EQ(load().entries, library.entries);

  // A failed write leaves the library in memory as it was.
  auto before = library.entries;
  ::chmod(file().parent_path().c_str(), 0500);
  auto failed = library.add(scenario("C"));
  ::chmod(file().parent_path().c_str(), 0700);
  if (::geteuid() != 0) {
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().description(), "Couldn't write the scenario library to disk.");
    EXPECT_EQ(library.entries, before);
  }
}

TEST_F(ScenarioLibraryTest, TwoProcessesAddingAtOnceKeepEveryScenario) {
  ASSERT_TRUE(load().add(scenario("seed")));
  constexpr int perProcess = 15;
  pid_t child = ::fork();
  ASSERT_GE(child, 0);
  const char* who = child == 0 ? "child" : "parent";
  auto library = load();
  for (int index = 0; index < perProcess; ++index) {
    if (!library.add(scenario(std::string(who) + std::to_string(index)))) {
      if (child == 0) ::_exit(1);
      ADD_FAILURE();
    }
  }
  if (child == 0) ::_exit(0);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(load().entries.size(), 1u + 2 * perProcess);
}

TEST_F(ScenarioLibraryTest, ImportedItemsKeepOtherVersionsRawAndNeverReuseAnId) {
  auto library = load();
  auto a = scenario("A");
  ASSERT_TRUE(library.add(a));
  auto raw = nlohmann::json::parse(R"({"id":"AAAAAAAA-0000-4000-8000-000000000009","schemaVersion":3,"x":1})");
  auto added = library.addItems({{a, {}}, {std::nullopt, raw}, {std::nullopt, raw}});
  ASSERT_TRUE(added);
  ASSERT_EQ(added->size(), 2u);
  EXPECT_NE((*added)[0].id(), a.id);
  EXPECT_EQ((*added)[1], ScenarioLibrary::Entry::unsupported("AAAAAAAA-0000-4000-8000-000000000009", 3));
  EXPECT_EQ(onDisk()["items"][2], raw);
}

}  // namespace
}  // namespace orvanta
