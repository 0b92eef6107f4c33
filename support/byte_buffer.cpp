#include "support/byte_buffer.hpp"

#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <ostream>
#include <utility>

#include "orvanta_config.hpp"

namespace orvanta {
namespace {

// Below this a buffer lives on the heap; above it, where remapping pays off, in a mapping of its own.
constexpr std::size_t kMappedThreshold = std::size_t{1} << 20;

#if ORVANTA_HAVE_MREMAP
// A mapped buffer is aligned to, and a multiple of, this size: the size of a huge page on x86-64 and
// arm64 Linux. Its pages are made ready in chunks of this size too, each just before the first write into
// it. A page fault costs microseconds (far more under virtualisation) and a growing capture would otherwise
// take one per 4 KiB page; populating a chunk in one call costs a fraction of that, and where the kernel
// can give the chunk one huge page, zeroing and mapping it is cheaper again. Populating whole new halves
// of the mapping instead wasted up to half of it: the last doubling is mostly never written.
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
// MADV_POPULATE_WRITE (EINVAL) leaves the pages to be faulted in as before.
void populate([[maybe_unused]] char* data, std::size_t begin, std::size_t end, std::size_t capacity) {
  end = std::min(end, capacity);
  if (begin >= end) return;
#ifdef MADV_POPULATE_WRITE
  (void)::madvise(data + begin, end - begin, MADV_POPULATE_WRITE);
#endif
}
#endif

}  // namespace

ByteBuffer::ByteBuffer(std::string_view bytes) {
  append(bytes);
}

ByteBuffer::ByteBuffer(const ByteBuffer& other) {
  append(other.view());
}

ByteBuffer::ByteBuffer(ByteBuffer&& other) noexcept
    : data_(std::exchange(other.data_, nullptr)),
      size_(std::exchange(other.size_, 0)),
      capacity_(std::exchange(other.capacity_, 0)),
      mapped_(std::exchange(other.mapped_, false)) {}

ByteBuffer& ByteBuffer::operator=(const ByteBuffer& other) {
  if (this != &other) {
    clear();
    append(other.view());
  }
  return *this;
}

ByteBuffer& ByteBuffer::operator=(ByteBuffer&& other) noexcept {
  if (this != &other) {
    release();
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

void ByteBuffer::release() noexcept {
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
      // mapping there; they stay ready, and spareCapacity() readies each further chunk as writing reaches it.
      void* moved = ::mremap(data_, capacity_, capacity, MREMAP_MAYMOVE | MREMAP_FIXED, memory);
      if (moved == MAP_FAILED) {
        ::munmap(memory, capacity);
        throw std::bad_alloc();
      }
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
  // Ready the chunks that writing into the span enters: those after the one holding size_, or that one
  // too when size_ is at its start. While the buffer fills, each chunk is entered by one span only.
  if (mapped_ && length > 0) {
    const std::size_t first = size_ % kChunk == 0 ? size_ : alignDown(size_) + kChunk;
    populate(data_, first, alignDown(size_ + length - 1) + kChunk, capacity_);
  }
#endif
  return {data_ + size_, length};
}

std::ostream& operator<<(std::ostream& stream, const ByteBuffer& buffer) {
  return stream << buffer.view();
}

}  // namespace orvanta
