#include "support/byte_buffer.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace orvanta {
namespace {

// Filled the way the process runner fills it (spans of varying size, across the heap-to-mapping switch
// and many chunk boundaries), then copied, moved, cleared and refilled: the bytes are what was written.
TEST(ByteBufferTest, SpansAcrossGrowthKeepEveryByte) {
  ByteBuffer buffer;
  std::string expected;
  std::size_t step = 1;
  while (expected.size() < (std::size_t{9} << 20)) {
    const std::size_t minimum = step % 3 == 0 ? 65536 : 1;
    auto span = buffer.spareCapacity(minimum, 1 << 20);
    ASSERT_GE(span.size(), minimum);
    const std::size_t written = std::min(span.size(), (step * 7919) % 300000 + 1);
    for (std::size_t i = 0; i < written; ++i) span[i] = static_cast<char>('a' + (expected.size() + i) % 26);
    expected.append(span.data(), written);
    buffer.commit(written);
    ++step;
  }
  ASSERT_EQ(buffer.size(), expected.size());
  EXPECT_TRUE(buffer.view() == expected);

  ByteBuffer copy = buffer;
  ByteBuffer moved = std::move(buffer);
  EXPECT_TRUE(copy == moved);
  moved.clear();
  moved.append("after clear");
  EXPECT_TRUE(moved == std::string_view("after clear"));
}

}  // namespace
}  // namespace orvanta
