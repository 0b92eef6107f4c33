#include "core/process_runner.hpp"

#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include <fmt/format.h>

#include "core/process_spawn.hpp"
#include "support/atomic_file.hpp"
#include "support/number_text.hpp"

namespace orvanta {

// ---------------------------------------------------------------------------------------------------
// ProcessRunnerError

ProcessRunnerError ProcessRunnerError::executableNotFound(std::string path) {
  ProcessRunnerError error;
  error.kind = Case::executableNotFound;
  error.path = std::move(path);
  return error;
}
ProcessRunnerError ProcessRunnerError::launchFailed(std::string message) {
  ProcessRunnerError error;
  error.kind = Case::launchFailed;
  error.message = std::move(message);
  return error;
}
ProcessRunnerError ProcessRunnerError::nonZeroExit(std::int32_t status, std::string text) {
  ProcessRunnerError error;
  error.kind = Case::nonZeroExit;
  error.status = status;
  error.text = std::move(text);
  return error;
}
ProcessRunnerError ProcessRunnerError::killedBySignal(std::int32_t signal, std::string text) {
  ProcessRunnerError error = nonZeroExit(signal, std::move(text));
  error.bySignal = true;
  return error;
}
ProcessRunnerError ProcessRunnerError::decodingFailed(std::string message) {
  ProcessRunnerError error;
  error.kind = Case::decodingFailed;
  error.message = std::move(message);
  return error;
}
ProcessRunnerError ProcessRunnerError::timedOut(double seconds) {
  ProcessRunnerError error;
  error.kind = Case::timedOut;
  error.seconds = seconds;
  return error;
}
ProcessRunnerError ProcessRunnerError::ioFailure(std::string message) {
  ProcessRunnerError error;
  error.kind = Case::ioFailure;
  error.message = std::move(message);
  return error;
}
ProcessRunnerError ProcessRunnerError::cancelled() { return ProcessRunnerError{}; }

std::string ProcessRunnerError::description() const {
  switch (kind) {
    case Case::executableNotFound: return "Executable not found at " + path + ".";
    case Case::launchFailed: return "Failed to launch process: " + message;
    case Case::nonZeroExit:
      if (bySignal) return fmt::format("Process {}: {}", terminationText(status, true), text);
      return fmt::format("Process exited with status {}: {}", status, text);
    case Case::decodingFailed: return "Failed to decode process output: " + message;
    case Case::timedOut: return "The command timed out after " + formatGeneral(seconds) + " s.";
    case Case::ioFailure: return "Failed to read process output: " + message;
    case Case::cancelled: return "The command was cancelled.";
  }
  return {};
}

std::string_view ProcessRunnerError::caseName() const {
  switch (kind) {
    case Case::executableNotFound: return "executableNotFound";
    case Case::launchFailed: return "launchFailed";
    case Case::nonZeroExit: return "nonZeroExit";
    case Case::decodingFailed: return "decodingFailed";
    case Case::timedOut: return "timedOut";
    case Case::ioFailure: return "ioFailure";
    case Case::cancelled: return "cancelled";
  }
  return {};
}

// ---------------------------------------------------------------------------------------------------
// ProcessExecution

ProcessExecution::ProcessExecution(std::filesystem::path executableURL_, std::vector<std::string> arguments_,
                                   std::optional<std::string> standardInput_,
                                   std::optional<std::map<std::string, std::string>> environmentOverrides_,
                                   std::optional<double> timeout_)
    : executableURL(std::move(executableURL_)),
      arguments(std::move(arguments_)),
      standardInput(std::move(standardInput_)),
      environmentOverrides(std::move(environmentOverrides_)),
      timeout(timeout_) {}

ProcessExecution::~ProcessExecution() = default;

void ProcessExecution::wake() {
  // Called with lock_ held. A full pipe already holds a pending wake-up, so EAGAIN is fine.
  if (wakeFd_ >= 0) {
    char byte = 1;
    [[maybe_unused]] auto ignored = ::write(wakeFd_, &byte, 1);
  }
}

void ProcessExecution::requestStop(StopReason reason) {
  std::lock_guard guard(lock_);
  if (finished_ || stopReason_) return;
  stopReason_ = reason;
  wake();
}

void ProcessExecution::abandon() {
  std::lock_guard guard(lock_);
  if (finished_) return;
  abandoned_ = true;
  if (!stopReason_) stopReason_ = StopReason{StopReason::Case::cancelled, 0};
  wake();
}

void ProcessExecution::cancel() { requestStop({StopReason::Case::cancelled, 0}); }

void ProcessExecution::sendSignal(int signal) {
  // The signal is sent with the lock held: the I/O loop reaps under the same lock, so the pid cannot
  // have been reaped and reused by an unrelated process in between.
  std::lock_guard guard(lock_);
  if (finished_ || exitStatus_ || pid_ <= 0) return;
  detail::signalProcessOrGroup(pid_, signal);
}

std::int32_t ProcessExecution::pid() const {
  std::lock_guard guard(lock_);
  return pid_;
}

std::optional<ProcessExecution::StopReason> ProcessExecution::stopReason() const {
  std::lock_guard guard(lock_);
  return stopReason_;
}

bool ProcessExecution::finished() const {
  std::lock_guard guard(lock_);
  return finished_;
}

std::string ProcessExecution::description() const {
  std::lock_guard guard(lock_);
  std::string text = executableURL.string();
  text += fmt::format(" pid={}", pid_);
  text += " args=[";
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    if (i > 0) text += ", ";
    text += arguments[i];
  }
  text += "]";
  text += " exit=";
  if (exitStatus_) {
    text += std::to_string(*exitStatus_);
    if (exitedBySignal_) text += " (signal)";
  } else {
    text += "-";
  }
  text += fmt::format(" stdout={}B", stdoutBuffer_.size());
  if (stopReason_) {
    text += stopReason_->kind == StopReason::Case::timedOut
                ? " stop=timedOut(" + formatGeneral(stopReason_->seconds) + ")"
                : std::string(" stop=cancelled");
  }
  return text;
}

