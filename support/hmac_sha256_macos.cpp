#include <CommonCrypto/CommonHMAC.h>

#include "support/hmac_sha256.hpp"

namespace orvanta {

Sha256Digest hmacSha256(std::span<const std::uint8_t> key, std::string_view message) {
  Sha256Digest digest{};
  CCHmac(kCCHmacAlgSHA256, key.data(), key.size(), message.data(), message.size(), digest.data());
  return digest;
}

}  // namespace orvanta
