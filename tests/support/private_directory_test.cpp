#include "support/private_directory.hpp"

#include <unistd.h>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/settings_list.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

mode_t modeOf(const std::filesystem::path& path) {
  struct stat info {};
  EXPECT_EQ(::lstat(path.c_str(), &info), 0) << path;
  return info.st_mode & 07777;
}

TEST(PrivateDirectoryTest, IsPrivateAndGoneWithItsOwnerOnEveryPath) {
  testing::ScratchFolder parent;
  const auto base = parent.path() / "a" / "b";
  std::filesystem::path created;
  std::filesystem::path file;
  {
    const mode_t previous = ::umask(0);  // a permissive umask must not widen the folder
    auto folder = PrivateDirectory::createUnique(base, "Orvanta-Push-");
    ::umask(previous);
    ASSERT_TRUE(folder.has_value()) << folder.error().description();
    created = folder->path();
    EXPECT_EQ(created.parent_path(), base);
    EXPECT_TRUE(created.filename().string().starts_with("Orvanta-Push-"));
    EXPECT_EQ(created.filename().string().size(),
              std::string("Orvanta-Push-").size() + std::to_string(::getpid()).size() + 1 + 36);
    EXPECT_EQ(modeOf(created), 0700u);
    auto written = folder->writeFile("payload.apns", "{\"aps\":{}}");
    ASSERT_TRUE(written.has_value());
    file = *written;
    EXPECT_EQ(modeOf(file), 0600u);
    EXPECT_FALSE(folder->writeFile("payload.apns", "again").has_value()) << "an existing file is never replaced";

    PrivateDirectory moved = std::move(*folder);
    EXPECT_EQ(moved.path(), created);
  }
  EXPECT_FALSE(std::filesystem::exists(created));

  // An existing folder of the same name (another process's, or a planted link) is never reused.
  std::filesystem::create_directories(base / "taken");
  EXPECT_FALSE(PrivateDirectory::create(base, "taken").has_value());
  EXPECT_TRUE(std::filesystem::exists(base / "taken"));

  auto kept = PrivateDirectory::create(base, "kept");
  ASSERT_TRUE(kept.has_value());
  const auto released = kept->release();
  kept = PrivateDirectory::create(base, "other");
  EXPECT_TRUE(std::filesystem::exists(released));
}

struct Text {
  static nlohmann::json encode(const std::string& text) { return text; }
  static std::optional<std::string> decode(const nlohmann::json& json) {
    if (!json.is_string()) return std::nullopt;
    return json.get<std::string>();
  }
};

TEST(RecentListTest, NewestFirstBoundedWithoutDuplicatesAndTolerantOfDamage) {
  auto store = std::make_shared<InMemorySettingsStore>();
  RecentList<std::string, Text> list(store, "Orvanta.Test.recents", 3);
  const auto same = [](const std::string& a, const std::string& b) { return a == b; };
  for (const char* text : {"a", "b", "c", "b", "d"}) ASSERT_TRUE(list.record(text, same).has_value());
  EXPECT_EQ(list.entries(), (std::vector<std::string>{"d", "b", "c"}));

  // A damaged value reads as empty and is replaced by the next change; unreadable items are dropped.
  ASSERT_TRUE(store->setValue("Orvanta.Test.recents", {{"not", "an array"}}).has_value());
  EXPECT_TRUE(list.entries().empty());
  ASSERT_TRUE(store->setValue("Orvanta.Test.recents", nlohmann::json::array({1, "x", nullptr})).has_value());
  EXPECT_EQ(list.entries(), (std::vector<std::string>{"x"}));
  ASSERT_TRUE(list.record("y", same).has_value());
  EXPECT_EQ(*store->value("Orvanta.Test.recents").value(), nlohmann::json::array({"y", "x"}));

  auto removed = list.removeIf([](const std::string& text) { return text == "x"; });
  ASSERT_TRUE(removed.has_value());
  EXPECT_EQ(*removed, 1u);
  ASSERT_TRUE(list.clear().has_value());
  EXPECT_TRUE(list.entries().empty());
}

}  // namespace
}  // namespace orvanta
