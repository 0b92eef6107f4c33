// UUIDs as Orvanta writes them: 36 upper-case hexadecimal digits and hyphens,
// "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvanta {

// A new random (version 4, RFC 4122 variant) UUID in upper-case hyphenated form. Thread-safe.
[[nodiscard]] std::string makeUUID();

// The canonical upper-case form of `text` when it is a UUID in the 8-4-4-4-12 hyphenated layout, in any
// letter case; nullopt for anything else (braces, spaces, missing or extra digits). Any version is
// accepted. Thread-safe.
[[nodiscard]] std::optional<std::string> parseUUID(std::string_view text);

}  // namespace orvanta
