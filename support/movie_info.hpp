// The duration and the video size of a QuickTime (.mov) or ISO base media (.mp4) movie.
//
// Only the boxes that say this are read: the movie header (moov/mvhd) for the duration, and of the first
// track whose handler is "vide", the sample description (mdia/minf/stbl/stsd) for the coded width and
// height, falling back to the track header (tkhd) when the description carries no size. Box sizes of 32
// and 64 bits and "to the end" (0) are understood; every length is checked against what encloses it, so
// any input, however damaged, yields a MovieInfo or an error and never reads out of bounds. All
// functions are thread-safe.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "support/expected.hpp"

namespace orvanta {

struct MovieInfo {
  double duration = 0;  // seconds
  std::uint32_t pixelWidth = 0;
  std::uint32_t pixelHeight = 0;
  bool operator==(const MovieInfo&) const = default;
};

// Reads a whole movie held in memory. Fails with a short reason ("no movie header", ...).
[[nodiscard]] expected<MovieInfo, std::string> readMovieInfo(std::string_view bytes);

// Reads the movie file at `path`: walks its top-level boxes and loads only the movie box (at most
// 64 MiB), wherever it sits. Fails with the system's message or the reason of readMovieInfo. Blocks on
// the file system.
[[nodiscard]] expected<MovieInfo, std::string> readMovieInfoFile(const std::filesystem::path& path);

}  // namespace orvanta
