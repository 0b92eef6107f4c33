#include "support/private_directory.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <signal.h>
#include <unistd.h>

#include <charconv>
#include <climits>
#include <cstdint>

#include <cerrno>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "support/app_paths.hpp"
#include "support/unique_fd.hpp"
#include "support/uuid.hpp"

namespace orvanta {

expected<PrivateDirectory, FileError> PrivateDirectory::create(const std::filesystem::path& parent,
                                                               std::string_view name) {
  if (parent.has_parent_path() && parent.parent_path() != parent) ORVANTA_TRY(ensurePrivateDirectory(parent.parent_path()));
  ORVANTA_TRY(ensureOwnPrivateFolder(parent));
  std::filesystem::path path = parent / std::string(name);
  if (::mkdir(path.c_str(), 0700) != 0) return unexpected(FileError::createFolderFailed(path, errno));
  // mkdir's mode is reduced by the umask; the folder must be ours alone whatever the umask says.
  if (::chmod(path.c_str(), 0700) != 0) {
    int error = errno;
    ::rmdir(path.c_str());
    return unexpected(FileError::createFolderFailed(path, error));
  }
  return PrivateDirectory(std::move(path));
}

expected<PrivateDirectory, FileError> PrivateDirectory::createUnique(const std::filesystem::path& parent,
                                                                     std::string_view prefix) {
  removeAbandoned(parent, prefix);
  return create(parent, fmt::format("{}{}-{}", prefix, ::getpid(), makeUUID()));
}

void PrivateDirectory::removeAbandoned(const std::filesystem::path& parent, std::string_view prefix,
                                       const std::function<void(const std::filesystem::path&)>& beforeRemoving) {
  std::error_code error;
  std::filesystem::directory_iterator entries(parent, error);
  if (error) return;
  for (const auto& entry : entries) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with(prefix)) continue;
    std::int64_t pid = 0;
    const char* begin = name.data() + prefix.size();
    const char* end = name.data() + name.size();
    auto [next, problem] = std::from_chars(begin, end, pid);
    if (problem != std::errc() || next == begin || next == end || *next != '-' || pid <= 1 || pid > INT32_MAX) continue;
    struct stat info {};
    if (::lstat(entry.path().c_str(), &info) != 0 || !S_ISDIR(info.st_mode) || info.st_uid != ::geteuid()) continue;
    // kill(pid, 0) fails with ESRCH only when no such process exists; EPERM means it lives (as someone else).
    if (::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH) continue;
    if (beforeRemoving) beforeRemoving(entry.path());
    std::filesystem::remove_all(entry.path(), error);
  }
}

PrivateDirectory::PrivateDirectory(PrivateDirectory&& other) noexcept : path_(std::move(other.path_)) {
  other.path_.clear();
}

PrivateDirectory& PrivateDirectory::operator=(PrivateDirectory&& other) noexcept {
  if (this != &other) {
    remove();
    path_ = std::move(other.path_);
    other.path_.clear();
  }
  return *this;
}

PrivateDirectory::~PrivateDirectory() { remove(); }

expected<std::filesystem::path, FileError> PrivateDirectory::writeFile(std::string_view name,
                                                                       std::string_view bytes) const {
  std::filesystem::path file = path_ / std::string(name);
  UniqueFd fd(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600));
  if (!fd) return unexpected(FileError::writeFailed(file, errno));
  std::size_t done = 0;
  while (done < bytes.size()) {
    ssize_t wrote = ::write(fd.get(), bytes.data() + done, bytes.size() - done);
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote <= 0) return unexpected(FileError::writeFailed(file, wrote < 0 ? errno : EIO));
    done += static_cast<std::size_t>(wrote);
  }
  if (::fchmod(fd.get(), 0600) != 0) return unexpected(FileError::writeFailed(file, errno));
  return file;
}

void PrivateDirectory::remove() noexcept {
  if (path_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
  path_.clear();
}

std::filesystem::path PrivateDirectory::release() noexcept {
  std::filesystem::path kept = std::move(path_);
  path_.clear();
  return kept;
}

}  // namespace orvanta
