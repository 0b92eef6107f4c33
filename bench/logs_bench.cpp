// orvanta-bench logs: the log command end to end, as a user runs it. The emulator replays LINES lines
// in the shape `log stream --style ndjson` prints (the log tool's 22 keys, about 850 bytes a line) as
// fast as the pipe takes them, and a reader counts what comes out:
//  - `orvanta --json logs` into a reader that keeps up, one that takes 100 MB/s, and one that stalls for
//    5 s at the start: time, entries printed, entries reported lost, peak memory;
//  - the same lines through a minimal single-threaded simdjson program printing the same objects
//    (orvanta-bench-minimal-logs), and through `jq -c .` when jq is installed.
// Also, in process: how long parsing and formatting one entry takes on the reading thread.
#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <simdjson.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <thread>

#include "bench/bench.hpp"
#include "bench/log_lines/log_lines.hpp"
#include "capture/console/console_printer.hpp"
#include "capture/console/simulator_log_entry.hpp"

namespace orvanta::bench {
namespace {

constexpr const char* kDevice = "9F8E7D6C-5B4A-4392-8170-6F5E4D3C2B1A";  // booted in the emulator's seed

// Parsing and formatting as the reading thread does it, per entry.
double formatNanosecondsPerEntry(const std::string& text, std::size_t expected) {
  LineFramer framer;
  SimulatorLogEntryParser parser;
  std::vector<std::string_view> lines;
  std::string out;
  std::size_t entries = 0;
  const auto start = std::chrono::steady_clock::now();
  constexpr std::size_t chunk = 1 << 20;
  for (std::size_t at = 0; at < text.size(); at += chunk) {
    framer.appendViews(std::string_view(text).substr(at, chunk), lines);
    out.clear();
    for (auto line : lines) {
      if (auto entry = parser.parseView(line)) {
        appendEntryJsonLine(out, *entry, false);
        ++entries;
      }
    }
  }
  const double seconds = secondsSince(start);
  if (entries != expected) std::abort();
  return seconds * 1e9 / static_cast<double>(entries);
}

struct Stage {
  std::vector<std::string> argv;
  std::vector<std::pair<std::string, std::string>> environment;
};

struct Reader {
  double bytesPerSecond = 0;  // 0: as fast as it can
  double stallSeconds = 0;    // before the first read
};

struct Run {
  double seconds = 0;
  std::size_t lines = 0;
  long peakKiB = 0;  // of the last stage
  std::string stderrText;  // of the last stage
};

// Runs the stages as a pipeline (the first reads nothing), reads the last one's output as `reader` says
// and counts its lines.
Run runPipeline(const std::vector<Stage>& stages, const Reader& reader, const std::filesystem::path& scratch) {
  Run run;
  const auto errorFile = scratch / "stderr.txt";
  const auto start = std::chrono::steady_clock::now();
  int input = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  std::vector<pid_t> pids;
  int output = -1;
  for (std::size_t i = 0; i < stages.size(); ++i) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) std::abort();
    const bool last = i + 1 == stages.size();
    const pid_t pid = ::fork();
    if (pid == 0) {
      for (const auto& [key, value] : stages[i].environment) ::setenv(key.c_str(), value.c_str(), 1);
      ::dup2(input, STDIN_FILENO);
      ::dup2(fds[1], STDOUT_FILENO);
      const int error = ::open(last ? errorFile.c_str() : "/dev/null", O_WRONLY | O_CREAT | O_TRUNC, 0600);
      ::dup2(error, STDERR_FILENO);
      std::vector<char*> argv;
      for (const auto& argument : stages[i].argv) argv.push_back(const_cast<char*>(argument.c_str()));
      argv.push_back(nullptr);
      ::execv(argv[0], argv.data());
      ::_exit(127);
    }
    pids.push_back(pid);
    ::close(input);
    ::close(fds[1]);
    input = fds[0];
    output = fds[0];
  }
  if (reader.stallSeconds > 0) std::this_thread::sleep_for(std::chrono::duration<double>(reader.stallSeconds));
  const auto readStart = std::chrono::steady_clock::now();
  std::vector<char> buffer(1 << 20);
  std::size_t total = 0;
  for (;;) {
    std::size_t want = buffer.size();
    if (reader.bytesPerSecond > 0) {
      // Paced: never ahead of the rate since reading began, in slices of at most 256 kB.
      const double allowed = reader.bytesPerSecond * secondsSince(readStart);
      if (static_cast<double>(total) >= allowed) {
        std::this_thread::sleep_for(std::chrono::microseconds(500));
        continue;
      }
      want = std::min<std::size_t>(want, std::min<std::size_t>(256 << 10, static_cast<std::size_t>(allowed) - total + 1));
    }
    const ssize_t got = ::read(output, buffer.data(), want);
    if (got <= 0) break;
    total += static_cast<std::size_t>(got);
    run.lines += static_cast<std::size_t>(std::count(buffer.data(), buffer.data() + got, '\n'));
  }
  ::close(output);
  for (std::size_t i = 0; i < pids.size(); ++i) {
    int status = 0;
    struct rusage usage {};
    ::wait4(pids[i], &status, 0, &usage);
    if (i + 1 == pids.size()) run.peakKiB = usage.ru_maxrss;
  }
  run.seconds = secondsSince(start);
  std::ifstream errors(errorFile);
  run.stderrText.assign(std::istreambuf_iterator<char>(errors), {});
  return run;
}

