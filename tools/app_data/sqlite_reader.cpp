#include "tools/app_data/sqlite_reader.hpp"

#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <sqlite3.h>

#include "support/file_copy.hpp"
#include "support/file_error.hpp"
#include "support/private_directory.hpp"
#include "support/utf8.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using Case = AppDataError::Case;

constexpr int copyAttempts = 4;
constexpr int progressInterval = 1000;  // virtual-machine steps between checks for a stop

// What identifies one state of a file: a change in any of these means it was written meanwhile.
struct FileState {
  bool exists = false;
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  std::int64_t modifiedNanoseconds = 0;
  bool regular = false;
  bool operator==(const FileState&) const = default;
};

FileState fileState(const fs::path& path) {
  struct stat info {};
  if (::lstat(path.c_str(), &info) != 0) return {};
#ifdef __APPLE__
  const auto& time = info.st_mtimespec;
#else
  const auto& time = info.st_mtim;
#endif
  return {true, info.st_dev, info.st_ino, info.st_size,
          static_cast<std::int64_t>(time.tv_sec) * 1000000000 + time.tv_nsec, S_ISREG(info.st_mode)};
}

// A file: URI for `path`: everything but unreserved characters and '/' percent-encoded.
std::string fileUri(const fs::path& path) {
  std::string uri = "file:";
  for (char c : path.string()) {
    const auto byte = static_cast<unsigned char>(c);
    const bool keep = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
                      c == '-' || c == '.' || c == '_' || c == '~' || c == '/';
    uri += keep ? std::string(1, c) : fmt::format("%{:02X}", byte);
  }
  return uri + "?mode=ro";
}

struct Statement {
  sqlite3_stmt* handle = nullptr;
  Statement() = default;
  Statement(Statement&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
  Statement& operator=(Statement&&) = delete;
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement() { sqlite3_finalize(handle); }
};

// Pragmas that only report. The first set may name a table or index; the second only reads a setting
// and is allowed without an argument (with one, it would change the setting).
const std::set<std::string_view> queryPragmas = {"table_info", "table_xinfo", "table_list", "index_list",
                                                 "index_info", "index_xinfo", "foreign_key_list",
                                                 "foreign_key_check", "integrity_check", "quick_check"};
const std::set<std::string_view> settingPragmas = {
    "application_id", "auto_vacuum", "collation_list", "compile_options", "data_version", "database_list",
    "encoding", "freelist_count", "function_list", "journal_mode", "module_list", "page_count", "page_size",
    "pragma_list", "schema_version", "user_version"};

struct QueryGuard {
  std::string reason;  // why the authorizer refused, for the sentence
};

int authorize(void* context, int action, const char* third, const char* fourth, const char*, const char*) {
  auto& guard = *static_cast<QueryGuard*>(context);
  auto deny = [&](std::string reason) {
    if (guard.reason.empty()) guard.reason = std::move(reason);
    return SQLITE_DENY;
  };
  switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE: return SQLITE_OK;
    case SQLITE_FUNCTION:
      if (fourth != nullptr && std::string_view(fourth) == "load_extension") return deny("load_extension is not allowed");
      return SQLITE_OK;
    case SQLITE_PRAGMA: {
      const std::string_view name = third != nullptr ? third : "";
      if (queryPragmas.contains(name) || (settingPragmas.contains(name) && fourth == nullptr)) return SQLITE_OK;
      return deny(fmt::format("PRAGMA {} can change the connection or the database", name));
    }
    case SQLITE_UPDATE:
      // Preparing a query on a table-valued pragma (pragma_index_list(...)) checks the schema table as if
      // it were updated. A real update of the schema is still refused: it is not read-only, and the
      // connection is.
      if (third != nullptr && (std::string_view(third) == "sqlite_master" || std::string_view(third) == "sqlite_schema")) {
        return SQLITE_OK;
      }
      return deny("the statement would change the database");
    case SQLITE_ATTACH:
    case SQLITE_DETACH: return deny("ATTACH and DETACH are not allowed");
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT: return deny("transaction control is not allowed");
    default: return deny("the statement would change the database");
  }
}

struct Progress {
  orvanta::stop_token stop;
  std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
  bool timedOut = false;
};

