#include "support/json_text.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "support/atomic_file.hpp"

namespace orvanta {

std::string plainJsonMessage(std::string_view what) {
  if (what.starts_with("[json.exception.")) {
    auto close = what.find("] ");
    if (close != std::string_view::npos) what.remove_prefix(close + 2);
  }
  return std::string(what);
}

std::size_t jsonNestingDepth(std::string_view text, std::size_t limit) noexcept {
  std::size_t depth = 0;
  std::size_t deepest = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') {
        ++i;
      } else if (c == '"') {
        inString = false;
      }
      continue;
    }
    switch (c) {
      case '"': inString = true; break;
      case '[':
      case '{':
        deepest = std::max(deepest, ++depth);
        if (deepest > limit) return deepest;
        break;
      case ']':
      case '}':
        if (depth > 0) --depth;
        break;
      default: break;
    }
  }
  return deepest;
}

std::optional<std::string> jsonLimitProblem(std::string_view text, std::size_t maxDepth, std::size_t maxBytes) {
  if (text.size() > maxBytes) return "the document is larger than " + budgetText(maxBytes);
  if (jsonNestingDepth(text, maxDepth) > maxDepth) {
    return "the document nests deeper than " + std::to_string(maxDepth) + " levels";
  }
  return std::nullopt;
}

namespace {

// For each byte: 0 when it stands for itself, else the letter after the backslash ('u' for \u00xx).
constexpr std::array<char, 256> kEscapes = [] {
  std::array<char, 256> table{};
  for (int c = 0; c < 0x20; ++c) table[static_cast<std::size_t>(c)] = 'u';
  table['\n'] = 'n';
  table['\r'] = 'r';
  table['\t'] = 't';
  table['\b'] = 'b';
  table['\f'] = 'f';
  table['"'] = '"';
  table['\\'] = '\\';
  return table;
}();

constexpr std::uint64_t kOnes = 0x0101010101010101ull;
constexpr std::uint64_t kHighs = 0x8080808080808080ull;

// A mask whose lowest set bit lies in the first byte of `word` (in memory order, on a little-endian
// machine) that needs an escape: below 0x20, a quote or a backslash. Bits above that first byte may be
// set by borrows; only the lowest one is meaningful.
constexpr std::uint64_t escapeMask(std::uint64_t word) noexcept {
  const std::uint64_t quotes = word ^ (kOnes * '"');
  const std::uint64_t backslashes = word ^ (kOnes * '\\');
  const std::uint64_t zeroQuote = (quotes - kOnes) & ~quotes;
  const std::uint64_t zeroBackslash = (backslashes - kOnes) & ~backslashes;
  const std::uint64_t control = (word - kOnes * 0x20) & ~word;
  return (zeroQuote | zeroBackslash | control) & kHighs;
}

char* writeEscape(char* out, unsigned char c) noexcept {
  static constexpr char hex[] = "0123456789abcdef";
  const char letter = kEscapes[c];
  *out++ = '\\';
  *out++ = letter;
  if (letter == 'u') {
    *out++ = '0';
    *out++ = '0';
    *out++ = hex[c >> 4];
    *out++ = hex[c & 0xF];
  }
  return out;
}

}  // namespace

char* writeJsonString(char* out, std::string_view text) noexcept {
  const char* at = text.data();
  const char* const end = at + text.size();
  *out++ = '"';
  if constexpr (std::endian::native == std::endian::little) {
    while (end - at >= 8) {
      std::uint64_t word;
      std::memcpy(&word, at, 8);
      // The eight bytes are copied whatever they hold; an escape found among them overwrites from there.
      std::memcpy(out, &word, 8);
      const std::uint64_t mask = escapeMask(word);
      if (mask == 0) {
        at += 8;
        out += 8;
        continue;
      }
      const auto plain = static_cast<std::size_t>(std::countr_zero(mask) / 8);
      out = writeEscape(out + plain, static_cast<unsigned char>(at[plain]));
      at += plain + 1;
    }
  }
  for (; at < end; ++at) {
    const auto c = static_cast<unsigned char>(*at);
    if (kEscapes[c] == 0) {
      *out++ = static_cast<char>(c);
    } else {
      out = writeEscape(out, c);
    }
  }
  *out++ = '"';
  return out;
}

void appendJsonString(std::string& out, std::string_view text) {
  const std::size_t size = out.size();
  out.resize_and_overwrite(size + jsonStringBound(text.size()), [&](char* data, std::size_t) {
    return static_cast<std::size_t>(writeJsonString(data + size, text) - data);
  });
}

}  // namespace orvanta
