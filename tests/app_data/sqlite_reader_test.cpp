#include "tools/app_data/sqlite_reader.hpp"

#include <sqlite3.h>

#include <map>

#include <gtest/gtest.h>

#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using testing::ScratchFolder;
using Case = AppDataError::Case;

// An app's connection: WAL mode, no automatic checkpoints, kept open for the whole test.
class Writer {
 public:
  explicit Writer(const fs::path& path) {
    EXPECT_EQ(sqlite3_open(path.c_str(), &db_), SQLITE_OK);
    run("PRAGMA journal_mode=WAL");
    run("PRAGMA wal_autocheckpoint=0");
  }
  ~Writer() { sqlite3_close(db_); }
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  void run(const std::string& sql) {
    char* message = nullptr;
    EXPECT_EQ(sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK) << (message ? message : "");
    sqlite3_free(message);
  }

 private:
  sqlite3* db_ = nullptr;
};

// Every file of a folder with its size and modification time, to show that nothing was touched.
std::map<std::string, std::pair<std::uintmax_t, fs::file_time_type>> folderState(const fs::path& folder) {
  std::map<std::string, std::pair<std::uintmax_t, fs::file_time_type>> state;
  for (const auto& entry : fs::directory_iterator(folder)) {
    state[entry.path().filename().string()] = {entry.file_size(), entry.last_write_time()};
  }
  return state;
}

class SqliteReaderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(app_);
    writer_ = std::make_unique<Writer>(database_);
    writer_->run("CREATE TABLE orders (id INTEGER PRIMARY KEY, drink TEXT NOT NULL, price REAL, photo BLOB)");
    writer_->run("CREATE UNIQUE INDEX orders_drink ON orders (drink, id)");
    writer_->run("INSERT INTO orders (drink, price) VALUES ('Flat white', 3.5)");
    writer_->run("PRAGMA wal_checkpoint(TRUNCATE)");
    // These rows exist only in the write-ahead log while the writer stays open.
    writer_->run("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 1000) "
                 "INSERT INTO orders (drink, price) SELECT 'Espresso ' || i, 2.5 FROM n");
    ASSERT_TRUE(fs::exists(database_.string() + "-wal"));
  }

  ScratchFolder scratch_;
  fs::path app_ = scratch_ / "container";
  fs::path database_ = app_ / "Cafe.sqlite";
  fs::path temporary_ = scratch_ / "tmp";
  std::unique_ptr<Writer> writer_;
};

TEST_F(SqliteReaderTest, SeesTheRowsInTheLogAndLeavesTheAppsFilesAlone) {
  const auto before = folderState(app_);
  fs::path copyFolder;
  {
    auto reader = SqliteReader::open(database_, "Cafe.sqlite", temporary_);
    ASSERT_TRUE(reader) << reader.error().description();
    copyFolder = reader->copyFolder();
    auto tables = reader->tables();
    ASSERT_TRUE(tables) << tables.error().description();
    ASSERT_EQ(tables->size(), 1u);
    const SqliteTable& orders = tables->front();
    EXPECT_EQ(orders.name, "orders");
    EXPECT_EQ(orders.rowCount, 1001);
    ASSERT_EQ(orders.columns.size(), 4u);
    EXPECT_EQ(orders.columns[0], (SqliteColumn{"id", "INTEGER", false, true}));
    EXPECT_EQ(orders.columns[1], (SqliteColumn{"drink", "TEXT", true, false}));
    ASSERT_EQ(orders.indexes.size(), 1u);
    EXPECT_EQ(orders.indexes[0], (SqliteIndex{"orders_drink", true, {"drink", "id"}}));
  }
  EXPECT_EQ(folderState(app_), before);
  EXPECT_FALSE(fs::exists(copyFolder));
  EXPECT_TRUE(fs::is_empty(temporary_));
}

