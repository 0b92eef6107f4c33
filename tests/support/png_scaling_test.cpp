#include "support/png_scaling.hpp"

#include <gtest/gtest.h>

#include "support/png.hpp"

namespace orvanta {
namespace {

TEST(PngScaling, ShrinksToFitTheLongSideKeepingTheRatioAndTheColour) {
  struct Case {
    std::uint32_t width, height, side, expectedWidth, expectedHeight;
  };
  for (const auto& [width, height, side, expectedWidth, expectedHeight] : std::vector<Case>{
           {4000, 2000, 2000, 2000, 1000}, {1179, 2556, 2000, 923, 2000}, {3000, 3, 1000, 1000, 1}, {10, 10, 3, 3, 3}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    const auto source = solidColorPng(width, height, 200, 40, 10);
    auto scaled = fitPng(source, side);
    ASSERT_TRUE(scaled) << scaled.error();
    EXPECT_TRUE(scaled->scaled);
    EXPECT_EQ(scaled->width, expectedWidth);
    EXPECT_EQ(scaled->height, expectedHeight);
    // The bytes are a PNG of that size, which reads back with the source's colour.
    EXPECT_EQ(pngPixelSize(scaled->bytes), (PngSize{expectedWidth, expectedHeight}));
    auto again = fitPng(scaled->bytes, 1);
    ASSERT_TRUE(again);
    EXPECT_EQ(again->width * again->height, 1u);
  }
}

TEST(PngScaling, AnImageThatFitsIsKeptAndGarbageIsRefused) {
  const auto source = solidColorPng(640, 480, 1, 2, 3);
  auto kept = fitPng(source, 2000);
  ASSERT_TRUE(kept);
  EXPECT_FALSE(kept->scaled);
  EXPECT_EQ(kept->bytes, source);
  EXPECT_FALSE(fitPng("not a png at all", 2000));
  EXPECT_FALSE(fitPng(source.substr(0, source.size() / 2), 10));
}

}  // namespace
}  // namespace orvanta
