#include "support/utf8.hpp"

#include <cstdint>

namespace orvanta {

bool isValidUtf8(std::string_view bytes) noexcept {
  const auto* p = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const auto* end = p + bytes.size();
  while (p < end) {
    std::uint8_t lead = *p;
    if (lead < 0x80) {
      ++p;
      continue;
    }
    int length;
    std::uint32_t minimum;
    std::uint32_t code;
    if ((lead & 0xE0) == 0xC0) {
      length = 2, minimum = 0x80, code = lead & 0x1Fu;
    } else if ((lead & 0xF0) == 0xE0) {
      length = 3, minimum = 0x800, code = lead & 0x0Fu;
    } else if ((lead & 0xF8) == 0xF0) {
      length = 4, minimum = 0x10000, code = lead & 0x07u;
    } else {
      return false;
    }
    if (end - p < length) return false;
    for (int i = 1; i < length; ++i) {
      if ((p[i] & 0xC0) != 0x80) return false;
      code = (code << 6) | (p[i] & 0x3Fu);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
    p += length;
  }
  return true;
}

}  // namespace orvanta
