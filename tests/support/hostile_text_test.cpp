// Readers of outside text at their limits: JSON nesting, standard input, terminal control characters.
#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <sstream>
#include <thread>

#include <gtest/gtest.h>

#include "support/input_reader.hpp"
#include "support/json_text.hpp"
#include "support/terminal_text.hpp"

namespace orvanta {
namespace {

TEST(HostileTextTest, JsonDeeperThanTheLimitIsRefusedBeforeParsing) {
  const std::string deepest = std::string(64, '[') + std::string(64, ']');
  EXPECT_TRUE(parseJsonText(deepest));
  struct Row {
    std::string text;
    bool refused;
  };
  for (const Row& row : {Row{std::string(65, '[') + std::string(65, ']'), true},
                         Row{std::string(2'000'000, '['), true},
                         Row{R"({"a":)" + std::string(70, '{'), true},
                         // Brackets inside strings, and escaped quotes, are not nesting.
                         Row{R"(["[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[\"[[[["])", false},
                         Row{std::string(200, ']'), false}}) {
    SCOPED_TRACE(row.text.substr(0, 40));
    auto problem = jsonLimitProblem(row.text);
    EXPECT_EQ(problem.has_value(), row.refused);
    if (row.refused) {
      EXPECT_EQ(*problem, "the document nests deeper than 64 levels");
    }
  }
  EXPECT_EQ(parseJsonText("[1, 2]", 4).error(), "the document is larger than 4 bytes");
}

TEST(HostileTextTest, StandardInputIsReadWithinItsBudgetAndUntilTheStopRequest) {
  int fds[2];
  ASSERT_EQ(::pipe(fds), 0);
  ASSERT_EQ(::write(fds[1], "one\ntwo", 7), 7);
  ::close(fds[1]);
  EXPECT_EQ(readInputLine(fds[0], 100, {}).value(), std::optional<std::string>("one"));
  EXPECT_EQ(readAllInput(fds[0], 3, {}).value(), "two");
  EXPECT_EQ(readInputLine(fds[0], 100, {}).value(), std::nullopt);
  ::close(fds[0]);

  ASSERT_EQ(::pipe(fds), 0);
  ASSERT_EQ(::write(fds[1], "12345", 5), 5);
  auto tooLarge = readAllInput(fds[0], 4, {});
  ASSERT_FALSE(tooLarge);
  EXPECT_EQ(tooLarge.error().description(), "Standard input holds more than 4 bytes.");

  // Nobody writes and nobody closes: only the stop request ends the wait.
  orvanta::stop_source source;
  orvanta::jthread stopper([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    source.request_stop();
  });
  auto stopped = readAllInput(fds[0], 100, source.get_token());
  ASSERT_FALSE(stopped);
  EXPECT_EQ(stopped.error().kind, InputError::Case::stopped);
  ::close(fds[0]);
  ::close(fds[1]);
}

TEST(HostileTextTest, ControlCharactersAreEscapedForTheTerminal) {
  struct Row {
    std::string text;
    std::string shown;
  };
  for (const Row& row : {Row{"plain text, tabs\tand\nlines", "plain text, tabs\tand\nlines"},
                         Row{"\x1b[1mbold\x1b[0m", "\\x1B[1mbold\\x1B[0m"},
                         Row{"bell\a and \b back", "bell\\x07 and \\b back"},
                         Row{"del\x7f", "del\\x7F"},
                         Row{"c1 \xc2\x9b" "31m", "c1 \\u009B31m"},  // the one-byte CSI of C1
                         Row{"caf\xc3\xa9 \xc2\xa9", "caf\xc3\xa9 \xc2\xa9"},  // other characters stay
                         Row{"\xc2", "\xc2"}}) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(escapeForTerminal(row.text), row.shown);
    // The stream filter does the same wherever the text is cut into two writes, even inside a C1 control.
    for (std::size_t cut = 0; cut <= row.text.size(); ++cut) {
      std::ostringstream target;
      {
        TerminalSafeBuffer buffer(target.rdbuf());
        std::ostream stream(&buffer);
        stream << row.text.substr(0, cut) << std::flush << row.text.substr(cut) << std::flush;
      }
      EXPECT_EQ(target.str(), row.shown) << "cut at " << cut;
    }
  }
}

}  // namespace
}  // namespace orvanta
