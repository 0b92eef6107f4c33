#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <sstream>
#include <thread>

#include "capture/console/log_stream_printer.hpp"
#include "capture/console/simulator_log_stream_service.hpp"

namespace orvanta {
namespace {

// A stream the test feeds: reads are cut into lines by a real framer, on a thread of their own.
class FakeStream final : public LogStreamProcessProtocol {
 public:
  struct Log {
    std::vector<std::string> arguments;
    bool stopped = false;
  };
  explicit FakeStream(std::shared_ptr<Log> log) : log_(std::move(log)) {}

  expected<void, std::string> launch(const std::filesystem::path&, const std::vector<std::string>& arguments) override {
    log_->arguments = arguments;
    return {};
  }
  void stop() override { log_->stopped = true; }

  void send(std::vector<std::string> reads, std::optional<LogStreamTerminationReason> end = std::nullopt) {
    std::thread([&] {
      LineFramer framer;
      std::vector<std::string_view> lines;
      for (const auto& read : reads) {
        framer.appendViews(read, lines);
        if (!lines.empty()) onOutputLines(lines);
      }
      if (end) onTermination(*end);
    }).join();
  }

 private:
  std::shared_ptr<Log> log_;
};

std::string line(const char* type, int number) {
  return R"({"messageType":")" + std::string(type) + R"(","eventMessage":"event \"#)" + std::to_string(number) +
         R"(\"","timestamp":"2026-10-02 22:17:05.123456+0930","processID":7})" + "\n";
}

TEST(LogStreamPrinter, PrintsTheFilteredEntriesOfEachReadAndReportsTheEnd) {
  std::ostringstream out;
  OutputWriter writer(out, {});
  auto log = std::make_shared<FakeStream::Log>();
  FakeStream* stream = nullptr;
  ConsoleLogFilter filter;
  filter.enabledLevels = {SimulatorLogLevel::error};
  LogStreamPrinter printer(
      [&]() -> std::unique_ptr<LogStreamProcessProtocol> {
        auto made = std::make_unique<FakeStream>(log);
        stream = made.get();
        return made;
      },
      "/usr/bin/xcrun", writer, filter, {ConsoleEntryFormat::Kind::json, false});
  std::vector<LogStreamTerminationReason> ends;
  printer.onEnd = [&](LogStreamTerminationReason reason) { ends.push_back(reason); };
  EXPECT_EQ(printer.start("-x").error().kind, ConsoleError::Case::malformedConfiguration);
  ASSERT_TRUE(printer.start("UDID").has_value());
  EXPECT_EQ(log->arguments, SimulatorLogStreamService::arguments("UDID"));

  const std::string all = line("Error", 1) + line("Debug", 2) + line("Error", 3);
  stream->send({all.substr(0, 50), all.substr(50), "banner without newline"}, LogStreamTerminationReason::exited(1));
  ASSERT_EQ(ends, std::vector<LogStreamTerminationReason>{LogStreamTerminationReason::exited(1)});
  EXPECT_EQ(printer.entryCount(), 2u);  // the banner has no level
  EXPECT_EQ(writer.finish().printed, 2u);
  std::istringstream lines(out.str());
  std::vector<std::string> messages;
  for (std::string text; std::getline(lines, text);) {
    const auto json = nlohmann::json::parse(text);
    messages.push_back(json["message"]);
    EXPECT_EQ(json["timestamp"], "2026-10-02T22:17:05.123456+09:30");
    EXPECT_FALSE(json.contains("raw"));
  }
  EXPECT_EQ(messages, (std::vector<std::string>{"event \"#1\"", "event \"#3\""}));
}

TEST(LogStreamPrinter, PrintsNothingAndReportsNoEndOnceStopped) {
  std::ostringstream out;
  OutputWriter writer(out, {});
  auto log = std::make_shared<FakeStream::Log>();
  FakeStream* stream = nullptr;
  LogStreamPrinter printer(
      [&]() -> std::unique_ptr<LogStreamProcessProtocol> {
        auto made = std::make_unique<FakeStream>(log);
        stream = made.get();
        return made;
      },
      "/usr/bin/xcrun", writer, {}, {ConsoleEntryFormat::Kind::text, false});
  bool ended = false;
  printer.onEnd = [&](LogStreamTerminationReason) { ended = true; };
  ASSERT_TRUE(printer.start("UDID").has_value());
  stream->send({line("Error", 1)});
  printer.stop();
  EXPECT_TRUE(log->stopped);
  stream->send({line("Error", 2)}, LogStreamTerminationReason::cancelled());
  EXPECT_FALSE(ended);
  EXPECT_EQ(writer.finish().printed, 1u);
  EXPECT_NE(out.str().find("#1"), std::string::npos);
  EXPECT_EQ(out.str().find("#2"), std::string::npos);
}

}  // namespace
}  // namespace orvanta
