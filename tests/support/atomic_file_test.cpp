#include "support/atomic_file.hpp"

#include <cerrno>

#include <gtest/gtest.h>

#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using namespace std::chrono;
using testing::entries;
using testing::permissions;
using testing::readBytes;
using testing::ScratchFolder;
using testing::writeBytes;

// 2026-11-21 05:46:00.900 UTC: the fraction must not round the stamp up.
const system_clock::time_point kNow = sys_days{year{2026} / 11 / 21} + hours(5) + minutes(46) + milliseconds(900);

TEST(AtomicFileTest, ReplacesTheContentAndLeavesNothingElseBehind) {
  ScratchFolder folder;
  const auto file = folder / "doc.json";
  const std::string binary("first\0line\n", 11);
  ASSERT_TRUE(writeFileAtomically(file, binary));
  EXPECT_EQ(readBytes(file), binary);
  EXPECT_EQ(permissions(file), 0600);

  ASSERT_TRUE(writeFileAtomically(file, "{}", 0640));
  EXPECT_EQ(readBytes(file), "{}");
  EXPECT_EQ(permissions(file), 0640);
  EXPECT_EQ(entries(folder.path()), std::set<std::string>{"doc.json"});

  auto read = readFile(file, 1 << 20);
  ASSERT_TRUE(read);
  EXPECT_EQ(*read, std::optional<std::string>("{}"));
}

TEST(AtomicFileTest, FailureRemovesTheTemporaryFileAndKeepsWhatWasThere) {
  ScratchFolder folder;
  // A non-empty folder where the file should go: everything succeeds up to the rename, which must fail.
  const auto blocked = folder / "blocked";
  std::filesystem::create_directory(blocked);
  writeBytes(blocked / "keep", "kept");

  auto result = writeFileAtomically(blocked, "new");
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().kind, FileError::Case::writeFailed);
  EXPECT_EQ(result.error().path, blocked);
  EXPECT_EQ(entries(folder.path()), std::set<std::string>{"blocked"});
  EXPECT_EQ(readBytes(blocked / "keep"), "kept");

  auto missingFolder = writeFileAtomically(folder / "absent" / "doc.json", "x");
  ASSERT_FALSE(missingFolder);
  EXPECT_EQ(missingFolder.error().description(),
            "Could not write " + (folder / "absent" / "doc.json").string() + ": No such file or directory");
}

TEST(AtomicFileTest, ReadingTellsAMissingFileFromAnUnreadableOne) {
  ScratchFolder folder;
  auto missing = readFile(folder / "absent", 1 << 20);
  ASSERT_TRUE(missing);
  EXPECT_FALSE(missing->has_value());

  auto isFolder = readFile(folder.path(), 1 << 20);
  ASSERT_FALSE(isFolder);
  EXPECT_EQ(isFolder.error().kind, FileError::Case::readFailed);
  EXPECT_EQ(isFolder.error().errorNumber, EISDIR);
}

TEST(AtomicFileTest, ReadingKeepsToItsBudgetAndToRegularFiles) {
  ScratchFolder folder;
  writeBytes(folder / "exact", std::string(4096, 'x'));
  writeBytes(folder / "over", std::string(4097, 'x'));
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  EXPECT_TRUE(readFile(folder / "exact", 4096));
  struct Row {
    std::filesystem::path path;
    std::string sentence;
  };
  for (const Row& row : {Row{folder / "over", "it is larger than 4 KiB"},
                         Row{folder / "fifo", "it is not a regular file"},  // never waited on
                         Row{"/dev/zero", "it is not a regular file"}}) {
    SCOPED_TRACE(row.path);
    auto read = readFile(row.path, 4096);
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().description(), "Could not read " + row.path.string() + ": " + row.sentence);
  }
}

TEST(AtomicFileTest, TemporaryFilesOfKilledWritersAreRemovedOnceStale) {
  ScratchFolder folder;
  const auto stale = folder / ".doc.json.AAAA.tmp";
  const auto fresh = folder / ".doc.json.BBBB.tmp";
  const auto other = folder / ".other.json.CCCC.tmp";
  for (const auto& path : {stale, fresh, other}) writeBytes(path, "half");
  const auto old = std::filesystem::file_time_type::clock::now() - hours(1);
  std::filesystem::last_write_time(stale, old);
  std::filesystem::last_write_time(other, old);
  ASSERT_TRUE(writeFileAtomically(folder / "doc.json", "{}"));
  EXPECT_EQ(entries(folder.path()), (std::set<std::string>{".doc.json.BBBB.tmp", ".other.json.CCCC.tmp", "doc.json"}));
}

TEST(AtomicFileTest, MovingAsideNamesByUtcStampAndNeverOverwrites) {
  ScratchFolder folder;
  // Someone else's file already has the second name: the third move must skip it.
  writeBytes(folder / "settings.unreadable-20261121-054600-2.json", "other");

  const char* expected[] = {"settings.unreadable-20261121-054600.json", "settings.unreadable-20261121-054600-3.json",
                            "settings.unreadable-20261121-054600-4.json"};
  for (int i = 0; i < 3; ++i) {
    const std::string content = "broken " + std::to_string(i);
    writeBytes(folder / "settings.json", content);
    auto moved = moveAsideUnreadable(folder / "settings.json", kNow);
    ASSERT_TRUE(moved) << moved.error().description();
    EXPECT_EQ(*moved, folder / expected[i]);
    EXPECT_EQ(readBytes(*moved), content);
    EXPECT_FALSE(std::filesystem::exists(folder / "settings.json"));
  }
  EXPECT_EQ(readBytes(folder / "settings.unreadable-20261121-054600-2.json"), "other");

  writeBytes(folder / "notes", "x");
  auto plain = moveAsideUnreadable(folder / "notes", kNow);
  ASSERT_TRUE(plain);
  EXPECT_EQ(plain->filename(), "notes.unreadable-20261121-054600");

  auto missing = moveAsideUnreadable(folder / "absent.json", kNow);
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().kind, FileError::Case::moveAsideFailed);
  EXPECT_EQ(missing.error().errorNumber, ENOENT);
}

}  // namespace
}  // namespace orvanta
