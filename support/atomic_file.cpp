#include "support/atomic_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>

#include <fmt/format.h>

#include "support/random_bytes.hpp"
#include "support/reference_date.hpp"
#include "support/unique_fd.hpp"

namespace orvanta {

namespace {

std::filesystem::path folderOf(const std::filesystem::path& path) {
  std::filesystem::path folder = path.parent_path();
  return folder.empty() ? std::filesystem::path(".") : folder;
}

std::string randomSuffix() {
  std::array<std::uint8_t, 8> bytes{};
  fillRandomBytes(bytes);
  std::string text;
  for (std::uint8_t byte : bytes) text += fmt::format("{:02x}", byte);
  return text;
}

// 0 or the errno value.
int writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t written = ::write(fd, bytes.data(), bytes.size());
    if (written < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

int syncDescriptor(int fd) {
  while (::fsync(fd) != 0) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

// Removes the temporary files that writers of `path` killed halfway left behind: ours, and untouched for
// long enough that no live writer (whose whole write takes moments) can still be using them.
void removeStaleTemporaries(const std::filesystem::path& folder, const std::string& name) {
  constexpr auto staleAfter = std::chrono::minutes(10);
  const std::string prefix = "." + name + ".";
  std::error_code error;
  std::filesystem::directory_iterator entries(folder, error);
  if (error) return;
  const auto now = std::chrono::system_clock::now();
  for (const auto& entry : entries) {
    const std::string entryName = entry.path().filename().string();
    if (!entryName.starts_with(prefix) || !entryName.ends_with(".tmp")) continue;
    struct stat info {};
    if (::lstat(entry.path().c_str(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != ::geteuid()) continue;
    if (now - std::chrono::system_clock::from_time_t(info.st_mtime) < staleAfter) continue;
    ::unlink(entry.path().c_str());
  }
}

}  // namespace

expected<void, FileError> checkFileWritable(const std::filesystem::path& path) {
  struct stat info {};
  if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return unexpected(FileError::writeFailed(path, EISDIR));
  const std::filesystem::path folder = folderOf(path);
  for (int attempt = 0; attempt < 16; ++attempt) {
    const auto probe = folder / fmt::format(".{}.{}.tmp", path.filename().string(), randomSuffix());
    UniqueFd fd(::open(probe.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (fd) {
      fd.reset();
      ::unlink(probe.c_str());
      return {};
    }
    if (errno != EEXIST && errno != EINTR) return unexpected(FileError::writeFailed(path, errno));
  }
  return unexpected(FileError::writeFailed(path, EEXIST));
}

expected<void, FileError> writeFileAtomically(const std::filesystem::path& path, std::string_view bytes, mode_t mode) {
  const std::filesystem::path folder = folderOf(path);
  removeStaleTemporaries(folder, path.filename().string());
  std::filesystem::path temporary;
  UniqueFd fd;
  for (int attempt = 0; attempt < 16 && !fd; ++attempt) {
    temporary = folder / fmt::format(".{}.{}.tmp", path.filename().string(), randomSuffix());
    fd.reset(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!fd && errno != EEXIST && errno != EINTR) return unexpected(FileError::writeFailed(path, errno));
  }
  if (!fd) return unexpected(FileError::writeFailed(path, EEXIST));

  auto fail = [&](int error) {
    fd.reset();
    ::unlink(temporary.c_str());
    return unexpected(FileError::writeFailed(path, error));
  };
  if (int error = writeAll(fd.get(), bytes)) return fail(error);
  if (int error = syncDescriptor(fd.get())) return fail(error);
  // Some file systems (NFS) only report a failed write when the file is closed.
  if (::close(fd.release()) != 0 && errno != EINTR) return fail(errno);
  if (::rename(temporary.c_str(), path.c_str()) != 0) return fail(errno);

  // The new name must survive a crash too, which takes a sync of the folder itself.
  if (UniqueFd folderFd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); folderFd) {
    (void)syncDescriptor(folderFd.get());
  }
  return {};
}

std::string budgetText(std::size_t bytes) {
  if (bytes >= 1024 * 1024 && bytes % (1024 * 1024) == 0) return fmt::format("{} MiB", bytes / (1024 * 1024));
  if (bytes >= 1024 && bytes % 1024 == 0) return fmt::format("{} KiB", bytes / 1024);
  return fmt::format("{} bytes", bytes);
}

expected<std::optional<std::string>, FileError> readFile(const std::filesystem::path& path, std::size_t maxBytes) {
  UniqueFd fd;
  // Non-blocking, so that opening a FIFO does not wait for a writer; only regular files are read on.
  do {
    fd.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  } while (!fd && errno == EINTR);
  if (!fd) {
    if (errno == ENOENT) return std::optional<std::string>();
    return unexpected(FileError::readFailed(path, errno));
  }
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0) return unexpected(FileError::readFailed(path, errno));
  if (S_ISDIR(info.st_mode)) return unexpected(FileError::readFailed(path, EISDIR));
  if (!S_ISREG(info.st_mode)) return unexpected(FileError::readRefused(path, "it is not a regular file", EINVAL));
  if (info.st_size > 0 && static_cast<std::uintmax_t>(info.st_size) > maxBytes) {
    return unexpected(FileError::readRefused(path, "it is larger than " + budgetText(maxBytes), EFBIG));
  }
  auto content = detail::readToEnd(fd.get(), path, maxBytes, static_cast<std::size_t>(std::max<off_t>(info.st_size, 0)));
  if (!content) return unexpected(content.error());
  return std::optional<std::string>(std::move(*content));
}

namespace detail {

expected<std::string, FileError> readToEnd(int fd, const std::filesystem::path& path, std::uintmax_t maximumBytes,
                                           std::size_t sizeHint) {
  std::string content;
  content.reserve(static_cast<std::size_t>(std::min<std::uintmax_t>(sizeHint, maximumBytes)));
  std::array<char, 16384> buffer{};
  for (;;) {
    ssize_t count = ::read(fd, buffer.data(), buffer.size());
    if (count == 0) break;
    if (count < 0) {
      if (errno == EINTR) continue;
      return unexpected(FileError::readFailed(path, errno));
    }
    // The file may grow while it is read (or report no size at all, as /proc files do).
    if (content.size() + static_cast<std::size_t>(count) > maximumBytes) {
      return unexpected(FileError::readRefused(
          path, "it is larger than " + budgetText(static_cast<std::size_t>(std::min<std::uintmax_t>(maximumBytes, SIZE_MAX))),
          EFBIG));
    }
    content.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return content;
}

}  // namespace detail

expected<std::filesystem::path, FileError> moveAsideUnreadable(const std::filesystem::path& path,
                                                               std::chrono::system_clock::time_point now) {
  const std::filesystem::path folder = folderOf(path);
  const std::string base = path.stem().string();
  const std::string extension = path.extension().string();
  const std::string stamp = formatUtc(now, UtcFormat::compact);
  constexpr int kMaximumAttempts = 10000;
  for (int number = 1; number <= kMaximumAttempts; ++number) {
    std::string name = base + ".unreadable-" + stamp;
    if (number > 1) name += fmt::format("-{}", number);
    name += extension;
    std::filesystem::path destination = folder / name;
    int error = detail::renameNoReplace(path, destination);
    if (error == 0) return destination;
    if (error != EEXIST) return unexpected(FileError::moveAsideFailed(path, error));
  }
  return unexpected(FileError::moveAsideFailed(path, EEXIST));
}

namespace detail {
int renameNoReplaceFallback(const std::filesystem::path& from, const std::filesystem::path& to) {
  if (::link(from.c_str(), to.c_str()) == 0) {
    ::unlink(from.c_str());
    return 0;
  }
  if (errno == EEXIST || errno == ENOENT || errno == EACCES || errno == EROFS || errno == ENOSPC) return errno;
  // No hard links here (or `from` is a folder): the check leaves a small window that only a file
  // created concurrently under the very same stamped name could fall into.
  struct stat info {};
  if (::lstat(to.c_str(), &info) == 0) return EEXIST;
  if (::rename(from.c_str(), to.c_str()) != 0) return errno;
  return 0;
}
}  // namespace detail

}  // namespace orvanta
