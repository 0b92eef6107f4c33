#include "support/random_bytes.hpp"

#include <sys/random.h>

#include <cerrno>
#include <random>

namespace orvanta {

void fillRandomBytes(std::span<std::uint8_t> bytes) {
  std::size_t filled = 0;
  while (filled < bytes.size()) {
    ssize_t count = ::getrandom(bytes.data() + filled, bytes.size() - filled, 0);
    if (count > 0) {
      filled += static_cast<std::size_t>(count);
    } else if (count < 0 && errno != EINTR) {
      break;  // ENOSYS on a very old kernel: fall back below.
    }
  }
  if (filled < bytes.size()) {
    std::random_device device;
    for (std::size_t i = filled; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(device());
  }
}

}  // namespace orvanta
