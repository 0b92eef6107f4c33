#include "support/png.hpp"

#include <algorithm>
#include <array>

namespace orvanta {
namespace {

constexpr std::string_view kSignature{"\x89PNG\r\n\x1a\n", 8};

constexpr std::array<std::uint32_t, 256> makeCrcTable() {
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t n = 0; n < 256; ++n) {
    std::uint32_t c = n;
    for (int k = 0; k < 8; ++k) c = (c & 1u) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    table[n] = c;
  }
  return table;
}
constexpr auto kCrcTable = makeCrcTable();

std::uint32_t bigEndian32(std::string_view bytes, std::size_t at) {
  auto byte = [&](std::size_t i) { return static_cast<std::uint32_t>(static_cast<unsigned char>(bytes[at + i])); };
  return (byte(0) << 24) | (byte(1) << 16) | (byte(2) << 8) | byte(3);
}

void appendBigEndian32(std::string& out, std::uint32_t value) {
  out += static_cast<char>((value >> 24) & 0xFFu);
  out += static_cast<char>((value >> 16) & 0xFFu);
  out += static_cast<char>((value >> 8) & 0xFFu);
  out += static_cast<char>(value & 0xFFu);
}

void appendChunk(std::string& out, std::string_view type, std::string_view data) {
  appendBigEndian32(out, static_cast<std::uint32_t>(data.size()));
  std::string typed(type);
  typed += data;
  out += typed;
  appendBigEndian32(out, pngCrc32(typed));
}

// Which bit depths each colour type allows.
bool validDepth(unsigned colorType, unsigned depth) {
  switch (colorType) {
    case 0: return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16;
    case 3: return depth == 1 || depth == 2 || depth == 4 || depth == 8;
    case 2:
    case 4:
    case 6: return depth == 8 || depth == 16;
    default: return false;
  }
}

}  // namespace

std::uint32_t pngCrc32(std::string_view bytes) noexcept {
  std::uint32_t c = 0xFFFFFFFFu;
  for (char ch : bytes) c = kCrcTable[(c ^ static_cast<unsigned char>(ch)) & 0xFFu] ^ (c >> 8);
  return c ^ 0xFFFFFFFFu;
}

std::optional<PngSize> pngPixelSize(std::string_view bytes) noexcept {
  if (!bytes.starts_with(kSignature)) return std::nullopt;
  std::size_t at = kSignature.size();
  if (bytes.size() >= at + 8 && bytes.substr(at + 4, 4) == "CgBI") {
    const std::uint32_t length = bigEndian32(bytes, at);
    if (length > 64) return std::nullopt;
    at += 12 + length;
  }
  if (bytes.size() < at + 25) return std::nullopt;
  if (bigEndian32(bytes, at) != 13 || bytes.substr(at + 4, 4) != "IHDR") return std::nullopt;
  if (pngCrc32(bytes.substr(at + 4, 17)) != bigEndian32(bytes, at + 21)) return std::nullopt;
  const std::uint32_t width = bigEndian32(bytes, at + 8);
  const std::uint32_t height = bigEndian32(bytes, at + 12);
  if (width == 0 || height == 0 || width > maximumPngSide || height > maximumPngSide) return std::nullopt;
  const auto depth = static_cast<unsigned char>(bytes[at + 16]);
  const auto colorType = static_cast<unsigned char>(bytes[at + 17]);
  if (!validDepth(colorType, depth)) return std::nullopt;
  return PngSize{width, height};
}

std::string solidColorPng(std::uint32_t width, std::uint32_t height, std::uint8_t red, std::uint8_t green,
                          std::uint8_t blue) {
  width = std::clamp<std::uint32_t>(width, 1, 4096);
  height = std::clamp<std::uint32_t>(height, 1, 4096);
  std::string header;
  appendBigEndian32(header, width);
  appendBigEndian32(header, height);
  header += '\x08';  // bit depth
  header += '\x02';  // RGB
  header += std::string(3, '\0');  // deflate, adaptive filtering, no interlace

  std::string raw;
  raw.reserve(static_cast<std::size_t>(height) * (1 + 3 * static_cast<std::size_t>(width)));
  for (std::uint32_t y = 0; y < height; ++y) {
    raw += '\0';  // filter type None
    for (std::uint32_t x = 0; x < width; ++x) {
      raw += static_cast<char>(red);
      raw += static_cast<char>(green);
      raw += static_cast<char>(blue);
    }
  }

  // A zlib stream of stored blocks: no compression library needed.
  std::string zlib("\x78\x01", 2);
  std::size_t offset = 0;
  do {
    const std::size_t length = std::min<std::size_t>(raw.size() - offset, 65535);
    const bool last = offset + length == raw.size();
    zlib += static_cast<char>(last ? 1 : 0);
    zlib += static_cast<char>(length & 0xFFu);
    zlib += static_cast<char>((length >> 8) & 0xFFu);
    zlib += static_cast<char>(~length & 0xFFu);
    zlib += static_cast<char>((~length >> 8) & 0xFFu);
    zlib.append(raw, offset, length);
    offset += length;
  } while (offset < raw.size());
  std::uint32_t a = 1, b = 0;
  for (char ch : raw) {
    a = (a + static_cast<unsigned char>(ch)) % 65521u;
    b = (b + a) % 65521u;
  }
  appendBigEndian32(zlib, (b << 16) | a);

  std::string png(kSignature);
  appendChunk(png, "IHDR", header);
  appendChunk(png, "IDAT", zlib);
  appendChunk(png, "IEND", {});
  return png;
}

}  // namespace orvanta
