// Parsing JSON text with plain error messages.
#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "support/expected.hpp"

namespace orvanta {

// nlohmann's message without its bracketed exception id: "[json.exception.parse_error.101] parse error
// at line 1, column 1: ..." becomes "parse error at line 1, column 1: ...".
[[nodiscard]] std::string plainJsonMessage(std::string_view what);

// Appends `text` (UTF-8) to `out` as a quoted JSON string: quotes, backslashes and control characters
// escaped, everything else as it is. For writers that build JSON text by hand where speed matters.
void appendJsonString(std::string& out, std::string_view text);

// Parses `text` (fragments allowed: any JSON value at top level). The error is plainJsonMessage's text.
template <class Json = nlohmann::json>
[[nodiscard]] expected<Json, std::string> parseJsonText(std::string_view text) {
  try {
    return Json::parse(text.begin(), text.end());
  } catch (const nlohmann::json::exception& error) {
    return unexpected(plainJsonMessage(error.what()));
  }
}

}  // namespace orvanta
