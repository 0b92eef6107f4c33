#include <gtest/gtest.h>

#include <condition_variable>
#include <fstream>
#include <mutex>
#include <regex>
#include <sstream>

#include "tests/cli/cli_harness.hpp"

namespace orvanta::testing {
namespace {

class LogsCliTest : public CliTest {
 protected:
  // A replay file of `count` lines in the log tool's shape, each message ending in its number.
  std::filesystem::path writeReplay(std::size_t count) {
    const auto file = root() / "replay.ndjson";
    std::ofstream out(file, std::ios::binary);
    for (std::size_t i = 0; i < count; ++i) {
      out << R"({"timezoneName":"","messageType":"Default","eventType":"logEvent","source":null,"formatString":"%{public}@","userID":501,"subsystem":"com.example.myapp","category":"network","threadID":4531207,"processImagePath":"\/Users\/dev\/Library\/Developer\/CoreSimulator\/Devices\/3BC9A608\/data\/Containers\/Bundle\/Application\/B11C7D65\/MyApp.app\/MyApp","senderImagePath":"\/usr\/lib\/libnetwork.dylib","timestamp":"2026-10-02 22:17:05.123456+0930","machTimestamp":706567072091713,"eventMessage":"request \"finished\" \u00e9 in \/api\/items #)"
          << i << R"(","processID":41234,"parentActivityIdentifier":0})" << '\n';
    }
    return file;
  }

  // Whether a process has ended (a zombie or gone), on Linux.
  static bool hasEnded(std::int32_t pid) {
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), {});
    const auto close = text.rfind(')');
    return close == std::string::npos || text.substr(close + 2, 1) == "Z";
  }

  // The peak resident memory of a running process, in MiB (Linux).
  static double peakMiB(std::int32_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string row; std::getline(status, row);) {
      if (row.starts_with("VmHWM:")) return std::stod(row.substr(6)) / 1024.0;
    }
    return 0;
  }
};

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

TEST_F(LogsCliTest, StreamsFiltersAndExportsUntilTheDuration) {
  const auto file = root() / "console.txt";
  auto result = orvanta({"--device", kIPhone15Old, "--json", "logs", "--app", "com.orvanta.fieldnotes", "--level",
                         "debug,notice", "--duration", "1", "--export", file.string()});
  const std::regex rfc3339(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{6}[+-]\d\d:\d\d)");
  ASSERT_EQ(result.status, 0) << result.err;
  std::size_t count = 0;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line); ++count) {
    const auto entry = nlohmann::json::parse(line);
    EXPECT_NE(entry["processImagePath"].get<std::string>().find("FieldNotes.app/FieldNotes"), std::string::npos);
    EXPECT_TRUE(entry["level"] == "debug" || entry["level"] == "notice") << line;
    EXPECT_TRUE(std::regex_match(entry["timestamp"].get<std::string>(), rfc3339)) << line;
    EXPECT_FALSE(entry.contains("raw")) << line;
  }
  EXPECT_GT(count, 0u);
  std::ifstream exported(file);
  const std::string text((std::istreambuf_iterator<char>(exported)), {});
  EXPECT_NE(text.find(" DEBUG FieldNotes: tap \"Save\" \xC3\xA9"), std::string::npos) << text;
  EXPECT_NE(result.err.find("Wrote "), std::string::npos) << result.err;
  EXPECT_NE(result.err.find(" to " + file.string() + ".\n"), std::string::npos) << result.err;
  EXPECT_EQ(emulatorProcessesAlive(), 0);
}

