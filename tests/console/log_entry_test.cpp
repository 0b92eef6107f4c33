#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "capture/console/simulator_log_entry.hpp"

namespace orvanta {
namespace {

using Lines = std::vector<std::string>;

const std::string kMarker(LineFramer::truncationMarker);

TEST(LineFramer, CutsLinesAcrossReads) {
  struct Row {
    const char* name;
    std::vector<std::string> reads;
    Lines lines;
    std::optional<std::string> rest;
  };
  const std::string e9 = "\xC3\xA9";  // é
  const std::vector<Row> rows = {
      {"character split across reads", {"caf\xC3", "\xA9\n"}, {"caf" + e9}, std::nullopt},
      {"empty line kept, rest at finish", {"a\n\nb"}, {"a", ""}, "b"},
      {"CR stays for the parser", {"x\r\n"}, {"x\r"}, std::nullopt},
      {"line spread over three reads", {"ab", "cd", "e\nf"}, {"abcde"}, "f"},
      {"invalid bytes become U+FFFD", {"a\xFF\xC3(b\n"}, {"a\xEF\xBF\xBD\xEF\xBF\xBD(b"}, std::nullopt},
      {"truncated sequence at the end", {"\xE2\x82"}, {}, "\xEF\xBF\xBD"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    LineFramer framer;
    Lines lines;
    for (const auto& read : row.reads) {
      for (auto& line : framer.append(read)) lines.push_back(std::move(line));
    }
    EXPECT_EQ(lines, row.lines);
    EXPECT_EQ(framer.finish(), row.rest);
    EXPECT_EQ(framer.finish(), std::nullopt);

    // The views give the same lines, each read from a buffer of exactly its size (so that a view that
    // leaned on bytes past the read would show under AddressSanitizer).
    LineFramer viewing;
    Lines viewed;
    std::vector<std::string_view> views;
    for (const auto& read : row.reads) {
      const auto exact = std::make_unique<char[]>(read.size());
      std::copy(read.begin(), read.end(), exact.get());
      viewing.appendViews(std::string_view(exact.get(), read.size()), views);
      for (auto view : views) {
        // The promised room behind each view is readable.
        volatile char past = view.data()[view.size() + LineFramer::lineSpareCapacity - 1];
        (void)past;
        viewed.emplace_back(view);
      }
    }
    EXPECT_EQ(viewed, row.lines);
    const auto rest = viewing.finishView();
    EXPECT_EQ(rest ? std::optional<std::string>(*rest) : std::nullopt, row.rest);
  }
}

TEST(LineFramer, ViewsMatchCopiesForAnyCutOfAStream) {
  std::string stream;
  for (int i = 0; i < 300; ++i) {
    stream += std::string(static_cast<std::size_t>(i % 97), 'x') + (i % 11 == 0 ? "\xC3\xA9\xFF" : "") + "\n";
  }
  for (std::size_t chunk : {1u, 7u, 63u, 64u, 65u, 1000u, 100000u}) {
    SCOPED_TRACE(chunk);
    LineFramer copying;
    LineFramer viewing;
    Lines copied;
    Lines viewed;
    std::vector<std::string_view> views;
    for (std::size_t at = 0; at < stream.size(); at += chunk) {
      const std::string read = stream.substr(at, chunk);
      for (auto& line : copying.append(read)) copied.push_back(std::move(line));
      viewing.appendViews(read, views);
      viewed.insert(viewed.end(), views.begin(), views.end());
    }
    EXPECT_EQ(viewed, copied);
    EXPECT_EQ(viewed.size(), 300u);
  }
}

TEST(LineFramer, CapsAnOverlongLine) {
  LineFramer framer;
  const std::string exact(LineFramer::maximumLineBytes, 'x');
  EXPECT_TRUE(framer.append(exact).empty());  // exactly the cap: nothing yet
  auto lines = framer.append("y");            // one byte more: cut
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], exact + kMarker);
  EXPECT_EQ(framer.pendingByteCount(), 0u);
  // The rest of the long line is lost; the next line feed ends a line of its own.
  lines = framer.append("tail\nnext\n");
  EXPECT_EQ(lines, (Lines{"tail", "next"}));

  // A single read far past the cap is cut the same way, and the cut never splits a character badly.
  LineFramer second;
  std::string big(LineFramer::maximumLineBytes - 1, 'a');
  big += "\xC3\xA9";  // straddles the cap
  big += std::string(10, 'b');
  lines = second.append(big);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0], std::string(LineFramer::maximumLineBytes - 1, 'a') + "\xEF\xBF\xBD" + kMarker);
  EXPECT_EQ(second.finish(), std::nullopt);

  // A long line whose line feed arrives in the same read is passed on whole.
  LineFramer third;
  EXPECT_EQ(third.append(std::string(LineFramer::maximumLineBytes + 5, 'z') + "\n")[0].size(),
            LineFramer::maximumLineBytes + 5);
}

