// The app's data files: finds the databases, property lists and JSON files in an app's container and
// shows what they hold, without ever writing to the container.
//
// SQLite databases are read from a private copy of the file and its write-ahead log (see
// sqlite_reader.hpp); property lists (XML, binary, OpenStep) and JSON become typed trees (see
// structured_document.hpp). Paths are resolved inside the container as the file browser resolves them.
//
// Stateless apart from its temporary folder; thread-safe; blocks on the file system and SQLite.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "support/stop_token.hpp"
#include "tools/app_data/app_data_error.hpp"
#include "tools/app_data/sqlite_reader.hpp"
#include "tools/app_data/structured_document.hpp"

namespace orvanta {

enum class DataFileKind { sqlite, propertyList, json };
// "sqlite", "propertyList", "json".
[[nodiscard]] std::string_view rawValue(DataFileKind kind);

// What a file is, from its name and its first bytes (at least 16 when the file has them): SQLite's
// header makes a database; "bplist" or a .plist name a property list; a .json name JSON. The companion
// files of a database ("-wal", "-shm", "-journal") are none of these.
[[nodiscard]] std::optional<DataFileKind> classifyDataFile(std::string_view fileName, std::string_view firstBytes);

struct DataFile {
  std::string path;  // relative to the container
  DataFileKind kind = DataFileKind::sqlite;
  std::uintmax_t size = 0;
  bool operator==(const DataFile&) const = default;
};

struct DatabaseInspection {
  std::vector<SqliteTable> tables;
};
using DataInspection = std::variant<DatabaseInspection, StructuredDocument>;

class DataFileService {
 public:
  // Database copies go into private folders under `temporaryParent`.
  explicit DataFileService(std::filesystem::path temporaryParent) : temporaryParent_(std::move(temporaryParent)) {}

  // Every database, property list and JSON file below `folder` (a path in the container, "" for all of
  // it), by path. Fails with pathOutsideContainer, pathNotFound, unreadableFile or tooLarge.
  [[nodiscard]] expected<std::vector<DataFile>, AppDataError> findDataFiles(const std::filesystem::path& container,
                                                                           std::string_view folder = {}) const;

  // A database's tables, or a property list's or JSON file's tree. Fails with pathOutsideContainer,
  // pathNotFound, notInspectable, unreadableFile, tooLarge or cancelled.
  [[nodiscard]] expected<DataInspection, AppDataError> inspect(const std::filesystem::path& container,
                                                               std::string_view path,
                                                               orvanta::stop_token stop = {}) const;

  // One read-only query on the database at `path` (see SqliteReader::query). Fails as inspect() does for
  // the file (notInspectable for anything but a database), then with queryRefused or queryFailed.
  [[nodiscard]] expected<SqliteQueryResult, AppDataError> query(const std::filesystem::path& container,
                                                                std::string_view path, const std::string& sql,
                                                                const SqliteQueryLimits& limits,
                                                                orvanta::stop_token stop = {}) const;

 private:
  // The resolved path of a regular file at `path`, and its kind.
  [[nodiscard]] expected<std::pair<std::filesystem::path, DataFileKind>, AppDataError> locate(
      const std::filesystem::path& container, std::string_view path) const;

  std::filesystem::path temporaryParent_;
};

}  // namespace orvanta
