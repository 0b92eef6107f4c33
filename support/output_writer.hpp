// Writes large blocks of output on a thread of its own, so that whoever produces them is held up only
// when the reader of the output is far behind, and is never held up by a reader that has stopped.
//
// A producer fills an OutputBlock with whole records (a log entry's line, say) and submits it. The blocks
// queued and being written are bounded by a byte budget: a submit that finds the budget spent waits for
// the writer to catch up. That wait is the back-pressure a fast producer needs: it stops reading its own
// input, and whoever feeds that input waits in turn. Nothing is lost while the reader keeps up on average.
//
// When the reader takes no byte for `stallLimit` while there is something to write (a pipe nobody reads,
// a paused terminal), the writer is stalled: submits no longer wait, and drop their blocks instead. The
// records dropped are counted. Blocks already queued stay queued and are written once the reader takes
// bytes again, which ends the stall.
//
// Ending: stopBy(deadline) makes submits stop waiting and the writer give up at the deadline; finish()
// waits until everything queued is written, however slow the reader (a stall no longer matters once
// nothing more comes), or until the writer gave up, and joins the thread. Records that were never written
// in full are counted as dropped.
//
// Writing to a descriptor never blocks the writer's thread beyond its control: a pipe or terminal is
// written through a non-blocking twin of the descriptor where the platform can open one (so the flags
// that other processes share stay untouched), else in pieces that poll() said fit. Regular files are
// written as they are. Writing to a std::ostream (for callers without a descriptor) blocks in the stream
// and cannot be interrupted.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <iosfwd>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "support/unique_fd.hpp"

namespace orvanta {

// Records of text, appended whole: text() then endRecord(). Reused through the writer's pool.
class OutputBlock {
 public:
  [[nodiscard]] std::string& text() noexcept { return text_; }
  [[nodiscard]] const std::string& text() const noexcept { return text_; }
  // Marks the end of the text appended so far as the end of a record.
  void endRecord() { recordEnds_.push_back(text_.size()); }
  [[nodiscard]] std::size_t records() const noexcept { return recordEnds_.size(); }
  [[nodiscard]] bool empty() const noexcept { return recordEnds_.empty(); }
  // How many records end within the first `bytes` bytes.
  [[nodiscard]] std::size_t recordsWithin(std::size_t bytes) const noexcept;
  void clear() noexcept {
    text_.clear();
    recordEnds_.clear();
  }
  // Counted against the writer's budget: the bytes the block holds (room reserved and never written is
  // not resident memory).
  [[nodiscard]] std::size_t footprint() const noexcept {
    return text_.size() + recordEnds_.size() * sizeof(std::size_t);
  }

 private:
  std::string text_;
  std::vector<std::size_t> recordEnds_;
};

// Thread-safe: submit(), stalled() and stopBy() may be called from any thread, each under `lock_`;
// finish() from one thread once.
class OutputWriter {
 public:
  struct Options {
    std::size_t byteBudget = 16u << 20;
    std::chrono::milliseconds stallLimit{2000};
  };

  // What became of the records submitted, once finish() has returned.
  struct Counts {
    std::size_t printed = 0;         // written in full
    std::size_t droppedStalled = 0;  // dropped while the reader had stalled
    std::size_t droppedStopped = 0;  // not written by the time the output was stopped
    std::size_t droppedFailed = 0;   // not written because writing failed
    std::optional<int> failure;      // the errno of the write that failed (EPIPE: the reader went away)
    [[nodiscard]] std::size_t dropped() const noexcept { return droppedStalled + droppedStopped + droppedFailed; }
  };

  // Writes to `fd`, which stays open (and is not closed) while the writer lives.
  OutputWriter(int fd, Options options);
  explicit OutputWriter(int fd) : OutputWriter(fd, Options{}) {}
  // Writes to `stream` (see above: no interruption of a blocked write).
  OutputWriter(std::ostream& stream, Options options);
  // Gives up on what is not written yet at once, and joins the thread.
  ~OutputWriter();
  OutputWriter(const OutputWriter&) = delete;
  OutputWriter& operator=(const OutputWriter&) = delete;

  // An empty block, reused from the pool when one is free.
  [[nodiscard]] OutputBlock takeBlock();
  // Queues the block (an empty one is given back). Waits while the budget is spent and the writer is
  // neither stalled nor stopping; returns false when the block was dropped instead (its records counted).
  bool submit(OutputBlock&& block);
  // Whether a submit would drop its block now: the reader has stalled, the output failed or stopped.
  [[nodiscard]] bool dropping() const;
  // Whether a write has failed (the output was closed, the disk is full): nothing more is written.
  [[nodiscard]] bool failed() const;
  // Submits stop waiting from now on, and the writer gives up at `deadline` what it has not written
  // (the earliest deadline given wins). Does not block.
  void stopBy(std::chrono::steady_clock::time_point deadline);
  // Waits until what was submitted is written or given up (see above: only stopBy() or a failed write
  // end the wait early), ends the thread and closes the twin descriptor. No submit may run or follow.
  // The writer's counts.
  Counts finish();

 private:
  using Clock = std::chrono::steady_clock;
  enum class Mode { nonBlocking, pollFirst, blocking, stream };

  void run();
  // Writes `block` from `offset`; returns the offset reached (the whole size unless it gave up).
  std::size_t write(const OutputBlock& block, std::size_t offset);
  // Waits until the descriptor takes bytes or something asks the writer to look again; false to give up.
  bool waitWritable();
  void noteProgressLocked(Clock::time_point now);
  [[nodiscard]] bool stalledLocked(Clock::time_point now) const;
  [[nodiscard]] bool givingUpLocked(Clock::time_point now) const;  // failed, or past the deadline
  void wakeWriter();

  Options options_;
  std::ostream* stream_ = nullptr;
  int fd_ = -1;
  UniqueFd twin_;  // the non-blocking twin of fd_, when one was opened
  Mode mode_ = Mode::blocking;
  UniqueFd wakeRead_;
  UniqueFd wakeWrite_;

  mutable std::mutex lock_;
  std::condition_variable changed_;  // a block was taken or written, or the writer was asked to stop
  std::deque<OutputBlock> queue_;    // guarded by lock_
  std::vector<OutputBlock> pool_;    // guarded by lock_
  std::size_t queuedBytes_ = 0;      // guarded by lock_: the queue's and the block being written
  bool writing_ = false;             // guarded by lock_
  Clock::time_point lastProgress_;   // guarded by lock_: the last byte taken, or the start of work
  std::optional<Clock::time_point> deadline_;  // guarded by lock_
  bool finishing_ = false;           // guarded by lock_
  bool failed_ = false;              // guarded by lock_
  Counts counts_;                    // guarded by lock_
  std::thread thread_;
};

namespace detail {
// A second, non-blocking open file description of what `fd` writes to (a pipe, FIFO or terminal), so
// that O_NONBLOCK can be set without touching the description other processes share. An invalid
// descriptor where the platform has no such thing or it cannot be opened.
[[nodiscard]] UniqueFd openNonBlockingTwin(int fd);
}  // namespace detail

}  // namespace orvanta
