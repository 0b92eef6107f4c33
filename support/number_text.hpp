// Locale-independent number texts.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace orvanta {

// printf's "%g" as the C locale writes it (six significant digits, trailing zeros dropped): 15 -> "15",
// 2.5 -> "2.5". Independent of the process locale. Thread-safe.
std::string formatGeneral(double value);

// Plain dot-decimal text of the shortest form that reads back as the same double, never in exponent
// form ("0.0001", "123456789012"); both zeros read "0". NaN and infinities give "nan", "inf", "-inf".
std::string formatPlainDecimal(double value);

// Fixed notation with `fractionDigits` digits after the point (rounded), then trailing "0"s after the
// point and a final "." dropped: (20, 3) -> "20", (1.5, 3) -> "1.5", (0.1254, 3) -> "0.125". NaN and
// infinities give "nan", "inf", "-inf". Thread-safe.
std::string formatTrimmedFixed(double value, int fractionDigits);

// Reads a whole text as a finite double in plain dot-decimal ("-12.5", "3", ".5" and "5." are accepted;
// exponents, hex, spaces, "inf" and "nan" are not). Independent of the process locale.
std::optional<double> parsePlainDecimal(std::string_view text);

// The strict form of parsePlainDecimal: an optional "+" or "-", one or more ASCII digits, and optionally
// "." followed by one or more digits; nothing else ("5.", ".5", " 5", "1e2" and "4,5" are refused). A
// value too large for a double is refused; one too small to represent reads as zero of its sign.
std::optional<double> parseStrictDecimal(std::string_view text);

// The value of the `count` ASCII digits at `text[at]` (which must lie inside `text`), or -1 when one of
// them is not a digit. For fixed-layout dates and times; `count` up to 9.
[[nodiscard]] constexpr int decimalDigitsAt(std::string_view text, std::size_t at, std::size_t count) noexcept {
  int value = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    const char c = text[i];
    if (c < '0' || c > '9') return -1;
    value = value * 10 + (c - '0');
  }
  return value;
}

}  // namespace orvanta
