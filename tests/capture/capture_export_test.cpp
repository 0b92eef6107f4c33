#include "capture/screenshot/capture_export.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <ctime>

#include <gtest/gtest.h>

#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::ScratchFolder;

// 2026-03-04 05:06:07 in the local time zone.
std::chrono::system_clock::time_point localDate() {
  std::tm local{};
  ::strptime("2026-03-04 05:06:07", "%Y-%m-%d %H:%M:%S", &local);
  local.tm_isdst = -1;
  return std::chrono::system_clock::from_time_t(std::mktime(&local));
}

TEST(CaptureFileNameTest, SeparatorsBlankNamesAndTheDate) {
  struct Case {
    const char* name;
    const char* expected;
  };
  for (const Case& c :
       {Case{"iPhone 16", "iPhone 16 - 2026-03-04 05.06.07.png"}, Case{"A/B:C", "A-B-C - 2026-03-04 05.06.07.png"},
        Case{"  \t Pad //\n", "Pad -- - 2026-03-04 05.06.07.png"},
        Case{"   ", "Simulator - 2026-03-04 05.06.07.png"}}) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(captureFileName(c.name, localDate(), ".png"), c.expected);
  }
  EXPECT_EQ(numberedFileName("A - x.mov", 3), "A - x 3.mov");
  EXPECT_EQ(numberedFileName("no extension", 2), "no extension 2");
}

TEST(CopyWithoutReplacingTest, CollisionsGetNumbersAndNothingIsReplaced) {
  ScratchFolder folder;
  testing::writeBytes(folder / "capture.png", "image");
  std::filesystem::create_directory(folder / "out");
  testing::writeBytes(folder / "out/Shot.png", "older");

  std::vector<std::string> names;
  for (int i = 0; i < 3; ++i) {
    auto saved = copyWithoutReplacing(folder / "capture.png", folder / "out", "Shot.png");
    ASSERT_TRUE(saved.has_value()) << saved.error();
    names.push_back(saved->filename().string());
  }
  EXPECT_EQ(names, (std::vector<std::string>{"Shot 2.png", "Shot 3.png", "Shot 4.png"}));
  EXPECT_EQ(testing::readBytes(folder / "out/Shot.png"), "older");
  EXPECT_EQ(testing::readBytes(folder / "out/Shot 4.png"), "image");
  EXPECT_EQ(testing::readBytes(folder / "capture.png"), "image");  // copied, not moved
  // No staging file is left behind.
  EXPECT_EQ(testing::entries(folder / "out"),
            (std::set<std::string>{"Shot.png", "Shot 2.png", "Shot 3.png", "Shot 4.png"}));

  auto missingFolder = copyWithoutReplacing(folder / "capture.png", folder / "nowhere", "Shot.png");
  ASSERT_FALSE(missingFolder.has_value());
  EXPECT_EQ(missingFolder.error(), "No such file or directory");
}

TEST(CopyWithoutReplacingTest, TwoProcessesSavingAtOnceNeverShareAName) {
  ScratchFolder folder;
  std::filesystem::create_directory(folder / "out");
  constexpr int perProcess = 40;
  std::vector<pid_t> children;
  for (char tag : {'a', 'b'}) {
    const auto source = folder / (std::string(1, tag) + ".png");
    testing::writeBytes(source, std::string(4096, tag));
    pid_t pid = ::fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
      int failures = 0;
      for (int i = 0; i < perProcess; ++i) {
        if (!copyWithoutReplacing(source, folder / "out", "Same.png")) ++failures;
      }
      ::_exit(failures);
    }
    children.push_back(pid);
  }
  for (pid_t pid : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  }
  // Every save got a name of its own, and every file holds exactly one process's bytes.
  const auto names = testing::entries(folder / "out");
  EXPECT_EQ(names.size(), 2u * perProcess);
  int fromA = 0;
  for (const auto& name : names) {
    const auto bytes = *testing::readBytes(folder / "out" / name);
    ASSERT_TRUE(bytes == std::string(4096, 'a') || bytes == std::string(4096, 'b')) << name;
    fromA += bytes[0] == 'a';
  }
  EXPECT_EQ(fromA, perProcess);
}

TEST(CaptureDestinationStoreTest, DefaultStoredAndPreparedFolders) {
  ScratchFolder home;
  const char* savedHome = std::getenv("HOME");
  ::setenv("HOME", home.path().c_str(), 1);
  auto defaults = std::make_shared<InMemorySettingsStore>();
  CaptureDestinationStore store(defaults, "Orvanta.Screenshot.destinationPath", "Pictures/Orvanta");
  EXPECT_EQ(store.currentFolder(), home / "Pictures/Orvanta");
  ASSERT_TRUE(defaults->setValue("Orvanta.Screenshot.destinationPath", "").has_value());
  EXPECT_EQ(store.currentFolder(), home / "Pictures/Orvanta");  // empty text counts as unset

  ASSERT_TRUE(store.setFolder(home / "a/b").has_value());
  EXPECT_EQ(store.prepareFolder(), home / "a/b");
  EXPECT_TRUE(std::filesystem::is_directory(home / "a/b"));  // a file in the way: capture_cli_test ScreenshotRefusals
  if (savedHome) ::setenv("HOME", savedHome, 1);
}

}  // namespace
}  // namespace orvanta
