#include <gtest/gtest.h>

#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <sstream>
#include <streambuf>

#include "capture/console/console_logs.hpp"
#include "capture/console/console_printer.hpp"

namespace orvanta {
namespace {

SimulatorLogEntry entryWith(std::string message, std::optional<SimulatorLogLevel> level = std::nullopt,
                            std::optional<std::string> imagePath = std::nullopt) {
  SimulatorLogEntry entry;
  entry.message = std::move(message);
  entry.raw = entry.message;
  entry.level = level;
  entry.processImagePath = std::move(imagePath);
  return entry;
}

constexpr const char* kBundle =
    "/Users/dev/Library/Developer/CoreSimulator/Devices/X/data/Containers/Bundle/"
    "Application/B11C7D65/MyApp.app";

// An entry without time, level or process is rendered end to end (logs_cli_test).
TEST(ConsoleExportService, RendersOneLinePerEntry) {
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  SimulatorLogEntry full = entryWith("tap \"Save\"", SimulatorLogLevel::notice, std::string(kBundle) + "/MyApp");
  full.timestamp = SimulatorLogTimestamp::parse("2024-01-15 10:23:45.123999-0800");
  SimulatorLogEntry emptyPath = entryWith("x", SimulatorLogLevel::fault, std::string());
  EXPECT_EQ(ConsoleExportService::render(std::vector<SimulatorLogEntry>{full, emptyPath}),
            "18:23:45.123 NOTICE MyApp: tap \"Save\"\n"
            "--:--:--.--- FAULT -: x");
  EXPECT_EQ(ConsoleExportService::render(std::vector<SimulatorLogEntry>{}), "");
}

TEST(ConsoleExportService, AFailedWriteIsExportFailedWithTheSystemsReason) {
  auto failed = ConsoleExportService().write("a", "/nonexistent-orvanta-folder/x.txt");
  ASSERT_FALSE(failed.has_value());
  EXPECT_EQ(failed.error().description(), "Export failed.");
  EXPECT_FALSE(failed.error().message.empty());
}

TEST(ConsoleLogFilter, AppliesLevelsSearchAndAppFolder) {
  struct Row {
    const char* name;
    ConsoleLogFilter filter;
    SimulatorLogEntry entry;
    bool shown;
  };
  ConsoleLogFilter errors;
  errors.enabledLevels = {SimulatorLogLevel::error};
  ConsoleLogFilter search;
  search.searchText = "  NetWork ";
  ConsoleLogFilter app;
  app.appFolder = std::string(kBundle) + "/";
  ConsoleLogFilter varApp;
  varApp.appFolder = "/var/folders/ab/MyApp.app";
  SimulatorLogEntry bySubsystem = entryWith("done");
  bySubsystem.subsystem = "com.example.network";
  const std::vector<Row> rows = {
      {"all levels show entries without one", ConsoleLogFilter{}, entryWith("banner"), true},
      {"narrowed levels hide entries without one", errors, entryWith("banner"), false},
      {"narrowed levels show their own", errors, entryWith("x", SimulatorLogLevel::error), true},
      {"search ignores ASCII case", search, entryWith("Network is down"), true},
      {"search reads the subsystem", search, bySubsystem, true},
      {"search reads the process name", search, entryWith("x", std::nullopt, "/usr/libexec/networkd"), true},
      {"app executable", app, entryWith("x", std::nullopt, std::string(kBundle) + "/MyApp"), true},
      {"app extension", app, entryWith("x", std::nullopt, std::string(kBundle) + "/PlugIns/W.appex/W"), true},
      {"through /private", varApp, entryWith("x", std::nullopt, "/private/var/folders/ab/MyApp.app/MyApp"), true},
      {"neighbour bundle", app, entryWith("x", std::nullopt, std::string(kBundle) + "2/MyApp"), false},
      {"no image path", app, entryWith("x"), false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.filter.matches(row.entry), row.shown);
  }
}

TEST(ConsoleLogsViewModel, KeepsTheNewest4000InEachList) {
  ConsoleLogsViewModel model;
  model.selectApp("com.example.myapp", kBundle);
  std::vector<SimulatorLogEntry> batch;
  for (int i = 0; i < 4000; ++i)
    batch.push_back(entryWith(std::to_string(i), std::nullopt, std::string(kBundle) + "/MyApp"));
  model.receive(batch);
  EXPECT_EQ(model.entries().size(), 4000u);
  model.receive({entryWith("4000", std::nullopt, std::string(kBundle) + "/MyApp"), entryWith("other")});
  EXPECT_EQ(model.entries().size(), 4000u);
  EXPECT_EQ(model.entries().front().message, "2");
  EXPECT_EQ(model.entries().back().message, "other");
  EXPECT_EQ(model.retainedAppEntries().size(), 4000u);
  EXPECT_EQ(model.retainedAppEntries().front().message, "1");
  EXPECT_EQ(model.retainedAppEntries().back().message, "4000");
  model.searchText = "4000";
  ASSERT_EQ(model.shownEntries().size(), 1u);

  std::deque<int> list{1, 2};
  EXPECT_EQ(appendRetaining(list, std::vector<int>{3, 4, 5, 6}, 3), 3u);
  EXPECT_EQ(list, (std::deque<int>{4, 5, 6}));
}

// An output whose reader can be held still, as a terminal scrolled back or a pipe nobody reads.
class StallingBuffer : public std::streambuf {
 public:
  void release() {
    std::lock_guard guard(lock_);
    released_ = true;
    wake_.notify_all();
  }
  std::size_t lines() {
    std::lock_guard guard(lock_);
    return lines_;
  }

