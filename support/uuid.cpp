#include "support/uuid.hpp"

#include <array>
#include <cstdint>

#include "support/random_bytes.hpp"

namespace orvanta {

namespace {
constexpr char kHexDigits[] = "0123456789ABCDEF";

bool isHyphenPosition(std::size_t index) {
  return index == 8 || index == 13 || index == 18 || index == 23;
}
}  // namespace

std::string makeUUID() {
  std::array<std::uint8_t, 16> bytes{};
  fillRandomBytes(bytes);
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);  // version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += kHexDigits[bytes[i] >> 4];
    text += kHexDigits[bytes[i] & 0x0F];
  }
  return text;
}

std::optional<std::string> parseUUID(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  std::string canonical(text);
  for (std::size_t i = 0; i < canonical.size(); ++i) {
    char& c = canonical[i];
    if (isHyphenPosition(i)) {
      if (c != '-') return std::nullopt;
    } else if (c >= 'a' && c <= 'f') {
      c = static_cast<char>(c - 'a' + 'A');
    } else if (!((c >= '0' && c <= '9') || (c >= 'A' && c <= 'F'))) {
      return std::nullopt;
    }
  }
  return canonical;
}

}  // namespace orvanta