TEST_F(LogsCliTest, PrintsEveryEntryInOrderToAReaderSlowerThanTheLog) {
  constexpr std::size_t kLines = 30000;
  const auto replay = writeReplay(kLines);
  ProcessExecution execution(ORVANTA_BINARY, {"--device", kIPhone15Old, "--json", "logs", "--raw"}, std::nullopt,
                             [&] {
                               auto environment = environmentForTest();
                               environment["ORVANTA_EMULATOR_LOG_REPLAY"] = replay.string();
                               return environment;
                             }(),
                             120.0);
  // About 20 MB/s: slower than the log, steady enough never to count as a stall.
  std::string partial;
  std::size_t next = 0;
  bool inOrder = true;
  std::string err;
  execution.onOutput = [&](OutputStream stream, std::string_view bytes) {
    if (stream != OutputStream::standardOutput) {
      err += bytes;
      return;
    }
    std::this_thread::sleep_for(std::chrono::microseconds(bytes.size() / 20));
    partial += bytes;
    std::size_t start = 0;
    for (std::size_t end; (end = partial.find('\n', start)) != std::string::npos; start = end + 1) {
      const auto line = std::string_view(partial).substr(start, end - start);
      if (!line.starts_with("{\"id\":")) continue;  // the error document that ends the output
      // Every entry by its number, and now and then the whole object (parsing each is slow in a sanitized build).
      inOrder = inOrder && line.find("#" + std::to_string(next) + "\",\"raw\":") != std::string_view::npos;
      if (next % 997 == 0) {
        const auto entry = nlohmann::json::parse(line);
        inOrder = inOrder && entry["message"].get<std::string>().ends_with("#" + std::to_string(next));
      }
      ++next;
    }
    partial.erase(0, start);
  };
  execution.keepOutput = false;
  auto result = ProcessRunner().run(execution);
  ASSERT_TRUE(result.has_value());
  EXPECT_EQ(next, kLines);
  EXPECT_TRUE(inOrder);
  EXPECT_EQ(err.find("not printed"), std::string::npos) << err;
  EXPECT_NE(err.find("The log stream stopped unexpectedly."), std::string::npos) << err;  // the replay ends
  EXPECT_EQ(result->terminationStatus, 1);
}

// A reader that takes nothing: memory stays bounded, the entries dropped are reported, and Ctrl-C ends
// the command within a second although nobody reads what it has left.
TEST_F(LogsCliTest, AStalledReaderCostsCountedEntriesNotMemoryAndCtrlCStillEndsIt) {
  // 48 MB of log in long lines, written at once; then the log goes quiet but does not end.
  const auto replay = root() / "long-lines.ndjson";
  {
    std::ofstream out(replay, std::ios::binary);
    const std::string message(400000, 'x');
    for (int i = 0; i < 120; ++i) {
      out << R"({"messageType":"Error","eventMessage":"#)" << i << " \\\"" << message << R"(\"","processID":7})" << '\n';
    }
  }
  setEnvironment("ORVANTA_EMULATOR_LOG_REPLAY", replay.string());
  setEnvironment("ORVANTA_EMULATOR_LOG_REPLAY_HOLD", "1");
  ProcessExecution execution(ORVANTA_BINARY, {"--device", kIPhone15Old, "--json", "logs"}, std::nullopt,
                             environmentForTest(), 120.0);
  std::mutex lock;
  std::condition_variable wake;
  bool released = false;
  std::atomic<std::int32_t> pid{0};
  execution.onLaunch = [&](std::int32_t launched) { pid = launched; };
  execution.onOutput = [&](OutputStream stream, std::string_view) {
    if (stream != OutputStream::standardOutput) return;
    std::unique_lock guard(lock);
    wake.wait(guard, [&] { return released; });  // the reader stalls here, holding every pipe still
  };
  std::optional<ProcessRunner::Result> result;
  std::thread runner([&] { result = ProcessRunner().run(execution); });
  std::this_thread::sleep_for(std::chrono::milliseconds(kSanitized ? 6000 : 4500));  // past the 2 s stall limit
  ASSERT_NE(pid.load(), 0);
  ASSERT_FALSE(hasEnded(pid));
  if (!kSanitized) {
    EXPECT_LE(peakMiB(pid), 64.0);
  }
  const auto interrupted = std::chrono::steady_clock::now();
  execution.sendSignal(SIGINT);
  while (!hasEnded(pid) && std::chrono::steady_clock::now() - interrupted < std::chrono::seconds(10)) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  const auto took = std::chrono::steady_clock::now() - interrupted;
  EXPECT_LT(took, kSanitized ? std::chrono::milliseconds(3000) : std::chrono::milliseconds(1000));
  {
    std::lock_guard guard(lock);
    released = true;
  }
  wake.notify_all();
  runner.join();
  ASSERT_TRUE(result && result->has_value());
  EXPECT_EQ((*result)->terminationStatus, 0);
  const std::string err = (*result)->stderr.str();
  std::smatch count;
  ASSERT_TRUE(std::regex_search(err, count, std::regex(R"(orvanta: (\d+) entries not printed: the output was not read for 2 s)")))
      << err;
  EXPECT_GT(std::stoull(count[1].str()), 0u);
  EXPECT_EQ(emulatorProcessesAlive(), 0);
}

