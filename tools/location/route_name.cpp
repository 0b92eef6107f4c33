#include "tools/location/route_name.hpp"

#include "support/utf8.hpp"

namespace orvanta {
namespace {

bool isControl(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

}  // namespace

namespace detail {

void RouteNameBuilder::append(std::string_view utf8) {
  while (!utf8.empty() && length_ < maximumRouteNameLength) {
    const Utf8Sequence sequence = decodeUtf8(utf8);
    if (sequence.length == 0) {
      add(0xFFFD, "\xEF\xBF\xBD");
      utf8.remove_prefix(sequence.invalidLength);
    } else {
      add(sequence.codePoint, utf8.substr(0, sequence.length));
      utf8.remove_prefix(sequence.length);
    }
  }
}

void RouteNameBuilder::add(char32_t codePoint, std::string_view bytes) {
  if (isControl(codePoint) || isUnicodeWhiteSpace(codePoint)) {
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
