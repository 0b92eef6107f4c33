// The old-style (OpenStep) text reader. The grammar and its choices are described in property_list.hpp.
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "support/property_list.hpp"

namespace orvanta {
namespace {

using ValueResult = expected<PropertyListValue, PropertyListError>;

constexpr bool isAsciiAlphanumeric(unsigned char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

constexpr bool isUnquotedCharacter(unsigned char c) {
  return isAsciiAlphanumeric(c) || c == '_' || c == '$' || c == '+' || c == '/' || c == ':' || c == '.' || c == '-';
}

constexpr bool isWhitespace(unsigned char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

constexpr int hexDigitValue(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

constexpr bool isPrintable(unsigned char c) {
  return c > 0x20 && c < 0x7F;
}

// "'}'" for a visible ASCII character, "byte 0x00" for anything else.
std::string quotedCharacter(unsigned char c) {
  return isPrintable(c) ? fmt::format("'{}'", static_cast<char>(c)) : fmt::format("byte 0x{:02X}", c);
}

// "character '}'" or "byte 0x00".
std::string namedCharacter(unsigned char c) {
  return isPrintable(c) ? fmt::format("character '{}'", static_cast<char>(c)) : fmt::format("byte 0x{:02X}", c);
}

void appendUtf8(std::string& out, char32_t codePoint) {
  if (codePoint < 0x80) {
    out += static_cast<char>(codePoint);
  } else if (codePoint < 0x800) {
    out += static_cast<char>(0xC0 | (codePoint >> 6));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    out += static_cast<char>(0xE0 | (codePoint >> 12));
    out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (codePoint >> 18));
    out += static_cast<char>(0x80 | ((codePoint >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((codePoint >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (codePoint & 0x3F));
  }
}

class OpenStepParser {
 public:
  explicit OpenStepParser(std::string_view text) : text_(text) {}

  ValueResult parseDocument() {
    if (text_.starts_with("\xFE\xFF") || text_.starts_with("\xFF\xFE")) {
      return unexpected(PropertyListError::unsupportedFormat("UTF-16 property lists are not supported"));
    }
    if (text_.starts_with("\xEF\xBB\xBF")) pos_ = bomLength_ = 3;
    if (auto skipped = skipWhitespaceAndComments(); !skipped) return unexpected(std::move(skipped).error());
    if (atEnd()) return unexpected(errorAt(pos_, "Expected a value but reached the end of the text"));
    ValueResult value = parseValue();
    if (!value) return value;
    if (auto skipped = skipWhitespaceAndComments(); !skipped) return unexpected(std::move(skipped).error());
    if (!atEnd()) {
      return unexpected(errorAt(pos_, fmt::format("Unexpected {} after the property list", namedCharacter(peek()))));
    }
    return value;
  }

 private:
  [[nodiscard]] bool atEnd() const { return pos_ >= text_.size(); }
  [[nodiscard]] unsigned char peek() const { return static_cast<unsigned char>(text_[pos_]); }
  [[nodiscard]] unsigned char at(std::size_t offset) const { return static_cast<unsigned char>(text_[offset]); }

  // Lines end at "\n", "\r\n" or a lone "\r"; columns count UTF-8 sequences by their lead bytes.
  [[nodiscard]] PropertyListError errorAt(std::size_t offset, std::string message) const {
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t i = bomLength_; i < offset && i < text_.size(); ++i) {
      unsigned char c = at(i);
      if (c == '\n' || (c == '\r' && (i + 1 >= text_.size() || at(i + 1) != '\n'))) {
        ++line;
        column = 1;
      } else if (c != '\r' && (c & 0xC0) != 0x80) {
        ++column;
      }
    }
    return PropertyListError::malformed(std::move(message), line, column);
  }

  [[nodiscard]] PropertyListError tooDeepAt(std::size_t offset) const {
    PropertyListError position = errorAt(offset, {});
    return PropertyListError::tooDeep(position.line, position.column);
  }

  [[nodiscard]] PropertyListError unexpectedCharacter() const {
    return errorAt(pos_, "Unexpected " + namedCharacter(peek()));
  }

  [[nodiscard]] PropertyListError expectedButFound(std::string_view what) const {
    return errorAt(pos_, fmt::format("Expected {} but found {}", what, quotedCharacter(peek())));
  }

  expected<void, PropertyListError> skipWhitespaceAndComments() {
    while (!atEnd()) {
      unsigned char c = peek();
      if (isWhitespace(c)) {
        ++pos_;
        continue;
      }
      if (c != '/' || pos_ + 1 >= text_.size()) break;
      std::size_t bodyStart = pos_ + 2;
      std::size_t next = 0;
      if (at(pos_ + 1) == '/') {
        std::size_t lineEnd = text_.find_first_of("\r\n", bodyStart);
        next = lineEnd == std::string_view::npos ? text_.size() : lineEnd;
      } else if (at(pos_ + 1) == '*') {
        std::size_t close = text_.find("*/", bodyStart);
        if (close == std::string_view::npos) return unexpected(errorAt(pos_, "Unterminated comment"));
        next = close + 2;
      } else {
        break;
      }
      std::size_t nul = text_.substr(bodyStart, next - bodyStart).find('\0');
      if (nul != std::string_view::npos) return unexpected(errorAt(bodyStart + nul, "Unexpected byte 0x00"));
      pos_ = next;
    }
    return {};
  }

  // Precondition: not at the end, whitespace and comments skipped.
  ValueResult parseValue() {
    unsigned char c = peek();
    switch (c) {
      case '{':
        return parseDictionary();
      case '(':
        return parseArray();
      case '<':
        return parseData();
      case '"':
      case '\'': {
        auto text = parseQuotedString();
        if (!text) return unexpected(std::move(text).error());
        return PropertyListValue(std::move(*text));
      }
      default:
        if (isUnquotedCharacter(c)) return PropertyListValue(parseUnquotedString());
        return unexpected(unexpectedCharacter());
    }
  }

  expected<void, PropertyListError> enterContainer() {
    if (depth_ == propertyListMaxDepth) return unexpected(tooDeepAt(pos_));
    ++depth_;
    return {};
  }

  ValueResult parseDictionary() {
    const std::size_t openedAt = pos_;
    if (auto entered = enterContainer(); !entered) return unexpected(std::move(entered).error());
    ++pos_;
    std::vector<PropertyListDictionary::Entry> entries;
    auto unterminated = [&] { return unexpected(errorAt(openedAt, "Unterminated dictionary")); };
    for (;;) {
      if (auto skipped = skipWhitespaceAndComments(); !skipped) return unexpected(std::move(skipped).error());
      if (atEnd()) return unterminated();
      if (peek() == '}') break;

      std::string key;
      if (peek() == '"' || peek() == '\'') {
        auto quoted = parseQuotedString();
        if (!quoted) return unexpected(std::move(quoted).error());
        key = std::move(*quoted);
      } else if (isUnquotedCharacter(peek())) {
        key = parseUnquotedString();
      } else {
        return unexpected(expectedButFound("a key"));
      }

      if (auto skipped = skipWhitespaceAndComments(); !skipped) return unexpected(std::move(skipped).error());
      if (atEnd()) return unterminated();
      if (peek() != '=') return unexpected(expectedButFound("'='"));
      ++pos_;

      if (auto skipped = skipWhitespaceAndComments(); !skipped) return unexpected(std::move(skipped).error());
      if (atEnd()) return unterminated();
      ValueResult value = parseValue();
      if (!value) return value;

      if (auto skipped = skipWhitespaceAndComments(); !skipped) return unexpected(std::move(skipped).error());
      if (atEnd()) return unterminated();
      if (peek() != ';') return unexpected(expectedButFound("';'"));
      ++pos_;

      entries.emplace_back(std::move(key), std::move(*value));
    }
    ++pos_;
    --depth_;
    return PropertyListValue(PropertyListDictionary(std::move(entries)));
  }

  ValueResult parseArray() {
    const std::size_t openedAt = pos_;
    if (auto entered = enterContainer(); !entered) return unexpected(std::move(entered).error());
    ++pos_;
    PropertyListValue::Array items;
    auto unterminated = [&] { return unexpected(errorAt(openedAt, "Unterminated array")); };
    for (;;) {
      if (auto skipped = skipWhitespaceAndComments(); !skipped) return unexpected(std::move(skipped).error());
      if (atEnd()) return unterminated();
      if (peek() == ')') break;

      ValueResult value = parseValue();
      if (!value) return value;
      items.push_back(std::move(*value));

      if (auto skipped = skipWhitespaceAndComments(); !skipped) return unexpected(std::move(skipped).error());
      if (atEnd()) return unterminated();
      if (peek() == ')') break;
      if (peek() != ',') return unexpected(expectedButFound("',' or ')'"));
      ++pos_;
    }
    ++pos_;
    --depth_;
    return PropertyListValue(std::move(items));
  }

  std::string parseUnquotedString() {
    std::size_t start = pos_;
    while (!atEnd() && isUnquotedCharacter(peek())) ++pos_;
    return std::string(text_.substr(start, pos_ - start));
  }

  // Reads exactly four hex digits at pos_; nullopt (position unchanged) when they are not there.
  std::optional<char16_t> readFourHexDigits() {
    if (text_.size() - pos_ < 4) return std::nullopt;
    unsigned value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      int digit = hexDigitValue(at(pos_ + i));
      if (digit < 0) return std::nullopt;
      value = value * 16 + static_cast<unsigned>(digit);
    }
    pos_ += 4;
    return static_cast<char16_t>(value);
  }

  // After "\U" and a high surrogate: takes a following "\Uxxxx" low surrogate if there is one.
  std::optional<char16_t> readLowSurrogate() {
    if (text_.size() - pos_ < 6 || at(pos_) != '\\' || (at(pos_ + 1) != 'U' && at(pos_ + 1) != 'u')) {
      return std::nullopt;
    }
    std::size_t saved = pos_;
    pos_ += 2;
    std::optional<char16_t> unit = readFourHexDigits();
    if (!unit || *unit < 0xDC00 || *unit > 0xDFFF) {
      pos_ = saved;
      return std::nullopt;
    }
    return unit;
  }

  // Precondition: pos_ is on the backslash, and a character follows it.
  expected<void, PropertyListError> parseEscape(std::string& out) {
    const std::size_t escapeAt = pos_;
    ++pos_;
    unsigned char c = peek();
    ++pos_;
    switch (c) {
      case '"':
      case '\'':
      case '\\':
        out += static_cast<char>(c);
        return {};
      case 'n':
        out += '\n';
        return {};
      case 't':
        out += '\t';
        return {};
      case 'r':
        out += '\r';
        return {};
      case 'b':
        out += '\b';
        return {};
      case 'f':
        out += '\f';
        return {};
      case 'a':
        out += '\a';
        return {};
      case 'v':
        out += '\v';
        return {};
      case 'U':
      case 'u': {
        std::optional<char16_t> unit = readFourHexDigits();
        if (!unit) return unexpected(errorAt(escapeAt, "Invalid \\U escape; expected four hex digits"));
        char32_t codePoint = *unit;
        if (*unit >= 0xD800 && *unit <= 0xDBFF) {
          std::optional<char16_t> low = readLowSurrogate();
          codePoint = low ? 0x10000 + ((char32_t{*unit} - 0xD800) << 10) + (char32_t{*low} - 0xDC00) : 0xFFFD;
        } else if (*unit >= 0xDC00 && *unit <= 0xDFFF) {
          codePoint = 0xFFFD;
        }
        appendUtf8(out, codePoint);
        return {};
      }
      default:
        break;
    }
    if (c >= '0' && c <= '7') {
      unsigned value = static_cast<unsigned>(c - '0');
      for (int digits = 1; digits < 3 && !atEnd() && peek() >= '0' && peek() <= '7'; ++digits) {
        value = value * 8 + static_cast<unsigned>(peek() - '0');
        ++pos_;
      }
      if (value > 0377) return unexpected(errorAt(escapeAt, "Octal escape out of range"));
      appendUtf8(out, static_cast<char32_t>(value));
      return {};
    }
    if (isPrintable(c))
      return unexpected(errorAt(escapeAt, fmt::format("Invalid escape '\\{}'", static_cast<char>(c))));
    return unexpected(errorAt(escapeAt, "Invalid escape before " + namedCharacter(c)));
  }

  expected<std::string, PropertyListError> parseQuotedString() {
    const std::size_t openedAt = pos_;
    const char quote = static_cast<char>(peek());
    ++pos_;
    std::string out;
    for (;;) {
      std::size_t runStart = pos_;
      while (!atEnd() && text_[pos_] != quote && text_[pos_] != '\\' && text_[pos_] != '\0') ++pos_;
      out.append(text_.substr(runStart, pos_ - runStart));
      if (atEnd()) return unexpected(errorAt(openedAt, "Unterminated quoted string"));
      char c = text_[pos_];
      if (c == quote) {
        ++pos_;
        return out;
      }
      if (c == '\0') return unexpected(unexpectedCharacter());
      if (pos_ + 1 >= text_.size()) return unexpected(errorAt(openedAt, "Unterminated quoted string"));
      if (auto escaped = parseEscape(out); !escaped) return unexpected(std::move(escaped).error());
    }
  }

  ValueResult parseData() {
    const std::size_t openedAt = pos_;
    ++pos_;
    PropertyListValue::Data bytes;
    int highNibble = -1;
    for (;;) {
      if (atEnd()) return unexpected(errorAt(openedAt, "Unterminated data"));
      unsigned char c = peek();
      if (c == '>') {
        if (highNibble >= 0) return unexpected(errorAt(openedAt, "Odd number of hex digits in data"));
        ++pos_;
        return PropertyListValue(std::move(bytes));
      }
      if (isWhitespace(c)) {
        ++pos_;
        continue;
      }
      int digit = hexDigitValue(c);
      if (digit < 0) return unexpected(errorAt(pos_, fmt::format("Invalid {} in data", namedCharacter(c))));
      if (highNibble < 0) {
        highNibble = digit;
      } else {
        bytes.push_back(static_cast<std::uint8_t>(highNibble * 16 + digit));
        highNibble = -1;
      }
      ++pos_;
    }
  }

  std::string_view text_;
  std::size_t pos_ = 0;
  std::size_t bomLength_ = 0;
  std::size_t depth_ = 0;
};

}  // namespace

expected<PropertyListValue, PropertyListError> parseOpenStepPropertyList(std::string_view text) {
  return OpenStepParser(text).parseDocument();
}

}  // namespace orvanta
