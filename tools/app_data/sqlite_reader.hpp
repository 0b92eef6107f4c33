// Reading an app's SQLite database without touching it: a private copy of the database and its write-
// ahead log, opened read-only.
//
// Core Data, SwiftData and GRDB keep their databases in WAL mode, so recent rows live in the "-wal" file
// until a checkpoint moves them into the main file. Opening the main file alone, or with immutable=1,
// misses them (measured: 1 row seen of 1,001). Opening the app's own files read-only would still create
// or change the "-shm" file in the app's container. So the "-wal" is copied first and the main file
// second into a private folder, and the copy is taken again when either changed meanwhile (a checkpoint
// or a new transaction), which gives a consistent state of the database as it was at one moment. The
// copy is opened with the URI parameter mode=ro, and the private folder goes when the reader does.
//
// A query runs through three guards: exactly one statement; sqlite3_stmt_readonly; and an authorizer
// that refuses ATTACH and DETACH, every write, transaction control, and any PRAGMA other than a known
// read-only one used without an argument. Rows and bytes returned are bounded, and a query stops on a
// stop request or after its time limit.
//
// SqliteReader is move-only and used by one thread at a time (one connection, no shared state).
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "support/expected.hpp"
#include "support/stop_token.hpp"
#include "tools/app_data/app_data_error.hpp"

struct sqlite3;

namespace orvanta {

struct SqliteColumn {
  std::string name;
  std::string type;  // the declared type, as written ("" when none)
  bool notNull = false;
  bool primaryKey = false;
  bool operator==(const SqliteColumn&) const = default;
};

struct SqliteIndex {
  std::string name;
  bool unique = false;
  std::vector<std::string> columns;
  bool operator==(const SqliteIndex&) const = default;
};

struct SqliteTable {
  std::string name;
  std::optional<std::int64_t> rowCount;  // none when SQLite cannot count it (a virtual table without its module)
  std::vector<SqliteColumn> columns;
  std::vector<SqliteIndex> indexes;
};

// One cell: NULL, an integer, a real, text (made valid UTF-8: each ill-formed sequence becomes U+FFFD), or
// a blob (its bytes).
struct SqliteBlob {
  std::string bytes;
  bool operator==(const SqliteBlob&) const = default;
};
using SqliteValue = std::variant<std::nullptr_t, std::int64_t, double, std::string, SqliteBlob>;

struct SqliteQueryLimits {
  std::size_t maximumRows = 1000;
  std::size_t maximumBytes = 16u << 20;  // text and blob bytes of all cells together
  std::chrono::milliseconds timeLimit{30000};
};

struct SqliteQueryResult {
  std::vector<std::string> columns;
  std::vector<std::vector<SqliteValue>> rows;
  bool truncated = false;  // more rows were there than the limits let through
};

// Whether the first bytes of a file are SQLite's header ("SQLite format 3\0").
[[nodiscard]] bool hasSqliteHeader(std::string_view firstBytes) noexcept;

class SqliteReader {
 public:
  // Copies `database` (and its "-wal" when there is one) into a new private folder under
  // `temporaryParent` and opens the copy read-only. `shownAs` names the file in sentences. Fails with
  // unreadableFile (no such file, not a regular file, a copy or open that failed, not a database),
  // tooLarge (more than `maximumBytes` together), or cancelled.
  [[nodiscard]] static expected<SqliteReader, AppDataError> open(const std::filesystem::path& database,
                                                                 const std::string& shownAs,
                                                                 const std::filesystem::path& temporaryParent,
                                                                 std::uintmax_t maximumBytes = 4ull << 30,
                                                                 orvanta::stop_token stop = {});

  SqliteReader(SqliteReader&&) noexcept;
  SqliteReader& operator=(SqliteReader&&) noexcept;
  ~SqliteReader();

  // The tables (not SQLite's own), by name, with their columns, indexes and row counts. Fails with
  // unreadableFile (damaged schema) or cancelled.
  [[nodiscard]] expected<std::vector<SqliteTable>, AppDataError> tables(orvanta::stop_token stop = {});

  // Runs one read-only query. Fails with queryRefused (not exactly one statement, or one that would
  // write, attach, control a transaction or change a PRAGMA), queryFailed (SQLite's message, or the time
  // limit) or cancelled.
  [[nodiscard]] expected<SqliteQueryResult, AppDataError> query(const std::string& sql, const SqliteQueryLimits& limits,
                                                                orvanta::stop_token stop = {});

  // The private folder holding the copy (removed with the reader).
  [[nodiscard]] const std::filesystem::path& copyFolder() const;

 private:
  struct State;
  explicit SqliteReader(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace orvanta
