#include "tools/app_data/app_file_browser_service.hpp"

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "support/atomic_file.hpp"
#include "support/file_copy.hpp"
#include "support/file_error.hpp"
#include "support/uuid.hpp"
#include "tools/app_data/app_container_service.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using Case = AppDataError::Case;

std::string shown(std::string_view path) { return path.empty() ? std::string(".") : std::string(path); }

// Removes a staged copy on every way out unless it was put in place.
struct StagedCopy {
  fs::path path;
  ~StagedCopy() {
    if (path.empty()) return;
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }
};

fs::path stagingPath(const fs::path& folder) { return folder / (".orvanta-" + makeUUID() + ".partial"); }

}  // namespace

expected<std::vector<ContainerEntry>, AppDataError> AppFileBrowserService::list(const fs::path& container,
                                                                               std::string_view path,
                                                                               bool recursive) const {
  auto resolved = resolveInsideContainer(container, path);
  if (!resolved) return unexpected(resolved.error());
  struct stat info {};
  if (::lstat(resolved->c_str(), &info) != 0) {
    if (errno == ENOENT || errno == ENOTDIR) return unexpected(AppDataError::atPath(Case::pathNotFound, shown(path)));
    return unexpected(AppDataError::atPath(Case::unreadableFile, shown(path), systemMessage(errno)));
  }
  // The path as the listing shows it: relative to the container, without "." components.
  const std::string relative = normalizedContainerPath(path);
  if (!S_ISDIR(info.st_mode)) {
    auto entry = entryAt(*resolved, relative);
    if (!entry) return unexpected(AppDataError::atPath(Case::unsupportedFileType, shown(path)));
    return std::vector<ContainerEntry>{std::move(*entry)};
  }
  auto entries = listFolder(*resolved, relative, recursive);
  if (!entries) return unexpected(AppDataError::atPath(Case::unreadableFile, shown(path), entries.error()));
  return std::move(*entries);
}

expected<AppFileTransfer, AppDataError> AppFileBrowserService::pull(const fs::path& container, std::string_view path,
                                                                    const fs::path& destinationFolder) const {
  auto resolved = resolveInsideContainer(container, path);
  if (!resolved) return unexpected(resolved.error());
  struct stat info {};
  if (::lstat(resolved->c_str(), &info) != 0) return unexpected(AppDataError::atPath(Case::pathNotFound, shown(path)));
  if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) {
    return unexpected(AppDataError::atPath(Case::unsupportedFileType, shown(path)));
  }
  StagedCopy staged{stagingPath(destinationFolder)};
  auto count = copyTree(*resolved, staged.path);
  if (!count) return unexpected(AppDataError::fileOperationFailed("copy", shown(path), count.error()));
  auto placed = renameWithoutReplacing(staged.path, destinationFolder, resolved->filename().string());
  if (!placed) return unexpected(AppDataError::fileOperationFailed("copy", shown(path), placed.error()));
  staged.path.clear();
  return AppFileTransfer{std::move(*placed), *count};
}

expected<AppFileTransfer, AppDataError> AppFileBrowserService::push(const std::string& udid, const fs::path& container,
                                                                    const fs::path& source, std::string_view path) {
  struct stat sourceInfo {};
  if (::lstat(source.c_str(), &sourceInfo) != 0) {
    return unexpected(AppDataError::atPath(Case::pathNotFound, source.string()));
  }
  const bool sourceIsFolder = S_ISDIR(sourceInfo.st_mode);
  if (!S_ISREG(sourceInfo.st_mode) && !sourceIsFolder) {
    return unexpected(AppDataError::atPath(Case::unsupportedFileType, source.string()));
  }
  auto hold = SimulatorGateHold::take(&gate_, udid, gate_labels::appData);
  if (!hold) return unexpected(AppDataError::of(Case::simulatorBusy));

  auto resolved = resolveInsideContainer(container, path);
  if (!resolved) return unexpected(resolved.error());
  std::error_code error;
  fs::path target = *resolved;
  std::string targetShown = normalizedContainerPath(path);
  if (fs::is_directory(fs::symlink_status(target, error))) {
    const std::string name = fs::path(source).lexically_normal().filename().string();
    target /= name.empty() ? fs::absolute(source, error).lexically_normal().parent_path().filename().string() : name;
    targetShown = targetShown.empty() ? target.filename().string() : targetShown + "/" + target.filename().string();
  }
  // The new name itself may be a link: it is replaced, never followed.
  if (!fs::is_directory(fs::symlink_status(target.parent_path(), error))) {
    return unexpected(AppDataError::atPath(Case::pathNotFound, fs::path(targetShown).parent_path().string()));
  }
  const auto existing = fs::symlink_status(target, error);
  if (existing.type() != fs::file_type::not_found && (sourceIsFolder || fs::is_directory(existing))) {
    return unexpected(AppDataError::atPath(Case::alreadyExists, targetShown));
  }

  StagedCopy staged{stagingPath(target.parent_path())};
  auto count = copyTree(source, staged.path);
  if (!count) return unexpected(AppDataError::fileOperationFailed("copy", source.string(), count.error()));
  const int failed = sourceIsFolder ? detail::renameNoReplace(staged.path, target)
                                    : (std::rename(staged.path.c_str(), target.c_str()) == 0 ? 0 : errno);
  if (failed == EEXIST || failed == ENOTEMPTY) return unexpected(AppDataError::atPath(Case::alreadyExists, targetShown));
  if (failed != 0) return unexpected(AppDataError::fileOperationFailed("copy", source.string(), systemMessage(failed)));
  staged.path.clear();
  return AppFileTransfer{fs::path(targetShown), *count};
}

expected<void, AppDataError> AppFileBrowserService::remove(const std::string& udid, const fs::path& container,
                                                           std::string_view path) {
  auto hold = SimulatorGateHold::take(&gate_, udid, gate_labels::appData);
  if (!hold) return unexpected(AppDataError::of(Case::simulatorBusy));
  auto resolved = resolveInsideContainer(container, path, FinalLink::keep);
  if (!resolved) return unexpected(resolved.error());
  std::error_code error;
  if (*resolved == fs::canonical(container, error)) {
    return unexpected(AppDataError::atPath(Case::pathOutsideContainer, shown(path)));
  }
  if (fs::symlink_status(*resolved, error).type() == fs::file_type::not_found) {
    return unexpected(AppDataError::atPath(Case::pathNotFound, shown(path)));
  }
  fs::remove_all(*resolved, error);
  if (error) return unexpected(AppDataError::fileOperationFailed("remove", shown(path), error.message()));
  return {};
}

}  // namespace orvanta