TEST(SimulatorLogLevel, MapsMessageTypesExactly) {
  EXPECT_EQ(simulatorLogLevelFromMessageType("Default"), SimulatorLogLevel::notice);
  EXPECT_EQ(simulatorLogLevelFromMessageType("Fault"), SimulatorLogLevel::fault);
  for (const char* unknown : {"default", "Notice", ""}) EXPECT_EQ(simulatorLogLevelFromMessageType(unknown), std::nullopt);
}

TEST(SimulatorLogTimestamp, ParsesTheLogsFormOnly) {
  auto parsed = SimulatorLogTimestamp::parse("2024-01-15 10:23:45.123456-0800");
  ASSERT_TRUE(parsed);
  using namespace std::chrono;
  EXPECT_EQ(parsed->time, sys_days(2024y / January / 15) + 18h + 23min + 45s + 123456us);
  EXPECT_EQ(parsed->text(), "2024-01-15 10:23:45.123456-0800");
  EXPECT_EQ(SimulatorLogTimestamp::parse("2026-10-02 22:17:19.556078+0930")->text(),
            "2026-10-02 22:17:19.556078+0930");
  for (const char* bad : {"2024-01-15T10:23:45.123456-0800", "2024-01-15 10:23:45.123-0800",
                          "2024-01-15 10:23:45.123456-08:00", "2024-02-30 10:23:45.123456+0000",
                          "2024-01-15 24:00:00.000000+0000", "2024-01-15 10:23:45.12345x+0000", ""}) {
    SCOPED_TRACE(bad);
    EXPECT_EQ(SimulatorLogTimestamp::parse(bad), std::nullopt);
  }
}

TEST(SimulatorLogTimestamp, WritesRfc3339WithTheLogsOffsetAndMicroseconds) {
  const std::vector<std::pair<const char*, const char*>> rows = {
      {"2026-10-02 22:17:05.123456+0930", "2026-10-02T22:17:05.123456+09:30"},
      {"2024-01-15 10:23:45.000001-0800", "2024-01-15T10:23:45.000001-08:00"},
      {"2024-02-29 23:59:59.999999+0000", "2024-02-29T23:59:59.999999+00:00"},
      {"1969-12-31 23:59:59.500000-0030", "1969-12-31T23:59:59.500000-00:30"},
      {"1600-03-01 00:00:00.000000+1400", "1600-03-01T00:00:00.000000+14:00"},
      {"9999-12-31 23:59:59.999999-2359", "9999-12-31T23:59:59.999999-23:59"},
  };
  for (const auto& [logText, rfc3339] : rows) {
    SCOPED_TRACE(logText);
    const auto timestamp = SimulatorLogTimestamp::parse(logText);
    ASSERT_TRUE(timestamp);
    EXPECT_EQ(timestamp->rfc3339(), rfc3339);
    EXPECT_EQ(timestamp->rfc3339().size(), SimulatorLogTimestamp::rfc3339Length);
  }
}

constexpr const char* kAppLine =
    R"({"timezoneName":"","messageType":"Debug","eventType":"logEvent","source":null,"formatString":"tap %{public}@","userID":501,"activityIdentifier":0,"subsystem":"com.example.myapp","category":"ui","threadID":4531207,"senderImageUUID":"5C3F1A2B-3D4E-4F50-8162-7384A5B6C7D8","backtrace":{"frames":[{"imageOffset":52344,"imageUUID":"5C3F1A2B-3D4E-4F50-8162-7384A5B6C7D8"}]},"bootUUID":"","processImagePath":"\/Users\/dev\/Library\/Developer\/CoreSimulator\/Devices\/3BC9A608\/data\/Containers\/Bundle\/Application\/B11C7D65\/MyApp.app\/MyApp","timestamp":"2024-01-15 10:23:45.123456-0800","machTimestamp":706567072091713,"eventMessage":"tap \"Save\" \u00e9\nsecond line","processID":41234,"parentActivityIdentifier":0})";

