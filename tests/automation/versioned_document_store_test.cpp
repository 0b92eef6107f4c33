// The rules every saved document of the application-support folder follows, checked on each of them: the
// scenario library and the workspaces share their document code, so they share these tests.
#include "support/versioned_document_store.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "automation/scenario_library.hpp"
#include "automation/workspace_store.hpp"
#include "support/reference_date.hpp"
#include "support/uuid.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::ScratchFolder;

std::chrono::system_clock::time_point at(double seconds) { return *fromReferenceSeconds(seconds); }

struct Scenarios {
  using Store = ScenarioLibrary;
  static constexpr const char* folder = "Scenarios";
  static constexpr const char* file = "scenarios.json";
  static constexpr const char* movedAside = "scenarios.unreadable-20010101-001640.json";
  static constexpr const char* writeFailed = "Couldn't write the scenario library to disk.";
  static constexpr const char* unreadablePrefix = "This scenario could not be read (";
  static std::string item(const std::string& id, const std::string& name) {
    return R"({"id":")" + id + R"(","schemaVersion":1,"name":")" + name + R"(","steps":[],"createdAt":1,"updatedAt":2})";
  }
  // A current-version item that does not decode: a step kind with two keys.
  static std::string broken(const std::string& id) {
    return R"({"id":")" + id + R"(","schemaVersion":1,"name":"B","steps":[{"id":"CCCCCCCC-0000-4000-8000-000000000000",
               "kind":{"launchApp":{},"terminateApp":{}}}],"createdAt":1,"updatedAt":2})";
  }
  static ScenarioDefinition record(std::string name) {
    return {makeUUID(), 1, std::move(name), std::nullopt, {{makeUUID(), ScenarioStepKind::launchApp()}}, at(10), at(10)};
  }
};

struct Workspaces {
  using Store = WorkspaceStore;
  static constexpr const char* folder = "Workspaces";
  static constexpr const char* file = "workspaces.json";
  static constexpr const char* movedAside = "workspaces.unreadable-20010101-001640.json";
  static constexpr const char* writeFailed = "Couldn't write the workspaces to disk.";
  static constexpr const char* unreadablePrefix = "This workspace could not be read (";
  static std::string item(const std::string& id, const std::string& name) {
    return R"({"id":")" + id + R"(","schemaVersion":1,"name":")" + name +
           R"(","createdAt":1,"updatedAt":2,"simulator":{"udid":"3BC9A608-0042-414F-B35C-7ADB869BC572",
               "name":"iPhone 16","deviceTypeIdentifier":"t","runtimeIdentifier":"r"},"state":{},"pinnedScenarioIDs":[]})";
  }
  // A current-version item that does not decode: an appearance nobody knows.
  static std::string broken(const std::string& id) {
    auto json = nlohmann::json::parse(item(id, "B"));
    json["state"]["appearance"] = "sepia";
    return json.dump();
  }
  static Workspace record(std::string name) {
    Workspace workspace;
    workspace.id = makeUUID();
    workspace.name = std::move(name);
    workspace.simulator = {"3BC9A608-0042-414F-B35C-7ADB869BC572", "iPhone 16", "t", "r"};
    workspace.state.appearance = SimulatorAppearance::dark;
    workspace.createdAt = workspace.updatedAt = at(10);
    return workspace;
  }
};

template <class Kind>
class DocumentStoreTest : public ::testing::Test {
 protected:
  using Store = typename Kind::Store;

  std::filesystem::path file() const { return folder / Kind::folder / Kind::file; }
  typename Kind::Store load() { return Store::load(file(), [this] { return now; }); }
  void write(const std::string& text) {
    std::filesystem::create_directories(file().parent_path());
    testing::writeBytes(file(), text);
  }
  nlohmann::json onDisk() const { return nlohmann::json::parse(*testing::readBytes(file())); }

  ScratchFolder folder;
  std::chrono::system_clock::time_point now = at(1000.5);
};

using Kinds = ::testing::Types<Scenarios, Workspaces>;
TYPED_TEST_SUITE(DocumentStoreTest, Kinds);

