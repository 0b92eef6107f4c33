// Small text helpers that every tool needs.
#pragma once

#include <string>
#include <string_view>

namespace orvanta {

// `text` without leading and trailing white space (space, tab, CR, LF, vertical tab, form feed).
[[nodiscard]] constexpr std::string_view trimWhitespace(std::string_view text) noexcept {
  constexpr std::string_view space = " \t\r\n\v\f";
  const auto first = text.find_first_not_of(space);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(space) - first + 1);
}

// `text` with ASCII upper-case letters made lower case (file extensions, flags); other bytes unchanged.
[[nodiscard]] inline std::string asciiLowercase(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

// A sentence that ends with a reason: "<head>: <reason>", or "<head>." when there is no reason.
[[nodiscard]] inline std::string withReason(std::string head, std::string_view reason) {
  if (reason.empty()) return head + ".";
  return head + ": " + std::string(reason);
}

}  // namespace orvanta
