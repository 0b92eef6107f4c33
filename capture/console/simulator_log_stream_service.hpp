// The console's stream of log entries: starts and stops the log stream child, parses its lines on the
// reading thread, and hands the entries to the main thread in batches, at most one batch per flush
// interval, however fast the log runs.
//
// Every stream has a generation. Lines and the end of a child are tagged with the generation they were
// made for, and anything of an older generation is dropped: once stop() has returned, nothing of the
// stopped child ever reaches the caller, even while that child is still printing.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "capture/console/console_error.hpp"
#include "capture/console/log_stream_process.hpp"
#include "capture/console/simulator_log_entry.hpp"
#include "support/expected.hpp"
#include "support/main_loop.hpp"

namespace orvanta {

// Entries on their way from the reading thread to the main thread. append() and drain() hold the lock
// only to add one item or to swap the list.
//
// With a byte limit, append() of the accepted generation waits while the buffer holds that much; the
// reading thread then stops reading, the child's pipe fills and the child waits. That is what keeps
// memory bounded when the log is faster than its reader. Appends of other generations never wait.
// So that a fast log is not held to one buffer per flush interval, `onFull` (when set) is called, on the
// reading thread and without the lock, each time the buffer fills after a drain: the owner drains early.
class PendingLogBuffer {
 public:
  // 0: no limit.
  explicit PendingLogBuffer(std::size_t byteLimit = 0, std::function<void()> onFull = {})
      : byteLimit_(byteLimit), onFull_(std::move(onFull)) {}

  // Adds the entry; drops it at once when its generation is older than the accepted one.
  void append(SimulatorLogEntry entry, std::int64_t generation);
  // Takes everything and keeps, in arrival order, the entries of `generation`.
  [[nodiscard]] std::vector<SimulatorLogEntry> drain(std::int64_t generation);
  // The generation whose appends may wait for room; waiting appends of others are released.
  void accept(std::int64_t generation);

  // What an entry is counted as against the limit.
  [[nodiscard]] static std::size_t footprint(const SimulatorLogEntry& entry) noexcept;

 private:
  std::mutex lock_;
  std::condition_variable room_;
  std::vector<std::pair<std::int64_t, SimulatorLogEntry>> items_;
  std::size_t bytes_ = 0;
  std::size_t byteLimit_;
  std::function<void()> onFull_;
  bool fullReported_ = false;
  std::int64_t accepted_ = 0;
};

// Main thread only, but for the reading-thread work described above. The MainLoop must outlive it.
class SimulatorLogStreamService {
 public:
  using MakeProcess = std::function<std::unique_ptr<LogStreamProcessProtocol>()>;

  struct Event {
    enum class Case { entries, terminated };
    Case kind = Case::entries;
    std::vector<SimulatorLogEntry> entries;  // entries
    LogStreamTerminationReason reason;       // terminated
  };

  static constexpr double defaultFlushInterval = 0.2;

  // `xcrun` is the program started ("/usr/bin/xcrun" in the application). `pendingByteLimit` bounds the
  // entries waiting for the next flush (0: no bound).
  SimulatorLogStreamService(MainLoop& loop, MakeProcess makeProcess, std::filesystem::path xcrun,
                            double flushInterval = defaultFlushInterval, std::size_t pendingByteLimit = 0);
  // Stops the stream and ends every child it started, waiting a moment for each.
  ~SimulatorLogStreamService();
  SimulatorLogStreamService(const SimulatorLogStreamService&) = delete;
  SimulatorLogStreamService& operator=(const SimulatorLogStreamService&) = delete;

  // Called on the main thread: batches of entries, and the unexpected end of a stream (after the
  // entries it left). A stop() sends no end.
  std::function<void(Event)> onEvent;

  // The arguments after xcrun: simctl spawn <udid> log stream --style ndjson --level debug.
  [[nodiscard]] static std::vector<std::string> arguments(const std::string& udid);
  // The same, or malformedConfiguration when `udid` cannot be one (empty, white space, a leading dash).
  [[nodiscard]] static expected<std::vector<std::string>, ConsoleError> checkedArguments(const std::string& udid);

  // Starts streaming the device's log. Fails with streamAlreadyRunning (the running stream is left
  // alone), malformedConfiguration (no usable udid) or processLaunchFailed.
  [[nodiscard]] expected<void, ConsoleError> start(const std::string& udid);
  // Stops the stream; entries not yet delivered are dropped. Nothing when idle.
  void stop();

  [[nodiscard]] bool isRunning() const;
  [[nodiscard]] std::int64_t generation() const;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace orvanta
