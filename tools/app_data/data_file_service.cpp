#include "tools/app_data/data_file_service.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>

#include "support/file_copy.hpp"
#include "support/unique_fd.hpp"
#include "support/text.hpp"
#include "tools/app_data/app_container_service.hpp"
#include "tools/app_data/container_files.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using Case = AppDataError::Case;

std::string shown(std::string_view path) { return path.empty() ? std::string(".") : std::string(path); }

// Up to 16 bytes from the start of a regular file; empty when it cannot be read.
std::string firstBytes(const fs::path& path) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  struct stat info {};
  if (!fd || ::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return {};
  std::array<char, 16> buffer{};
  ssize_t got = 0;
  do {
    got = ::read(fd.get(), buffer.data(), buffer.size());
  } while (got < 0 && errno == EINTR);
  return got > 0 ? std::string(buffer.data(), static_cast<std::size_t>(got)) : std::string();
}

}  // namespace

std::string_view rawValue(DataFileKind kind) {
  switch (kind) {
    case DataFileKind::sqlite: return "sqlite";
    case DataFileKind::propertyList: return "propertyList";
    case DataFileKind::json: return "json";
  }
  return {};
}

std::optional<DataFileKind> classifyDataFile(std::string_view fileName, std::string_view bytes) {
  const std::string name = asciiLowercase(fileName);
  for (std::string_view companion : {"-wal", "-shm", "-journal"}) {
    if (name.ends_with(companion)) return std::nullopt;
  }
  if (hasSqliteHeader(bytes)) return DataFileKind::sqlite;
  if (bytes.starts_with("bplist") || name.ends_with(".plist")) return DataFileKind::propertyList;
  if (name.ends_with(".json")) return DataFileKind::json;
  return std::nullopt;
}

expected<std::vector<DataFile>, AppDataError> DataFileService::findDataFiles(const fs::path& container,
                                                                                 std::string_view folder) const {
  auto resolved = resolveInsideContainer(container, folder);
  if (!resolved) return unexpected(resolved.error());
  std::error_code error;
  if (!fs::is_directory(fs::symlink_status(*resolved, error))) {
    return unexpected(AppDataError::atPath(Case::pathNotFound, shown(folder)));
  }
  const std::string relative = normalizedContainerPath(folder);
  auto entries = listFolder(*resolved, "", true);
  if (!entries) return unexpected(AppDataError::atPath(Case::unreadableFile, shown(folder), entries.error()));
  std::vector<DataFile> files;
  for (const auto& entry : *entries) {
    if (entry.kind != ContainerEntry::Kind::file) continue;
    const fs::path inside(entry.path);
    if (const auto kind = classifyDataFile(inside.filename().string(), firstBytes(*resolved / inside))) {
      files.push_back({relative.empty() ? entry.path : relative + "/" + entry.path, *kind, entry.size});
    }
  }
  return files;
}

expected<std::pair<fs::path, DataFileKind>, AppDataError> DataFileService::locate(const fs::path& container,
                                                                                      std::string_view path) const {
  auto resolved = resolveInsideContainer(container, path);
  if (!resolved) return unexpected(resolved.error());
  struct stat info {};
  if (::lstat(resolved->c_str(), &info) != 0) return unexpected(AppDataError::atPath(Case::pathNotFound, shown(path)));
  if (!S_ISREG(info.st_mode)) return unexpected(AppDataError::atPath(Case::notInspectable, shown(path)));
  const auto kind = classifyDataFile(resolved->filename().string(), firstBytes(*resolved));
  if (!kind) return unexpected(AppDataError::atPath(Case::notInspectable, shown(path)));
  return std::pair{std::move(*resolved), *kind};
}

expected<DataInspection, AppDataError> DataFileService::inspect(const fs::path& container, std::string_view path,
                                                                     orvanta::stop_token stop) const {
  auto located = locate(container, path);
  if (!located) return unexpected(located.error());
  const auto& [file, kind] = *located;
  if (kind == DataFileKind::sqlite) {
    auto reader = SqliteReader::open(file, shown(path), temporaryParent_, 4ull << 30, stop);
    if (!reader) return unexpected(reader.error());
    auto tables = reader->tables(stop);
    if (!tables) return unexpected(tables.error());
    return DatabaseInspection{std::move(*tables)};
  }
  auto bytes = readRegularFile(file, structuredDocumentMaxBytes);
  if (!bytes) {
    const auto& error = bytes.error();
    if (error.errorNumber == EFBIG) return unexpected(AppDataError::atPath(Case::tooLarge, shown(path), error.message));
    return unexpected(AppDataError::atPath(Case::unreadableFile, shown(path), error.message));
  }
  auto document = readStructuredDocument(*bytes, kind == DataFileKind::json);
  if (!document) return unexpected(AppDataError::atPath(Case::unreadableFile, shown(path), document.error()));
  return std::move(*document);
}

expected<SqliteQueryResult, AppDataError> DataFileService::query(const fs::path& container, std::string_view path,
                                                                      const std::string& sql,
                                                                      const SqliteQueryLimits& limits,
                                                                      orvanta::stop_token stop) const {
  auto located = locate(container, path);
  if (!located) return unexpected(located.error());
  if (located->second != DataFileKind::sqlite) return unexpected(AppDataError::atPath(Case::notInspectable, shown(path)));
  auto reader = SqliteReader::open(located->first, shown(path), temporaryParent_, 4ull << 30, stop);
  if (!reader) return unexpected(reader.error());
  return reader->query(sql, limits, stop);
}

}  // namespace orvanta
