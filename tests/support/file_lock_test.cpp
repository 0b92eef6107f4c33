#include "support/file_lock.hpp"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>

#include <gtest/gtest.h>

#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using namespace std::chrono_literals;
using testing::permissions;
using testing::ScratchFolder;

std::optional<FileLock> tryLock(const std::filesystem::path& path) {
  auto result = FileLock::acquire(path, FileLock::Wait::nonBlocking);
  EXPECT_TRUE(result) << result.error().description();
  return result ? std::move(*result) : std::nullopt;
}

TEST(FileLockTest, ASecondOpenerIsRefusedUntilTheHolderLetsGo) {
  ScratchFolder folder;
  const auto path = folder / "state.lock";
  auto first = tryLock(path);
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(permissions(path), 0600);

  EXPECT_FALSE(tryLock(path).has_value()) << "a second open in the same process must be excluded";

  FileLock moved = std::move(*first);  // moving keeps the lock
  first.reset();
  EXPECT_FALSE(tryLock(path).has_value());
  moved.release();
  EXPECT_FALSE(moved.held());
  EXPECT_TRUE(tryLock(path).has_value());

  auto noFolder = FileLock::acquire(folder / "absent" / "x.lock", FileLock::Wait::blocking);
  ASSERT_FALSE(noFolder);
  EXPECT_EQ(noFolder.error().kind, FileError::Case::lockFailed);
}

TEST(FileLockTest, BlockingAcquireWaitsForTheRelease) {
  ScratchFolder folder;
  const auto path = folder / "state.lock";
  auto holder = tryLock(path);
  ASSERT_TRUE(holder.has_value());

  std::atomic<bool> acquired{false};
  std::thread waiter([&] {
    auto lock = FileLock::acquire(path, FileLock::Wait::blocking);
    acquired = lock && lock->has_value();
  });
  std::this_thread::sleep_for(200ms);
  EXPECT_FALSE(acquired.load());
  holder.reset();
  waiter.join();
  EXPECT_TRUE(acquired.load());
}

TEST(FileLockTest, TheNoteNamesTheHolderAndIsClearedOnRelease) {
  ScratchFolder folder;
  const auto path = folder / "state.lock";
  {
    auto lock = tryLock(path);
    ASSERT_TRUE(lock.has_value());
    ASSERT_TRUE(lock->writeNote("pid 4242: installing an app"));
    ASSERT_TRUE(lock->writeNote("pid 4242: reset"));  // shorter: nothing of the old note may remain
    EXPECT_EQ(FileLock::readNote(path).value_or(""), "pid 4242: reset");
  }
  auto note = FileLock::readNote(path);
  ASSERT_TRUE(note);
  EXPECT_EQ(*note, "");
  EXPECT_EQ(FileLock::readNote(folder / "never.lock").value_or("?"), "");
}

TEST(FileLockTest, AHolderThatIsKilledFreesTheLock) {
  ScratchFolder folder;
  const auto path = folder / "state.lock";
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    auto lock = FileLock::acquire(path, FileLock::Wait::blocking);
    if (!lock || !*lock || !(*lock)->writeNote("child")) ::_exit(1);
    char byte = 'r';
    if (::write(ready[1], &byte, 1) != 1) ::_exit(1);
    for (;;) ::pause();
  }
  ::close(ready[1]);
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1) << "the child could not take the lock";
  ::close(ready[0]);

  EXPECT_FALSE(tryLock(path).has_value());
  EXPECT_EQ(FileLock::readNote(path).value_or(""), "child");

  ASSERT_EQ(::kill(child, SIGKILL), 0);
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFSIGNALED(status));
  auto after = tryLock(path);
  EXPECT_TRUE(after.has_value());
  // A killed holder leaves its note; the new holder overwrites it.
  EXPECT_EQ(FileLock::readNote(path).value_or(""), "child");
}

}  // namespace
}  // namespace orvanta
