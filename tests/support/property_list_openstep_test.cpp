#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/property_list.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using namespace std::string_literals;
using Dictionary = PropertyListDictionary;
using Array = PropertyListValue::Array;
using Data = PropertyListValue::Data;

PropertyListValue parseOrFail(std::string_view text) {
  auto result = parseOpenStepPropertyList(text);
  EXPECT_TRUE(result.has_value()) << (result ? "" : result.error().description());
  return result ? std::move(*result) : PropertyListValue();
}

TEST(OpenStepGrammarTest, ReadsEveryForm) {
  struct Case {
    const char* text;
    PropertyListValue expected;
  } cases[] = {
      {"com.apple.x_y$z+1/2:3-4", "com.apple.x_y$z+1/2:3-4"},
      {"'single \"quoted\"'", "single \"quoted\""},
      {"( a, \"b\", )", Array{"a", "b"}},
      {"< 0f bd\n77 >", Data{0x0f, 0xbd, 0x77}},
      {"<0 F>", Data{0x0f}},
      {"{ CFBundleDisplayName = \"Safe{Wallet} MVP\"; \"a;b\" = \"(\"; }",
       Dictionary{{"CFBundleDisplayName", "Safe{Wallet} MVP"}, {"a;b", "("}}},
      {"{a=b;c=(d,{e=f;},(),{});}",
       Dictionary{{"a", "b"}, {"c", Array{"d", Dictionary{{"e", "f"}}, Array{}, Dictionary{}}}}},
      {"/* lead */ { // line\n a = /* inline */ b; } // end", Dictionary{{"a", "b"}}},
      {"{ a = /usr/bin; b = c//d; }", Dictionary{{"a", "/usr/bin"}, {"b", "c//d"}}},
      {"\xEF\xBB\xBF\t{\r\n\ta = b;\r\n}\r\n", Dictionary{{"a", "b"}}},
      {"{ k = \"\xC3\x28\"; }", Dictionary{{"k", "\xC3\x28"}}},  // invalid UTF-8 is passed through
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(parseOrFail(c.text), c.expected);
  }
}

TEST(OpenStepGrammarTest, DecodesEscapes) {
  struct Case {
    const char* escaped;  // between the quotes
    std::string text;
  } cases[] = {
      {R"(\"\\\'\n\t\r\b\f\a\v)", "\"\\'\n\t\r\b\f\a\v"},
      {R"(\101\1012\0x)", "AA2\0x"s},  // at most three octal digits
      {R"(\351)", "\u00e9"},           // octal is Latin-1
      {R"(\U793a\U4f8B\u00e9)", "\u793a\u4f8b\u00e9"},
      {R"(\Ud83d\Ude00!)", "\U0001F600!"},
      {R"(x\Ud83d)", "x\uFFFD"},  // lone surrogates become U+FFFD
      {R"(\Ud83dx\Ude00)", "\uFFFDx\uFFFD"},
      {R"(\Ud83d\Ud83d\Ude00)", "\uFFFD\U0001F600"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.escaped);
    EXPECT_EQ(parseOrFail("\""s + c.escaped + "\""), PropertyListValue(c.text));
  }
}

TEST(OpenStepGrammarTest, RefusesHostileInputWithAPosition) {
  struct Case {
    std::string text;
    std::string description;
  } cases[] = {
      {"", "Expected a value but reached the end of the text at line 1, column 1."},
      {"  // only a comment\n", "Expected a value but reached the end of the text at line 2, column 1."},
      {"{ a = \"abc; }", "Unterminated quoted string at line 1, column 7."},
      {"\"abc\\", "Unterminated quoted string at line 1, column 1."},
      {"{ a = b", "Unterminated dictionary at line 1, column 1."},
      {"( a, b", "Unterminated array at line 1, column 1."},
      {"{ a = b; }}", "Unexpected character '}' after the property list at line 1, column 11."},
      {"{\n  a = b\n  c = d;\n}", "Expected ';' but found 'c' at line 3, column 3."},
      {"{\r\n a = ; }", "Unexpected character ';' at line 2, column 6."},
      {"{ a b; }", "Expected '=' but found 'b' at line 1, column 5."},
      {"{ \"a\" = { b = c; ); }", "Expected a key but found ')' at line 1, column 18."},
      {"( a b )", "Expected ',' or ')' but found 'b' at line 1, column 5."},
      {"\"\\q\"", "Invalid escape '\\q' at line 1, column 2."},
      {"\"\\\n\"", "Invalid escape before byte 0x0A at line 1, column 2."},
      {"\"\\U12G4\"", "Invalid \\U escape; expected four hex digits at line 1, column 2."},
      {"\"\\400\"", "Octal escape out of range at line 1, column 2."},
      {"<0fz>", "Invalid character 'z' in data at line 1, column 4."},
      {"<0f1>", "Odd number of hex digits in data at line 1, column 1."},
      {"<0f", "Unterminated data at line 1, column 1."},
      {"/* x", "Unterminated comment at line 1, column 1."},
      {"{ a = \"x\0y\"; }"s, "Unexpected byte 0x00 at line 1, column 9."},
      {"{ a = b;\0 }"s, "Expected a key but found byte 0x00 at line 1, column 9."},
      {"/* \0 */ a"s, "Unexpected byte 0x00 at line 1, column 4."},
      {"{ a = \xC3\xA9; }", "Unexpected byte 0xC3 at line 1, column 7."},
      {"\"\xC3\xA9\xE2\x80\xA6\" }", "Unexpected character '}' after the property list at line 1, column 6."},
      {"\xFF\xFE{\0"s, "UTF-16 property lists are not supported."},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text);
    auto result = parseOpenStepPropertyList(c.text);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().description(), c.description);
  }
}

TEST(OpenStepGrammarTest, LimitsNestingDepth) {
  auto repeat = [](std::string_view part, std::size_t times) {
    std::string text;
    for (std::size_t i = 0; i < times; ++i) text += part;
    return text;
  };
  const std::size_t limit = propertyListMaxDepth;
  EXPECT_TRUE(parseOpenStepPropertyList(repeat("(", limit) + repeat(")", limit)).has_value());
  EXPECT_TRUE(parseOpenStepPropertyList(repeat("{k=", limit) + "v;" + repeat("};", limit - 1) + "}").has_value());
  struct Case {
    std::string text;
    std::size_t line, column;
  } cases[] = {
      {repeat("(", 1'000'000), 1, limit + 1},
      {repeat("{k=", 1'000'000), 1, 3 * limit + 1},
      {"(\n" + repeat("(", limit - 1) + "{a=b;}", 2, limit},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.text.substr(0, 10));
    auto result = parseOpenStepPropertyList(c.text);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error(), PropertyListError::tooDeep(c.line, c.column)) << result.error().description();
  }
}

}  // namespace
}  // namespace orvanta
