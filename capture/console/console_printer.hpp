// Prints delivered log entries on a thread of its own, so that the thread that receives them never
// waits for whoever reads the output. When that reader falls behind, the unprinted backlog is cut from
// the front to the newest entries (the console's retention limit, or the newest batch when that is
// larger), and the entries cut are counted: memory stays bounded however slowly the output is read.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <mutex>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

#include "capture/console/console_logs.hpp"
#include "capture/console/simulator_log_entry.hpp"

namespace orvanta {

// One NDJSON object: {"id", "timestamp"?, "level"?, "processID"?, "processImagePath"?, "subsystem"?,
// "category"?, "message", "raw"} and a newline; the timestamp in the log's own text form.
void appendEntryJsonLine(std::string& out, const SimulatorLogEntry& entry);
// The export line and a newline.
void appendEntryTextLine(std::string& out, const SimulatorLogEntry& entry);

class ConsoleEntryPrinter {
 public:
  using Format = void (*)(std::string& out, const SimulatorLogEntry& entry);

  // Writes to `out` (which only the printer's thread touches until finish()).
  ConsoleEntryPrinter(std::ostream& out, Format format, std::size_t backlogLimit = consoleRetainedEntryLimit);
  ~ConsoleEntryPrinter();
  ConsoleEntryPrinter(const ConsoleEntryPrinter&) = delete;
  ConsoleEntryPrinter& operator=(const ConsoleEntryPrinter&) = delete;

  // Queues a batch. Never waits for the output.
  void push(std::vector<SimulatorLogEntry> batch);
  // Prints what is queued, then ends the thread. Waits for the output.
  void finish();
  // How many entries were cut from the backlog.
  [[nodiscard]] std::size_t droppedCount() const;

 private:
  void run();

  std::ostream& out_;
  Format format_;
  std::size_t backlogLimit_;
  mutable std::mutex lock_;
  std::condition_variable wake_;
  std::deque<SimulatorLogEntry> queue_;
  bool printing_ = false;
  bool finishing_ = false;
  std::size_t dropped_ = 0;
  std::thread thread_;
};

}  // namespace orvanta