TYPED_TEST(DocumentStoreTest, OtherSchemaVersionsAndItemsThatDoNotDecodeAreKeptInPlace) {
  using Entry = typename TypeParam::Store::Entry;
  const std::string v1 = TypeParam::item("E621E1F8-C36C-495A-93FC-0C247A3E6E5F", "A");
  const std::string v2 = R"({"id":"aaaaaaaa-0000-4000-8000-000000000002","schemaVersion":2,"name":"Future",
                              "steps":[{"teleport":{"x":[1,2.5,{"deep":null}]}}],"newField":true})";
  const std::string v0 = R"({"id":"AAAAAAAA-0000-4000-8000-000000000000","schemaVersion":0})";
  const std::string broken = TypeParam::broken("BBBBBBBB-0000-4000-8000-000000000000");
  const std::string noEnvelope = R"({"name":"no id","schemaVersion":1})";
  this->write(R"({"items":[)" + v2 + "," + noEnvelope + "," + v1 + "," + broken + "," + v0 + "]}");

  auto store = this->load();
  ASSERT_EQ(store.entries.size(), 4u);
  EXPECT_EQ(store.entries[0], Entry::unsupported("AAAAAAAA-0000-4000-8000-000000000002", 2));
  EXPECT_TRUE(store.entries[0].message().ends_with("was saved by a newer version of Orvanta (schema 2)."));
  EXPECT_EQ(store.entries[1].record.name, "A");
  EXPECT_EQ(store.entries[2].id(), "BBBBBBBB-0000-4000-8000-000000000000");
  EXPECT_TRUE(store.entries[2].message().starts_with(TypeParam::unreadablePrefix)) << store.entries[2].message();
  EXPECT_EQ(store.entries[3], Entry::unsupported("AAAAAAAA-0000-4000-8000-000000000000", 0));
  EXPECT_EQ(store.lookup("e621e1f8-c36c-495a-93fc-0c247a3e6e5f")->name, "A");
  EXPECT_EQ(store.lookup("AAAAAAAA-0000-4000-8000-000000000002"), nullptr);

  ASSERT_TRUE(store.add(TypeParam::record("New")));
  auto disk = this->onDisk();
  EXPECT_EQ(disk["formatVersion"], 1);
  ASSERT_EQ(disk["items"].size(), 5u);
  EXPECT_EQ(disk["items"][0], nlohmann::json::parse(v2));
  EXPECT_EQ(disk["items"][2], nlohmann::json::parse(broken));  // written back as it was read
  EXPECT_EQ(disk["items"][3], nlohmann::json::parse(v0));
  EXPECT_EQ(disk["items"][4]["name"], "New");
  EXPECT_EQ(disk["items"][4]["schemaVersion"], 1);
  EXPECT_EQ(disk["items"][4]["createdAt"], 10.0);  // seconds since 2001
  // Pretty-printed with sorted keys, in a folder of the owner's only.
  EXPECT_NE(testing::readBytes(this->file())->find("{\n  \"formatVersion\": 1,\n  \"items\": ["), std::string::npos);
  EXPECT_EQ(testing::permissions(this->file().parent_path()), 0700);
}

TYPED_TEST(DocumentStoreTest, UnreadableFilesAreMovedAsideAndEmptyItemsKept) {
  const char* unreadable[] = {"not json", "[]", "{}", R"({"formatVersion":1})", R"({"items":{}})", R"({"items":[1]})"};
  const std::string lock = std::string(TypeParam::file) + ".lock";
  for (const char* text : unreadable) {
    SCOPED_TRACE(text);
    std::filesystem::remove_all(this->file().parent_path());
    this->write(text);
    auto store = this->load();
    EXPECT_TRUE(store.entries.empty());
    EXPECT_TRUE(store.recoveryNotice());
    EXPECT_EQ(testing::entries(this->file().parent_path()), (std::set<std::string>{lock, TypeParam::movedAside}));
    EXPECT_EQ(testing::readBytes(this->file().parent_path() / TypeParam::movedAside), text);
  }
  std::filesystem::remove_all(this->file().parent_path());
  this->write(R"({"formatVersion":7,"items":[]})");
  auto store = this->load();
  EXPECT_TRUE(store.entries.empty());
  EXPECT_FALSE(store.recoveryNotice());
  EXPECT_TRUE(std::filesystem::exists(this->file()));
}

