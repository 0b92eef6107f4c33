#include "support/byte_buffer.hpp"

#include "orvanta_config.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

namespace orvanta {
namespace {

// Fills `buffer` the way the process runner fills it (spans of varying size, across the heap-to-mapping
// switch, several moves of the mapping and many chunk boundaries) until it holds `bytes`; `expected` gets
// the same bytes.
void fill(ByteBuffer& buffer, std::size_t bytes, std::string& expected) {
  static const std::string alphabet = [] {
    std::string text;
    while (text.size() < 300000 + 26) text += "abcdefghijklmnopqrstuvwxyz";
    return text;
  }();
  std::size_t step = 1;
  while (expected.size() < bytes) {
    const std::size_t minimum = step % 3 == 0 ? 65536 : 1;
    auto span = buffer.spareCapacity(minimum, 1 << 20);
    EXPECT_GE(span.size(), minimum);
    const std::size_t written = std::min(span.size(), (step * 7919) % 300000 + 1);
    std::memcpy(span.data(), alphabet.data() + expected.size() % 26, written);
    expected.append(span.data(), written);
    buffer.commit(written);
    ++step;
  }
}

std::ptrdiff_t threadsOfThisProcess() {
  std::error_code error;
  std::filesystem::directory_iterator tasks("/proc/self/task", error);
  return error ? -1 : std::distance(tasks, std::filesystem::directory_iterator());
}

TEST(ByteBufferTest, SpansAcrossGrowthKeepEveryByte) {
  ByteBuffer buffer;
  std::string expected;
  fill(buffer, std::size_t{9} << 20, expected);
  ASSERT_EQ(buffer.size(), expected.size());
  EXPECT_TRUE(buffer.view() == expected);

  ByteBuffer copy = buffer;
  ByteBuffer moved = std::move(buffer);
  EXPECT_TRUE(copy == moved);
  moved.clear();
  moved.append("after clear");
  EXPECT_TRUE(moved == std::string_view("after clear"));
}

// The thread that readies memory ahead works while the mapping moves under it; it never costs a byte,
// and it is gone once the buffer is moved from or destroyed.
TEST(ByteBufferTest, ReadyingAheadKeepsEveryByteAndEndsWithTheBuffer) {
  std::thread([] {}).join();  // a sanitizer's own thread, if any, starts with the first thread
  const auto threadsBefore = threadsOfThisProcess();
  ByteBuffer buffer;
  buffer.readyAheadOfWrites();
  std::string expected;
  fill(buffer, std::size_t{20} << 20, expected);
  EXPECT_TRUE(buffer.view() == expected);
#if ORVANTA_HAVE_MREMAP
  EXPECT_EQ(threadsOfThisProcess(), threadsBefore + 1);  // the thread is there while the buffer is written
#endif

  ByteBuffer moved = std::move(buffer);
  EXPECT_EQ(threadsOfThisProcess(), threadsBefore);
  EXPECT_TRUE(moved.view() == expected);
  // Asked for once the buffer is already mapped, and through one more move of the mapping.
  moved.readyAheadOfWrites();
  fill(moved, std::size_t{36} << 20, expected);
  EXPECT_TRUE(moved.view() == expected);
  moved = ByteBuffer("small");
  {
    ByteBuffer another;
    another.readyAheadOfWrites();
    std::string ignored;
    fill(another, std::size_t{3} << 20, ignored);
  }
  EXPECT_EQ(threadsOfThisProcess(), threadsBefore);
}

}  // namespace
}  // namespace orvanta
