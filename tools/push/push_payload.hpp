// Checking a push payload before it goes anywhere. Pure functions; thread-safe.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "support/expected.hpp"
#include "tools/push/push_error.hpp"

namespace orvanta {

// simctl refuses payloads above this many bytes.
inline constexpr std::size_t maximumPushPayloadBytes = 4096;

// `text` without the white space and line breaks at either end: ASCII spaces, tabs and line ends, and the
// Unicode spaces and separators (no-break space, U+2028, ideographic space, ...). Bytes that are not
// well-formed UTF-8 are never trimmed.
[[nodiscard]] std::string_view trimmedPayloadText(std::string_view text);

// The payload bytes to send: `text` trimmed. The checks run in this order and the first failure wins, as
// invalidPayload with its sentence:
//   1. nothing left after trimming: "Enter a JSON payload."
//   2. more than 4096 bytes: "Payload exceeds the 4,096-byte limit (<count> bytes)." (checked before the
//      JSON, so an over-long text is reported by its size even when it is not JSON either);
//   3. not JSON (any JSON value is read, not only objects): "Invalid JSON: " + the parser's message;
//   4. not an object with an "aps" member that is itself an object:
//      "Payload must be a JSON object containing an aps object."
[[nodiscard]] expected<std::string, PushError> validatePushPayload(std::string_view text);

}  // namespace orvanta
