// The child behind the console: `xcrun simctl spawn <udid> log stream ...`, its two output streams cut
// into lines, and its end.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "capture/console/simulator_log_entry.hpp"
#include "core/long_running_child.hpp"
#include "support/expected.hpp"

namespace orvanta {

// How a log stream ended: by itself (its exit status, or the signal number when a signal ended it), or
// because the stream service asked it to stop.
struct LogStreamTerminationReason {
  enum class Case { exited, cancelled };
  Case kind = Case::cancelled;
  std::int32_t status = 0;  // exited

  static LogStreamTerminationReason exited(std::int32_t status) { return {Case::exited, status}; }
  static LogStreamTerminationReason cancelled() { return {Case::cancelled, 0}; }
  bool operator==(const LogStreamTerminationReason&) const = default;
};

// What the stream service drives; a fake stands in for it in tests. The callbacks are set before
// launch() and called on threads of the implementation's own, one at a time: the line callbacks once per
// line, in order, and onTermination exactly once, after the last line.
class LogStreamProcessProtocol {
 public:
  virtual ~LogStreamProcessProtocol() = default;

  std::function<void(std::string line)> onOutputLine;
  // When set, standard output comes here instead of to onOutputLine: the lines completed by each read,
  // in order, as views that stay valid during the call and are each followed by at least
  // LineFramer::lineSpareCapacity readable bytes (so that a parser can read them in place).
  std::function<void(std::span<const std::string_view> lines)> onOutputLines;
  std::function<void(std::string line)> onErrorLine;
  std::function<void(LogStreamTerminationReason reason)> onTermination;

  // Starts the child; the error is the launch failure's description.
  [[nodiscard]] virtual expected<void, std::string> launch(const std::filesystem::path& executable,
                                                           const std::vector<std::string>& arguments) = 0;
  // Asks the child to end (SIGINT) and marks the end as cancelled. Does not block; any thread.
  virtual void stop() = 0;
};

// The real one, over the runner's long-running children. Its output is handed to the line callbacks on
// the runner's reading thread; a watcher thread of its own waits for the child's end and reports it.
// Destroying it while the child still runs gives the child a moment to end after stop(), then ends it.
class LogStreamProcess final : public LogStreamProcessProtocol {
 public:
  static constexpr std::chrono::milliseconds stopGrace{2000};

  explicit LogStreamProcess(StartLongRunningFunction start);
  ~LogStreamProcess() override;
  LogStreamProcess(const LogStreamProcess&) = delete;
  LogStreamProcess& operator=(const LogStreamProcess&) = delete;

  [[nodiscard]] expected<void, std::string> launch(const std::filesystem::path& executable,
                                                   const std::vector<std::string>& arguments) override;
  void stop() override;

 private:
  void receive(OutputStream stream, std::string_view bytes);
  void watch();

  StartLongRunningFunction start_;
  std::unique_ptr<LongRunningChild> process_;
  LineFramer stdoutFramer_;  // reading thread, then the watcher once the child has ended
  LineFramer stderrFramer_;
  std::vector<std::string_view> lineViews_;  // with stdoutFramer_
  std::mutex stateLock_;
  bool isStoppingIntentionally_ = false;
  bool didStart_ = false;
  std::thread watcher_;
};

}  // namespace orvanta