// ---------------------------------------------------------------------------------------------------
// The I/O loop: drains one child's pipes, feeds its stdin, watches for its end and runs the time-out and
// the stop sequence. It runs on the caller's thread for run() and on a thread of its own for a
// long-running process.

struct Launched;

class ProcessIoLoop {
 public:
  static expected<Launched, ProcessRunnerError> launch(ProcessExecution& execution);

  ProcessIoLoop(ProcessExecution& execution, detail::SpawnedChild child, UniqueFd wakeRead)
      : execution_(execution),
        child_(std::move(child)),
        wakeRead_(std::move(wakeRead)),
        exitWatcher_(detail::openExitWatcher(child_.pid)) {
    if (execution_.timeout) {
      timeoutAt_ = Clock::now() + toDuration(std::max(*execution_.timeout, 0.0));
    }
  }

  ProcessRunner::Result run() {
    for (;;) {
      auto result = step();
      deliverOutput();
      if (result) return std::move(*result);
      waitForEvents();
      deliverOutput();
    }
  }

 private:
  using Clock = std::chrono::steady_clock;

  // Whether what the child prints goes into the result (onOutput alone may see it instead).
  static bool keepsOutput(const ProcessExecution& execution) {
    return execution.keepOutput || !execution.onOutput;
  }

