#include "support/app_paths.hpp"

#include <fcntl.h>
#include <pwd.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <vector>

#include <fmt/format.h>

#include "support/unique_fd.hpp"

namespace orvanta {

namespace detail {
std::optional<std::filesystem::path> absolutePathFromEnvironment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr || value[0] != '/') return std::nullopt;
  return std::filesystem::path(value);
}
}  // namespace detail

expected<std::filesystem::path, FileError> homeDirectory() {
  if (auto home = detail::absolutePathFromEnvironment("HOME")) return *home;
  long suggested = ::sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(suggested > 0 ? static_cast<std::size_t>(suggested) : 16384);
  passwd entry{};
  passwd* found = nullptr;
  while (::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
    buffer.resize(buffer.size() * 2);
  }
  if (found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') {
    return unexpected(FileError::homeNotFound());
  }
  return std::filesystem::path(found->pw_dir);
}

std::filesystem::path temporaryDirectory() {
  if (auto tmp = detail::absolutePathFromEnvironment("TMPDIR")) return *tmp;
  return "/tmp";
}

std::filesystem::path scratchDirectory() { return temporaryDirectory() / fmt::format("orvanta-{}", ::geteuid()); }

expected<void, FileError> ensurePrivateDirectory(const std::filesystem::path& requested) {
  std::filesystem::path path = requested.lexically_normal();
  if (!path.has_filename() && path.has_parent_path() && path != path.root_path()) path = path.parent_path();
  if (path.empty()) return {};

  struct stat info {};
  if (::stat(path.c_str(), &info) == 0) {
    if (S_ISDIR(info.st_mode)) return {};
    return unexpected(FileError::createFolderFailed(path, ENOTDIR));
  }
  if (errno != ENOENT) return unexpected(FileError::createFolderFailed(path, errno));

  if (std::filesystem::path parent = path.parent_path(); !parent.empty() && parent != path) {
    ORVANTA_TRY(ensurePrivateDirectory(parent));
  }
  if (::mkdir(path.c_str(), 0700) == 0) return {};
  int error = errno;
  // Another process may have created it in the meantime; that is fine as long as it is a folder.
  if (error == EEXIST && ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) return {};
  return unexpected(FileError::createFolderFailed(path, error == EEXIST ? ENOTDIR : error));
}

expected<void, FileError> ensureOwnPrivateFolder(const std::filesystem::path& folder) {
  if (::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    return unexpected(FileError::createFolderFailed(folder, errno));
  }
  // Opened without following a link: in a shared /tmp a symbolic link planted by someone else must not
  // lead us anywhere. The checks and the repair then act on what was opened, not on the name again.
  UniqueFd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!fd) {
    if (errno == ELOOP || errno == ENOTDIR) {
      struct stat link {};
      const bool isLink = ::lstat(folder.c_str(), &link) == 0 && S_ISLNK(link.st_mode);
      return unexpected(FileError::notPrivate(folder, isLink ? "it is a symbolic link" : "it is not a folder"));
    }
    return unexpected(FileError::createFolderFailed(folder, errno));
  }
  struct stat info {};
  if (::fstat(fd.get(), &info) != 0) return unexpected(FileError::createFolderFailed(folder, errno));
  if (info.st_uid != ::geteuid()) return unexpected(FileError::notPrivate(folder, "it belongs to another user"));
  // Ours, but open to others (an old umask, a careless chmod): nobody else could have made it ours, so it
  // is safe to close it again.
  if ((info.st_mode & 077) != 0 && ::fchmod(fd.get(), 0700) != 0) {
    return unexpected(FileError::notPrivate(
        folder, fmt::format("other users can open it (mode {:o}) and it could not be made private", info.st_mode & 07777)));
  }
  return {};
}

expected<std::filesystem::path, FileError> runtimeDirectory() {
  std::filesystem::path folder;
  if (auto runtime = detail::absolutePathFromEnvironment("XDG_RUNTIME_DIR")) {
    ORVANTA_TRY(ensurePrivateDirectory(*runtime));
    folder = *runtime / "orvanta";
  } else {
    folder = scratchDirectory();
  }

  ORVANTA_TRY(ensureOwnPrivateFolder(folder));
  return folder;
}

}  // namespace orvanta
