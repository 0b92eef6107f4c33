#include "tools/location/route_name.hpp"

namespace orvanta {
namespace {

bool isControl(char32_t c) { return c < 0x20 || (c >= 0x7F && c <= 0x9F); }

bool isWhiteSpace(char32_t c) {
  return c == 0x20 || (c >= 0x09 && c <= 0x0D) || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}

// Decodes one well-formed UTF-8 sequence at the start of `bytes`; `length` is 0 when it is not one.
char32_t decode(std::string_view bytes, std::size_t& length) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
  const unsigned char lead = byte(0);
  length = 0;
  if (lead < 0x80) {
    length = 1;
    return lead;
  }
  std::size_t size = 0;
  char32_t value = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;  // the allowed range of the second byte, which excludes overlongs and surrogates
  if (lead >= 0xC2 && lead <= 0xDF) {
    size = 2;
    value = lead & 0x1Fu;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    size = 3;
    value = lead & 0x0Fu;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    size = 4;
    value = lead & 0x07u;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (bytes.size() < size || byte(1) < low || byte(1) > high) return 0;
  for (std::size_t i = 1; i < size; ++i) {
    if ((byte(i) & 0xC0u) != 0x80u) return 0;
    value = (value << 6) | (byte(i) & 0x3Fu);
  }
  length = size;
  return value;
}

}  // namespace

namespace detail {

void RouteNameBuilder::append(std::string_view utf8) {
  while (!utf8.empty() && length_ < maximumRouteNameLength) {
    std::size_t size = 0;
    const char32_t codePoint = decode(utf8, size);
    if (size == 0) {
      add(0xFFFD, "\xEF\xBF\xBD");
      utf8.remove_prefix(1);
    } else {
      add(codePoint, utf8.substr(0, size));
      utf8.remove_prefix(size);
    }
  }
}

void RouteNameBuilder::add(char32_t codePoint, std::string_view bytes) {
  if (isControl(codePoint) || isWhiteSpace(codePoint)) {
    pendingSpace_ = true;
    return;
  }
  // A run of white space counts as one space only once something follows it, so leading and trailing
  // runs vanish; the cut at the maximum length may still end on such a space.
  if (pendingSpace_ && length_ > 0) {
    name_ += ' ';
    ++length_;
  }
  pendingSpace_ = false;
  if (length_ < maximumRouteNameLength) {
    name_ += bytes;
    ++length_;
  }
}

std::string RouteNameBuilder::take() {
  std::string name = std::move(name_);
  name_.clear();
  length_ = 0;
  pendingSpace_ = false;
  return name;
}

}  // namespace detail

std::string normalizeRouteName(std::string_view utf8) {
  detail::RouteNameBuilder builder;
  builder.append(utf8);
  return builder.take();
}

}  // namespace orvanta
