#include "support/png_scaling.hpp"

#include <png.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "support/png.hpp"

namespace orvanta {

namespace {

// Frees what libpng allocated for an image on every path out.
struct ImageGuard {
  png_image* image;
  ~ImageGuard() { png_image_free(image); }
};

// Each target pixel is the average of the source pixels its area covers (a box filter, with whole source
// pixels: the error is at most one source pixel at an edge, which is invisible at these ratios).
std::vector<std::uint8_t> shrink(const std::vector<std::uint8_t>& source, std::uint32_t width, std::uint32_t height,
                                 std::uint32_t targetWidth, std::uint32_t targetHeight) {
  std::vector<std::uint8_t> target(static_cast<std::size_t>(targetWidth) * targetHeight * 4);
  for (std::uint32_t y = 0; y < targetHeight; ++y) {
    const std::uint64_t top = static_cast<std::uint64_t>(y) * height / targetHeight;
    const std::uint64_t bottom = std::max<std::uint64_t>(top + 1, static_cast<std::uint64_t>(y + 1) * height / targetHeight);
    for (std::uint32_t x = 0; x < targetWidth; ++x) {
      const std::uint64_t left = static_cast<std::uint64_t>(x) * width / targetWidth;
      const std::uint64_t right = std::max<std::uint64_t>(left + 1, static_cast<std::uint64_t>(x + 1) * width / targetWidth);
      std::uint64_t sums[4] = {0, 0, 0, 0};
      for (std::uint64_t sy = top; sy < bottom; ++sy) {
        const std::uint8_t* row = source.data() + (sy * width + left) * 4;
        for (std::uint64_t sx = left; sx < right; ++sx, row += 4) {
          for (int channel = 0; channel < 4; ++channel) sums[channel] += row[channel];
        }
      }
      const std::uint64_t count = (bottom - top) * (right - left);
      std::uint8_t* out = target.data() + (static_cast<std::size_t>(y) * targetWidth + x) * 4;
      for (int channel = 0; channel < 4; ++channel) out[channel] = static_cast<std::uint8_t>((sums[channel] + count / 2) / count);
    }
  }
  return target;
}

}  // namespace

expected<ScaledPng, std::string> fitPng(std::string_view png, std::uint32_t maximumSide) {
  maximumSide = std::max<std::uint32_t>(1, maximumSide);
  png_image image;
  std::memset(&image, 0, sizeof image);
  image.version = PNG_IMAGE_VERSION;
  ImageGuard guard{&image};
  if (png_image_begin_read_from_memory(&image, png.data(), png.size()) == 0) {
    return unexpected(std::string("The image is not a PNG that can be read: ") + image.message);
  }
  const std::uint32_t width = image.width;
  const std::uint32_t height = image.height;
  if (width == 0 || height == 0 || width > maximumPngSide || height > maximumPngSide) {
    return unexpected(std::string("The image's size is out of range."));
  }
  if (width <= maximumSide && height <= maximumSide) {
    return ScaledPng{std::string(png), width, height, false};
  }
  image.format = PNG_FORMAT_RGBA;
  std::vector<std::uint8_t> pixels(PNG_IMAGE_SIZE(image));
  if (png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr) == 0) {
    return unexpected(std::string("The image could not be decoded: ") + image.message);
  }
  const double ratio = static_cast<double>(maximumSide) / std::max(width, height);
  const auto targetWidth = std::clamp<std::uint32_t>(static_cast<std::uint32_t>(width * ratio + 0.5), 1, maximumSide);
  const auto targetHeight = std::clamp<std::uint32_t>(static_cast<std::uint32_t>(height * ratio + 0.5), 1, maximumSide);
  const auto scaled = shrink(pixels, width, height, targetWidth, targetHeight);

  png_image output;
  std::memset(&output, 0, sizeof output);
  output.version = PNG_IMAGE_VERSION;
  output.width = targetWidth;
  output.height = targetHeight;
  output.format = PNG_FORMAT_RGBA;
  ImageGuard outputGuard{&output};
  png_alloc_size_t size = 0;
  if (png_image_write_to_memory(&output, nullptr, &size, 0, scaled.data(), 0, nullptr) == 0) {
    return unexpected(std::string("The scaled image could not be encoded: ") + output.message);
  }
  std::string bytes(size, '\0');
  if (png_image_write_to_memory(&output, bytes.data(), &size, 0, scaled.data(), 0, nullptr) == 0) {
    return unexpected(std::string("The scaled image could not be encoded: ") + output.message);
  }
  bytes.resize(size);
  return ScaledPng{std::move(bytes), targetWidth, targetHeight, true};
}

}  // namespace orvanta