TEST_F(SqliteReaderTest, OnlyOneReadOnlyStatementRuns) {
  auto reader = SqliteReader::open(database_, "Cafe.sqlite", temporary_);
  ASSERT_TRUE(reader);
  struct Row {
    const char* sql;
    const char* refusal;  // nullptr: runs
  } rows[] = {
      {"SELECT count(*) FROM orders", nullptr},
      {"  select drink from orders where id = 1;  -- the first", nullptr},
      {"PRAGMA table_info(orders)", nullptr},
      {"PRAGMA user_version", nullptr},
      {"SELECT * FROM pragma_index_list('orders')", nullptr},
      {"INSERT INTO orders (drink) VALUES ('x')", "the statement would change the database"},
      {"DELETE FROM orders", "the statement would change the database"},
      {"DROP TABLE orders", "the statement would change the database"},
      {"CREATE TEMP TABLE scratch (a)", "the statement would change the database"},
      {"VACUUM INTO '/tmp/orvanta-vacuum.db'", "the statement would change the database"},
      {"ATTACH DATABASE ':memory:' AS other", "ATTACH and DETACH are not allowed"},
      {"PRAGMA user_version = 5", "PRAGMA user_version can change the connection or the database"},
      {"PRAGMA journal_mode = DELETE", "PRAGMA journal_mode can change the connection or the database"},
      {"PRAGMA writable_schema", "PRAGMA writable_schema can change the connection or the database"},
      {"BEGIN", "transaction control is not allowed"},
      {"SELECT 1; SELECT 2", "run one statement at a time"},
      {"SELECT 1; DELETE FROM orders", "run one statement at a time"},
      {"", "the query is empty"},
      {"-- nothing but a comment", "the query is empty"},
      {"SELECT load_extension('x')", "load_extension is not allowed"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.sql);
    auto result = reader->query(row.sql, {});
    if (row.refusal == nullptr) {
      EXPECT_TRUE(result) << result.error().description();
    } else {
      ASSERT_FALSE(result);
      EXPECT_EQ(result.error().description(), std::string("Only a query that reads can run: ") + row.refusal);
    }
  }
  // SQLite refuses this one itself, before the guards see it.
  EXPECT_FALSE(reader->query("UPDATE sqlite_master SET sql = ''", {}));
  auto failed = reader->query("SELECT * FROM nowhere", {});
  ASSERT_FALSE(failed);
  EXPECT_EQ(failed.error().description(), "The query failed: no such table: nowhere");
  EXPECT_FALSE(fs::exists("/tmp/orvanta-vacuum.db"));
}

TEST_F(SqliteReaderTest, RowsAreTypedAndBounded) {
  writer_->run("INSERT INTO orders (drink, price, photo) VALUES (CAST(x'41FF42' AS TEXT), NULL, x'00FF')");
  auto reader = SqliteReader::open(database_, "Cafe.sqlite", temporary_);
  ASSERT_TRUE(reader);
  auto last = reader->query("SELECT id, drink, price, photo FROM orders ORDER BY id DESC LIMIT 1", {});
  ASSERT_TRUE(last) << last.error().description();
  EXPECT_EQ(last->columns, (std::vector<std::string>{"id", "drink", "price", "photo"}));
  ASSERT_EQ(last->rows.size(), 1u);
  EXPECT_EQ(last->rows[0], (std::vector<SqliteValue>{std::int64_t{1002}, std::string("A\xEF\xBF\xBD" "B"), nullptr,
                                                    SqliteBlob{std::string("\0\xFF", 2)}}));
  EXPECT_FALSE(last->truncated);

  SqliteQueryLimits limits;
  limits.maximumRows = 10;
  auto some = reader->query("SELECT drink FROM orders", limits);
  ASSERT_TRUE(some);
  EXPECT_EQ(some->rows.size(), 10u);
  EXPECT_TRUE(some->truncated);

  limits = {};
  limits.maximumBytes = 100;
  auto small = reader->query("SELECT drink FROM orders", limits);
  ASSERT_TRUE(small);
  EXPECT_LT(small->rows.size(), 20u);
  EXPECT_TRUE(small->truncated);
}

TEST(SqliteReaderFilesTest, WhatIsNotADatabaseIsRefused) {
  ScratchFolder scratch;
  testing::writeBytes(scratch / "notes.sqlite", "just text, long enough to have a header of sorts....");
  auto refused = SqliteReader::open(scratch / "notes.sqlite", "notes.sqlite", scratch / "tmp");
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().description(), "Couldn't read notes.sqlite: file is not a database");
  EXPECT_TRUE(fs::is_empty(scratch / "tmp"));

  ASSERT_EQ(::mkfifo((scratch / "pipe.sqlite").c_str(), 0600), 0);
  auto fifo = SqliteReader::open(scratch / "pipe.sqlite", "pipe.sqlite", scratch / "tmp");
  ASSERT_FALSE(fifo);
  EXPECT_EQ(fifo.error().description(), "Couldn't read pipe.sqlite: not a regular file");

  auto missing = SqliteReader::open(scratch / "none.sqlite", "none.sqlite", scratch / "tmp");
  ASSERT_FALSE(missing);
  EXPECT_EQ(missing.error().description(), "Couldn't read none.sqlite: No such file or directory");
}

}  // namespace
}  // namespace orvanta
