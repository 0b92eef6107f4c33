// UTF-8 checks.
#pragma once

#include <string_view>

namespace orvanta {

// Whether `bytes` is well-formed UTF-8 (no overlong forms, no surrogates, nothing above U+10FFFF).
[[nodiscard]] bool isValidUtf8(std::string_view bytes) noexcept;

}  // namespace orvanta
