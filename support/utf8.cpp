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

Utf8Sequence decodeUtf8(std::string_view bytes) noexcept {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
  const std::uint8_t lead = byte(0);
  if (lead < 0x80) return {lead, 1, 0, false};
  std::size_t length = 0;
  char32_t value = 0;
  std::uint8_t low = 0x80, high = 0xBF;  // the range of the second byte: no overlongs, surrogates or > U+10FFFF
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2, value = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3, value = lead & 0x0Fu;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4, value = lead & 0x07u;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return {0, 0, 1, false};
  }
  std::size_t i = 1;
  for (; i < length && i < bytes.size(); ++i) {
    const std::uint8_t next = byte(i);
    const bool fits = i == 1 ? (next >= low && next <= high) : (next & 0xC0) == 0x80;
    if (!fits) return {0, 0, i, false};
    value = (value << 6) | (next & 0x3Fu);
  }
  if (i == length) return {value, length, 0, false};
  return {0, 0, i, true};
}

bool isUnicodeWhiteSpace(char32_t c) noexcept {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

void appendUtf8Lossy(std::string& out, std::string_view bytes) {
  if (isValidUtf8(bytes)) {
    out.append(bytes);
    return;
  }
  const auto* begin = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const auto* p = begin;
  const auto* end = p + bytes.size();
  out.reserve(out.size() + bytes.size() + 8);
  while (p < end) {
    if (*p < 0x80) {
      out.push_back(static_cast<char>(*p++));
      continue;
    }
    const auto at = static_cast<std::size_t>(p - begin);
    const Utf8Sequence sequence = decodeUtf8(bytes.substr(at));
    if (sequence.length > 0) {
      out.append(bytes.substr(at, sequence.length));
      p += sequence.length;
    } else {
      out.append("\xEF\xBF\xBD");
      p += sequence.invalidLength;
    }
  }
}

std::string toValidUtf8(std::string_view bytes) {
  if (isValidUtf8(bytes)) return std::string(bytes);
  std::string repaired;
  appendUtf8Lossy(repaired, bytes);
  return repaired;
}

}  // namespace orvanta
