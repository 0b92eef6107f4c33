// An advisory lock on a lock file, shared between Orvanta processes (and between threads of one).
//
// The lock is flock(2) on an open file description: two acquire() calls each open the file anew, so they
// exclude each other even inside one process, and the kernel frees the lock when its holder closes the
// file or dies. Lock files are never deleted (deleting one would let two processes lock different files
// of the same name). A forked child shares its parent's descriptor, and so the lock, until it closes it;
// the descriptor is close-on-exec, so programs started with exec never hold it.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "support/expected.hpp"
#include "support/file_error.hpp"
#include "support/unique_fd.hpp"

namespace orvanta {

// A held lock; destroying it (or release()) lets the next holder in. Move-only. One object is used by one
// thread at a time; different objects may be used from different threads freely.
class FileLock {
 public:
  enum class Wait { blocking, nonBlocking };

  // Opens (creating it with mode 0600 when missing) the lock file at `path` and locks it exclusively. The
  // folder must exist.
  //  - Wait::blocking waits as long as another holder keeps it; the result is never nullopt.
  //  - Wait::nonBlocking returns at once; nullopt means someone else holds the lock.
  // Fails with lockFailed when the file cannot be opened or locked.
  [[nodiscard]] static expected<std::optional<FileLock>, FileError> acquire(const std::filesystem::path& path,
                                                                            Wait wait);

  // Replaces the lock file's content with `note` (a short text saying who holds it, e.g. a pid and an
  // action). The note is cleared when the lock is released normally; a holder that dies leaves its note
  // behind, so a note only means something while the lock is held. Fails with writeFailed.
  [[nodiscard]] expected<void, FileError> writeNote(std::string_view note);

  // The lock file's current content; empty when there is no file or no note. A reader racing with
  // writeNote may see an empty text. Does not take the lock. Fails with readFailed.
  [[nodiscard]] static expected<std::string, FileError> readNote(const std::filesystem::path& path);

  // Releases the lock now; the object then holds nothing. Idempotent.
  void release() noexcept;
  [[nodiscard]] bool held() const noexcept { return fd_.valid(); }
  [[nodiscard]] const std::filesystem::path& path() const noexcept { return path_; }

  FileLock(FileLock&&) noexcept = default;
  FileLock& operator=(FileLock&& other) noexcept;
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;
  ~FileLock() { release(); }

 private:
  FileLock(std::filesystem::path path, UniqueFd fd) : path_(std::move(path)), fd_(std::move(fd)) {}

  std::filesystem::path path_;
  UniqueFd fd_;
  bool hasNote_ = false;
};

}  // namespace orvanta
