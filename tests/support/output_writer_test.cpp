#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

#include "support/output_writer.hpp"
#include "support/unique_fd.hpp"

namespace orvanta {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

struct Pipe {
  UniqueFd read;
  UniqueFd write;
  Pipe() {
    int fds[2];
    EXPECT_EQ(::pipe2(fds, O_CLOEXEC), 0);
    read.reset(fds[0]);
    write.reset(fds[1]);
  }
};

OutputBlock blockOf(OutputWriter& writer, std::size_t records, std::size_t recordBytes) {
  OutputBlock block = writer.takeBlock();
  for (std::size_t i = 0; i < records; ++i) {
    block.text().append(recordBytes - 1, 'x');
    block.text().push_back('\n');
    block.endRecord();
  }
  return block;
}

// Reads the pipe until its end, `pause` after each read, counting lines.
std::size_t drain(int fd, std::chrono::microseconds pause = 0us) {
  std::size_t lines = 0;
  char buffer[1 << 16];
  for (;;) {
    const ssize_t got = ::read(fd, buffer, sizeof buffer);
    if (got <= 0) return lines;
    lines += static_cast<std::size_t>(std::count(buffer, buffer + got, '\n'));
    if (pause > 0us) std::this_thread::sleep_for(pause);
  }
}

TEST(OutputBlock, CountsTheRecordsWithinAPrefix) {
  OutputBlock block;
  for (const char* record : {"ab\n", "c\n", "defg\n"}) {
    block.text() += record;
    block.endRecord();
  }
  const std::vector<std::pair<std::size_t, std::size_t>> rows = {{0, 0}, {2, 0}, {3, 1}, {4, 1}, {5, 2}, {10, 3}};
  for (const auto& [bytes, records] : rows) {
    SCOPED_TRACE(bytes);
    EXPECT_EQ(block.recordsWithin(bytes), records);
  }
}

// A reader slower than the producer holds the producer back; nothing is lost and the descriptor the
// reader shares keeps its blocking mode.
TEST(OutputWriter, MakesTheProducerWaitForASlowReaderAndLosesNothing) {
  Pipe pipe;
  const int flags = ::fcntl(pipe.write.get(), F_GETFL);
  std::size_t read = 0;
  std::thread reader([&] { read = drain(pipe.read.get(), 5ms); });
  OutputWriter::Counts counts;
  Clock::duration waited{};
  {
    OutputWriter writer(pipe.write.get(), {256u << 10, 2000ms});
    EXPECT_EQ(::fcntl(pipe.write.get(), F_GETFL), flags);
    for (int i = 0; i < 200; ++i) {
      const auto before = Clock::now();
      EXPECT_TRUE(writer.submit(blockOf(writer, 100, 100)));  // 10 kB a block, 2 MB in all
      waited += Clock::now() - before;
    }
    counts = writer.finish();
  }
  pipe.write.reset();
  reader.join();
  EXPECT_EQ(counts.printed, 20000u);
  EXPECT_EQ(counts.dropped(), 0u);
  EXPECT_EQ(read, 20000u);
  EXPECT_GT(waited, 100ms);  // the budget is an eighth of the output: most of it waited for the reader
}

// A reader that takes nothing: after the stall limit, new blocks are dropped and counted; what was
// queued is written once the reader reads again, and that ends the stall.
TEST(OutputWriter, DropsWhileTheReaderStallsAndResumesWhenItReads) {
  Pipe pipe;
  ::fcntl(pipe.write.get(), F_SETPIPE_SZ, 4096);
  OutputWriter writer(pipe.write.get(), {64u << 10, 600ms});
  std::size_t submitted = 0;
  std::size_t refused = 0;
  const auto start = Clock::now();
  while (!writer.dropping()) {
    ASSERT_LT(Clock::now() - start, 10s);
    refused += writer.submit(blockOf(writer, 10, 1000)) ? 0u : 10u;
    submitted += 10;
  }
  EXPECT_GE(Clock::now() - start, 600ms);
  const auto before = Clock::now();
  EXPECT_FALSE(writer.submit(blockOf(writer, 10, 1000)));  // at once, without waiting out the limit again
  EXPECT_LT(Clock::now() - before, 300ms);
  refused += 10;
  submitted += 10;
  std::size_t read = 0;
  std::thread reader([&] { read = drain(pipe.read.get()); });
  while (writer.dropping()) std::this_thread::sleep_for(1ms);
  EXPECT_TRUE(writer.submit(blockOf(writer, 10, 1000)));
  submitted += 10;
  const auto counts = writer.finish();
  pipe.write.reset();
  reader.join();
  EXPECT_EQ(counts.printed, read);
  EXPECT_EQ(counts.droppedStalled, refused);
  EXPECT_EQ(counts.printed + counts.dropped(), submitted);
}

// Stopping gives up on a stalled reader by the deadline, whatever is queued, and counts what was not
// written in full; a partly written block counts its whole records as printed.
TEST(OutputWriter, StopsByTheDeadlineWhenNobodyReads) {
  Pipe pipe;
  OutputWriter writer(pipe.write.get(), {16u << 20, 2000ms});
  for (int i = 0; i < 40; ++i) EXPECT_TRUE(writer.submit(blockOf(writer, 100, 1000)));  // 4 MB: far past the pipe
  const auto start = Clock::now();
  writer.stopBy(start + 300ms);
  const auto counts = writer.finish();
  const auto took = Clock::now() - start;
  EXPECT_GE(took, 250ms);
  EXPECT_LT(took, 1500ms);
  pipe.write.reset();
  const std::size_t read = drain(pipe.read.get());
  EXPECT_EQ(counts.printed, read);
  EXPECT_GT(counts.droppedStopped, 0u);
  EXPECT_EQ(counts.printed + counts.dropped(), 4000u);
}

TEST(OutputWriter, ReportsAReaderThatWentAway) {
  Pipe pipe;
  pipe.read.reset();
  ::signal(SIGPIPE, SIG_IGN);
  OutputWriter writer(pipe.write.get(), {});
  writer.submit(blockOf(writer, 3, 10));
  const auto start = Clock::now();
  while (!writer.failed() && Clock::now() - start < 5s) std::this_thread::sleep_for(1ms);
  EXPECT_FALSE(writer.submit(blockOf(writer, 2, 10)));
  const auto counts = writer.finish();
  EXPECT_EQ(counts.failure, EPIPE);
  EXPECT_EQ(counts.droppedFailed, 5u);
  EXPECT_EQ(counts.printed, 0u);
}

}  // namespace
}  // namespace orvanta
