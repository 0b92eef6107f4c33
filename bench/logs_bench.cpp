// orvanta-bench logs: how fast log stream lines become entries, against simdjson finding the same fields
// in the same bytes and keeping nothing, and the whole path from the emulator through `orvanta logs
// --json` into /dev/null, with that program's peak memory.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <simdjson.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/bench.hpp"
#include "capture/console/simulator_log_entry.hpp"

namespace orvanta::bench {
namespace {

// About 400 bytes a line, in the shapes `log stream --style ndjson` prints, keys in varying order.
std::string generateLines(std::size_t count) {
  std::string text;
  text.reserve(count * 420);
  char line[1024];
  for (std::size_t i = 0; i < count; ++i) {
    const char* type = (i % 7 == 0) ? "Error" : (i % 3 == 0 ? "Default" : "Debug");
    if (i % 4 == 3) {
      std::snprintf(line, sizeof line,
                    R"({"timezoneName":"","eventType":"activityCreateEvent","subsystem":"","category":"","processImagePath":"\/Applications\/PosterBoard.app\/PosterBoard","timestamp":"2024-01-15 10:23:45.%06zu-0800","eventMessage":"Loading Preferences From User Session CFPrefsD number %zu in the sequence of generated events","processID":5222,"threadID":626691,"traceID":13353070231556})",
                    i % 1000000, i);
    } else {
      std::snprintf(line, sizeof line,
                    R"({"messageType":"%s","eventType":"logEvent","subsystem":"com.example.myapp","category":"network","processImagePath":"\/Users\/dev\/Library\/Developer\/CoreSimulator\/Devices\/3BC9A608\/data\/Containers\/Bundle\/Application\/B11C7D65\/MyApp.app\/MyApp","timestamp":"2024-01-15 10:23:45.%06zu-0800","eventMessage":"request %zu finished \"ok\" \u00e9 in 12 ms","processID":41234,"threadID":4531207})",
                    type, i % 1000000, i);
    }
    text += line;
    text.push_back('\n');
  }
  return text;
}

double oursLinesPerSecond(const std::string& text, std::size_t expected) {
  const auto start = std::chrono::steady_clock::now();
  LineFramer framer;
  SimulatorLogEntryParser parser;
  std::size_t entries = 0;
  constexpr std::size_t chunk = 64 * 1024;
  for (std::size_t at = 0; at < text.size(); at += chunk) {
    framer.appendEach(std::string_view(text).substr(at, chunk), [&](std::string&& line) {
      if (auto entry = parser.parse(std::move(line))) ++entries;
    });
  }
  const double seconds = secondsSince(start);
  if (entries != expected) std::abort();
  return static_cast<double>(entries) / seconds;
}

double baselineLinesPerSecond(const std::string& text, std::size_t expected) {
  using namespace simdjson;
  const padded_string padded(text);
  ondemand::parser json;
  std::size_t lines = 0, found = 0;
  const auto start = std::chrono::steady_clock::now();
  const char* begin = padded.data();
  const char* end = begin + padded.size();
  for (const char* at = begin; at < end;) {
    const char* newline = static_cast<const char*>(std::memchr(at, '\n', static_cast<std::size_t>(end - at)));
    if (newline == nullptr) newline = end;
    ondemand::document document;
    const auto length = static_cast<std::size_t>(newline - at);
    if (json.iterate(at, length, static_cast<std::size_t>(end - at) + SIMDJSON_PADDING).get(document) == SUCCESS) {
      ondemand::object object;
      if (document.get_object().get(object) == SUCCESS) {
        for (auto field : object) {
          std::string_view key, value;
          if (field.unescaped_key().get(key) != SUCCESS) break;
          if (key == "processID") {
            std::int64_t number;
            if (field.value().get_int64().get(number) == SUCCESS) ++found;
          } else if (key == "eventMessage" || key == "messageType" || key == "timestamp" || key == "processImagePath" ||
                     key == "subsystem" || key == "category") {
            if (field.value().get_string().get(value) == SUCCESS) found += value.size() > 0;
          }
        }
      }
    }
    ++lines;
    at = newline + 1;
  }
  const double seconds = secondsSince(start);
  if (lines != expected || found == 0) std::abort();
  return static_cast<double>(lines) / seconds;
}

struct EndToEnd {
  double linesPerSecond = 0;
  double peakRssMiB = 0;
};

