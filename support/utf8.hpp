// UTF-8 checks.
#pragma once

#include <string>
#include <string_view>

namespace orvanta {

// Whether `bytes` is well-formed UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF).
[[nodiscard]] bool isValidUtf8(std::string_view bytes) noexcept;

// Appends `bytes` to `out` as UTF-8, each maximal ill-formed subsequence replaced by one U+FFFD (the
// replacement practice of Unicode's chapter 3). Never fails.
void appendUtf8Lossy(std::string& out, std::string_view bytes);

}  // namespace orvanta
