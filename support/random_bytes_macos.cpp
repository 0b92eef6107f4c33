#include "support/random_bytes.hpp"

#include <stdlib.h>

namespace orvanta {

void fillRandomBytes(std::span<std::uint8_t> bytes) {
  ::arc4random_buf(bytes.data(), bytes.size());
}

}  // namespace orvanta