TEST(SimulatorLogEntryParser, ReadsTheFieldsOfRealShapedLines) {
  SimulatorLogEntryParser parser;
  auto entry = parser.parse(std::string(kAppLine) + "\r");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->level, SimulatorLogLevel::debug);
  EXPECT_EQ(entry->processID, 41234);
  EXPECT_EQ(entry->processImagePath,
            "/Users/dev/Library/Developer/CoreSimulator/Devices/3BC9A608/data/Containers/Bundle/Application/B11C7D65/"
            "MyApp.app/MyApp");
  EXPECT_EQ(entry->processName(), "MyApp");
  EXPECT_EQ(entry->subsystem, "com.example.myapp");
  EXPECT_EQ(entry->category, "ui");
  EXPECT_EQ(entry->message, "tap \"Save\" \xC3\xA9\nsecond line");
  EXPECT_EQ(entry->raw, kAppLine);
  ASSERT_TRUE(entry->timestamp);
  EXPECT_EQ(entry->timestamp->text(), "2024-01-15 10:23:45.123456-0800");

  // An activity event: no messageType, keys in another order.
  entry = parser.parse(
      R"({"eventMessage":"Loading Preferences","processID":5222,"eventType":"activityCreateEvent","subsystem":"","processImagePath":"\/Applications\/PosterBoard.app\/PosterBoard"})");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->level, std::nullopt);
  EXPECT_EQ(entry->timestamp, std::nullopt);
  EXPECT_EQ(entry->subsystem, "");
  EXPECT_EQ(entry->category, std::nullopt);
  EXPECT_EQ(entry->message, "Loading Preferences");
}

TEST(SimulatorLogEntryParser, ViewsHoldWhatTheCopiesHold) {
  SimulatorLogEntryParser parser;
  for (const std::string& line : {std::string(kAppLine), std::string("  banner line \r"), std::string("{}")}) {
    SCOPED_TRACE(line);
    std::string padded = line;
    padded.reserve(line.size() + LineFramer::lineSpareCapacity);
    const auto view = parser.parseView(padded);
    ASSERT_TRUE(view);
    auto copy = SimulatorLogEntry::copyOf(*view);
    auto parsed = parser.parse(line);
    ASSERT_TRUE(parsed);
    copy.id = parsed->id;
    EXPECT_EQ(copy, *parsed);
  }
}

TEST(SimulatorLogEntryParser, KeepsEveryOtherLineAsAPlainEntry) {
  SimulatorLogEntryParser parser;
  struct Row {
    const char* name;
    std::string line;
    std::string kept;  // message and raw
  };
  const std::vector<Row> rows = {
      {"banner", "  Filtering the log data using \"process == 1\"\n", "Filtering the log data using \"process == 1\""},
      {"empty object", "{}", "{}"},
      {"unterminated object", R"({"eventMessage":"x","processID":)", R"({"eventMessage":"x","processID":)"},
      {"trailing bytes", R"({"eventMessage":"x"} junk)", R"({"eventMessage":"x"} junk)"},
      {"broken nested value", R"({"eventMessage":"x","backtrace":{"frames":[1,}})",
       R"({"eventMessage":"x","backtrace":{"frames":[1,}})"},
      {"bad escape", R"({"eventMessage":"\q"})", R"({"eventMessage":"\q"})"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    auto entry = parser.parse(row.line);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->message, row.kept);
    EXPECT_EQ(entry->raw, row.kept);
    EXPECT_EQ(entry->level, std::nullopt);
    EXPECT_EQ(entry->processImagePath, std::nullopt);
  }
  EXPECT_EQ(parser.parse(" \t\r"), std::nullopt);
  EXPECT_EQ(parser.parse(""), std::nullopt);
}

TEST(SimulatorLogEntryParser, LeavesFieldsOfTheWrongTypeAbsent) {
  SimulatorLogEntryParser parser;
  auto entry = parser.parse(
      R"({"processID":"12","messageType":7,"timestamp":"yesterday","subsystem":null,"category":["x"],"processImagePath":{"a":1},"eventMessage":3,"userID":501})");
  ASSERT_TRUE(entry);
  EXPECT_EQ(entry->processID, std::nullopt);
  EXPECT_EQ(entry->level, std::nullopt);
  EXPECT_EQ(entry->timestamp, std::nullopt);
  EXPECT_EQ(entry->subsystem, std::nullopt);
  EXPECT_EQ(entry->category, std::nullopt);
  EXPECT_EQ(entry->processImagePath, std::nullopt);
  EXPECT_EQ(entry->message, "");  // no usable eventMessage: empty, the raw line keeps the rest
  EXPECT_EQ(parser.parse(R"({"processID":4294967296})")->processID, std::nullopt);
  EXPECT_EQ(parser.parse(R"({"processID":-5})")->processID, -5);
}

TEST(SimulatorLogEntryParser, GivesEveryEntryAFreshVersion4Id) {
  SimulatorLogEntryParser parser;
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const auto text = parser.parse("line")->id.text();
    ASSERT_EQ(text.size(), 36u);
    EXPECT_EQ(text[14], '4');
    EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos);
    seen.insert(text);
  }
  EXPECT_EQ(seen.size(), 1000u);
}

}  // namespace
}  // namespace orvanta
