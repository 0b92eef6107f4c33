// UTF-8: checking, decoding one sequence at a time, and lossy repair.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvanta {

// What starts a run of bytes: one well-formed sequence (`length` > 0) or not (`length` == 0, and
// `invalidLength` >= 1 is the length of the maximal ill-formed subpart, which a lossy reader replaces by
// one U+FFFD). `unfinished` says that the bytes end inside what could still become a well-formed
// sequence, which matters to readers of a stream that arrives in pieces.
struct Utf8Sequence {
  char32_t codePoint = 0;
  std::size_t length = 0;
  std::size_t invalidLength = 0;
  bool unfinished = false;
};

// Decodes the sequence at the start of `bytes`, which must not be empty.
[[nodiscard]] Utf8Sequence decodeUtf8(std::string_view bytes) noexcept;

// White space as Unicode's White_Space property has it.
[[nodiscard]] bool isUnicodeWhiteSpace(char32_t c) noexcept;

// Whether `bytes` is well-formed UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF).
[[nodiscard]] bool isValidUtf8(std::string_view bytes) noexcept;

// Appends `bytes` to `out` as UTF-8, each maximal ill-formed subsequence replaced by one U+FFFD (the
// replacement practice of Unicode's chapter 3). Never fails.
void appendUtf8Lossy(std::string& out, std::string_view bytes);

// `bytes` as well-formed UTF-8: unchanged when it already is, else repaired as appendUtf8Lossy does.
[[nodiscard]] std::string toValidUtf8(std::string_view bytes);

}  // namespace orvanta
