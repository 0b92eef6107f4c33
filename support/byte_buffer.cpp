#include "support/byte_buffer.hpp"

#include <sys/mman.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <ostream>
#include <thread>
#include <utility>

#include "orvanta_config.hpp"

namespace orvanta {
namespace {

#if ORVANTA_HAVE_MREMAP
// Below this a buffer lives on the heap; above it, where remapping pays off, in a mapping of its own.
constexpr std::size_t kMappedThreshold = std::size_t{1} << 20;

// A mapped buffer is aligned to, and a multiple of, this size: the size of a huge page on x86-64 and
// arm64 Linux. Its pages are made ready in chunks of this size too: by the readier thread ahead of the
// writes when there is one, or else each just before the first write into it. A page fault costs
// microseconds (far more under virtualisation) and a growing capture would otherwise take one per 4 KiB
// page; populating a chunk in one call costs a fraction of that, and where the kernel can give the chunk
// one huge page, zeroing and mapping it is cheaper again. Populating whole new halves of the mapping
// instead wasted up to half of it: the last doubling is mostly never written.
constexpr std::size_t kChunk = std::size_t{2} << 20;
static_assert(kMappedThreshold <= kChunk, "a heap buffer moves into the first chunk of its mapping");

constexpr std::size_t alignDown(std::size_t value) {
  return value & ~(kChunk - 1);
}

// A fresh read-write mapping of `size` bytes (a multiple of kChunk) at an address aligned to kChunk, or
// nullptr. Alignment is what lets the kernel use huge pages, and lets mremap() carry them over whole.
// Huge pages are asked for, as a hint: without transparent huge pages, or when the kernel finds no free
// 2 MiB run, a chunk gets ordinary pages. mremap() keeps the hint on the pages it moves.
char* mapForHugePages(std::size_t size) {
  void* memory = ::mmap(nullptr, size + kChunk, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) return nullptr;
  const auto start = reinterpret_cast<std::uintptr_t>(memory);
  const auto aligned = (start + kChunk - 1) & ~std::uintptr_t{kChunk - 1};
  if (aligned > start) ::munmap(memory, aligned - start);
  if (const auto tail = start + kChunk - aligned; tail > 0) ::munmap(reinterpret_cast<char*>(aligned + size), tail);
  auto* data = reinterpret_cast<char*>(aligned);
#ifdef MADV_HUGEPAGE
  (void)::madvise(data, size, MADV_HUGEPAGE);
#endif
  return data;
}

// Populates [begin, end) of the mapping at `data`, clipped to `capacity`. Only a hint: a kernel without
// MADV_POPULATE_WRITE leaves the pages to be faulted in as before. False when the kernel cannot populate.
bool populate([[maybe_unused]] char* data, std::size_t begin, std::size_t end, std::size_t capacity) {
  end = std::min(end, capacity);
  if (begin >= end) return true;
#ifdef MADV_POPULATE_WRITE
  return ::madvise(data + begin, end - begin, MADV_POPULATE_WRITE) == 0 || errno != EINVAL;
#else
  return false;
#endif
}

// How far ahead of the writer the readier thread keeps the memory ready, and the lead below which the
// writer wakes it. Far enough that a reader draining a fast pipe does not catch up with it, near enough
// that memory the capture never reaches is mostly left alone.
constexpr std::size_t kReadyAhead = std::size_t{32} << 20;
constexpr std::size_t kWakeBelow = kReadyAhead / 2;
#endif

}  // namespace

#if ORVANTA_HAVE_MREMAP
// Gets a mapped buffer's memory ready ahead of its writer, on a thread of its own. Where the first touch
// of fresh memory costs about as much as moving the bytes through a pipe (it does on virtual machines,
// whose host backs a guest page only when it is first touched), readying it on the reading thread halves
// the speed of a large capture whichever way it is batched; here it overlaps with the reads. The thread
// readies one chunk at a time and never while the writer moves the mapping: both hold `mutex_`.
class ByteBuffer::Readier {
 public:
  Readier(char* data, std::size_t capacity, std::size_t ready)
      : data_(data), capacity_(capacity), ready_(ready), thread_([this] { run(); }) {}
  Readier(const Readier&) = delete;
  Readier& operator=(const Readier&) = delete;
  ~Readier() {
    stopping_.store(true, std::memory_order_release);
    wake();
    thread_.join();
  }

  // Held by the writer while it moves the mapping; moved() then says where it went.
  [[nodiscard]] std::unique_lock<std::mutex> pause() { return std::unique_lock(mutex_); }
  void moved(char* data, std::size_t capacity) noexcept {
    data_ = data;
    capacity_ = capacity;
  }

  // The offset below which the memory is ready.
  [[nodiscard]] std::size_t ready() const noexcept { return ready_.load(std::memory_order_acquire); }

  // The writer has been handed space up to `end` of a mapping of `capacity` bytes. The thread is woken
  // only once its lead has shrunk below kWakeBelow, and then readies a run of chunks in one go.
  void writing(std::size_t end, std::size_t capacity) {
    writingEnd_.store(end, std::memory_order_release);
    const std::size_t ready = ready_.load(std::memory_order_acquire);
    if (ready < capacity && ready < end + kWakeBelow) wake();
  }

 private:
  void wake() {
    events_.fetch_add(1, std::memory_order_release);
    events_.notify_one();
  }

  void run() {
    while (!stopping_.load(std::memory_order_acquire)) {
      // Read before looking for work: an event after this makes the wait return at once.
      const std::uint32_t seen = events_.load(std::memory_order_acquire);
      if (!readyNextChunk()) events_.wait(seen, std::memory_order_acquire);
    }
  }

