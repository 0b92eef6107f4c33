// The one way Orvanta starts an external program.
//
// ProcessRunner starts a child with posix_spawn (argv only, never a shell), in a process group of its
// own, with separate stdout and stderr pipes that are drained concurrently while it runs. Two modes:
//
//  - run(): blocks until the child has ended and both streams are closed, and hands back an Output
//    whatever the exit status. A stop request on the caller's orvanta::stop_token, or the time-out of the
//    Options, ends the child (SIGTERM, then SIGKILL to its group 2.0 s later) and yields `cancelled` or
//    `timedOut` instead.
//  - startLongRunning(): returns as soon as the child is running; a background thread drains its
//    streams, and waitForResult() delivers the result to any number of waiters.
//
// A failure to start a program is a ProcessRunnerError; a non-zero exit is not.
#pragma once

#include <sys/types.h>

// <cstdio> comes first on purpose: some C libraries define `stdout`/`stderr` as macros, and Output's
// fields of those names must be spelt the same way in every file that sees them.
#include <cstdio>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include "support/stop_token.hpp"
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "support/byte_buffer.hpp"
#include "support/expected.hpp"

namespace orvanta {

// Why a process run failed. One case per failure; description() is the sentence shown to users.
struct ProcessRunnerError {
  enum class Case { executableNotFound, launchFailed, nonZeroExit, decodingFailed, timedOut, ioFailure, cancelled };

  Case kind = Case::cancelled;
  std::string path;     // executableNotFound
  std::string message;  // launchFailed, decodingFailed, ioFailure
  std::int32_t status = 0;  // nonZeroExit: the exit status, or the signal number when bySignal
  bool bySignal = false;    // nonZeroExit: the program was killed by signal `status`
  std::string text;         // nonZeroExit: what the program printed on stderr
  double seconds = 0;       // timedOut

  static ProcessRunnerError executableNotFound(std::string path);
  static ProcessRunnerError launchFailed(std::string message);
  static ProcessRunnerError nonZeroExit(std::int32_t status, std::string text);
  // nonZeroExit for a program that a signal ended: "Process was killed by signal 9 (SIGKILL): text".
  static ProcessRunnerError killedBySignal(std::int32_t signal, std::string text);
  static ProcessRunnerError decodingFailed(std::string message);
  static ProcessRunnerError timedOut(double seconds);
  static ProcessRunnerError ioFailure(std::string message);
  static ProcessRunnerError cancelled();

  // The exact user-facing sentence, e.g. "The command timed out after 2.5 s.".
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it in --json output ("nonZeroExit", ...).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const ProcessRunnerError&) const = default;
};

// Which of a child's output streams a chunk came from.
enum class OutputStream { standardOutput, standardError };

// Receives a child's output as it is read, chunk by chunk, in the order read from each stream. Called on
// the thread that drains the child (never with the execution's lock held), before the result is delivered.
using OutputCallback = std::function<void(OutputStream stream, std::string_view bytes)>;

// One started child: its arguments, its accumulated output and how it ended. It finishes exactly once.
// Thread-safe: every mutable field is guarded by `lock_`, because the I/O loop, a canceller on another
// thread and a signal sender may all touch it.
class ProcessExecution {
 public:
  struct StopReason {
    enum class Case { timedOut, cancelled };
    Case kind;
    double seconds = 0;  // timedOut: the time-out that fired
    bool operator==(const StopReason&) const = default;
  };

  static constexpr double killGracePeriod = 2.0;

  ProcessExecution(std::filesystem::path executableURL, std::vector<std::string> arguments,
                   std::optional<std::string> standardInput = std::nullopt,
                   std::optional<std::map<std::string, std::string>> environmentOverrides = std::nullopt,
                   std::optional<double> timeout = std::nullopt);
  ~ProcessExecution();
  ProcessExecution(const ProcessExecution&) = delete;
  ProcessExecution& operator=(const ProcessExecution&) = delete;

