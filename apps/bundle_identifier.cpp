#include "apps/bundle_identifier.hpp"

namespace orvanta {

bool isWellFormedBundleIdentifier(std::string_view text) {
  if (text.empty() || text.size() > 255) return false;
  std::size_t components = 1;
  std::size_t componentLength = 0;
  for (char c : text) {
    if (c == '.') {
      if (componentLength == 0) return false;
      ++components;
      componentLength = 0;
      continue;
    }
    const bool allowed = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                         c == '_';
    if (!allowed) return false;
    ++componentLength;
  }
  return componentLength > 0 && components >= 2;
}

}  // namespace orvanta
