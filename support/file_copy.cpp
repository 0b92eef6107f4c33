#include "support/file_copy.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>


#include "support/atomic_file.hpp"
#include "support/unique_fd.hpp"
#include "support/uuid.hpp"

namespace orvanta {
namespace {

constexpr int maximumCounter = 100000;

// Writes all of `source` to `target`; false with errno set on failure.
bool copyContents(int source, int target) {
  std::array<char, 64 * 1024> buffer{};
  for (;;) {
    ssize_t got = ::read(source, buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) return true;
    std::size_t done = 0;
    while (done < static_cast<std::size_t>(got)) {
      ssize_t wrote = ::write(target, buffer.data() + done, static_cast<std::size_t>(got) - done);
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote <= 0) return false;
      done += static_cast<std::size_t>(wrote);
    }
  }
}

// Opens a regular file for reading: no symbolic link is followed and a FIFO does not block the open.
// Sets errno (EINVAL for something that is not a regular file) and returns an invalid descriptor on failure.
UniqueFd openRegularFile(const std::filesystem::path& path, struct stat* info) {
  UniqueFd fd;
  do {
    fd.reset(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  } while (!fd && errno == EINTR);
  if (!fd) return fd;
  if (::fstat(fd.get(), info) != 0) return UniqueFd();
  if (!S_ISREG(info->st_mode)) {
    errno = EINVAL;
    return UniqueFd();
  }
  // Back to blocking reads, which a regular file always allows.
  const int flags = ::fcntl(fd.get(), F_GETFL);
  if (flags >= 0) (void)::fcntl(fd.get(), F_SETFL, flags & ~O_NONBLOCK);
  return fd;
}

bool linkUnsupported(int error) {
  return error == EPERM || error == ENOTSUP || error == EOPNOTSUPP || error == ENOSYS || error == EXDEV ||
         error == EMLINK;
}

std::string candidateName(std::string_view fileName, int counter) {
  return counter == 1 ? std::string(fileName) : numberedFileName(fileName, counter);
}

}  // namespace

std::string numberedFileName(std::string_view fileName, int counter) {
  const auto dot = fileName.rfind('.');
  const std::string suffix = " " + std::to_string(counter);
  if (dot == std::string_view::npos || dot == 0) return std::string(fileName) + suffix;
  return std::string(fileName.substr(0, dot)) + suffix + std::string(fileName.substr(dot));
}

expected<void, int> copyToNewFile(const std::filesystem::path& source, const std::filesystem::path& target,
                                  unsigned mode) {
  struct stat info {};
  UniqueFd in = openRegularFile(source, &info);
  if (!in) return unexpected(errno);
  UniqueFd out(::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, static_cast<mode_t>(mode)));
  if (!out) return unexpected(errno);
  if (!copyContents(in.get(), out.get()) || ::fsync(out.get()) != 0) {
    const int error = errno;
    ::unlink(target.c_str());
    return unexpected(error);
  }
  return {};
}

expected<std::filesystem::path, std::string> copyWithoutReplacing(const std::filesystem::path& source,
                                                                  const std::filesystem::path& folder,
                                                                  std::string_view fileName) {
  const auto staging = folder / ("." + makeUUID() + ".partial");
  if (auto copied = copyToNewFile(source, staging); !copied) return unexpected(systemMessage(copied.error()));
  struct Cleanup {
    const std::filesystem::path& path;
    ~Cleanup() { ::unlink(path.c_str()); }
  } cleanup{staging};

  bool useLinks = true;
  for (int counter = 1; counter <= maximumCounter; ++counter) {
    const auto candidate = folder / candidateName(fileName, counter);
    if (useLinks) {
      if (::link(staging.c_str(), candidate.c_str()) == 0) return candidate;
      if (errno == EEXIST) continue;
      if (!linkUnsupported(errno)) return unexpected(systemMessage(errno));
      useLinks = false;  // a file system without hard links: create the name exclusively and copy into it
    }
    auto copied = copyToNewFile(staging, candidate);
    if (copied) return candidate;
    if (copied.error() != EEXIST) return unexpected(systemMessage(copied.error()));
  }
  return unexpected(std::string("Every numbered name is taken."));
}

expected<std::filesystem::path, std::string> renameWithoutReplacing(const std::filesystem::path& staged,
                                                                    const std::filesystem::path& folder,
                                                                    std::string_view fileName) {
  for (int counter = 1; counter <= maximumCounter; ++counter) {
    const auto candidate = folder / candidateName(fileName, counter);
    const int error = detail::renameNoReplace(staged, candidate);
    if (error == 0) return candidate;
    if (error != EEXIST && error != ENOTEMPTY) return unexpected(systemMessage(error));
  }
  return unexpected(std::string("Every numbered name is taken."));
}

expected<std::string, FileError> readRegularFile(const std::filesystem::path& path, std::uintmax_t maximumBytes) {
  struct stat info {};
  UniqueFd fd = openRegularFile(path, &info);
  if (!fd) {
    if (errno == EINVAL) return unexpected(FileError::readRefused(path, "it is not a regular file", EINVAL));
    return unexpected(FileError::readFailed(path, errno));
  }
  return detail::readToEnd(fd.get(), path, maximumBytes, static_cast<std::size_t>(info.st_size));
}

}  // namespace orvanta