  static Clock::duration toDuration(double seconds) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  }

  // Advances the state machine under the lock. Returns the result once the execution has finished.
  std::optional<ProcessRunner::Result> step() {
    std::lock_guard guard(execution_.lock_);
    auto& e = execution_;
    const auto now = Clock::now();

    if ((e.abandoned_ || e.overBudget_) && !e.exitStatus_ && !abandonKillSent_) {
      detail::signalProcessOrGroup(child_.pid, SIGKILL);
      abandonKillSent_ = true;
    }
    if (timeoutAt_ && now >= *timeoutAt_) {
      timeoutAt_.reset();
      if (!e.stopReason_) e.stopReason_ = ProcessExecution::StopReason{ProcessExecution::StopReason::Case::timedOut,
                                                                      *e.timeout};
    }
    if (e.stopReason_ && !stopHandled_) {
      stopHandled_ = true;
      timeoutAt_.reset();
      if (!e.exitStatus_) {
        ::kill(child_.pid, SIGTERM);
        killAt_ = now + toDuration(ProcessExecution::killGracePeriod);
      }
    }
    if (killAt_ && now >= *killAt_) {
      killAt_.reset();
      if (!e.exitStatus_) detail::signalProcessOrGroup(child_.pid, SIGKILL);
    }

    if (!e.exitStatus_ && shouldCheckExit()) reapIfEnded();

    // Once a stopped child has ended, its streams are closed early: a grandchild that inherited the
    // pipes must not hold the result back.
    if (e.exitStatus_ && e.endAtExit && !e.stopReason_) {
      // What the child wrote before it exited is still taken; only a background copy's pipes are dropped.
      if (child_.stdoutRead) drainLocked(child_.stdoutRead, /*isStdout=*/true);
      if (child_.stderrRead) drainLocked(child_.stderrRead, /*isStdout=*/false);
    }
    if (e.exitStatus_ && (e.stopReason_ || e.endAtExit || e.overBudget_)) {
      closeStream(child_.stdoutRead, e.stdoutFinished_);
      closeStream(child_.stderrRead, e.stderrFinished_);
    }

    if (!e.exitStatus_ || !e.stdoutFinished_ || !e.stderrFinished_) return std::nullopt;

    e.finished_ = true;
    e.wakeFd_ = -1;
    if (e.stopReason_) {
      if (e.stopReason_->kind == ProcessExecution::StopReason::Case::timedOut) {
        return unexpected(ProcessRunnerError::timedOut(e.stopReason_->seconds));
      }
      return unexpected(ProcessRunnerError::cancelled());
    }
    if (e.ioError_) return unexpected(ProcessRunnerError::ioFailure(*e.ioError_));
    ProcessRunner::Output output;
    output.stdout = std::move(e.stdoutBuffer_);
    output.stderr = std::move(e.stderrBuffer_);
    output.terminationStatus = *e.exitStatus_;
    output.terminatedBySignal = e.exitedBySignal_;
    return std::optional<ProcessRunner::Result>(std::move(output));
  }

  // Whether to ask waitpid now. With an exit watcher only when it has fired; without one, whenever the
  // exit is all that is still awaited, a stop is under way, or the run ends at the child's exit (a
  // background copy may hold the pipes open for ever); the poll time-out then paces the checks.
  bool shouldCheckExit() const {
    if (exitWatcher_) return exitWatcherFired_;
    const auto& e = execution_;
    return (e.stdoutFinished_ && e.stderrFinished_) || e.stopReason_ || e.abandoned_ || e.overBudget_ ||
           e.endAtExit;
  }

  void reapIfEnded() {
    int status = 0;
    pid_t reaped;
    do {
      reaped = ::waitpid(child_.pid, &status, WNOHANG);
    } while (reaped < 0 && errno == EINTR);
    auto& e = execution_;
    if (reaped == child_.pid) {
      if (WIFSIGNALED(status)) {
        e.exitStatus_ = WTERMSIG(status);
        e.exitedBySignal_ = true;
      } else {
        e.exitStatus_ = WEXITSTATUS(status);
      }
    } else if (reaped < 0) {
      // ECHILD: somebody else reaped it (a SIGCHLD set to SIG_IGN does that). Its status is lost.
      e.exitStatus_ = -1;
    } else {
      return;
    }
    killAt_.reset();
    exitWatcher_.reset();
  }

  static void closeStream(UniqueFd& fd, bool& finished) {
    fd.reset();
    finished = true;
  }

  std::chrono::milliseconds pollTimeout() {
    using std::chrono::milliseconds;
    auto now = Clock::now();
    std::optional<Clock::time_point> next;
    for (const auto& deadline : {timeoutAt_, killAt_}) {
      if (deadline && (!next || *deadline < *next)) next = deadline;
    }
    milliseconds timeout(-1);
    if (next) {
      timeout = std::chrono::ceil<milliseconds>(std::max(*next - now, Clock::duration::zero()));
    }
    bool pollingForExit = false;
    {
      std::lock_guard guard(execution_.lock_);
      pollingForExit = !exitWatcher_ && !execution_.exitStatus_ && shouldCheckExit();
    }
    if (pollingForExit) {
      // Without an exit watcher, look again soon, backing off from 1 ms to 50 ms.
      if (timeout.count() < 0 || backoff_ < timeout) timeout = backoff_;
      backoff_ = std::min(backoff_ * 2, milliseconds(50));
    }
    return timeout;
  }

  void waitForEvents() {
    std::array<pollfd, 5> fds{};
    nfds_t count = 0;
    auto add = [&](int fd, short events) {
      fds[count] = pollfd{fd, events, 0};
      return count++;
    };
    const nfds_t none = fds.size();
    nfds_t outIndex = none, errIndex = none, inIndex = none, exitIndex = none;
    if (child_.stdoutRead) outIndex = add(child_.stdoutRead.get(), POLLIN);
    if (child_.stderrRead) errIndex = add(child_.stderrRead.get(), POLLIN);
    if (child_.stdinWrite) inIndex = add(child_.stdinWrite.get(), POLLOUT);
    if (exitWatcher_) exitIndex = add(exitWatcher_.get(), POLLIN);
    const nfds_t wakeIndex = add(wakeRead_.get(), POLLIN);

    const auto timeout = pollTimeout();
    int ready;
    do {
      ready = ::poll(fds.data(), count, static_cast<int>(timeout.count()));
    } while (ready < 0 && errno == EINTR);
    if (ready <= 0) return;

    constexpr short readable = POLLIN | POLLHUP | POLLERR | POLLNVAL;
    if (outIndex != none && (fds[outIndex].revents & readable)) drain(child_.stdoutRead, /*isStdout=*/true);
    if (errIndex != none && (fds[errIndex].revents & readable)) drain(child_.stderrRead, /*isStdout=*/false);
    if (inIndex != none && fds[inIndex].revents != 0) feedInput();
    if (exitIndex != none && (fds[exitIndex].revents & readable)) exitWatcherFired_ = true;
    if (fds[wakeIndex].revents & POLLIN) {
      char sink[64];
      while (::read(wakeRead_.get(), sink, sizeof sink) > 0) {
      }
    }
  }

  // Reads what the pipe holds straight into the execution's buffer.
  void drain(UniqueFd& fd, bool isStdout) {
    std::lock_guard guard(execution_.lock_);
    drainLocked(fd, isStdout);
  }

  // drain() with the execution's lock already held.
  void drainLocked(UniqueFd& fd, bool isStdout) {
    constexpr std::size_t minimumSpace = 64 * 1024;
    constexpr std::size_t maximumRead = 1 << 20;
    auto& e = execution_;
    ByteBuffer& buffer = isStdout ? e.stdoutBuffer_ : e.stderrBuffer_;
    bool& finished = isStdout ? e.stdoutFinished_ : e.stderrFinished_;
    const std::size_t limit = isStdout ? e.stdoutLimit : e.stderrLimit;
    for (int round = 0; round < 8; ++round) {
      if (keepsOutput(e) && buffer.size() >= limit) {
        if (isStdout) {
          // Whatever the child still has to say is beyond what any caller wants: end it now.
          if (!e.ioError_) e.ioError_ = "the program printed more than " + budgetText(limit);
          e.overBudget_ = true;
          closeStream(fd, finished);
          return;
        }
        if (discard(fd, finished)) continue;
        return;
      }
      auto space = buffer.spareCapacity(minimumSpace, maximumRead);
      if (keepsOutput(e)) space = space.first(std::min(space.size(), limit - buffer.size()));
      ssize_t got;
      do {
        got = ::read(fd.get(), space.data(), space.size());
      } while (got < 0 && errno == EINTR);
      if (got > 0) {
        if (e.onOutput) {
          pendingOutput_.emplace_back(isStdout ? OutputStream::standardOutput : OutputStream::standardError,
                                      std::string(space.data(),
                                                  static_cast<std::size_t>(got)));
        }
        // Output that only the hook sees is read through the same spare space again and again.
        if (keepsOutput(e)) buffer.commit(static_cast<std::size_t>(got));
        if (static_cast<std::size_t>(got) < space.size()) return;
        continue;
      }
      if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
      if (got < 0 && !e.ioError_) e.ioError_ = fmt::format("read failed (errno {})", errno);
      closeStream(fd, finished);
      return;
    }
  }

  // Reads and drops what `fd` holds (stderr past its limit). True when a full read suggests there is more.
  bool discard(UniqueFd& fd, bool& finished) {
    std::array<char, 16384> sink{};
    ssize_t got;
    do {
      got = ::read(fd.get(), sink.data(), sink.size());
    } while (got < 0 && errno == EINTR);
    if (got > 0) return static_cast<std::size_t>(got) == sink.size();
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return false;
    closeStream(fd, finished);
    return false;
  }

  // Hands the chunks read since the last call to onOutput, outside the execution's lock, so that the
  // callback may signal or cancel the child.
  void deliverOutput() {
    if (pendingOutput_.empty()) return;
    auto chunks = std::move(pendingOutput_);
    pendingOutput_.clear();
    for (const auto& [stream, bytes] : chunks) execution_.onOutput(stream, bytes);
  }

  void feedInput() {
    const std::string& input = *execution_.standardInput;
    while (inputOffset_ < input.size()) {
      ssize_t wrote = detail::writeWithoutSigpipe(child_.stdinWrite.get(), input.data() + inputOffset_,
                                                  input.size() - inputOffset_);
      if (wrote > 0) {
        inputOffset_ += static_cast<std::size_t>(wrote);
        continue;
      }
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) return;
      break;  // EPIPE: the child stopped reading; what it did not take is dropped.
    }
    child_.stdinWrite.reset();
  }

  ProcessExecution& execution_;
  detail::SpawnedChild child_;
  UniqueFd wakeRead_;
  UniqueFd exitWatcher_;
  bool exitWatcherFired_ = false;
  std::optional<Clock::time_point> timeoutAt_;
  std::optional<Clock::time_point> killAt_;
  bool stopHandled_ = false;
  bool abandonKillSent_ = false;
  std::size_t inputOffset_ = 0;
  std::chrono::milliseconds backoff_{1};
  std::vector<std::pair<OutputStream, std::string>> pendingOutput_;  // read, not yet handed to onOutput
};