  const std::filesystem::path executableURL;
  const std::vector<std::string> arguments;
  const std::optional<std::string> standardInput;
  const std::optional<std::map<std::string, std::string>> environmentOverrides;
  const std::optional<double> timeout;
  // Called once, on the launching thread, right after a successful launch.
  std::function<void(std::int32_t pid)> onLaunch;
  // When set, the run ends as soon as the child has exited and its output so far has been read, even if
  // a process it started in the background still holds the pipes (clipboard helpers that serve the
  // selection from a forked copy of themselves do that). Set before the run starts.
  bool endAtExit = false;
  // When set, sees every chunk of output as it arrives (see OutputCallback); the output is still kept for
  // the result unless keepOutput is false. Set before the run starts.
  OutputCallback onOutput;
  // The most of each stream kept for the result. Past stdoutLimit the child is killed and the run fails
  // with ioFailure ("the program printed more than 64 MiB"); past stderrLimit the rest of stderr is read
  // and dropped (its beginning is the diagnostic that matters). Set before the run starts.
  std::size_t stdoutLimit = SIZE_MAX;
  std::size_t stderrLimit = SIZE_MAX;
  // False: what onOutput sees is not kept, so the result's stdout and stderr stay empty and a child that
  // prints for hours costs no memory (a log stream). Only meaningful with onOutput. Set before the run.
  bool keepOutput = true;

  // Ends the child on the caller's behalf: records `cancelled` unless a stop reason is already set, and
  // runs the stop sequence. Does nothing once finished. Any thread; does not block.
  void cancel();
  // Sends `signal` to the running child (to its whole group when it leads one that is not ours). Does
  // nothing once the child has ended or the execution has finished. Any thread; does not block.
  void sendSignal(int signal);

  [[nodiscard]] std::int32_t pid() const;
  [[nodiscard]] std::optional<StopReason> stopReason() const;
  [[nodiscard]] bool finished() const;
  // One line for logs: program, " pid=", " args=", " exit=" (" (signal" when killed), " stdout=" and
  // " stop=" when a stop was requested.
  [[nodiscard]] std::string description() const;

 private:
  friend class ProcessIoLoop;
  friend class ProcessRunner;
  void requestStop(StopReason reason);
  // The owner is going away: kill the child's group at once and finish as cancelled.
  void abandon();
  void wake();

  mutable std::mutex lock_;
  pid_t pid_ = 0;
  std::optional<std::chrono::system_clock::time_point> launchedAt_;
  std::optional<StopReason> stopReason_;
  std::optional<std::int32_t> exitStatus_;
  bool exitedBySignal_ = false;
  ByteBuffer stdoutBuffer_;
  ByteBuffer stderrBuffer_;
  bool stdoutFinished_ = false;
  bool stderrFinished_ = false;
  std::optional<std::string> ioError_;
  bool finished_ = false;
  bool abandoned_ = false;  // the owner is gone: kill the group at once
  bool overBudget_ = false;  // stdout passed stdoutLimit: kill the group at once
  int wakeFd_ = -1;         // write end of the I/O loop's wake-up pipe, -1 when no loop runs
};

class ProcessRunner {
 public:
  // What a child left behind. `terminationStatus` is the exit status, or the signal number when
  // `terminatedBySignal`.
  struct Output {
    ByteBuffer stdout;
    ByteBuffer stderr;
    std::int32_t terminationStatus = 0;
    bool terminatedBySignal = false;
    bool operator==(const Output&) const = default;
  };
  using Result = expected<Output, ProcessRunnerError>;

  // The one-shot run's extras.
  struct Options {
    std::optional<std::string> standardInput;  // written to the child's stdin, which is then closed
    std::optional<std::map<std::string, std::string>> environmentOverrides;  // laid over our environment
    std::optional<double> timeout;  // seconds for the whole run
    bool endAtExit = false;  // see ProcessExecution::endAtExit
    std::size_t stdoutLimit = defaultStdoutLimit;  // see ProcessExecution::stdoutLimit
    std::size_t stderrLimit = defaultStderrLimit;  // see ProcessExecution::stderrLimit
  };
  // What a one-shot run keeps of each stream unless told otherwise: simctl's largest listings are a few
  // MiB; a diagnostic worth showing fits in its first kilobytes.
  static constexpr std::size_t defaultStdoutLimit = 64 * 1024 * 1024;
  static constexpr std::size_t defaultStderrLimit = 64 * 1024;

  // A child that runs until told to stop (log stream, screen recording). Owned by one caller; the
  // result may be awaited from any thread. Destroying it while the child runs kills the child's group,
  // reaps it and joins the reading thread.
  class LongRunningProcess {
   public:
    ~LongRunningProcess();
    LongRunningProcess(const LongRunningProcess&) = delete;
    LongRunningProcess& operator=(const LongRunningProcess&) = delete;

