#include "support/file_lock.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "support/atomic_file.hpp"

namespace orvanta {

expected<std::optional<FileLock>, FileError> FileLock::acquire(const std::filesystem::path& path, Wait wait) {
  UniqueFd fd;
  do {
    fd.reset(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NOFOLLOW, 0600));
  } while (!fd && errno == EINTR);
  if (!fd) return unexpected(FileError::lockFailed(path, errno));

  const int operation = wait == Wait::blocking ? LOCK_EX : LOCK_EX | LOCK_NB;
  while (::flock(fd.get(), operation) != 0) {
    if (errno == EINTR) continue;
    if (errno == EWOULDBLOCK && wait == Wait::nonBlocking) return std::optional<FileLock>();
    return unexpected(FileError::lockFailed(path, errno));
  }
  return std::optional<FileLock>(FileLock(path, std::move(fd)));
}

FileLock& FileLock::operator=(FileLock&& other) noexcept {
  if (this != &other) {
    release();
    path_ = std::move(other.path_);
    fd_ = std::move(other.fd_);
    hasNote_ = std::exchange(other.hasNote_, false);
  }
  return *this;
}

void FileLock::release() noexcept {
  if (!fd_) return;
  // Clear the note while still holding the lock, so a free lock reads as having no holder.
  if (hasNote_) (void)::ftruncate(fd_.get(), 0);
  hasNote_ = false;
  fd_.reset();  // closing the last descriptor of the open file description unlocks it
}

expected<void, FileError> FileLock::writeNote(std::string_view note) {
  if (!fd_) return unexpected(FileError::writeFailed(path_, EBADF));
  if (::ftruncate(fd_.get(), 0) != 0) return unexpected(FileError::writeFailed(path_, errno));
  hasNote_ = true;
  off_t offset = 0;
  while (!note.empty()) {
    ssize_t written = ::pwrite(fd_.get(), note.data(), note.size(), offset);
    if (written < 0) {
      if (errno == EINTR) continue;
      return unexpected(FileError::writeFailed(path_, errno));
    }
    note.remove_prefix(static_cast<std::size_t>(written));
    offset += written;
  }
  return {};
}

expected<std::string, FileError> FileLock::readNote(const std::filesystem::path& path) {
  auto content = readFile(path, 4096);
  if (!content) return unexpected(std::move(content).error());
  return content->value_or(std::string());
}

}  // namespace orvanta
