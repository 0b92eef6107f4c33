// Shrinking a PNG image to fit a bounding size, for previews that must stay small (an agent's image
// content). Decoding and encoding go through libpng; the pixels are averaged over the source area each
// target pixel covers, so that text stays legible. Pure and thread-safe.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "support/expected.hpp"

namespace orvanta {

struct ScaledPng {
  std::string bytes;  // a complete PNG
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool scaled = false;  // false: the input already fitted and `bytes` is the input as it was
};

// `png` scaled down, keeping its aspect ratio, so that neither side exceeds `maximumSide` (at least 1).
// An image that fits is returned as it is. Fails with a sentence when the bytes are not a PNG that libpng
// can read, or are larger than maximumPngSide on a side.
[[nodiscard]] expected<ScaledPng, std::string> fitPng(std::string_view png, std::uint32_t maximumSide);

}  // namespace orvanta
