#include <gtest/gtest.h>

#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <unistd.h>

#include <condition_variable>
#include <filesystem>
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

TEST(ConsoleExportService, ChecksTheDestinationBeforehandAndLeavesNothingBehind) {
  const auto folder = std::filesystem::temp_directory_path() / ("orvanta-export-check-" + std::to_string(::getpid()));
  std::filesystem::create_directories(folder);
  const ConsoleExportService exporter;
  EXPECT_TRUE(exporter.checkDestination(folder / "console.txt").has_value());
  EXPECT_TRUE(std::filesystem::is_empty(folder));
  for (const auto& bad : {std::filesystem::path("/proc/x/y.log"), folder, folder / "missing" / "console.txt"}) {
    SCOPED_TRACE(bad.string());
    auto checked = exporter.checkDestination(bad);
    ASSERT_FALSE(checked.has_value());
    EXPECT_EQ(checked.error().kind, ConsoleError::Case::exportFailed);
    EXPECT_NE(checked.error().message.find(bad.string()), std::string::npos) << checked.error().message;
  }
  std::filesystem::remove_all(folder);
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
  model.receive(std::move(batch));
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
}

TEST(RetainedLogEntries, KeepsTheNewestWithinTheCountAndTheBytes) {
  const std::size_t each = entryWith(std::string(1000, 'm')).footprint();
  struct Row {
    const char* name;
    std::size_t entryLimit;
    std::size_t byteLimit;
    std::vector<std::size_t> batches;
    std::size_t kept;
    std::size_t dropped;
  };
  const std::vector<Row> rows = {
      {"count cap within one batch", 3, 100 * each, {6}, 3, 3},
      {"count cap across batches", 3, 100 * each, {2, 2, 2}, 3, 3},
      {"byte cap within one batch", 100, 4 * each, {10}, 4, 6},
      {"byte cap across batches", 100, 4 * each, {3, 3}, 4, 2},
      {"the newest stays when it alone is too large", 100, each / 2, {2}, 1, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    RetainedLogEntries retained(row.entryLimit, row.byteLimit);
    std::size_t dropped = 0;
    int next = 0;
    for (std::size_t size : row.batches) {
      std::vector<SimulatorLogEntry> batch;
      for (std::size_t i = 0; i < size; ++i) batch.push_back(entryWith(std::to_string(next++) + std::string(996, 'm')));
      dropped += retained.append(std::move(batch));
    }
    ASSERT_EQ(retained.entries().size(), row.kept);
    EXPECT_EQ(dropped, row.dropped);
    EXPECT_EQ(retained.entries().back().message.substr(0, std::to_string(next - 1).size()), std::to_string(next - 1));
    std::size_t bytes = 0;
    for (const auto& entry : retained.entries()) bytes += entry.footprint();
    EXPECT_EQ(retained.bytes(), bytes);
  }
  // 4,000 lines of a megabyte each would be 8 GB with their raw text: the console keeps 64 MiB of them.
  RetainedLogEntries console;
  for (int i = 0; i < 80; ++i) console.append({entryWith(std::string(1 << 20, 'x'))});
  EXPECT_LE(console.bytes(), consoleRetainedByteLimit);
  EXPECT_EQ(console.entries().size(), 31u);
}

TEST(ConsoleEntryPrinter, WritesOneJsonObjectPerEntryWithRawOnlyWhenAsked) {
  SimulatorLogEntry entry = entryWith("line\n\"two\"\x01", SimulatorLogLevel::debug, "/a/b");
  entry.processID = -7;
  entry.subsystem = "com.example";
  entry.raw = R"({"eventMessage":"line\n\"two\"\u0001"})";
  entry.timestamp = SimulatorLogTimestamp::parse("2024-01-15 10:23:45.123456-0800");
  for (bool raw : {false, true}) {
    SCOPED_TRACE(raw);
    std::string text;
    appendEntryJsonLine(text, entry.view(), raw);
    ASSERT_EQ(text.back(), '\n');
    const auto json = nlohmann::json::parse(text);
    EXPECT_EQ(json["id"], entry.id.text());
    EXPECT_EQ(json["timestamp"], "2024-01-15T10:23:45.123456-08:00");
    EXPECT_EQ(json["level"], "debug");
    EXPECT_EQ(json["processID"], -7);
    EXPECT_EQ(json["processImagePath"], "/a/b");
    EXPECT_EQ(json["subsystem"], "com.example");
    EXPECT_FALSE(json.contains("category"));
    EXPECT_EQ(json["message"], "line\n\"two\"\x01");  // escaped by hand, read back by a JSON parser
    EXPECT_EQ(json.contains("raw"), raw);
    if (raw) {
      EXPECT_EQ(json["raw"], entry.raw);
    }
  }
}

// Entries go through the writer in blocks; the count of records is what reached the output.
TEST(ConsoleEntryPrinter, HandsWholeLinesToTheWriter) {
  std::ostringstream text;
  OutputWriter writer(text, {});
  {
    ConsoleEntryPrinter printer(writer, {ConsoleEntryFormat::Kind::text, false});
    const SimulatorLogEntry entry = entryWith(std::string(3000, 'x'));
    for (int i = 0; i < 1000; ++i) printer.print(entry.view());  // three blocks' worth
  }
  const auto counts = writer.finish();
  EXPECT_EQ(counts.printed, 1000u);
  EXPECT_EQ(counts.dropped(), 0u);
  const std::string printed = text.str();
  EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 1000);
}

}  // namespace
}  // namespace orvanta
