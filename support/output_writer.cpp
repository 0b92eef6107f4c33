#include "support/output_writer.hpp"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ostream>

#include "orvanta_config.hpp"

namespace orvanta {

namespace {

// Blocks larger than this are not kept for reuse: one giant line must not pin its memory.
constexpr std::size_t kPooledBlockLimit = 4u << 20;
constexpr std::size_t kPoolSize = 4;

bool makeWakePipe(UniqueFd& readEnd, UniqueFd& writeEnd) {
  int fds[2];
#if ORVANTA_HAVE_PIPE2
  if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) return false;
#else
  if (::pipe(fds) != 0) return false;
  for (int fd : fds) {
    ::fcntl(fd, F_SETFD, FD_CLOEXEC);
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
  }
#endif
  readEnd.reset(fds[0]);
  writeEnd.reset(fds[1]);
  return true;
}

}  // namespace

std::size_t OutputBlock::recordsWithin(std::size_t bytes) const noexcept {
  return static_cast<std::size_t>(std::upper_bound(recordEnds_.begin(), recordEnds_.end(), bytes) -
                                  recordEnds_.begin());
}

OutputWriter::OutputWriter(int fd, Options options) : options_(options), fd_(fd) {
  struct stat info {};
  if (::fstat(fd, &info) == 0 && (S_ISREG(info.st_mode) || S_ISBLK(info.st_mode))) {
    mode_ = Mode::blocking;  // a file takes what it is given; there is no reader to wait for
  } else if (const int flags = ::fcntl(fd, F_GETFL); flags >= 0 && (flags & O_NONBLOCK) != 0) {
    mode_ = Mode::nonBlocking;
  } else if ((twin_ = detail::openNonBlockingTwin(fd))) {
    mode_ = Mode::nonBlocking;
    fd_ = twin_.get();
  } else {
    mode_ = Mode::pollFirst;
  }
  if (mode_ != Mode::blocking && !makeWakePipe(wakeRead_, wakeWrite_)) mode_ = Mode::blocking;
  lastProgress_ = Clock::now();
  thread_ = std::thread([this] { run(); });
}

OutputWriter::OutputWriter(std::ostream& stream, Options options)
    : options_(options), stream_(&stream), mode_(Mode::stream) {
  lastProgress_ = Clock::now();
  thread_ = std::thread([this] { run(); });
}

OutputWriter::~OutputWriter() {
  if (thread_.joinable()) {
    stopBy(Clock::now());
    (void)finish();
  }
}

OutputBlock OutputWriter::takeBlock() {
  std::lock_guard guard(lock_);
  if (pool_.empty()) return {};
  OutputBlock block = std::move(pool_.back());
  pool_.pop_back();
  return block;
}

bool OutputWriter::submit(OutputBlock&& block) {
  std::unique_lock guard(lock_);
  if (block.empty()) {
    block.clear();
    if (pool_.size() < kPoolSize && block.text().capacity() <= kPooledBlockLimit) pool_.push_back(std::move(block));
    return true;
  }
  const std::size_t size = block.footprint();
  for (;;) {
    const auto now = Clock::now();
    std::size_t* dropped = nullptr;
    if (failed_) {
      dropped = &counts_.droppedFailed;
    } else if (deadline_ && now >= *deadline_) {
      dropped = &counts_.droppedStopped;
    } else if (queuedBytes_ == 0 || queuedBytes_ + size <= options_.byteBudget) {
      if (!writing_ && queue_.empty()) lastProgress_ = now;  // the writer starts work: the stall clock starts
      queuedBytes_ += size;
      queue_.push_back(std::move(block));
      changed_.notify_all();
      return true;
    } else if (stalledLocked(now)) {
      dropped = &counts_.droppedStalled;
    } else if (deadline_) {
      dropped = &counts_.droppedStopped;
    }
    if (dropped != nullptr) {
      *dropped += block.records();
      block.clear();
      if (pool_.size() < kPoolSize && block.text().capacity() <= kPooledBlockLimit) pool_.push_back(std::move(block));
      return false;
    }
    changed_.wait_until(guard, lastProgress_ + options_.stallLimit);
  }
}

bool OutputWriter::dropping() const {
  std::lock_guard guard(lock_);
  const auto now = Clock::now();
  return failed_ || (deadline_ && now >= *deadline_) || stalledLocked(now);
}

bool OutputWriter::failed() const {
  std::lock_guard guard(lock_);
  return failed_;
}

void OutputWriter::stopBy(Clock::time_point deadline) {
  {
    std::lock_guard guard(lock_);
    if (!deadline_ || deadline < *deadline_) deadline_ = deadline;
  }
  changed_.notify_all();
  wakeWriter();
}

OutputWriter::Counts OutputWriter::finish() {
  {
    std::lock_guard guard(lock_);
    finishing_ = true;
  }
  changed_.notify_all();
  wakeWriter();
  if (thread_.joinable()) thread_.join();
  twin_.reset();  // the reader sees the end of the output once the program's own descriptor closes
  std::lock_guard guard(lock_);
  return counts_;
}

