// The display name of an imported route, cleaned of whatever the file put in it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace orvanta {

inline constexpr std::size_t maximumRouteNameLength = 120;  // Unicode code points

// Normalises a name taken from a GPX file or a file name: every control character becomes a space, each
// run of white space becomes one space, leading and trailing white space go, and the result keeps its
// first 120 code points. Bytes that are not valid UTF-8 become U+FFFD. Pure and thread-safe.
[[nodiscard]] std::string normalizeRouteName(std::string_view utf8);

namespace detail {

// normalizeRouteName fed piece by piece, as an XML reader delivers an element's text. It never holds
// more than the finished name, whatever the length of the text. A character split between two pieces
// is taken as invalid, which the XML reader never does. Not thread-safe; one per name.
class RouteNameBuilder {
 public:
  void append(std::string_view utf8);
  // The normalised name; the builder is empty afterwards.
  [[nodiscard]] std::string take();

 private:
  void add(char32_t codePoint, std::string_view bytes);
  std::string name_;
  std::size_t length_ = 0;
  bool pendingSpace_ = false;
};

}  // namespace detail
}  // namespace orvanta
