#include "support/settings_store.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using namespace std::chrono;
using nlohmann::json;
using testing::entries;
using testing::permissions;
using testing::readBytes;
using testing::ScratchFolder;
using testing::writeBytes;

const system_clock::time_point kNow = sys_days{year{2026} / 11 / 21} + hours(5) + minutes(46);
system_clock::time_point fixedClock() {
  return kNow;
}

// Appends `entry` to the list under `key` as one step.
expected<void, FileError> append(SettingsStore& store, std::string_view key, const std::string& entry) {
  return store.update(key, [&](std::optional<json> current) {
    json list = current.value_or(json::array());
    list.push_back(entry);
    return std::optional<json>(std::move(list));
  });
}

// ---------------------------------------------------------------------------------------------------
// What every store does.

struct StoreKind {
  const char* name;
  std::function<std::unique_ptr<SettingsStore>(const std::filesystem::path& folder)> make;
  friend void PrintTo(const StoreKind& kind, std::ostream* out) { *out << kind.name; }
};

class SettingsStoreContractTest : public ::testing::TestWithParam<StoreKind> {
 protected:
  ScratchFolder folder_;
  std::unique_ptr<SettingsStore> store_ = GetParam().make(folder_.path());
};

TEST_P(SettingsStoreContractTest, SetUpdateAndRemove) {
  const std::string key = "Orvanta.DeepLink.recents";
  EXPECT_EQ(store_->value(key).value(), std::nullopt);
  ASSERT_TRUE(store_->removeValue(key));  // removing what is not there is fine

  ASSERT_TRUE(store_->setValue(key, json::array({"app://a"})));
  ASSERT_TRUE(store_->setValue("Orvanta.Push.recents", 3));
  ASSERT_TRUE(store_->setValue(key, json{{"replaced", true}}));
  EXPECT_EQ(store_->value(key).value(), (json{{"replaced", true}}));
  ASSERT_TRUE(store_->removeValue(key));
  EXPECT_EQ(store_->value(key).value(), std::nullopt);
  EXPECT_EQ(store_->value("Orvanta.Push.recents").value(), json(3));

  // An update sees the current value; nullopt removes it.
  std::vector<std::optional<json>> seen;
  auto record = [&](std::optional<json> replacement) {
    return [&seen, replacement](std::optional<json> current) {
      seen.push_back(current);
      return replacement;
    };
  };
  ASSERT_TRUE(store_->update(key, record(json("one"))));
  ASSERT_TRUE(store_->update(key, record(json("two"))));
  ASSERT_TRUE(store_->update(key, record(std::nullopt)));
  ASSERT_TRUE(store_->update(key, record(std::nullopt)));
  EXPECT_EQ(seen, (std::vector<std::optional<json>>{std::nullopt, json("one"), json("two"), std::nullopt}));
  EXPECT_EQ(store_->value(key).value(), std::nullopt);
}

TEST_P(SettingsStoreContractTest, ConcurrentUpdatesFromThreadsAreNotLost) {
  constexpr int kThreads = 4;
  constexpr int kEach = 25;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kEach; ++i) {
        auto result = append(*store_, "Orvanta.Test.list", std::to_string(t) + "-" + std::to_string(i));
        EXPECT_TRUE(result) << result.error().description();
      }
    });
  }
  for (auto& thread : threads) thread.join();
  auto list = store_->value("Orvanta.Test.list").value();
  ASSERT_TRUE(list.has_value());
  EXPECT_EQ(list->size(), static_cast<std::size_t>(kThreads * kEach));
}

INSTANTIATE_TEST_SUITE_P(
    Stores, SettingsStoreContractTest,
    ::testing::Values(StoreKind{"InMemory",
                                [](const std::filesystem::path&) { return std::make_unique<InMemorySettingsStore>(); }},
                      StoreKind{"JsonFile",
                                [](const std::filesystem::path& folder) {
                                  return std::make_unique<JsonFileSettingsStore>(folder / "settings.json");
                                }}),
    [](const auto& instance) { return std::string(instance.param.name); });

// ---------------------------------------------------------------------------------------------------
// The file store.

