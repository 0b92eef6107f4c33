#include "support/utf8.hpp"

#include <gtest/gtest.h>

namespace orvanta {
namespace {

TEST(Utf8Test, DecodesOneSequenceOrMeasuresTheMaximalIllFormedSubpart) {
  struct Case {
    std::string bytes;
    char32_t codePoint;
    std::size_t length;
    std::size_t invalidLength;
    bool unfinished;
  };
  const std::vector<Case> cases = {
      {"A", U'A', 1, 0, false},
      {"\xC3\xA9x", U'\u00E9', 2, 0, false},
      {"\xF0\x9F\x98\x80", U'\U0001F600', 4, 0, false},
      {"\xF4\x8F\xBF\xBF", U'\U0010FFFF', 4, 0, false},
      {"\xC0\xAF", 0, 0, 1, false},          // overlong lead
      {"\xED\xA0\x80", 0, 0, 1, false},      // a surrogate
      {"\xF4\x90\x80\x80", 0, 0, 1, false},  // above U+10FFFF
      {"\xE2\x82x", 0, 0, 2, false},         // a valid beginning cut by an ASCII byte
      {"\xF0\x9F\x98", 0, 0, 3, true},       // the rest may still come
  };
  for (const auto& c : cases) {
    const Utf8Sequence sequence = decodeUtf8(c.bytes);
    EXPECT_EQ(sequence.codePoint, c.codePoint) << c.bytes;
    EXPECT_EQ(sequence.length, c.length) << c.bytes;
    EXPECT_EQ(sequence.invalidLength, c.invalidLength) << c.bytes;
    EXPECT_EQ(sequence.unfinished, c.unfinished) << c.bytes;
  }
}

TEST(Utf8Test, LossyRepairReplacesEachMaximalSubpartOnce) {
  const std::string r = "\xEF\xBF\xBD";
  auto repaired = [](std::string_view bytes) {
    std::string out = "<";
    appendUtf8Lossy(out, bytes);
    return out;
  };
  EXPECT_EQ(repaired("caf\xC3\xA9"), "<caf\xC3\xA9");
  EXPECT_EQ(repaired("a\xE2\x82"
                     "b"),
            "<a" + r + "b");
  EXPECT_EQ(repaired("\xED\xA0\x80"), "<" + r + r + r);
  EXPECT_EQ(repaired("\xF0\x9F\x98"), "<" + r);
  EXPECT_TRUE(isValidUtf8("\xF0\x9F\x98\x80"));
  EXPECT_FALSE(isValidUtf8("\xF0\x9F\x98"));
  EXPECT_TRUE(isUnicodeWhiteSpace(U'\u3000'));
  EXPECT_FALSE(isUnicodeWhiteSpace(U'\u200B'));  // zero width space is not white space
}

}  // namespace
}  // namespace orvanta