int checkProgress(void* context) {
  auto& progress = *static_cast<Progress*>(context);
  if (progress.stop.stop_requested()) return 1;
  if (std::chrono::steady_clock::now() > progress.deadline) {
    progress.timedOut = true;
    return 1;
  }
  return 0;
}

}  // namespace

bool hasSqliteHeader(std::string_view firstBytes) noexcept {
  return firstBytes.size() >= 16 && firstBytes.substr(0, 16) == std::string_view("SQLite format 3\0", 16);
}

struct SqliteReader::State {
  PrivateDirectory folder;
  std::string shownAs;
  sqlite3* db = nullptr;
  Progress progress;

  State(PrivateDirectory directory, std::string name) : folder(std::move(directory)), shownAs(std::move(name)) {}
  State(const State&) = delete;
  State& operator=(const State&) = delete;
  // The connection goes before the folder that holds its files.
  ~State() { sqlite3_close_v2(db); }

  AppDataError unreadable(std::string reason) const {
    return AppDataError::atPath(Case::unreadableFile, shownAs, std::move(reason));
  }
  std::string message() const { return sqlite3_errmsg(db); }

  // Runs with `stop` checked every few thousand steps (and the deadline, for queries).
  void watch(orvanta::stop_token stop, std::optional<std::chrono::milliseconds> limit) {
    progress.stop = std::move(stop);
    progress.timedOut = false;
    progress.deadline = limit ? std::chrono::steady_clock::now() + *limit : std::chrono::steady_clock::time_point::max();
    sqlite3_progress_handler(db, progressInterval, checkProgress, &progress);
  }

  expected<Statement, AppDataError> prepare(const char* sql) const {
    Statement statement;
    if (sqlite3_prepare_v2(db, sql, -1, &statement.handle, nullptr) != SQLITE_OK) {
      return unexpected(unreadable(message()));
    }
    return statement;
  }
};

SqliteReader::SqliteReader(std::unique_ptr<State> state) : state_(std::move(state)) {}
SqliteReader::SqliteReader(SqliteReader&&) noexcept = default;
SqliteReader& SqliteReader::operator=(SqliteReader&&) noexcept = default;
SqliteReader::~SqliteReader() = default;

const fs::path& SqliteReader::copyFolder() const { return state_->folder.path(); }

