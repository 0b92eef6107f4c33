// The log command's fast path: a device's log printed as it is read, with nothing kept.
//
// On the stream's reading thread, the lines of each read are parsed (as views, nothing copied), filtered
// and formatted into large blocks that an OutputWriter writes on its own thread: one hand-over per read,
// not one per entry, and no allocation per entry. When the writer's budget is spent the reading thread
// waits, the child's pipe fills and the log tool waits in turn: nothing is lost to a reader that keeps
// up on average. What the writer drops (its reader stalled, or the output stopped) it counts.
//
// Keeping entries for an export, or handing them to a panel, takes SimulatorLogStreamService instead.
#pragma once

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "capture/console/console_error.hpp"
#include "capture/console/console_logs.hpp"
#include "capture/console/console_printer.hpp"
#include "capture/console/log_stream_process.hpp"
#include "support/expected.hpp"
#include "support/output_writer.hpp"

namespace orvanta {

// start() and stop() on one thread; the rest runs on the stream's threads. `writer` must outlive it.
class LogStreamPrinter {
 public:
  using MakeProcess = std::function<std::unique_ptr<LogStreamProcessProtocol>()>;

  LogStreamPrinter(MakeProcess makeProcess, std::filesystem::path xcrun, OutputWriter& writer, ConsoleLogFilter filter,
                   ConsoleEntryFormat format);
  // Stops the stream and ends the child, giving it a moment first.
  ~LogStreamPrinter();
  LogStreamPrinter(const LogStreamPrinter&) = delete;
  LogStreamPrinter& operator=(const LogStreamPrinter&) = delete;

  // Called once when the stream ends by itself (never after stop()), on one of the stream's threads,
  // once its last entry has been handed to the writer. Set before start().
  std::function<void(LogStreamTerminationReason reason)> onEnd;

  // Starts `xcrun simctl spawn <udid> log stream ...`. malformedConfiguration, processLaunchFailed, or
  // streamAlreadyRunning when started before.
  [[nodiscard]] expected<void, ConsoleError> start(const std::string& udid);
  // Asks the child to end. Lines read from now on are not printed, and no end is reported. A reading
  // thread waiting for the writer's budget goes on waiting until the writer lets it go (stopBy()).
  void stop();

  // Entries that passed the filter and were handed to the writer (printed or counted as dropped there).
  [[nodiscard]] std::size_t entryCount() const noexcept { return entries_.load(std::memory_order_relaxed); }

 private:
  void receive(std::span<const std::string_view> lines);

  MakeProcess makeProcess_;
  std::filesystem::path xcrun_;
  ConsoleLogFilter filter_;
  SimulatorLogEntryParser parser_;  // the stream's threads, one at a time
  ConsoleEntryPrinter printer_;     // the stream's threads, one at a time
  std::atomic<bool> stopped_{false};
  std::atomic<std::size_t> entries_{0};
  std::unique_ptr<LogStreamProcessProtocol> process_;
};

}  // namespace orvanta