 protected:
  std::streamsize xsputn(const char* data, std::streamsize size) override {
    std::unique_lock guard(lock_);
    wake_.wait(guard, [this] { return released_; });
    lines_ += static_cast<std::size_t>(std::count(data, data + size, '\n'));
    return size;
  }
  int overflow(int c) override { return c; }

 private:
  std::mutex lock_;
  std::condition_variable wake_;
  bool released_ = false;
  std::size_t lines_ = 0;
};

TEST(ConsoleEntryPrinter, DropsTheOldestUnprintedWhenTheReaderStalls) {
  StallingBuffer buffer;
  std::ostream out(&buffer);
  ConsoleEntryPrinter printer(out, appendEntryJsonLine, 100);
  auto batch = [](std::size_t count) {
    std::vector<SimulatorLogEntry> entries(count, entryWith("m"));
    return entries;
  };
  printer.push(batch(50));  // taken by the printer, which stalls writing it
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  for (int i = 0; i < 5; ++i) printer.push(batch(60));  // 300 queued behind a stalled write
  EXPECT_EQ(printer.droppedCount(), 200u);
  buffer.release();
  printer.finish();
  EXPECT_EQ(buffer.lines(), 150u);  // the first batch and the newest 100

  std::ostringstream text;
  ConsoleEntryPrinter fast(text, appendEntryJsonLine, 10);
  fast.push(batch(500));  // a single large batch is never cut
  fast.finish();
  EXPECT_EQ(fast.droppedCount(), 0u);
  const std::string printed = text.str();
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 500);
}

TEST(ConsoleEntryPrinter, WritesOneJsonObjectPerEntry) {
  SimulatorLogEntry entry = entryWith("line\n\"two\"\x01", SimulatorLogLevel::debug, "/a/b");
  entry.processID = 7;
  entry.timestamp = SimulatorLogTimestamp::parse("2024-01-15 10:23:45.123456-0800");
  std::string text;
  appendEntryJsonLine(text, entry);
  ASSERT_EQ(text.back(), '\n');
  const auto json = nlohmann::json::parse(text);
  EXPECT_EQ(json["timestamp"], "2024-01-15 10:23:45.123456-0800");
  EXPECT_EQ(json["processID"], 7);
  EXPECT_EQ(json["message"], "line\n\"two\"\x01");  // escaped by hand, read back by a JSON parser
  EXPECT_FALSE(json.contains("subsystem"));
}

}  // namespace
}  // namespace orvanta
