// Starting a child with posix_spawn: validation, pipes, signal state, process group. Internal to the
// process runner.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string_view>

#include "core/process_runner.hpp"
#include "support/unique_fd.hpp"

namespace orvanta::detail {

struct SpawnedChild {
  pid_t pid = 0;
  UniqueFd stdinWrite;  // only when the execution has standard input
  UniqueFd stdoutRead;
  UniqueFd stderrRead;
};

// Checks the executable and the argument count (in that order), then spawns the child: its own process
// group, default signal dispositions, an empty signal mask, stdin from /dev/null unless input is given,
// and nothing inherited beyond descriptors 0, 1 and 2. The parent's ends are close-on-exec and
// non-blocking. Thread-safe.
[[nodiscard]] expected<SpawnedChild, ProcessRunnerError> spawnChild(const ProcessExecution& execution);

// A pipe whose two ends are close-on-exec and non-blocking: the I/O loop's wake-up channel.
[[nodiscard]] expected<std::pair<UniqueFd, UniqueFd>, ProcessRunnerError> makeWakePipe();

// A descriptor that becomes readable once `pid` has ended, where the system offers one (pidfd on Linux,
// a kqueue on macOS). Invalid when it does not; the caller then polls waitpid.
[[nodiscard]] UniqueFd openExitWatcher(pid_t pid);

// Writes to a pipe whose reader may be gone without raising SIGPIPE in the process. Returns what
// write(2) returns; errno is set as write sets it.
ssize_t writeWithoutSigpipe(int fd, const char* data, std::size_t size);

// Sends `signal` to the group that `pid` leads when it leads one other than ours, else to `pid` alone.
void signalProcessOrGroup(pid_t pid, int signal);

}  // namespace orvanta::detail
