// Feeds arbitrary bytes to the movie reader, whole and through a file, and checks that both agree.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/movie_info.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  auto fromMemory = orvanta::readMovieInfo(bytes);
  if (fromMemory && (fromMemory->pixelWidth == 0 || fromMemory->pixelHeight == 0 || !(fromMemory->duration >= 0))) {
    std::abort();
  }
  // The file reader walks the same boxes with reads instead of a view; every few inputs, check it agrees.
  if (size % 8 == 0) {
    char path[] = "/tmp/orvanta-movie-fuzz-XXXXXX";
    const int fd = ::mkstemp(path);
    if (fd < 0) return 0;
    const bool written = ::write(fd, data, size) == static_cast<ssize_t>(size);
    ::close(fd);
    if (written) {
      auto fromFile = orvanta::readMovieInfoFile(path);
      if (fromFile.has_value() != fromMemory.has_value() || (fromFile && *fromFile != *fromMemory)) std::abort();
    }
    ::unlink(path);
  }
  return 0;
}
