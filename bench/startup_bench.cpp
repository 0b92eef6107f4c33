// orvanta-bench startup: how long a command takes from exec to exit when it does no work of its own,
// against a hello world built the same way. Runs the programs in turn, so that a busy moment of the
// machine falls on all of them alike.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "bench/bench.hpp"

extern char** environ;

namespace orvanta::bench {
namespace {

struct Sample {
  double wallSeconds = 0;
  double cpuSeconds = 0;
};

double seconds(const timeval& time) { return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6; }

Sample runOnce(const std::vector<std::string>& command) {
  std::vector<char*> argv;
  for (const auto& word : command) argv.push_back(const_cast<char*>(word.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  const auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  if (posix_spawn(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0) std::abort();
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage usage{};
  if (::wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "%s did not exit with 0\n", command[0].c_str());
    std::exit(1);
  }
  return {secondsSince(start), seconds(usage.ru_utime) + seconds(usage.ru_stime)};
}

int startupBench(const std::vector<std::string>& arguments) {
  const int runs = arguments.empty() ? 1000 : std::atoi(arguments[0].c_str());
  const auto self = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  const std::string orvanta = (self.parent_path() / "orvanta").string();
  const std::vector<std::pair<std::string, std::vector<std::string>>> programs{
      {"hello", {(self / "orvanta-bench-hello").string()}},
      {"version", {orvanta, "--version"}},
      {"help", {orvanta, "devices", "--help"}},
  };
  std::fprintf(stderr, "%d runs each: hello is a C++ hello world; version is 'orvanta --version', help is "
                       "'orvanta devices --help'\n", runs);
  std::vector<std::vector<double>> wall(programs.size());
  std::vector<std::vector<double>> cpu(programs.size());
  for (std::size_t index = 0; index < programs.size(); ++index) runOnce(programs[index].second);  // warm the caches
  for (int run = 0; run < runs; ++run) {
    for (std::size_t index = 0; index < programs.size(); ++index) {
      const auto sample = runOnce(programs[index].second);
      wall[index].push_back(sample.wallSeconds);
      cpu[index].push_back(sample.cpuSeconds);
    }
  }
  std::vector<double> wallMedians;
  for (std::size_t index = 0; index < programs.size(); ++index) {
    const double wallMedian = median(wall[index]);
    const double cpuMedian = median(cpu[index]);
    wallMedians.push_back(wallMedian);
    report("startup." + programs[index].first + ".wall_ms", wallMedian * 1e3);
    report("startup." + programs[index].first + ".cpu_ms", cpuMedian * 1e3);
  }
  for (std::size_t index = 1; index < programs.size(); ++index) {
    report("startup." + programs[index].first + ".times_hello", wallMedians[index] / wallMedians[0]);
  }
  return 0;
}

}  // namespace

ORVANTA_BENCH("startup", "[RUNS]: exec to exit of 'orvanta --version' and a command's help, against a hello world",
              startupBench);

}  // namespace orvanta::bench
