#include "support/movie_info.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <optional>

#include "support/file_error.hpp"
#include "support/unique_fd.hpp"

namespace orvanta {
namespace {

constexpr std::size_t maximumMovieBoxSize = 64u << 20;

std::uint32_t be32(std::string_view bytes, std::size_t at) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data() + at);
  return (std::uint32_t{p[0]} << 24) | (std::uint32_t{p[1]} << 16) | (std::uint32_t{p[2]} << 8) | std::uint32_t{p[3]};
}
std::uint64_t be64(std::string_view bytes, std::size_t at) {
  return (std::uint64_t{be32(bytes, at)} << 32) | be32(bytes, at + 4);
}
std::uint16_t be16(std::string_view bytes, std::size_t at) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data() + at);
  return static_cast<std::uint16_t>((p[0] << 8) | p[1]);
}

struct Box {
  std::string_view type;
  std::string_view body;
};

// The boxes directly inside `container`, in order. A box whose size runs past its container ends the walk:
// what came before it is still used.
class BoxWalker {
 public:
  explicit BoxWalker(std::string_view container) : rest_(container) {}

  std::optional<Box> next() {
    if (rest_.size() < 8) return std::nullopt;
    std::uint64_t size = be32(rest_, 0);
    std::size_t header = 8;
    if (size == 1) {
      if (rest_.size() < 16) return std::nullopt;
      size = be64(rest_, 8);
      header = 16;
    } else if (size == 0) {
      size = rest_.size();
    }
    if (size < header || size > rest_.size()) return std::nullopt;
    Box box{rest_.substr(4, 4), rest_.substr(header, static_cast<std::size_t>(size) - header)};
    rest_.remove_prefix(static_cast<std::size_t>(size));
    return box;
  }

 private:
  std::string_view rest_;
};

std::optional<std::string_view> child(std::string_view container, std::string_view type) {
  BoxWalker walker(container);
  while (auto box = walker.next()) {
    if (box->type == type) return box->body;
  }
  return std::nullopt;
}

// Follows a path of box types (each the first of its name inside the previous one).
std::optional<std::string_view> descend(std::string_view container, std::initializer_list<std::string_view> path) {
  std::optional<std::string_view> current = container;
  for (auto type : path) {
    current = child(*current, type);
    if (!current) return std::nullopt;
  }
  return current;
}

expected<double, std::string> movieDuration(std::string_view mvhd) {
  if (mvhd.size() < 4) return unexpected(std::string("the movie header is too short"));
  const unsigned version = static_cast<unsigned char>(mvhd[0]);
  std::uint32_t timescale = 0;
  std::uint64_t duration = 0;
  if (version == 1) {
    if (mvhd.size() < 32) return unexpected(std::string("the movie header is too short"));
    timescale = be32(mvhd, 20);
    duration = be64(mvhd, 24);
  } else {
    if (mvhd.size() < 20) return unexpected(std::string("the movie header is too short"));
    timescale = be32(mvhd, 12);
    duration = be32(mvhd, 16);
  }
  if (timescale == 0) return unexpected(std::string("the movie header has no time scale"));
  // All ones means "unknown" in both versions.
  if (duration == 0xFFFFFFFFu || duration == ~std::uint64_t{0}) duration = 0;
  return static_cast<double>(duration) / timescale;
}

struct Size {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
};

std::optional<Size> trackHeaderSize(std::string_view tkhd) {
  if (tkhd.empty()) return std::nullopt;
  const std::size_t at = static_cast<unsigned char>(tkhd[0]) == 1 ? 88 : 76;
  if (tkhd.size() < at + 8) return std::nullopt;
  Size size{be32(tkhd, at) >> 16, be32(tkhd, at + 4) >> 16};
  if (size.width == 0 || size.height == 0) return std::nullopt;
  return size;
}