TEST_F(LogsCliTest, RefusesAnUnwritableExportBeforeStreaming) {
  const auto started = std::chrono::steady_clock::now();
  auto result = orvanta({"--device", kIPhone15Old, "logs", "--export", "/proc/x/y.log", "--duration", "30"});
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(10));
  expectFailure(result, "exportFailed", "Export failed.");
  EXPECT_NE(result.err.find("/proc/x/y.log"), std::string::npos) << result.err;
  EXPECT_EQ(result.err.find("Streaming"), std::string::npos) << result.err;
}

// Ctrl-C ends the stream normally; an export that then fails is the command's outcome, not a cancel.
TEST_F(LogsCliTest, ReportsTheExportsRealOutcomeAfterCtrlC) {
  const auto folder = root() / "exports";
  std::filesystem::create_directories(folder);
  ProcessExecution execution(ORVANTA_BINARY,
                             {"--device", kIPhone15Old, "logs", "--export", (folder / "console.txt").string()},
                             std::nullopt, environmentForTest(), 60.0);
  std::string out;
  std::atomic<bool> sent{false};
  execution.onOutput = [&](OutputStream stream, std::string_view bytes) {
    if (stream != OutputStream::standardOutput || sent) return;
    out += bytes;
    if (out.find("FieldNotes") != std::string::npos) {
      sent = true;
      std::filesystem::remove_all(folder);  // gone before the export is written
      execution.sendSignal(SIGINT);
    }
  };
  auto result = ProcessRunner().run(execution);
  ASSERT_TRUE(result.has_value());
  ASSERT_TRUE(sent);
  EXPECT_EQ(result->terminationStatus, 1);
  const std::string err = result->stderr.str();
  EXPECT_NE(err.find("orvanta: Export failed.\n"), std::string::npos) << err;
  EXPECT_EQ(err.find("cancelled"), std::string::npos) << err;
}

TEST_F(LogsCliTest, ReportsAnUnexpectedEndAfterPrintingWhatCame) {
  setEnvironment("ORVANTA_EMULATOR_LOG_FAIL_AFTER", "3");
  auto result = orvanta({"--device", kIPhone15Old, "logs"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("--:--:--.--- - -: getpwuid_r did not find a match for uid 501"), std::string::npos);
  EXPECT_NE(result.out.find("#2"), std::string::npos);
  EXPECT_NE(result.err.find("The log stream stopped unexpectedly."), std::string::npos);
}

TEST_F(LogsCliTest, RefusesBadInputWithOneSentence) {
  EXPECT_EQ(orvanta({"--device", kIPhone15Old, "logs", "--level", "warning"}).status, 2);
  auto stale = orvanta({"--device", kIPhone15Old, "logs", "--app", "com.example.gone"});
  EXPECT_EQ(stale.status, 1);
  EXPECT_NE(stale.err.find("The selected app is no longer installed on this simulator."), std::string::npos);
  auto shutDown = orvanta({"--device", kIPadPro, "logs"});
  EXPECT_EQ(shutDown.status, 1);
  EXPECT_NE(shutDown.err.find("no longer booted"), std::string::npos);
}

TEST_F(LogsCliTest, CtrlCStopsCleanly) {
  auto result =
      orvantaInterrupted({"--device", kIPhone15Old, "logs"}, "FieldNotes", SIGINT, OutputStream::standardOutput);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(emulatorProcessesAlive(), 0);
}

}  // namespace
}  // namespace orvanta::testing
