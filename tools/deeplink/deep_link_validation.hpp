// Checking a typed URL before it is sent to a simulator.
//
// The rules, in order:
//  1. Whitespace and line breaks at both ends are trimmed (every Unicode White_Space character, not only
//     ASCII); nothing left: emptyURL.
//  2. Any whitespace or line break still inside: malformedURL (simctl would send only part of it).
//  3. The text must be an RFC 3986 URI or relative reference (uriparser): malformedURL otherwise. That
//     includes characters outside the URI grammar (non-ASCII, `"`, `<`), "%" not followed by two hex
//     digits, and an IPv6 host that is not a valid address.
//  4. No scheme: missingScheme ("example.com/path", "//host/x").
//  5. The scheme, lower-cased, gives the kind: "http", "https", or custom with that scheme.
// The text sent is the trimmed text as typed; the scheme's letter case is kept there.
//
// Pure functions; thread-safe.
#pragma once

#include <string>
#include <string_view>

#include "support/expected.hpp"
#include "tools/deeplink/deep_link_error.hpp"

namespace orvanta {

struct DeepLinkKind {
  enum class Case { custom, http, https };
  Case kind = Case::custom;
  std::string scheme;  // custom: the lower-cased scheme; http and https: "http", "https"

  static DeepLinkKind custom(std::string scheme) { return {Case::custom, std::move(scheme)}; }
  static DeepLinkKind http() { return {Case::http, "http"}; }
  static DeepLinkKind https() { return {Case::https, "https"}; }

  // "custom", "http" or "https".
  [[nodiscard]] std::string_view caseName() const;
  bool operator==(const DeepLinkKind&) const = default;
};

struct ValidatedDeepLink {
  std::string urlString;  // the trimmed text, exactly as typed otherwise
  DeepLinkKind kind;
  bool operator==(const ValidatedDeepLink&) const = default;
};

// Validates `text` by the rules above. Fails with emptyURL, malformedURL or missingScheme.
[[nodiscard]] expected<ValidatedDeepLink, DeepLinkError> validateDeepLink(std::string_view text);

// `text` without the Unicode whitespace at both ends (invalid UTF-8 is left as it is).
[[nodiscard]] std::string_view trimDeepLinkWhitespace(std::string_view text);

}  // namespace orvanta
