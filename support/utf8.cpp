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

namespace {

// The length of the well-formed sequence at `p`, or 0 with `*consumed` set to the length of the maximal
// subpart that starts there (at least 1).
std::size_t sequenceLength(const std::uint8_t* p, const std::uint8_t* end, std::size_t* consumed) noexcept {
  const std::uint8_t lead = *p;
  std::size_t length;
  std::uint8_t low = 0x80, high = 0xBF;  // the range of the second byte
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    *consumed = 1;
    return 0;
  }
  std::size_t i = 1;
  for (; i < length && p + i < end; ++i) {
    const std::uint8_t byte = p[i];
    const bool fits = i == 1 ? (byte >= low && byte <= high) : (byte & 0xC0) == 0x80;
    if (!fits) break;
  }
  if (i == length) return length;
  *consumed = i;
  return 0;
}

}  // namespace

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
    std::size_t consumed = 0;
    const std::size_t length = sequenceLength(p, end, &consumed);
    if (length > 0) {
      out.append(bytes.substr(static_cast<std::size_t>(p - begin), length));
      p += length;
    } else {
      out.append("\xEF\xBF\xBD");
      p += consumed;
    }
  }
}

}  // namespace orvanta
