// The pixel size of a PNG image from its header, and a writer for plain single-colour PNGs.
//
// Reading checks what a decoder would check first: the 8-byte signature, then the IHDR chunk (length 13,
// a correct CRC, a width and height from 1 to maximumPngSide, a valid bit depth and colour type). Apple's
// optimised PNGs put a "CgBI" chunk before IHDR; that one chunk is skipped. Nothing past IHDR is read.
// All functions are pure and thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvanta {
// The largest side we believe: the format allows 2^31 - 1, but no screen or icon comes near 65,535 pixels,
// and an image that claims more would only make a viewer try to allocate it.
inline constexpr std::uint32_t maximumPngSide = 65535;
}  // namespace orvanta

namespace orvanta {

struct PngSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool operator==(const PngSize&) const = default;
};

// How many leading bytes pngPixelSize() needs at most: signature, a CgBI chunk and IHDR.
inline constexpr std::size_t pngHeaderBytes = 8 + 16 + 25;

// The size in `bytes` (the file's start is enough, see pngHeaderBytes); nullopt when the header is not a
// valid PNG header.
[[nodiscard]] std::optional<PngSize> pngPixelSize(std::string_view bytes) noexcept;

// A complete 8-bit RGB PNG of one colour, with the image data in stored (uncompressed) deflate blocks.
// For test data and the simctl emulator's app icons; width and height from 1 to 4096.
[[nodiscard]] std::string solidColorPng(std::uint32_t width, std::uint32_t height, std::uint8_t red,
                                        std::uint8_t green, std::uint8_t blue);

// CRC-32 as PNG chunks use it (ISO 3309, polynomial 0xEDB88320).
[[nodiscard]] std::uint32_t pngCrc32(std::string_view bytes) noexcept;

}  // namespace orvanta
