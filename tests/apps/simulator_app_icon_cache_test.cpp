#include "apps/simulator_app_icon_cache.hpp"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "support/png.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using testing::writeBytes;

std::string bigEndian(std::uint32_t value) {
  return {static_cast<char>(value >> 24), static_cast<char>((value >> 16) & 0xFF),
          static_cast<char>((value >> 8) & 0xFF), static_cast<char>(value & 0xFF)};
}

// A PNG header whose IHDR carries these fields, with a correct CRC.
std::string header(std::uint32_t width, std::uint32_t height, char depth = 8, char colorType = 2) {
  std::string ihdr = "IHDR" + bigEndian(width) + bigEndian(height) + depth + colorType + std::string(3, '\0');
  return std::string("\x89PNG\r\n\x1a\n", 8) + bigEndian(13) + ihdr + bigEndian(pngCrc32(ihdr));
}

TEST(PngTest, SizeComesFromACheckedHeader) {
  const std::string valid = solidColorPng(3, 5, 1, 2, 3);
  std::string badCrc = valid;
  badCrc[29] = static_cast<char>(badCrc[29] ^ 1);
  std::string badSignature = valid;
  badSignature[1] = 'p';
  const std::string cgbiData = std::string("\x50\x00\x20\x06", 4);
  const std::string appleOptimised = std::string("\x89PNG\r\n\x1a\n", 8) + bigEndian(4) + "CgBI" + cgbiData +
                                     bigEndian(pngCrc32("CgBI" + cgbiData)) + header(40, 60).substr(8);
  struct Case {
    const char* what;
    std::string bytes;
    std::optional<PngSize> size;
  };
  const Case cases[] = {
      {"header only", header(1024, 768), PngSize{1024, 768}},
      {"Apple-optimised", appleOptimised, PngSize{40, 60}},
      {"damaged IHDR", badCrc, std::nullopt},
      {"wrong signature", badSignature, std::nullopt},
      {"cut short", valid.substr(0, 30), std::nullopt},
      {"zero width", header(0, 5), std::nullopt},
      {"height past 2^31-1", header(5, 0x80000000u), std::nullopt},
      {"RGB with 4 bits", header(5, 5, 4, 2), std::nullopt},
      {"unknown colour type", header(5, 5, 8, 5), std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_EQ(pngPixelSize(c.bytes), c.size);
  }
}

class IconFilesTest : public ::testing::Test {
 protected:
  // A bundle whose Info.plist carries `iconKeys` (XML inside <dict>) and the given files.
  fs::path bundle(const std::string& name, const std::string& iconKeys,
                  const std::vector<std::pair<std::string, std::string>>& files) {
    const fs::path path = scratch_ / (name + ".app");
    fs::create_directories(path);
    writeBytes(path / "Info.plist",
               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
               "<key>CFBundleIdentifier</key><string>com.example." +
                   name + "</string>\n" + iconKeys + "</dict>\n</plist>\n");
    for (const auto& [file, bytes] : files) writeBytes(path / file, bytes);
    return path;
  }

  testing::ScratchFolder scratch_;
};

constexpr const char* kModernIcons =
    "<key>CFBundleIcons</key><dict><key>CFBundlePrimaryIcon</key><dict>"
    "<key>CFBundleIconFiles</key><array><string>AppIcon60x60</string></array></dict></dict>\n"
    "<key>CFBundleIcons~ipad</key><dict><key>CFBundlePrimaryIcon</key><dict>"
    "<key>CFBundleIconFiles</key><array><string>AppIcon60x60</string><string>AppIcon76x76</string></array>"
    "</dict></dict>\n"
    "<key>CFBundleIconFiles</key><array><string>Icon.png</string><string>../Outside.png</string></array>\n";

TEST_F(IconFilesTest, TheLargestNamedPngInsideTheBundleWins) {
  const fs::path elsewhere = scratch_ / "Outside.png";
  writeBytes(elsewhere, solidColorPng(600, 600, 0, 0, 0));
  const fs::path path = bundle("cafe", kModernIcons,
                               {{"AppIcon60x60@2x.png", solidColorPng(120, 120, 1, 1, 1)},
                                {"AppIcon60x60@3x.png", solidColorPng(180, 180, 1, 1, 1)},
                                {"AppIcon76x76@2x~ipad.png", solidColorPng(152, 152, 1, 1, 1)},
                                {"Icon.png", solidColorPng(57, 57, 1, 1, 1)},
                                {"AppIcon60x60@4x.png", "not a PNG at all, though larger on disk"},
                                {"AppIcon60x60Huge.png", solidColorPng(400, 400, 1, 1, 1)},  // not this app's name
                                {"AppIcon60x60@x.png", solidColorPng(300, 300, 1, 1, 1)}});
  fs::create_symlink(elsewhere, path / "AppIcon60x60@5x.png");
  auto icon = findAppIconFile(path);
  ASSERT_TRUE(icon);
  EXPECT_EQ(icon->path, path / "AppIcon60x60@3x.png");
  EXPECT_EQ(icon->size, (PngSize{180, 180}));

  // Equal areas: the first name in byte order, whatever the directory order.
  const fs::path tie =
      bundle("tie", "<key>CFBundleIconFiles</key><array><string>B</string><string>A</string></array>",
             {{"B.png", solidColorPng(10, 40, 1, 1, 1)}, {"A@2x.png", solidColorPng(20, 20, 1, 1, 1)}});
  auto tied = findAppIconFile(tie);
  ASSERT_TRUE(tied);
  EXPECT_EQ(tied->path, tie / "A@2x.png");
}

TEST_F(IconFilesTest, BundlesWithoutIconsHaveNone) {
  EXPECT_FALSE(findAppIconFile(bundle("bare", "", {{"AppIcon.png", solidColorPng(10, 10, 1, 1, 1)}})));
  EXPECT_FALSE(findAppIconFile(bundle("unlisted", kModernIcons, {})));
  EXPECT_FALSE(findAppIconFile(scratch_ / "Missing.app"));
}

TEST_F(IconFilesTest, CacheKeepsTheMostRecentlyUsedIcons) {
  auto iconBundle = [&](const std::string& name, std::uint32_t pixels) {
    return bundle(name, "<key>CFBundleIconFiles</key><array><string>Icon</string></array>",
                  {{"Icon.png", solidColorPng(pixels, pixels, 9, 9, 9)}});
  };
  const fs::path a = iconBundle("a", 10), b = iconBundle("b", 20), c = iconBundle("c", 30);
  const fs::path none = bundle("none", "", {});
  SimulatorAppIconCache cache(2);

  auto first = cache.icon(a);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->size, (PngSize{10, 10}));
  EXPECT_EQ(*first->bytes, solidColorPng(10, 10, 9, 9, 9));
  ASSERT_TRUE(cache.icon(b));
  EXPECT_EQ(cache.renderCount(), 2u);

  // A hit is not rendered again, and makes its entry the most recent.
  auto again = cache.icon(a);
  ASSERT_TRUE(again);
  EXPECT_EQ(again->bytes, first->bytes);
  EXPECT_EQ(cache.renderCount(), 2u);
  EXPECT_EQ(cache.order(), (std::vector<std::string>{b.string(), a.string()}));

  // A third icon evicts the least recently used one.
  ASSERT_TRUE(cache.icon(c));
  EXPECT_EQ(cache.order(), (std::vector<std::string>{a.string(), c.string()}));
  EXPECT_FALSE(cache.contains(b));
  ASSERT_TRUE(cache.icon(b));
  EXPECT_EQ(cache.renderCount(), 4u);
  EXPECT_EQ(cache.order(), (std::vector<std::string>{c.string(), b.string()}));

  // No icon: nothing rendered, nothing cached, nothing evicted.
  EXPECT_FALSE(cache.icon(none));
  EXPECT_EQ(cache.renderCount(), 4u);
  EXPECT_EQ(cache.order().size(), 2u);

  SimulatorAppIconCache uncached(0);
  ASSERT_TRUE(uncached.icon(a));
  ASSERT_TRUE(uncached.icon(a));
  EXPECT_EQ(uncached.renderCount(), 2u);
  EXPECT_TRUE(uncached.order().empty());
}

TEST_F(IconFilesTest, ConcurrentLookupsRenderEachIconOnce) {
  std::vector<fs::path> bundles;
  for (int i = 0; i < 4; ++i) {
    bundles.push_back(bundle("app" + std::to_string(i),
                             "<key>CFBundleIconFiles</key><array><string>Icon</string></array>",
                             {{"Icon.png", solidColorPng(16, 16, static_cast<std::uint8_t>(i), 0, 0)}}));
  }
  SimulatorAppIconCache cache(8);
  std::vector<std::thread> threads;
  std::atomic<int> found{0};
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int round = 0; round < 25; ++round) {
        for (const auto& path : bundles) found += cache.icon(path) ? 1 : 0;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(found.load(), 4 * 25 * 4);
  EXPECT_EQ(cache.renderCount(), 4u);
}

}  // namespace
}  // namespace orvanta