// ---------------------------------------------------------------------------------------------------
// ProcessRunner

struct Launched {
  std::unique_ptr<ProcessIoLoop> loop;
  UniqueFd wakeWrite;  // closed only after the loop has finished (and the execution stopped using it)
};

// Spawns the execution's child and prepares its loop. On failure nothing is left running.
expected<Launched, ProcessRunnerError> ProcessIoLoop::launch(ProcessExecution& execution) {
  auto wakePipe = detail::makeWakePipe();
  if (!wakePipe) return unexpected(wakePipe.error());
  auto child = detail::spawnChild(execution);
  if (!child) return unexpected(child.error());
  const pid_t pid = child->pid;
  Launched launched{std::make_unique<ProcessIoLoop>(execution, std::move(*child), std::move(wakePipe->first)),
                    std::move(wakePipe->second)};
  {
    std::lock_guard guard(execution.lock_);
    execution.pid_ = pid;
    execution.launchedAt_ = std::chrono::system_clock::now();
    execution.wakeFd_ = launched.wakeWrite.get();
    // Kept output may run to hundreds of megabytes; once it does, its memory is readied ahead of the reads.
    if (keepsOutput(execution)) {
      execution.stdoutBuffer_.readyAheadOfWrites();
      execution.stderrBuffer_.readyAheadOfWrites();
    }
  }
  if (execution.onLaunch) execution.onLaunch(pid);
  return launched;
}