// The coded size of the first visual sample entry.
std::optional<Size> sampleDescriptionSize(std::string_view stsd) {
  // full-box header (4), entry count (4), then the entry: size (4), format (4), reserved (6), data
  // reference index (2), pre-defined and reserved (16), width (2), height (2).
  if (stsd.size() < 8 + 36 || be32(stsd, 4) == 0) return std::nullopt;
  const std::string_view entry = stsd.substr(8);
  if (be32(entry, 0) < 36) return std::nullopt;
  Size size{be16(entry, 32), be16(entry, 34)};
  if (size.width == 0 || size.height == 0) return std::nullopt;
  return size;
}

std::optional<Size> videoTrackSize(std::string_view moov) {
  BoxWalker walker(moov);
  while (auto box = walker.next()) {
    if (box->type != "trak") continue;
    auto hdlr = descend(box->body, {"mdia", "hdlr"});
    if (!hdlr || hdlr->size() < 12 || hdlr->substr(8, 4) != "vide") continue;
    if (auto stsd = descend(box->body, {"mdia", "minf", "stbl", "stsd"})) {
      if (auto size = sampleDescriptionSize(*stsd)) return size;
    }
    if (auto tkhd = child(box->body, "tkhd")) {
      if (auto size = trackHeaderSize(*tkhd)) return size;
    }
    return std::nullopt;
  }
  return std::nullopt;
}

expected<MovieInfo, std::string> readMovieBox(std::string_view moov) {
  auto mvhd = child(moov, "mvhd");
  if (!mvhd) return unexpected(std::string("no movie header"));
  auto duration = movieDuration(*mvhd);
  if (!duration) return unexpected(duration.error());
  auto size = videoTrackSize(moov);
  if (!size) return unexpected(std::string("no video track with a size"));
  return MovieInfo{*duration, size->width, size->height};
}

}  // namespace

expected<MovieInfo, std::string> readMovieInfo(std::string_view bytes) {
  BoxWalker walker(bytes);
  for (int i = 0; i < 1 << 16; ++i) {
    auto box = walker.next();
    if (!box) break;
    if (box->type == "moov") return readMovieBox(box->body);
  }
  return unexpected(std::string("no movie box"));
}

expected<MovieInfo, std::string> readMovieInfoFile(const std::filesystem::path& path) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) return unexpected(systemMessage(errno));
  auto readAt = [&](std::string& into, std::size_t count, std::uint64_t offset) -> bool {
    into.resize(count);
    std::size_t done = 0;
    while (done < count) {
      ssize_t got = ::pread(fd.get(), into.data() + done, count - done, static_cast<off_t>(offset + done));
      if (got < 0 && errno == EINTR) continue;
      if (got <= 0) break;
      done += static_cast<std::size_t>(got);
    }
    into.resize(done);
    return done == count;
  };
  const off_t end = ::lseek(fd.get(), 0, SEEK_END);
  if (end < 0) return unexpected(systemMessage(errno));
  const auto fileSize = static_cast<std::uint64_t>(end);
  std::uint64_t offset = 0;
  std::string header;
  for (int i = 0; i < 1 << 16 && fileSize - offset >= 8; ++i) {
    if (!readAt(header, 16, offset) && header.size() < 8) break;
    std::uint64_t size = be32(header, 0);
    std::uint64_t headerSize = 8;
    if (size == 1) {
      if (header.size() < 16) break;
      size = be64(header, 8);
      headerSize = 16;
    } else if (size == 0) {
      size = fileSize - offset;
    }
    if (size < headerSize || size > fileSize - offset) break;
    if (std::string_view(header).substr(4, 4) == "moov") {
      if (size - headerSize > maximumMovieBoxSize) return unexpected(std::string("the movie box is too large"));
      std::string body;
      if (!readAt(body, static_cast<std::size_t>(size - headerSize), offset + headerSize)) {
        return unexpected(std::string("the file ended early"));
      }
      return readMovieBox(body);
    }
    offset += size;
  }
  return unexpected(std::string("no movie box"));
}

}  // namespace orvanta