EndToEnd endToEnd(const std::string& text, std::size_t count) {
  // The programs sit in the build folder, one level above this one.
  const auto self = std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path();
  const auto orvanta = self / "orvanta";
  const auto emulator = self / "orvanta-simctl-emulator";
  std::string pattern = (std::filesystem::temp_directory_path() / "orvanta-logs-bench-XXXXXX").string();
  const std::filesystem::path root = ::mkdtemp(pattern.data());
  const auto replay = root / "lines.ndjson";
  {
    std::FILE* file = std::fopen(replay.c_str(), "wb");
    if (file == nullptr || std::fwrite(text.data(), 1, text.size(), file) != text.size()) std::abort();
    std::fclose(file);
  }
  auto setEnvironment = [&](const char* key, const std::filesystem::path& value) { ::setenv(key, value.c_str(), 1); };
  setEnvironment("ORVANTA_XCRUN", emulator);
  setEnvironment("ORVANTA_EMULATOR_HOME", root / "emulator");
  setEnvironment("XDG_CONFIG_HOME", root / "config");
  setEnvironment("XDG_DATA_HOME", root / "data");
  setEnvironment("XDG_RUNTIME_DIR", root / "runtime");
  setEnvironment("HOME", root / "home");
  const std::string device = "9F8E7D6C-5B4A-4392-8170-6F5E4D3C2B1A";  // booted in the emulator's seed

  auto runOrvanta = [&](std::vector<std::string> arguments, bool withReplay) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      if (withReplay) ::setenv("ORVANTA_EMULATOR_LOG_REPLAY", replay.c_str(), 1);
      const int null = ::open("/dev/null", O_WRONLY);
      ::dup2(null, STDOUT_FILENO);
      if (withReplay) ::dup2(null, STDERR_FILENO);
      std::vector<char*> argv{const_cast<char*>(orvanta.c_str())};
      for (auto& argument : arguments) argv.push_back(argument.data());
      argv.push_back(nullptr);
      ::execv(orvanta.c_str(), argv.data());
      ::_exit(127);
    }
    // The peak resident size of the program itself, not of the bench's forked copy before exec (which
    // rusage would report): sampled from /proc while it runs, once it runs the program.
    long peakKiB = 0;
    int status = 0;
    const std::string proc = "/proc/" + std::to_string(pid);
    while (::waitpid(pid, &status, WNOHANG) == 0) {
      std::error_code error;
      if (std::filesystem::read_symlink(proc + "/exe", error) == orvanta) {
        if (std::FILE* file = std::fopen((proc + "/status").c_str(), "r")) {
          char row[256];
          long value = 0;
          while (std::fgets(row, sizeof row, file)) {
            if (std::sscanf(row, "VmHWM: %ld kB", &value) == 1) peakKiB = std::max(peakKiB, value);
          }
          std::fclose(file);
        }
      }
      ::usleep(5000);
    }
    return peakKiB;
  };
  (void)runOrvanta({"devices"}, false);  // seeds the emulator's devices
  const auto start = std::chrono::steady_clock::now();
  const long peakKiB = runOrvanta({"--device", device, "--json", "logs"}, true);
  const double seconds = secondsSince(start);
  std::filesystem::remove_all(root);
  return {static_cast<double>(count) / seconds, static_cast<double>(peakKiB) / 1024.0};
}

int logsBench(const std::vector<std::string>& arguments) {
  const std::size_t count = arguments.empty() ? 1000000 : std::strtoull(arguments[0].c_str(), nullptr, 10);
  const std::string text = generateLines(count);
  std::fprintf(stderr, "%zu lines, %.0f bytes each on average\n", count,
               static_cast<double>(text.size()) / static_cast<double>(count));
  const double ours = oursLinesPerSecond(text, count);
  const double baseline = baselineLinesPerSecond(text, count);
  report("logs.parse_lines_per_s", ours);
  report("logs.baseline_lines_per_s", baseline);
  report("logs.ratio", baseline / ours);
  const auto e2e = endToEnd(text, count);
  report("logs.e2e_lines_per_s", e2e.linesPerSecond);
  report("logs.e2e_peak_rss_mib", e2e.peakRssMiB);
  return 0;
}

}  // namespace

ORVANTA_BENCH("logs", "[LINES]: log lines to entries, against simdjson alone, and end to end through orvanta logs",
              logsBench);

}  // namespace orvanta::bench