ProcessRunner::Result ProcessRunner::run(ProcessExecution& execution, orvanta::stop_token stop) const {
  if (stop.stop_requested()) return unexpected(ProcessRunnerError::cancelled());
  auto launched = ProcessIoLoop::launch(execution);
  if (!launched) return unexpected(launched.error());
  orvanta::stop_callback onStop(stop, [&execution] { execution.cancel(); });
  return launched->loop->run();
}

ProcessRunner::Result ProcessRunner::run(const std::filesystem::path& executable,
                                         const std::vector<std::string>& arguments, const Options& options,
                                         orvanta::stop_token stop) const {
  ProcessExecution execution(executable, arguments, options.standardInput, options.environmentOverrides,
                             options.timeout);
  execution.endAtExit = options.endAtExit;
  execution.stdoutLimit = options.stdoutLimit;
  execution.stderrLimit = options.stderrLimit;
  return run(execution, std::move(stop));
}

ProcessRunner::Result ProcessRunner::run(const std::filesystem::path& executable,
                                         const std::vector<std::string>& arguments, orvanta::stop_token stop) const {
  return run(executable, arguments, Options{}, std::move(stop));
}

expected<std::unique_ptr<ProcessRunner::LongRunningProcess>, ProcessRunnerError> ProcessRunner::startLongRunning(
    const std::filesystem::path& executable, const std::vector<std::string>& arguments) const {
  return startLongRunning(executable, arguments, nullptr);
}

expected<std::unique_ptr<ProcessRunner::LongRunningProcess>, ProcessRunnerError> ProcessRunner::startLongRunning(
    const std::filesystem::path& executable, const std::vector<std::string>& arguments,
    OutputCallback onOutput) const {
  return startLongRunning(executable, arguments, std::move(onOutput), true);
}