TYPED_TEST(DocumentStoreTest, OperationsNamesAndTheirFailures) {
  using Error = typename TypeParam::Store::Error;
  auto store = this->load();
  auto a = TypeParam::record("A");
  auto b = TypeParam::record("B");
  ASSERT_TRUE(store.add(a));
  ASSERT_TRUE(store.add(b));
  // A taken name is numbered, or refused when asked to be.
  EXPECT_EQ(store.add(TypeParam::record("A"))->name, "A 2");
  auto refused = store.add(TypeParam::record("B"), NameClash::refuse);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().kind, Error::Case::nameTaken);
  ASSERT_TRUE(store.remove(store.entries[2].id()));

  this->now = at(2000);
  auto renamed = a;
  renamed.name = "A2";
  auto updated = store.update(renamed);
  ASSERT_TRUE(updated);
  EXPECT_EQ(updated->createdAt, at(10));
  EXPECT_EQ(updated->updatedAt, at(2000));
  EXPECT_EQ(store.entries[0].record, *updated);
  renamed.name = "B";
  EXPECT_EQ(store.update(renamed).error().kind, Error::Case::nameTaken);

  auto copy = store.duplicate(a.id);
  ASSERT_TRUE(copy);
  auto copyOfCopy = store.duplicate(copy->id);
  ASSERT_TRUE(copyOfCopy);
  EXPECT_EQ(copyOfCopy->name, "A2 Copy Copy");
  EXPECT_EQ(copyOfCopy->createdAt, at(2000));
  std::vector<std::string> names;
  for (const auto& entry : store.entries) names.push_back(entry.record.name);
  EXPECT_EQ(names, (std::vector<std::string>{"A2", "A2 Copy", "A2 Copy Copy", "B"}));

  ASSERT_TRUE(store.reorder({b.id, copyOfCopy->id, a.id, copy->id}));
  EXPECT_EQ(store.entries[0].id(), b.id);
  EXPECT_EQ(store.reorder({b.id, a.id}).error().kind, Error::Case::invalidReorder);
  EXPECT_EQ(store.reorder({b.id, b.id, a.id, copy->id}).error().kind, Error::Case::invalidReorder);

  ASSERT_TRUE(store.remove(copy->id));
  ASSERT_TRUE(store.remove("FFFFFFFF-0000-4000-8000-000000000000"));
  EXPECT_EQ(store.entries.size(), 3u);
  EXPECT_EQ(store.duplicate(copy->id).error().kind, Error::Case::notFound);
  EXPECT_EQ(store.update(*copy).error().kind, Error::Case::notFound);
  EXPECT_EQ(this->load().entries, store.entries);

  // A failed write leaves the store in memory as it was.
  auto before = store.entries;
  ::chmod(this->file().parent_path().c_str(), 0500);
  auto failed = store.add(TypeParam::record("C"));
  ::chmod(this->file().parent_path().c_str(), 0700);
  if (::geteuid() != 0) {
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().description(), TypeParam::writeFailed);
    EXPECT_EQ(store.entries, before);
  }
}

TYPED_TEST(DocumentStoreTest, TwoProcessesAddingAtOnceKeepEveryRecord) {
  ASSERT_TRUE(this->load().add(TypeParam::record("seed")));
  constexpr int perProcess = 15;
  pid_t child = ::fork();
  ASSERT_GE(child, 0);
  const char* who = child == 0 ? "child" : "parent";
  auto store = this->load();
  for (int index = 0; index < perProcess; ++index) {
    if (!store.add(TypeParam::record(std::string(who) + std::to_string(index)))) {
      if (child == 0) ::_exit(1);
      ADD_FAILURE();
    }
  }
  if (child == 0) ::_exit(0);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(this->load().entries.size(), 1u + 2 * perProcess);
}

TYPED_TEST(DocumentStoreTest, ImportedItemsKeepOtherVersionsRawAndNeverReuseAnIdOrAName) {
  using Entry = typename TypeParam::Store::Entry;
  auto store = this->load();
  auto a = TypeParam::record("A");
  ASSERT_TRUE(store.add(a));
  auto raw = nlohmann::json::parse(R"({"id":"AAAAAAAA-0000-4000-8000-000000000009","schemaVersion":3,"x":1})");
  auto added = store.addItems({{a, {}}, {std::nullopt, raw}, {std::nullopt, raw}});
  ASSERT_TRUE(added);
  ASSERT_EQ(added->size(), 2u);
  EXPECT_NE((*added)[0].id(), a.id);
  EXPECT_EQ((*added)[0].record.name, "A 2");
  EXPECT_EQ((*added)[1], Entry::unsupported("AAAAAAAA-0000-4000-8000-000000000009", 3));
  EXPECT_EQ(this->onDisk()["items"][2], raw);
}

}  // namespace
}  // namespace orvanta
