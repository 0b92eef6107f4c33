#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <random>
#include <string>

#include "support/json_text.hpp"

namespace orvanta {
namespace {

TEST(JsonText, EscapesQuotesBackslashesAndControlsOnly) {
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"", R"("")"},
      {"plain text, é and \x7F", "\"plain text, é and \x7F\""},
      {"\"\\/", R"("\"\\/")"},
      {"\n\r\t\b\f", R"("\n\r\t\b\f")"},
      {std::string("\x00\x01\x1b\x1f", 4), R"("\u0000\u0001\u001b\u001f")"},
      // Escapes at every place of an eight-byte word, and after it.
      {"1234567\"", R"("1234567\"")"},
      {"12345678\"", R"("12345678\"")"},
      {"\"2345678", R"("\"2345678")"},
      {"abcdefgh\\ijklmnop\nq", R"("abcdefgh\\ijklmnop\nq")"},
  };
  for (const auto& [text, json] : rows) {
    SCOPED_TRACE(json);
    std::string out = "x";
    appendJsonString(out, text);
    EXPECT_EQ(out, "x" + json);
  }
}

// Any text of any bytes below 0x80 reads back as itself, wherever the escapes fall.
TEST(JsonText, ReadsBackAsTheSameTextWhateverTheMix) {
  std::mt19937 random(7);
  const std::string alphabet = std::string("ab\"\\\n\x01\x1f ~/", 11) + std::string(1, '\0');
  for (int round = 0; round < 2000; ++round) {
    std::string text(random() % 40, ' ');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    std::string out;
    appendJsonString(out, text);
    ASSERT_LE(out.size(), jsonStringBound(text.size()));
    ASSERT_EQ(nlohmann::json::parse(out).get<std::string>(), text) << out;
  }
}

}  // namespace
}  // namespace orvanta