expected<std::unique_ptr<ProcessRunner::LongRunningProcess>, ProcessRunnerError> ProcessRunner::startLongRunning(
    const std::filesystem::path& executable, const std::vector<std::string>& arguments, OutputCallback onOutput,
    bool keepOutput) const {
  auto execution = std::make_shared<ProcessExecution>(executable, arguments);
  execution->onOutput = std::move(onOutput);
  execution->keepOutput = keepOutput;
  std::int32_t launchedPid = 0;  // what the launch callback hands back
  execution->onLaunch = [&launchedPid](std::int32_t pid) { launchedPid = pid; };
  auto launched = ProcessIoLoop::launch(*execution);
  execution->onLaunch = nullptr;
  if (!launched) return unexpected(launched.error());

  std::unique_ptr<LongRunningProcess> process(new LongRunningProcess());
  process->execution_ = execution;
  process->resultBox_ = std::make_shared<LongRunningProcess::ResultBox>();
  process->pid_ = launchedPid;
  process->reader_ = orvanta::jthread([box = process->resultBox_, launched = std::move(*launched)]() mutable {
    auto result = launched.loop->run();
    {
      std::lock_guard guard(box->lock);
      box->result = std::move(result);
    }
    box->ready.notify_all();
  });
  return process;
}

ProcessRunner::LongRunningProcess::~LongRunningProcess() {
  if (execution_) execution_->abandon();
  if (reader_.joinable()) reader_.join();
}

ProcessRunner::Result ProcessRunner::LongRunningProcess::waitForResult() {
  std::unique_lock guard(resultBox_->lock);
  resultBox_->ready.wait(guard, [this] { return resultBox_->result.has_value(); });
  return *resultBox_->result;
}

std::optional<ProcessRunner::Result> ProcessRunner::LongRunningProcess::resultIfFinished() {
  std::lock_guard guard(resultBox_->lock);
  return resultBox_->result;
}

std::optional<ProcessRunner::Result> ProcessRunner::LongRunningProcess::waitForResult(
    std::chrono::milliseconds limit) {
  std::unique_lock guard(resultBox_->lock);
  if (!resultBox_->ready.wait_for(guard, limit, [this] { return resultBox_->result.has_value(); })) {
    return std::nullopt;
  }
  return *resultBox_->result;
}

ProcessRunner::LongRunningProcess::StopOutcome ProcessRunner::LongRunningProcess::stopGracefully(
    int signal, std::chrono::milliseconds grace) {
  sendSignal(signal);
  if (auto result = waitForResult(grace)) return {std::move(*result), true};
  execution_->cancel();
  return {waitForResult(), false};
}

RunWithOptionsFunction makeRunWithOptionsFunction(const ProcessRunner& runner) {
  return [&runner](const std::filesystem::path& executable, const std::vector<std::string>& arguments,
                   const ProcessRunner::Options& options, orvanta::stop_token stop) {
    return runner.run(executable, arguments, options, std::move(stop));
  };
}

RunFunction makeRunFunction(const ProcessRunner& runner, RunPolicy policy) {
  return [&runner, policy = std::move(policy)](const std::filesystem::path& executable,
                                               const std::vector<std::string>& arguments, orvanta::stop_token stop) {
    const ProcessRunner::Options options = policy ? policy(executable, arguments) : ProcessRunner::Options{};
    return runner.run(executable, arguments, options, std::move(stop));
  };
}

std::string terminationText(std::int32_t status, bool bySignal) {
  if (!bySignal) return fmt::format("exited with status {}", status);
  static constexpr std::pair<int, const char*> names[] = {
      {SIGHUP, "SIGHUP"},   {SIGINT, "SIGINT"},   {SIGQUIT, "SIGQUIT"}, {SIGILL, "SIGILL"},   {SIGTRAP, "SIGTRAP"},
      {SIGABRT, "SIGABRT"}, {SIGBUS, "SIGBUS"},   {SIGFPE, "SIGFPE"},   {SIGKILL, "SIGKILL"}, {SIGSEGV, "SIGSEGV"},
      {SIGPIPE, "SIGPIPE"}, {SIGALRM, "SIGALRM"}, {SIGTERM, "SIGTERM"}, {SIGUSR1, "SIGUSR1"}, {SIGUSR2, "SIGUSR2"}};
  for (const auto& [number, name] : names) {
    if (number == status) return fmt::format("was killed by signal {} ({})", status, name);
  }
  return fmt::format("was killed by signal {}", status);
}

}  // namespace orvanta
