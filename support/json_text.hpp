// Parsing JSON text with plain error messages.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "support/expected.hpp"

namespace orvanta {

// nlohmann's message without its bracketed exception id: "[json.exception.parse_error.101] parse error
// at line 1, column 1: ..." becomes "parse error at line 1, column 1: ...".
[[nodiscard]] std::string plainJsonMessage(std::string_view what);

// Appends `text` (UTF-8) to `out` as a quoted JSON string: quotes, backslashes and control characters
// escaped (\n, \r, \t, \b, \f, the rest as \u00xx), everything else as it is. For writers that build
// JSON text by hand where speed matters.
void appendJsonString(std::string& out, std::string_view text);

// The most bytes writeJsonString() writes for a text of `size` bytes (every byte a \u00xx, and the quotes).
[[nodiscard]] constexpr std::size_t jsonStringBound(std::size_t size) noexcept { return 6 * size + 2; }
// appendJsonString() into raw memory: writes the quoted string at `out`, which has room for
// jsonStringBound(text.size()) bytes, and returns the end of what it wrote. Runs of bytes that need no
// escape are found eight at a time.
char* writeJsonString(char* out, std::string_view text) noexcept;


// Every document we read from outside nests at most this deep; deeper ones are refused before parsing, so
// that neither the parser nor the recursive copies and printers of a parsed value can run out of stack.
inline constexpr std::size_t maximumJsonDepth = 64;
// The largest JSON text we parse at all; readers with a purpose have smaller budgets of their own.
inline constexpr std::size_t maximumJsonBytes = 64 * 1024 * 1024;

// How deep `text` nests arrays and objects (strings skipped), counting no further than one beyond
// `limit`. One pass over the bytes; it validates nothing else.
[[nodiscard]] std::size_t jsonNestingDepth(std::string_view text, std::size_t limit) noexcept;

// Why `text` is beyond the limits ("the document nests deeper than 64 levels"), or nullopt. One pass over
// the bytes, strings skipped; it does not validate anything else.
[[nodiscard]] std::optional<std::string> jsonLimitProblem(std::string_view text, std::size_t maxDepth = maximumJsonDepth,
                                                          std::size_t maxBytes = maximumJsonBytes);

// Parses `text` (fragments allowed: any JSON value at top level) within the limits above. The error is
// jsonLimitProblem's or plainJsonMessage's text.
template <class Json = nlohmann::json>
[[nodiscard]] expected<Json, std::string> parseJsonText(std::string_view text, std::size_t maxBytes = maximumJsonBytes) {
  if (auto problem = jsonLimitProblem(text, maximumJsonDepth, maxBytes)) return unexpected(std::move(*problem));
  try {
    return Json::parse(text.begin(), text.end());
  } catch (const nlohmann::json::exception& error) {
    return unexpected(plainJsonMessage(error.what()));
  }
}

}  // namespace orvanta