void OutputWriter::wakeWriter() {
  if (!wakeWrite_) return;
  const char byte = 1;
  [[maybe_unused]] auto ignored = ::write(wakeWrite_.get(), &byte, 1);
}

void OutputWriter::noteProgressLocked(Clock::time_point now) { lastProgress_ = now; }

bool OutputWriter::stalledLocked(Clock::time_point now) const {
  return (writing_ || !queue_.empty()) && now - lastProgress_ >= options_.stallLimit;
}

bool OutputWriter::givingUpLocked(Clock::time_point now) const {
  return failed_ || (deadline_ && now >= *deadline_);
}

void OutputWriter::run() {
  std::unique_lock guard(lock_);
  for (;;) {
    auto ready = [this] {
      return !queue_.empty() || finishing_ || failed_ || (deadline_ && Clock::now() >= *deadline_);
    };
    if (deadline_) {
      changed_.wait_until(guard, *deadline_, ready);
    } else {
      changed_.wait(guard, ready);
    }
    const auto now = Clock::now();
    if (queue_.empty()) {
      if (finishing_ || failed_ || (deadline_ && now >= *deadline_)) return;
      continue;
    }
    if (givingUpLocked(now)) break;
    OutputBlock block = std::move(queue_.front());
    queue_.pop_front();
    writing_ = true;
    guard.unlock();
    const std::size_t reached = write(block, 0);
    guard.lock();
    writing_ = false;
    const std::size_t printed = reached == block.text().size() ? block.records() : block.recordsWithin(reached);
    counts_.printed += printed;
    if (printed < block.records()) {
      const std::size_t rest = block.records() - printed;
      (failed_ ? counts_.droppedFailed : counts_.droppedStopped) += rest;
    }
    queuedBytes_ -= block.footprint();
    block.clear();
    if (pool_.size() < kPoolSize && block.text().capacity() <= kPooledBlockLimit) pool_.push_back(std::move(block));
    changed_.notify_all();
  }
  // Given up: what is still queued is counted by why.
  std::size_t& dropped = failed_ ? counts_.droppedFailed : counts_.droppedStopped;
  for (const auto& block : queue_) dropped += block.records();
  queue_.clear();
  queuedBytes_ = 0;
  changed_.notify_all();
}

std::size_t OutputWriter::write(const OutputBlock& block, std::size_t offset) {
  const std::string& text = block.text();
  if (mode_ == Mode::stream) {
    stream_->write(text.data() + offset, static_cast<std::streamsize>(text.size() - offset));
    stream_->flush();
    std::lock_guard guard(lock_);
    if (!*stream_) {
      failed_ = true;
      counts_.failure = EIO;
      return offset;
    }
    noteProgressLocked(Clock::now());
    return text.size();
  }
  while (offset < text.size()) {
    if (mode_ == Mode::pollFirst && !waitWritable()) return offset;
    std::size_t size = text.size() - offset;
    // A pipe or terminal that poll() called writable takes at least PIPE_BUF bytes without blocking.
    if (mode_ == Mode::pollFirst) size = std::min<std::size_t>(size, PIPE_BUF);
    const ssize_t wrote = ::write(fd_, text.data() + offset, size);
    if (wrote > 0) {
      offset += static_cast<std::size_t>(wrote);
      std::lock_guard guard(lock_);
      noteProgressLocked(Clock::now());
      continue;
    }
    if (wrote < 0 && errno == EINTR) continue;
    if (wrote < 0 && (errno == EAGAIN || errno == EWOULDBLOCK) && mode_ != Mode::blocking) {
      if (mode_ == Mode::nonBlocking && !waitWritable()) return offset;
      continue;
    }
    std::lock_guard guard(lock_);
    failed_ = true;
    counts_.failure = wrote < 0 ? errno : EIO;
    return offset;
  }
  return offset;
}

bool OutputWriter::waitWritable() {
  for (;;) {
    int timeout = -1;
    {
      std::lock_guard guard(lock_);
      const auto now = Clock::now();
      if (givingUpLocked(now)) return false;
      if (deadline_) {
        timeout = static_cast<int>(
            std::chrono::ceil<std::chrono::milliseconds>(std::max(*deadline_ - now, Clock::duration::zero())).count());
      }
    }
    pollfd fds[2] = {{fd_, POLLOUT, 0}, {wakeRead_.get(), POLLIN, 0}};
    const int ready = ::poll(fds, 2, timeout);
    if (ready < 0 && errno != EINTR) return true;  // let the write report what is wrong
    if (fds[1].revents != 0) {
      char sink[64];
      while (::read(wakeRead_.get(), sink, sizeof sink) > 0) {
      }
    }
    if (ready > 0 && fds[0].revents != 0) return true;
  }
}

}  // namespace orvanta
