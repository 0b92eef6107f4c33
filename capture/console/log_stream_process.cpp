#include "capture/console/log_stream_process.hpp"

#include <signal.h>

namespace orvanta {

LogStreamProcess::LogStreamProcess(StartLongRunningFunction start) : start_(std::move(start)) {}

LogStreamProcess::~LogStreamProcess() {
  if (process_ && !process_->waitForResult(stopGrace)) (void)process_->terminate();
  if (watcher_.joinable()) watcher_.join();
}

expected<void, std::string> LogStreamProcess::launch(const std::filesystem::path& executable,
                                                     const std::vector<std::string>& arguments) {
  auto started = start_(executable, arguments,
                        [this](OutputStream stream, std::string_view bytes) { receive(stream, bytes); });
  if (!started) return unexpected(started.error().description());
  process_ = std::move(*started);
  {
    std::lock_guard guard(stateLock_);
    didStart_ = true;
  }
  watcher_ = std::thread([this] { watch(); });
  return {};
}

void LogStreamProcess::receive(OutputStream stream, std::string_view bytes) {
  if (stream == OutputStream::standardOutput && onOutputLines) {
    stdoutFramer_.appendViews(bytes, lineViews_);
    if (!lineViews_.empty()) onOutputLines(lineViews_);
  } else if (stream == OutputStream::standardOutput) {
    stdoutFramer_.appendEach(bytes, [this](std::string&& line) {
      if (onOutputLine) onOutputLine(std::move(line));
    });
  } else {
    stderrFramer_.appendEach(bytes, [this](std::string&& line) {
      if (onErrorLine) onErrorLine(std::move(line));
    });
  }
}

void LogStreamProcess::watch() {
  std::optional<ProcessRunner::Result> result;
  while (!result) result = process_->waitForResult(std::chrono::hours(1));
  // The runner hands out every chunk before the result, so the framers are ours alone from here on.
  if (onOutputLines) {
    if (auto rest = stdoutFramer_.finishView()) {
      lineViews_.assign(1, *rest);
      onOutputLines(lineViews_);
    }
  } else if (auto rest = stdoutFramer_.finish(); rest && onOutputLine) {
    onOutputLine(std::move(*rest));
  }
  if (auto rest = stderrFramer_.finish(); rest && onErrorLine) onErrorLine(std::move(*rest));
  bool intentional = false;
  {
    std::lock_guard guard(stateLock_);
    intentional = isStoppingIntentionally_;
  }
  LogStreamTerminationReason reason = LogStreamTerminationReason::cancelled();
  if (!intentional) reason = LogStreamTerminationReason::exited(*result ? (*result)->terminationStatus : -1);
  if (onTermination) onTermination(reason);
}

void LogStreamProcess::stop() {
  std::lock_guard guard(stateLock_);
  isStoppingIntentionally_ = true;
  // The log tool ends its stream cleanly on an interrupt; nothing is sent once the child has ended.
  if (didStart_) process_->sendSignal(SIGINT);
}

}  // namespace orvanta