    [[nodiscard]] std::int32_t pid() const { return pid_; }
    [[nodiscard]] ProcessExecution& execution() { return *execution_; }
    // Blocks until the child has ended and its streams are closed; every waiter, early or late, gets
    // the same result. Any thread.
    [[nodiscard]] Result waitForResult();
    // The result if the child has ended, without blocking.
    [[nodiscard]] std::optional<Result> resultIfFinished();
    // Blocks until the child has ended or `limit` has passed; nullopt on the latter. Any thread.
    [[nodiscard]] std::optional<Result> waitForResult(std::chrono::milliseconds limit);
    // The orderly stop of a recorder or a log stream: sends `signal`, waits up to `grace` for the child to
    // end, and ends it (SIGTERM, then SIGKILL to its group) when it has not. Returns the child's result
    // and whether it ended by itself within the grace period. Blocks; any thread.
    struct StopOutcome {
      Result result;
      bool endedWithinGrace = false;
    };
    [[nodiscard]] StopOutcome stopGracefully(int signal, std::chrono::milliseconds grace);
    // See ProcessExecution::sendSignal. SIGINT asks the log stream and recordings to finish cleanly.
    void sendSignal(int signal) { execution_->sendSignal(signal); }

   private:
    friend class ProcessRunner;
    struct ResultBox {
      std::mutex lock;
      std::condition_variable ready;
      std::optional<Result> result;
    };
    LongRunningProcess() = default;

    std::shared_ptr<ProcessExecution> execution_;
    std::shared_ptr<ResultBox> resultBox_;
    std::int32_t pid_ = 0;
    orvanta::jthread reader_;
  };

  // Runs the program with no input, the inherited environment and no time-out. Blocks; a stop request
  // on `stop` ends the child and yields `cancelled`. Thread-safe: any number of runs may proceed at once.
  [[nodiscard]] Result run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                           orvanta::stop_token stop = {}) const;
  [[nodiscard]] Result run(const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                           const Options& options, orvanta::stop_token stop = {}) const;
  // Runs a prepared execution (for callers that want onLaunch or to cancel it themselves).
  [[nodiscard]] Result run(ProcessExecution& execution, orvanta::stop_token stop = {}) const;

  // Starts the program and returns once it is running, or fails with executableNotFound / launchFailed.
  [[nodiscard]] expected<std::unique_ptr<LongRunningProcess>, ProcessRunnerError> startLongRunning(
      const std::filesystem::path& executable, const std::vector<std::string>& arguments) const;
  // The same, with `onOutput` seeing the child's output as it arrives (a recorder's hand-shake, a log
  // stream's lines).
  [[nodiscard]] expected<std::unique_ptr<LongRunningProcess>, ProcessRunnerError> startLongRunning(
      const std::filesystem::path& executable, const std::vector<std::string>& arguments,
      OutputCallback onOutput) const;
  // The same; with `keepOutput` false the output goes to `onOutput` only (see ProcessExecution::keepOutput).
  [[nodiscard]] expected<std::unique_ptr<LongRunningProcess>, ProcessRunnerError> startLongRunning(
      const std::filesystem::path& executable, const std::vector<std::string>& arguments, OutputCallback onOutput,
      bool keepOutput) const;

  static constexpr std::size_t maximumArgumentCount = 4096;
};

// The function through which services start programs: ProcessRunner::run by default, a recording fake
// in tests.
using RunFunction = std::function<ProcessRunner::Result(
    const std::filesystem::path& executable, const std::vector<std::string>& arguments, orvanta::stop_token stop)>;

// How a one-shot run of a given argv is bounded (its time-out above all); the default keeps the Options'
// defaults and sets no time-out.
using RunPolicy = std::function<ProcessRunner::Options(const std::filesystem::path& executable,
                                                       const std::vector<std::string>& arguments)>;
// A RunFunction that uses `runner` (which must outlive it), each run bounded by `policy` when given.
RunFunction makeRunFunction(const ProcessRunner& runner, RunPolicy policy = {});

// "exited with status 1", "was killed by signal 9 (SIGKILL)": how a program ended, for sentences.
[[nodiscard]] std::string terminationText(std::int32_t status, bool bySignal);

// The seam for runs that pass standard input, environment overrides or a time-out (the pasteboard's
// pbcopy, the host clipboard's helpers): ProcessRunner::run with Options by default, a fake in tests.
using RunWithOptionsFunction = std::function<ProcessRunner::Result(
    const std::filesystem::path& executable, const std::vector<std::string>& arguments,
    const ProcessRunner::Options& options, orvanta::stop_token stop)>;

// A RunWithOptionsFunction that uses `runner` (which must outlive it).
RunWithOptionsFunction makeRunWithOptionsFunction(const ProcessRunner& runner);

}  // namespace orvanta
