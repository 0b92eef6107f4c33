#include "support/file_copy.hpp"

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using testing::ScratchFolder;

TEST(ReadRegularFileTest, OnlyRegularFilesWithinTheBudget) {
  ScratchFolder scratch;
  testing::writeBytes(scratch / "ten.txt", "0123456789");
  ASSERT_EQ(::mkfifo((scratch / "pipe").c_str(), 0600), 0);
  fs::create_symlink(scratch / "ten.txt", scratch / "link");
  fs::create_directory(scratch / "folder");

  EXPECT_EQ(readRegularFile(scratch / "ten.txt", 10).value(), "0123456789");
  struct Row {
    const char* name;
    std::uintmax_t budget;
    const char* message;
  } rows[] = {
      {"ten.txt", 9, "it is larger than 9 bytes"},
      {"pipe", 100, "it is not a regular file"},  // refused at once, not waited on
      {"folder", 100, "it is not a regular file"},
      {"link", 100, "Too many levels of symbolic links"},
      {"missing", 100, "No such file or directory"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    auto refused = readRegularFile(scratch / row.name, row.budget);
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().message, row.message);
  }
}

TEST(RenameWithoutReplacingTest, TakesTheFirstFreeNumberedName) {
  ScratchFolder scratch;
  fs::create_directory(scratch / "Documents");
  testing::writeBytes(scratch / "Documents 2", "a file in the way");
  fs::create_directory(scratch / ".staged");
  testing::writeBytes(scratch / ".staged" / "inside.txt", "x");
  auto placed = renameWithoutReplacing(scratch / ".staged", scratch.path(), "Documents");
  ASSERT_TRUE(placed) << placed.error();
  EXPECT_EQ(*placed, scratch / "Documents 3");
  EXPECT_EQ(testing::readBytes(scratch / "Documents 3" / "inside.txt"), "x");
  EXPECT_EQ(testing::readBytes(scratch / "Documents 2"), "a file in the way");
}

}  // namespace
}  // namespace orvanta
