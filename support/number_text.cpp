#include "support/number_text.hpp"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>
#include <system_error>

#if !defined(__cpp_lib_to_chars)
#include <clocale>
#if defined(__APPLE__)
#include <xlocale.h>
#endif
#endif

namespace orvanta {
namespace {

// Converts a text already checked to be `[+-]?digits[.digits]` (either side of the point may be empty,
// not both) to a double, correctly rounded. Returns nothing when the value overflows.
std::optional<double> convertCheckedDecimal(std::string_view text) {
  const bool negative = !text.empty() && text.front() == '-';
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  double value = 0;
#if defined(__cpp_lib_to_chars)
  auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
  if (ec == std::errc::result_out_of_range) {
    // from_chars also refuses values that round to zero; only an integer part other than zero overflows.
    const auto integerPart = text.substr(0, text.find('.'));
    if (integerPart.find_first_not_of('0') != std::string_view::npos) return std::nullopt;
    value = 0;
  } else if (ec != std::errc() || ptr != text.data() + text.size()) {
    return std::nullopt;
  }
#else
  // This standard library has no floating-point from_chars: strtod in the C locale, whatever the
  // process locale is.
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", locale_t{});
  const std::string copy(text);
  char* end = nullptr;
  value = strtod_l(copy.c_str(), &end, cLocale);
  if (end != copy.c_str() + copy.size()) return std::nullopt;
#endif
  if (!std::isfinite(value)) return std::nullopt;
  return negative ? -value : value;
}

}  // namespace

std::string formatGeneral(double value) {
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 6);
  return std::string(buffer, result.ptr);
}

std::string formatPlainDecimal(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  if (value == 0) return "0";
  // Fixed notation with the shortest round-trip digits: to_chars(fixed) without a precision does this.
  char buffer[400];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
  return std::string(buffer, result.ptr);
}

std::string formatTrimmedFixed(double value, int fractionDigits) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
  char buffer[400];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, fractionDigits);
  std::string text(buffer, result.ptr);
  if (text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
  }
  return text;
}

std::optional<double> parsePlainDecimal(std::string_view text) {
  if (text.empty()) return std::nullopt;
  std::size_t i = 0;
  if (text[0] == '-' || text[0] == '+') i = 1;
  bool sawDigit = false;
  bool sawPoint = false;
  for (std::size_t j = i; j < text.size(); ++j) {
    char c = text[j];
    if (c >= '0' && c <= '9') {
      sawDigit = true;
    } else if (c == '.' && !sawPoint) {
      sawPoint = true;
    } else {
      return std::nullopt;
    }
  }
  if (!sawDigit) return std::nullopt;
  return convertCheckedDecimal(text);
}

std::optional<double> parseStrictDecimal(std::string_view text) {
  std::size_t i = 0;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) i = 1;
  const auto digitsFrom = [&](std::size_t start) {
    std::size_t end = start;
    while (end < text.size() && text[end] >= '0' && text[end] <= '9') ++end;
    return end;
  };
  std::size_t end = digitsFrom(i);
  if (end == i) return std::nullopt;
  if (end < text.size()) {
    if (text[end] != '.') return std::nullopt;
    const std::size_t fractionEnd = digitsFrom(end + 1);
    if (fractionEnd == end + 1 || fractionEnd != text.size()) return std::nullopt;
  }
  return convertCheckedDecimal(text);
}

}  // namespace orvanta