  bool readyNextChunk() {
    std::lock_guard lock(mutex_);
    const std::size_t ready = ready_.load(std::memory_order_relaxed);
    const std::size_t goal = std::min(capacity_, writingEnd_.load(std::memory_order_acquire) + kReadyAhead);
    if (ready >= goal) return false;
    const std::size_t end = std::min(alignDown(ready) + kChunk, capacity_);
    // A kernel that cannot populate leaves nothing to do ahead: the thread then sleeps until stopped.
    const bool supported = populate(data_, ready, end, capacity_);
    ready_.store(supported ? end : std::numeric_limits<std::size_t>::max(), std::memory_order_release);
    return supported;
  }

  std::mutex mutex_;
  char* data_;             // guarded by mutex_
  std::size_t capacity_;   // guarded by mutex_
  std::atomic<std::size_t> ready_;
  std::atomic<std::size_t> writingEnd_{0};
  std::atomic<std::uint32_t> events_{0};
  std::atomic<bool> stopping_{false};
  std::thread thread_;  // last: starts once the rest is set up
};
#else
class ByteBuffer::Readier {};
#endif

ByteBuffer::ByteBuffer(std::string_view bytes) {
  append(bytes);
}

ByteBuffer::ByteBuffer(const ByteBuffer& other) {
  append(other.view());
}

ByteBuffer::ByteBuffer(ByteBuffer&& other) noexcept {
  *this = std::move(other);
}

ByteBuffer& ByteBuffer::operator=(const ByteBuffer& other) {
  if (this != &other) {
    stopReadier();
    clear();
    append(other.view());
  }
  return *this;
}

ByteBuffer& ByteBuffer::operator=(ByteBuffer&& other) noexcept {
  if (this != &other) {
    release();
    other.stopReadier();
    data_ = std::exchange(other.data_, nullptr);
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    mapped_ = std::exchange(other.mapped_, false);
  }
  return *this;
}

ByteBuffer::~ByteBuffer() {
  release();
}

void ByteBuffer::stopReadier() noexcept {
  delete std::exchange(readier_, nullptr);
  readyAhead_ = false;
}

void ByteBuffer::release() noexcept {
  stopReadier();
  if (data_ == nullptr) return;
  if (mapped_) {
    ::munmap(data_, capacity_);
  } else {
    std::free(data_);
  }
  data_ = nullptr;
  size_ = capacity_ = 0;
  mapped_ = false;
}

void ByteBuffer::grow(std::size_t minimumCapacity) {
  std::size_t capacity = std::max({minimumCapacity, capacity_ * 2, std::size_t{4096}});
#if ORVANTA_HAVE_MREMAP
  if (capacity >= kMappedThreshold) {
    capacity = (capacity + kChunk - 1) & ~(kChunk - 1);
    char* memory = mapForHugePages(capacity);
    if (memory == nullptr) throw std::bad_alloc();
    if (mapped_) {
      // The old pages move to the new place as they are (page tables, not bytes), replacing the fresh
      // mapping there; they stay ready, and further chunks are readied as writing nears them.
      std::unique_lock<std::mutex> paused;
      if (readier_ != nullptr) paused = readier_->pause();
      void* moved = ::mremap(data_, capacity_, capacity, MREMAP_MAYMOVE | MREMAP_FIXED, memory);
      if (moved == MAP_FAILED) {
        ::munmap(memory, capacity);
        throw std::bad_alloc();
      }
      if (readier_ != nullptr) readier_->moved(memory, capacity);
    } else {
      // The heap buffer (under kMappedThreshold) fits in the first chunk: ready it, then copy.
      populate(memory, 0, kChunk, capacity);
      if (size_ > 0) std::memcpy(memory, data_, size_);
      std::free(data_);
    }
    data_ = memory;
    capacity_ = capacity;
    mapped_ = true;
    return;
  }
#endif
  void* memory = std::realloc(data_, capacity);
  if (memory == nullptr) throw std::bad_alloc();
  data_ = static_cast<char*>(memory);
  capacity_ = capacity;
}

void ByteBuffer::append(std::string_view bytes) {
  if (bytes.empty()) return;
  if (capacity_ - size_ < bytes.size()) grow(size_ + bytes.size());
  std::memcpy(data_ + size_, bytes.data(), bytes.size());
  size_ += bytes.size();
}

std::span<char> ByteBuffer::spareCapacity(std::size_t minimum, std::size_t maximum) {
  if (capacity_ - size_ < minimum) grow(size_ + minimum);
  const std::size_t length = std::min(capacity_ - size_, maximum);
#if ORVANTA_HAVE_MREMAP
  if (mapped_ && length > 0) {
    const std::size_t end = size_ + length;
    // Ready the chunks that writing into the span enters: those after the one holding size_, or that one
    // too when size_ is at its start. While the buffer fills, each chunk is entered by one span only.
    std::size_t first = size_ % kChunk == 0 ? size_ : alignDown(size_) + kChunk;
    if (readyAhead_ && readier_ == nullptr) {
      try {
        readier_ = new Readier(data_, capacity_, alignDown(size_));
      } catch (const std::exception&) {
        readyAhead_ = false;  // no thread to spare: the chunks are readied here, as without one
      }
    }
    if (readier_ != nullptr) {
      // What the thread has readied is not readied again; what it has not reached yet is done here.
      first = std::max(first, readier_->ready());
      readier_->writing(end, capacity_);
    }
    populate(data_, first, alignDown(end - 1) + kChunk, capacity_);
  }
#endif
  return {data_ + size_, length};
}

std::ostream& operator<<(std::ostream& stream, const ByteBuffer& buffer) {
  return stream << buffer.view();
}

}  // namespace orvanta