// The entries the command said it did not print.
std::size_t reportedLost(const std::string& stderrText) {
  std::size_t lost = 0;
  static const std::regex sentence(R"(orvanta: (\d+) entr(y|ies) (was |were )?not printed)");
  for (std::sregex_iterator it(stderrText.begin(), stderrText.end(), sentence), end; it != end; ++it) {
    lost += std::stoull((*it)[1].str());
  }
  return lost;
}

int logsBench(const std::vector<std::string>& arguments) {
  const std::size_t count = arguments.empty() ? 300000 : std::strtoull(arguments[0].c_str(), nullptr, 10);
  const auto self = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const auto build = self.parent_path();
  const auto orvanta = build / "orvanta";
  const auto emulator = build / "orvanta-simctl-emulator";
  const auto minimal = self / "orvanta-bench-minimal-logs";
  std::string pattern = (std::filesystem::temp_directory_path() / "orvanta-logs-bench-XXXXXX").string();
  const std::filesystem::path root = ::mkdtemp(pattern.data());
  const auto replay = root / "lines.ndjson";
  {
    const std::string text = generateLogLines(count);
    std::fprintf(stderr, "%zu lines, %.0f bytes each on average\n", count,
                 static_cast<double>(text.size()) / static_cast<double>(count));
    report("logs.format_ns_per_entry", formatNanosecondsPerEntry(text, count));
    std::ofstream(replay, std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
  }  // the text is freed: the programs' peak memory is measured through wait4, from forks of this one

  const std::vector<std::pair<std::string, std::string>> environment = {
      {"ORVANTA_XCRUN", emulator.string()},
      {"ORVANTA_EMULATOR_HOME", (root / "emulator").string()},
      {"XDG_CONFIG_HOME", (root / "config").string()},
      {"XDG_DATA_HOME", (root / "data").string()},
      {"XDG_RUNTIME_DIR", (root / "runtime").string()},
      {"HOME", (root / "home").string()},
  };
  auto withReplay = environment;
  withReplay.emplace_back("ORVANTA_EMULATOR_LOG_REPLAY", replay.string());
  (void)runPipeline({{{orvanta.string(), "devices"}, environment}}, {}, root);  // seeds the emulator's devices

  const Stage orvantaLogs{{orvanta.string(), "--device", kDevice, "--json", "logs"}, withReplay};
  const Stage emulatorStream{{emulator.string(), "simctl", "spawn", kDevice, "log", "stream", "--style", "ndjson",
                              "--level", "debug"},
                             withReplay};
  auto reportRun = [&](const std::string& name, const Run& run) {
    report("logs." + name + ".seconds", run.seconds);
    report("logs." + name + ".printed", static_cast<double>(run.lines));
    report("logs." + name + ".lost", static_cast<double>(count - std::min(count, run.lines)));
    report("logs." + name + ".peak_rss_mib", static_cast<double>(run.peakKiB) / 1024.0);
  };

  const Run fast = runPipeline({orvantaLogs}, {}, root);
  reportRun("orvanta", fast);
  report("logs.orvanta.reported_lost", static_cast<double>(reportedLost(fast.stderrText)));
  const Run paced = runPipeline({orvantaLogs}, {100e6, 0}, root);
  reportRun("orvanta_100MBps", paced);
  report("logs.orvanta_100MBps.reported_lost", static_cast<double>(reportedLost(paced.stderrText)));
  const Run stalled = runPipeline({orvantaLogs}, {0, 5.0}, root);
  reportRun("orvanta_stall5s", stalled);
  report("logs.orvanta_stall5s.reported_lost", static_cast<double>(reportedLost(stalled.stderrText)));

  const Run yardstick = runPipeline({emulatorStream, {{minimal.string()}, {}}}, {}, root);
  reportRun("minimal", yardstick);
  report("logs.orvanta_over_minimal", fast.seconds / yardstick.seconds);
  if (std::filesystem::exists("/usr/bin/jq")) {
    const Run jq = runPipeline({emulatorStream, {{"/usr/bin/jq", "-c", "."}, {}}}, {}, root);
    reportRun("jq", jq);
    report("logs.jq_over_orvanta", jq.seconds / fast.seconds);
  } else {
    std::fprintf(stderr, "jq is not installed: no comparison with jq -c .\n");
  }
  std::filesystem::remove_all(root);
  return 0;
}

}  // namespace

ORVANTA_BENCH("logs", "[LINES]: orvanta logs --json end to end (fast, 100 MB/s and stalled readers), against a "
                      "minimal simdjson program and jq -c .",
              logsBench);

}  // namespace orvanta::bench