TEST(JsonFileSettingsStoreTest, WritesOneSortedPrettyObjectInAPrivateFolder) {
  ScratchFolder scratch;
  const auto folder = scratch / "config" / "orvanta";
  JsonFileSettingsStore store(folder / "settings.json");
  EXPECT_EQ(store.value("Orvanta.Push.recents").value(), std::nullopt);
  EXPECT_FALSE(std::filesystem::exists(scratch / "config")) << "reading must not create anything";

  ASSERT_TRUE(store.setValue("Orvanta.Push.recents", json::array({"b", "a"})));
  ASSERT_TRUE(store.setValue("Orvanta.Location.recents", 2.5));
  EXPECT_EQ(readBytes(folder / "settings.json"),
            "{\n  \"Orvanta.Location.recents\": 2.5,\n  \"Orvanta.Push.recents\": [\n    \"b\",\n    \"a\"\n  ]\n}\n");
  EXPECT_EQ(permissions(folder), 0700);  // every level it makes: app_paths_test
  EXPECT_EQ(permissions(folder / "settings.json"), 0600);
  EXPECT_EQ(permissions(folder / "settings.json.lock"), 0600);
  EXPECT_EQ(entries(folder), (std::set<std::string>{"settings.json", "settings.json.lock"}));

  // Every read goes back to the file: a second store (another process) sees the change at once.
  JsonFileSettingsStore other(folder / "settings.json");
  ASSERT_TRUE(other.removeValue("Orvanta.Push.recents"));
  EXPECT_EQ(store.value("Orvanta.Push.recents").value(), std::nullopt);
  EXPECT_EQ(store.value("Orvanta.Location.recents").value(), json(2.5));
}

TEST(JsonFileSettingsStoreTest, AnUnreadableFileIsMovedAsideAndTheStoreStartsEmpty) {
  const std::string contents[] = {"{\"Orvanta.Push.recents\": [", "[1, 2]", "", "null", "\"text\"", "{\"a\":1}{"};
  for (const auto& content : contents) {
    SCOPED_TRACE("content: " + content);
    ScratchFolder folder;
    writeBytes(folder / "settings.json", content);
    JsonFileSettingsStore store(folder / "settings.json", fixedClock);

    auto value = store.value("Orvanta.Push.recents");
    ASSERT_TRUE(value) << value.error().description();
    EXPECT_EQ(*value, std::nullopt);
    const auto moved = folder / "settings.unreadable-20261121-054600.json";
    EXPECT_EQ(readBytes(moved), content);
    EXPECT_EQ(store.takeRecoveryNotice(), "The settings file " + (folder / "settings.json").string() +
                                              " could not be read; it was moved to " + moved.string() +
                                              " and the settings start empty.");
    EXPECT_EQ(store.takeRecoveryNotice(), std::nullopt);

    ASSERT_TRUE(store.setValue("Orvanta.Push.recents", json::array()));
    EXPECT_EQ(readBytes(folder / "settings.json"), "{\n  \"Orvanta.Push.recents\": []\n}\n");
  }
}

TEST(JsonFileSettingsStoreTest, AnUpdateThatFindsAnUnreadableFileStartsFromNothing) {
  ScratchFolder folder;
  const auto file = folder / "settings.json";
  JsonFileSettingsStore store(file, fixedClock);
  writeBytes(file, "{broken");
  ASSERT_TRUE(append(store, "k", "x"));
  EXPECT_EQ(readBytes(file), "{\n  \"k\": [\n    \"x\"\n  ]\n}\n");
  EXPECT_EQ(readBytes(folder / "settings.unreadable-20261121-054600.json"), "{broken");
  EXPECT_NE(store.takeRecoveryNotice(), std::nullopt);
}

TEST(JsonFileSettingsStoreTest, WritersInSeparateProcessesLoseNothing) {
  ScratchFolder folder;
  const auto file = folder / "settings.json";
  constexpr int kProcesses = 3;
  constexpr int kEach = 60;
  std::vector<pid_t> children;
  for (int p = 0; p < kProcesses; ++p) {
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      JsonFileSettingsStore store(file);
      for (int i = 0; i < kEach; ++i) {
        if (!append(store, "Orvanta.Test.list", std::to_string(p) + "-" + std::to_string(i))) ::_exit(1);
      }
      ::_exit(0);
    }
    children.push_back(child);
  }
  for (pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "a writer failed";
  }

  auto list = JsonFileSettingsStore(file).value("Orvanta.Test.list").value();
  ASSERT_TRUE(list.has_value());
  ASSERT_EQ(list->size(), static_cast<std::size_t>(kProcesses * kEach));
  // Each writer's entries appear once each, in the order it wrote them.
  std::vector<int> next(kProcesses, 0);
  for (const auto& entry : *list) {
    const std::string text = entry.get<std::string>();
    const int p = std::stoi(text.substr(0, text.find('-')));
    EXPECT_EQ(text, std::to_string(p) + "-" + std::to_string(next[static_cast<std::size_t>(p)]++));
  }
}

}  // namespace
}  // namespace orvanta