expected<SqliteReader, AppDataError> SqliteReader::open(const fs::path& database, const std::string& shownAs,
                                                        const fs::path& temporaryParent, std::uintmax_t maximumBytes,
                                                        orvanta::stop_token stop) {
  auto unreadable = [&](std::string reason) {
    return unexpected(AppDataError::atPath(Case::unreadableFile, shownAs, std::move(reason)));
  };
  const fs::path wal = database.string() + "-wal";
  const FileState mainState = fileState(database);
  if (!mainState.exists) return unreadable(systemMessage(ENOENT));
  if (!mainState.regular) return unreadable("not a regular file");

  auto folder = PrivateDirectory::createUnique(temporaryParent, "Orvanta-Data-");
  if (!folder) return unreadable(folder.error().description());
  const fs::path copy = folder->path() / "copy.sqlite";
  const fs::path copyWal = copy.string() + "-wal";

  bool consistent = false;
  for (int attempt = 0; attempt < copyAttempts && !consistent; ++attempt) {
    if (stop.stop_requested()) return unexpected(AppDataError::of(Case::cancelled));
    std::error_code ignored;
    fs::remove(copy, ignored);
    fs::remove(copyWal, ignored);
    const FileState walBefore = fileState(wal);
    const FileState mainBefore = fileState(database);
    if (walBefore.exists && !walBefore.regular) return unreadable("its write-ahead log is not a regular file");
    if (static_cast<std::uintmax_t>(mainBefore.size) + static_cast<std::uintmax_t>(walBefore.size) > maximumBytes) {
      return unexpected(AppDataError::atPath(Case::tooLarge, shownAs, fmt::format("more than {} bytes", maximumBytes)));
    }
    // The log first: a checkpoint that runs between the two copies then only moves into the main file
    // what the copied log holds as well, and anything later shows as a changed log.
    if (walBefore.exists) {
      if (auto copied = copyToNewFile(wal, copyWal, 0600); !copied) return unreadable(systemMessage(copied.error()));
    }
    if (auto copied = copyToNewFile(database, copy, 0600); !copied) return unreadable(systemMessage(copied.error()));
    consistent = fileState(wal) == walBefore && fileState(database) == mainBefore;
  }
  if (!consistent) return unreadable("the database kept changing while it was copied");

  auto state = std::make_unique<State>(std::move(*folder), shownAs);
  const int opened =
      sqlite3_open_v2(fileUri(copy).c_str(), &state->db, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
  if (opened != SQLITE_OK) return unexpected(state->unreadable(state->db ? state->message() : "out of memory"));
  sqlite3_extended_result_codes(state->db, 1);
  sqlite3_limit(state->db, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_db_config(state->db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(state->db, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
#ifdef SQLITE_DBCONFIG_TRUSTED_SCHEMA
  sqlite3_db_config(state->db, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
#endif
  // Reading the schema is what tells a database from other bytes.
  state->watch(stop, std::nullopt);
  if (sqlite3_exec(state->db, "SELECT count(*) FROM sqlite_schema", nullptr, nullptr, nullptr) != SQLITE_OK) {
    if (stop.stop_requested()) return unexpected(AppDataError::of(Case::cancelled));
    return unexpected(state->unreadable(state->message()));
  }
  return SqliteReader(std::move(state));
}

expected<std::vector<SqliteTable>, AppDataError> SqliteReader::tables(orvanta::stop_token stop) {
  State& state = *state_;
  state.watch(stop, std::nullopt);
  auto cancelledOr = [&](AppDataError error) {
    return unexpected(stop.stop_requested() ? AppDataError::of(Case::cancelled) : std::move(error));
  };
  auto names = state.prepare(
      "SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' ESCAPE '\\' ORDER BY name");
  if (!names) return cancelledOr(names.error());
  auto columns = state.prepare("SELECT name, type, \"notnull\", pk FROM pragma_table_info(?1) ORDER BY cid");
  if (!columns) return cancelledOr(columns.error());
  auto indexes = state.prepare("SELECT name, \"unique\" FROM pragma_index_list(?1) ORDER BY name");
  if (!indexes) return cancelledOr(indexes.error());
  auto indexColumns = state.prepare("SELECT name FROM pragma_index_info(?1) ORDER BY seqno");
  if (!indexColumns) return cancelledOr(indexColumns.error());

  auto text = [](sqlite3_stmt* statement, int column) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return bytes == nullptr ? std::string() : toValidUtf8(std::string_view(bytes, static_cast<std::size_t>(sqlite3_column_bytes(statement, column))));
  };
  auto rows = [&](sqlite3_stmt* statement, const std::string& argument, auto&& each) -> expected<void, AppDataError> {
    sqlite3_reset(statement);
    sqlite3_bind_text(statement, 1, argument.c_str(), static_cast<int>(argument.size()), SQLITE_TRANSIENT);
    int result = SQLITE_ROW;
    while ((result = sqlite3_step(statement)) == SQLITE_ROW) each(statement);
    if (result != SQLITE_DONE) return cancelledOr(state.unreadable(state.message()));
    return {};
  };

  std::vector<SqliteTable> tables;
  int result = SQLITE_ROW;
  while ((result = sqlite3_step(names->handle)) == SQLITE_ROW) tables.push_back({text(names->handle, 0), {}, {}, {}});
  if (result != SQLITE_DONE) return cancelledOr(state.unreadable(state.message()));

  for (auto& table : tables) {
    if (auto done = rows(columns->handle, table.name, [&](sqlite3_stmt* row) {
          table.columns.push_back({text(row, 0), text(row, 1), sqlite3_column_int(row, 2) != 0,
                                   sqlite3_column_int(row, 3) != 0});
        });
        !done) {
      return unexpected(done.error());
    }
    if (auto done = rows(indexes->handle, table.name, [&](sqlite3_stmt* row) {
          table.indexes.push_back({text(row, 0), sqlite3_column_int(row, 1) != 0, {}});
        });
        !done) {
      return unexpected(done.error());
    }
    for (auto& index : table.indexes) {
      if (auto done = rows(indexColumns->handle, index.name,
                           [&](sqlite3_stmt* row) { index.columns.push_back(text(row, 0)); });
          !done) {
        return unexpected(done.error());
      }
    }
    std::string quoted = "\"";
    for (char c : table.name) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    const std::string count = "SELECT count(*) FROM " + quoted + "\"";
    Statement counter;
    if (sqlite3_prepare_v2(state.db, count.c_str(), -1, &counter.handle, nullptr) == SQLITE_OK &&
        sqlite3_step(counter.handle) == SQLITE_ROW) {
      table.rowCount = sqlite3_column_int64(counter.handle, 0);
    } else if (stop.stop_requested()) {
      return unexpected(AppDataError::of(Case::cancelled));
    }
  }
  return tables;
}

expected<SqliteQueryResult, AppDataError> SqliteReader::query(const std::string& sql, const SqliteQueryLimits& limits,
                                                              orvanta::stop_token stop) {
  State& state = *state_;
  auto refused = [](std::string reason) { return unexpected(AppDataError::of(Case::queryRefused, std::move(reason))); };
  QueryGuard guard;
  sqlite3_set_authorizer(state.db, authorize, &guard);
  struct AuthorizerReset {
    sqlite3* db;
    ~AuthorizerReset() { sqlite3_set_authorizer(db, nullptr, nullptr); }
  } reset{state.db};

  Statement statement;
  const char* tail = nullptr;
  if (sqlite3_prepare_v2(state.db, sql.c_str(), static_cast<int>(sql.size()), &statement.handle, &tail) != SQLITE_OK) {
    if (!guard.reason.empty()) return refused(guard.reason);
    return unexpected(AppDataError::of(Case::queryFailed, state.message()));
  }
  if (statement.handle == nullptr) return refused("the query is empty");
  // Whatever follows the statement may only be white space, comments and semicolons.
  if (tail != nullptr && *tail != '\0') {
    Statement rest;
    const int prepared = sqlite3_prepare_v2(state.db, tail, -1, &rest.handle, nullptr);
    if (prepared != SQLITE_OK || rest.handle != nullptr) return refused("run one statement at a time");
  }
  if (!guard.reason.empty()) return refused(guard.reason);
  if (sqlite3_stmt_readonly(statement.handle) == 0) return refused("the statement would change the database");

  SqliteQueryResult result;
  const int columnCount = sqlite3_column_count(statement.handle);
  for (int column = 0; column < columnCount; ++column) {
    const char* name = sqlite3_column_name(statement.handle, column);
    result.columns.push_back(name == nullptr ? std::string() : toValidUtf8(name));
  }
  state.watch(stop, limits.timeLimit);
  std::size_t bytes = 0;
  int step = SQLITE_ROW;
  while ((step = sqlite3_step(statement.handle)) == SQLITE_ROW) {
    if (result.rows.size() == limits.maximumRows) {
      result.truncated = true;
      break;
    }
    std::vector<SqliteValue> row;
    row.reserve(static_cast<std::size_t>(columnCount));
    for (int column = 0; column < columnCount; ++column) {
      switch (sqlite3_column_type(statement.handle, column)) {
        case SQLITE_INTEGER: row.emplace_back(static_cast<std::int64_t>(sqlite3_column_int64(statement.handle, column))); break;
        case SQLITE_FLOAT: row.emplace_back(sqlite3_column_double(statement.handle, column)); break;
        case SQLITE_TEXT: {
          const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement.handle, column));
          const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement.handle, column));
          bytes += size;
          row.emplace_back(toValidUtf8(std::string_view(text == nullptr ? "" : text, text == nullptr ? 0 : size)));
          break;
        }
        case SQLITE_BLOB: {
          const auto* blob = static_cast<const char*>(sqlite3_column_blob(statement.handle, column));
          const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement.handle, column));
          bytes += size;
          row.emplace_back(SqliteBlob{std::string(blob == nullptr ? "" : blob, blob == nullptr ? 0 : size)});
          break;
        }
        default: row.emplace_back(nullptr); break;
      }
    }
    if (bytes > limits.maximumBytes) {
      result.truncated = true;
      break;
    }
    result.rows.push_back(std::move(row));
  }
  if (step != SQLITE_ROW && step != SQLITE_DONE) {
    if (stop.stop_requested()) return unexpected(AppDataError::of(Case::cancelled));
    if (state.progress.timedOut) {
      return unexpected(AppDataError::of(
          Case::queryFailed, fmt::format("it ran longer than {} s", std::chrono::duration<double>(limits.timeLimit).count())));
    }
    return unexpected(AppDataError::of(Case::queryFailed, state.message()));
  }
  return result;
}

}  // namespace orvanta
