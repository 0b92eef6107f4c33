// A growable buffer of bytes, for output captured from child processes.
#pragma once

#include <cstddef>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>

namespace orvanta {

// Bytes with cheap growth: large buffers live in their own memory mapping and grow by remapping, so
// reading hundreds of megabytes from a pipe copies nothing twice. Reads as a std::string_view.
// Not thread-safe (one writer at a time); a value type (copies are deep).
class ByteBuffer {
 public:
  ByteBuffer() noexcept = default;
  explicit ByteBuffer(std::string_view bytes);
  ByteBuffer(const ByteBuffer& other);
  ByteBuffer(ByteBuffer&& other) noexcept;
  ByteBuffer& operator=(const ByteBuffer& other);
  ByteBuffer& operator=(ByteBuffer&& other) noexcept;
  ~ByteBuffer();

  [[nodiscard]] const char* data() const noexcept { return data_ ? data_ : ""; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] bool empty() const noexcept { return size_ == 0; }
  [[nodiscard]] std::string_view view() const noexcept { return {data(), size_}; }
  operator std::string_view() const noexcept { return view(); }  // NOLINT: reading as text is the common use
  [[nodiscard]] std::string str() const { return std::string(view()); }

  void append(std::string_view bytes);
  // Free space of at least `minimum` bytes at the end (growing if needed), at most `maximum` long. Write
  // into it, then commit() what was written.
  [[nodiscard]] std::span<char> spareCapacity(std::size_t minimum, std::size_t maximum);
  void commit(std::size_t written) noexcept { size_ += written; }
  void clear() noexcept { size_ = 0; }
  // For a buffer about to take a stream of unknown, perhaps large, length through spareCapacity(): once it
  // outgrows the heap, a thread of its own gets memory ready ahead of the writes, so that the writer does
  // not wait for fresh pages. Ends (the thread joined) when the buffer is moved from, assigned or
  // destroyed; a copy does not inherit it. Where memory cannot be readied ahead, does nothing.
  void readyAheadOfWrites() noexcept { readyAhead_ = true; }

  friend bool operator==(const ByteBuffer& a, const ByteBuffer& b) noexcept { return a.view() == b.view(); }
  friend bool operator==(const ByteBuffer& a, std::string_view b) noexcept { return a.view() == b; }
  friend std::ostream& operator<<(std::ostream& stream, const ByteBuffer& buffer);

 private:
  class Readier;

  void grow(std::size_t minimumCapacity);
  void release() noexcept;
  void stopReadier() noexcept;

  char* data_ = nullptr;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
  bool mapped_ = false;
  bool readyAhead_ = false;
  Readier* readier_ = nullptr;  // owned; only while mapped_ and readyAhead_
};

}  // namespace orvanta
