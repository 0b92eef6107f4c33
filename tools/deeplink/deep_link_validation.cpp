#include "tools/deeplink/deep_link_validation.hpp"

#include <uriparser/Uri.h>

#include <algorithm>
#include <cstdint>
#include <optional>

#include "support/utf8.hpp"

namespace orvanta {
namespace {

using Case = DeepLinkError::Case;

struct CodePoint {
  char32_t value;
  std::size_t length;
};

// The code point starting at `at`; nullopt for a byte that does not start a well-formed sequence.
std::optional<CodePoint> decodeAt(std::string_view text, std::size_t at) {
  const Utf8Sequence sequence = decodeUtf8(text.substr(at));
  if (sequence.length == 0) return std::nullopt;
  return CodePoint{sequence.codePoint, sequence.length};
}

// The length of the whitespace character that ends at `end`, or 0.
std::size_t whiteSpaceEndingAt(std::string_view text, std::size_t end) {
  for (std::size_t length = 1; length <= 4 && length <= end; ++length) {
    auto decoded = decodeAt(text, end - length);
    if (decoded && decoded->length == length) return isUnicodeWhiteSpace(decoded->value) ? length : 0;
  }
  return 0;
}

bool containsWhiteSpace(std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    auto decoded = decodeAt(text, at);
    if (!decoded) {
      ++at;
      continue;
    }
    if (isUnicodeWhiteSpace(decoded->value)) return true;
    at += decoded->length;
  }
  return false;
}

std::string lowerCased(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lower;
}

// The scheme of an RFC 3986 reference; nullopt when the text is not one, "" when it has no scheme.
std::optional<std::string> parsedScheme(std::string_view text) {
  UriUriA uri;
  const char* errorPosition = nullptr;
  if (uriParseSingleUriExA(&uri, text.data(), text.data() + text.size(), &errorPosition) != URI_SUCCESS) {
    return std::nullopt;
  }
  std::string scheme;
  if (uri.scheme.first != nullptr && uri.scheme.afterLast != nullptr) {
    scheme.assign(uri.scheme.first, uri.scheme.afterLast);
  }
  uriFreeUriMembersA(&uri);
  return scheme;
}

}  // namespace

std::string_view DeepLinkKind::caseName() const {
  switch (kind) {
    case Case::custom:
      return "custom";
    case Case::http:
      return "http";
    case Case::https:
      return "https";
  }
  return {};
}

std::string_view trimDeepLinkWhitespace(std::string_view text) {
  std::size_t first = 0;
  while (first < text.size()) {
    auto decoded = decodeAt(text, first);
    if (!decoded || !isUnicodeWhiteSpace(decoded->value)) break;
    first += decoded->length;
  }
  std::size_t end = text.size();
  while (end > first) {
    const std::size_t length = whiteSpaceEndingAt(text, end);
    if (length == 0) break;
    end -= length;
  }
  return text.substr(first, end - first);
}

expected<ValidatedDeepLink, DeepLinkError> validateDeepLink(std::string_view text) {
  const std::string_view trimmed = trimDeepLinkWhitespace(text);
  if (trimmed.empty()) return unexpected(DeepLinkError(Case::emptyURL));
  if (containsWhiteSpace(trimmed)) return unexpected(DeepLinkError(Case::malformedURL));
  auto scheme = parsedScheme(trimmed);
  if (!scheme) return unexpected(DeepLinkError(Case::malformedURL));
  if (scheme->empty()) return unexpected(DeepLinkError(Case::missingScheme));
  std::string lower = lowerCased(*scheme);
  DeepLinkKind kind = lower == "http"    ? DeepLinkKind::http()
                      : lower == "https" ? DeepLinkKind::https()
                                         : DeepLinkKind::custom(std::move(lower));
  return ValidatedDeepLink{std::string(trimmed), std::move(kind)};
}

}  // namespace orvanta
