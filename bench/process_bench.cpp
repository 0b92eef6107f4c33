// orvanta-bench process: the cost of starting a child and of reading its output through ProcessRunner,
// each against the plainest POSIX code that does the same.
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "bench/bench.hpp"
#include "core/process_runner.hpp"

extern char** environ;

namespace orvanta::bench {
namespace {

constexpr std::size_t kPipeBytes = 268435456;

double rawSpawnSeconds(const char* path) {
  char* argv[] = {const_cast<char*>(path), nullptr};
  auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  if (posix_spawn(&pid, path, nullptr, nullptr, argv, environ) != 0) std::abort();
  int status = 0;
  waitpid(pid, &status, 0);
  return secondsSince(start);
}

// The plainest loop that reads the child's output: poll, read, and either drop the bytes or keep every one
// of them in one buffer that doubles with realloc (the physical limit of capturing, page faults included).
double rawPipeSeconds(bool keep) {
  int fds[2];
  if (pipe2(fds, O_CLOEXEC) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, fds[1], 1);
  char* argv[] = {const_cast<char*>("head"), const_cast<char*>("-c"), const_cast<char*>("268435456"),
                  const_cast<char*>("/dev/zero"), nullptr};
  auto start = std::chrono::steady_clock::now();
  pid_t pid = 0;
  if (posix_spawnp(&pid, "head", &actions, nullptr, argv, environ) != 0) std::abort();
  posix_spawn_file_actions_destroy(&actions);
  close(fds[1]);
  std::vector<char> buffer(1 << 16);
  char* kept = nullptr;
  std::size_t capacity = 0;
  std::size_t total = 0;
  pollfd entry{fds[0], POLLIN, 0};
  for (;;) {
    if (poll(&entry, 1, -1) < 0) continue;
    char* target = buffer.data();
    std::size_t space = buffer.size();
    if (keep) {
      if (capacity - total < (1 << 16)) {
        capacity = std::max<std::size_t>(capacity * 2, 1 << 16);
        kept = static_cast<char*>(std::realloc(kept, capacity));
        if (kept == nullptr) std::abort();
      }
      target = kept + total;
      space = capacity - total;
    }
    ssize_t got = read(fds[0], target, space);
    if (got <= 0) break;
    total += static_cast<std::size_t>(got);
  }
  std::free(kept);
  close(fds[0]);
  int status = 0;
  waitpid(pid, &status, 0);
  if (total != kPipeBytes) std::abort();
  return secondsSince(start);
}

int processBench(const std::vector<std::string>& arguments) {
  const int spawnRuns = arguments.empty() ? 400 : std::atoi(arguments[0].c_str());
  ProcessRunner runner;
  const char* truePath = access("/bin/true", X_OK) == 0 ? "/bin/true" : "/usr/bin/true";
  std::vector<double> raw, ours;
  // Interleaved so that drift in the machine's load affects both alike.
  for (int i = 0; i < spawnRuns; ++i) {
    raw.push_back(rawSpawnSeconds(truePath));
    auto start = std::chrono::steady_clock::now();
    auto result = runner.run(truePath, {});
    ours.push_back(secondsSince(start));
    if (!result) std::abort();
  }
  const double rawUs = median(raw) * 1e6;
  const double oursUs = median(ours) * 1e6;
  report("spawn.raw_us", rawUs);
  report("spawn.orvanta_us", oursUs);
  report("spawn.ratio", oursUs / rawUs);

  std::vector<double> rawPipe, rawKeepPipe, oursPipe;
  for (int i = 0; i < 3; ++i) {
    rawPipe.push_back(rawPipeSeconds(false));
    rawKeepPipe.push_back(rawPipeSeconds(true));
    auto start = std::chrono::steady_clock::now();
    auto result = runner.run("/usr/bin/head", {"-c", "268435456", "/dev/zero"});
    oursPipe.push_back(secondsSince(start));
    if (!result || result->stdout.size() != kPipeBytes) std::abort();
  }
  const double rawGbps = static_cast<double>(kPipeBytes) / median(rawPipe) / 1e9;
  const double rawKeepGbps = static_cast<double>(kPipeBytes) / median(rawKeepPipe) / 1e9;
  const double oursGbps = static_cast<double>(kPipeBytes) / median(oursPipe) / 1e9;
  report("pipe.raw_gbps", rawGbps);
  report("pipe.raw_keep_gbps", rawKeepGbps);
  report("pipe.orvanta_gbps", oursGbps);
  report("pipe.ratio", oursGbps / rawGbps);
  report("pipe.keep_ratio", oursGbps / rawKeepGbps);
  return 0;
}

}  // namespace

ORVANTA_BENCH("process", "[SPAWN-RUNS]: spawn and pipe throughput of ProcessRunner", processBench);

}  // namespace orvanta::bench
