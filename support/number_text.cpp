#include "support/number_text.hpp"

#include <charconv>
#include <locale>
#include <sstream>
#include <version>
#include <cmath>
#include <system_error>

namespace orvanta {

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
  std::string_view body = text.substr(text[0] == '+' ? 1 : 0);
  double value = 0;
#if defined(__cpp_lib_to_chars)
  auto [ptr, ec] = std::from_chars(body.data(), body.data() + body.size(), value, std::chars_format::fixed);
  if (ec != std::errc() || ptr != body.data() + body.size()) return std::nullopt;
#else
  // libc++ 14 has no floating-point from_chars; a stream in the classic locale reads the same digits.
  std::istringstream stream{std::string(body)};
  stream.imbue(std::locale::classic());
  stream >> value;
  if (stream.fail()) return std::nullopt;
#endif
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace orvanta
