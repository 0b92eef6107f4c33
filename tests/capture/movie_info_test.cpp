#include "support/movie_info.hpp"

#include <gtest/gtest.h>

#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::ScratchFolder;

const std::filesystem::path kMovies = std::filesystem::path(ORVANTA_FIXTURES).parent_path() / "capture/fixtures/movies";

std::string movieBytes(const std::string& name) { return *testing::readBytes(kMovies / name); }

TEST(MovieInfoTest, ReadsFilesMadeByARealEncoder) {
  struct Case {
    const char* file;
    double duration;
    std::uint32_t width, height;
  };
  for (const Case& c : {Case{"h264-64x48-1s.mov", 1.0, 64, 48},           // movie box after the media data
                        Case{"h264-120x90-2s.mp4", 2.0, 120, 90},          // movie box first (faststart)
                        Case{"hevc-96x64-1.5s.mov", 1.5, 96, 64},
                        Case{"hevc-80x60-1s.mp4", 1.0, 80, 60},
                        Case{"audio-first-160x120.mp4", 1.0, 160, 120}}) {  // the video track is the second
    SCOPED_TRACE(c.file);
    auto fromFile = readMovieInfoFile(kMovies / c.file);
    ASSERT_TRUE(fromFile.has_value()) << fromFile.error();
    EXPECT_NEAR(fromFile->duration, c.duration, 0.05);
    EXPECT_EQ(fromFile->pixelWidth, c.width);
    EXPECT_EQ(fromFile->pixelHeight, c.height);
    EXPECT_EQ(readMovieInfo(movieBytes(c.file)), fromFile);
  }
}

TEST(MovieInfoTest, DamagedAndHostileInputsFailWithoutReadingOutOfBounds) {
  // Every truncation of a real movie: either still readable (the movie box survived) or an error.
  const std::string whole = movieBytes("h264-120x90-2s.mp4");
  for (std::size_t length = 0; length < whole.size(); ++length) {
    auto info = readMovieInfo(std::string_view(whole).substr(0, length));
    if (info) {
      EXPECT_EQ(info->pixelWidth, 120u);
    }
  }
  // Every single byte flipped: never a crash.
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 0xFF);
    (void)readMovieInfo(damaged);
  }

  auto box = [](std::string_view type, std::string body, std::uint32_t size = 0) {
    std::string out(4, '\0');
    const std::uint32_t total = size ? size : static_cast<std::uint32_t>(8 + body.size());
    for (int i = 0; i < 4; ++i) out[static_cast<std::size_t>(i)] = static_cast<char>(total >> (24 - 8 * i));
    return out + std::string(type) + body;
  };
  struct Case {
    const char* name;
    std::string bytes;
    std::string reason;
  };
  const std::string mvhdNoScale = box("mvhd", std::string(100, '\0'));
  for (const Case& c : {Case{"empty", "", "no movie box"},
                        Case{"not a movie", "GIF89a and some more bytes", "no movie box"},
                        Case{"size larger than the file", box("moov", "", 0xFFFFFF00u), "no movie box"},
                        Case{"64-bit size larger than the file",
                             std::string("\0\0\0\1moov\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", 16), "no movie box"},
                        Case{"size smaller than its header", box("moov", "", 4), "no movie box"},
                        Case{"movie box without a header", box("moov", box("trak", "")), "no movie header"},
                        Case{"header with a zero time scale", box("moov", mvhdNoScale), "the movie header has no time scale"},
                        Case{"header cut short", box("moov", box("mvhd", std::string(10, '\0'))), "the movie header is too short"}}) {
    SCOPED_TRACE(c.name);
    auto info = readMovieInfo(c.bytes);
    ASSERT_FALSE(info.has_value());
    EXPECT_EQ(info.error(), c.reason);
  }
}

TEST(MovieInfoTest, FileErrorsCarryTheSystemsMessage) {
  ScratchFolder folder;
  EXPECT_EQ(readMovieInfoFile(folder / "missing.mov").error(), "No such file or directory");
  testing::writeBytes(folder / "empty.mov", "");
  EXPECT_EQ(readMovieInfoFile(folder / "empty.mov").error(), "no movie box");
}

}  // namespace
}  // namespace orvanta
