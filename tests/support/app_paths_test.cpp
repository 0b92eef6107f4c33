#include "support/app_paths.hpp"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include <gtest/gtest.h>

#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::permissions;
using testing::ScopedEnvironment;
using testing::ScratchFolder;
using testing::writeBytes;

TEST(AppPathsTest, FoldersFollowTheEnvironmentOnlyWhenItNamesAbsolutePaths) {
  ScopedEnvironment home("HOME", "/home/tester");
  struct Case {
    std::optional<std::string> config, data, tmp;
    const char* expectedConfig;
    const char* expectedData;
    const char* expectedTmp;
  } cases[] = {
#ifdef __APPLE__
      {"/cfg", "/data", "/private/tmp/x", "/home/tester/Library/Application Support/Orvanta",
       "/home/tester/Library/Application Support/Orvanta", "/private/tmp/x"},
#else
      {std::nullopt, std::nullopt, std::nullopt, "/home/tester/.config/orvanta", "/home/tester/.local/share/orvanta",
       "/tmp"},
      {"/cfg", "/data", "/var/tmp", "/cfg/orvanta", "/data/orvanta", "/var/tmp"},
      {"cfg", "", "tmp", "/home/tester/.config/orvanta", "/home/tester/.local/share/orvanta", "/tmp"},
#endif
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.expectedConfig);
    ScopedEnvironment config("XDG_CONFIG_HOME", c.config);
    ScopedEnvironment data("XDG_DATA_HOME", c.data);
    ScopedEnvironment tmp("TMPDIR", c.tmp);
    EXPECT_EQ(configDirectory().value(), c.expectedConfig);
    EXPECT_EQ(applicationSupportDirectory().value(), c.expectedData);
    EXPECT_EQ(temporaryDirectory(), c.expectedTmp);
  }
}

TEST(AppPathsTest, EnsurePrivateDirectoryCreatesEveryMissingLevelPrivately) {
  ScratchFolder scratch;
  ASSERT_TRUE(ensurePrivateDirectory(scratch / "a" / "b" / "c/"));
  EXPECT_EQ(permissions(scratch / "a"), 0700);
  EXPECT_EQ(permissions(scratch / "a" / "b" / "c"), 0700);
  EXPECT_TRUE(ensurePrivateDirectory(scratch / "a" / "b"));  // already there

  writeBytes(scratch / "file", "x");
  auto blocked = ensurePrivateDirectory(scratch / "file" / "sub");
  ASSERT_FALSE(blocked);
  EXPECT_EQ(blocked.error().kind, FileError::Case::createFolderFailed);
  EXPECT_EQ(blocked.error().errorNumber, ENOTDIR);
}

TEST(AppPathsTest, RuntimeDirectoryIsCreatedPrivateRepairedWhenOursAndRefusedWhenNot) {
  ScratchFolder scratch;
  {
    ScopedEnvironment runtime("XDG_RUNTIME_DIR", (scratch / "run").string());
    auto folder = runtimeDirectory();
    ASSERT_TRUE(folder) << folder.error().description();
    EXPECT_EQ(*folder, scratch / "run" / "orvanta");
    EXPECT_EQ(permissions(*folder), 0700);

    // Ours but opened up (by hand, or an old umask): closed again rather than refused.
    ASSERT_EQ(::chmod(folder->c_str(), 0777), 0);
    EXPECT_TRUE(runtimeDirectory());
    EXPECT_EQ(permissions(*folder), 0700);
  }
  {
    ScopedEnvironment runtime("XDG_RUNTIME_DIR", std::nullopt);
    ScopedEnvironment tmp("TMPDIR", scratch.path().string());
    const auto expected = scratch / ("orvanta-" + std::to_string(::geteuid()));
    // A link planted where the folder belongs is never followed.
    std::filesystem::create_directory(scratch / "elsewhere");
    std::filesystem::create_directory_symlink(scratch / "elsewhere", expected);
    auto planted = runtimeDirectory();
    ASSERT_FALSE(planted);
    EXPECT_EQ(planted.error().kind, FileError::Case::notPrivate);
    EXPECT_EQ(planted.error().message, "it is a symbolic link");

    std::filesystem::remove(expected);
    EXPECT_EQ(runtimeDirectory().value_or("failed"), expected);
  }
}

}  // namespace
}  // namespace orvanta
