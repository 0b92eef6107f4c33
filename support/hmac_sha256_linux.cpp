#include <openssl/evp.h>
#include <openssl/hmac.h>

#include "support/hmac_sha256.hpp"

namespace orvanta {

Sha256Digest hmacSha256(std::span<const std::uint8_t> key, std::string_view message) {
  Sha256Digest digest{};
  unsigned int length = 0;
  // An empty key is still a key: OpenSSL wants a non-null pointer for it.
  static const unsigned char noKey = 0;
  HMAC(EVP_sha256(), key.empty() ? &noKey : key.data(), static_cast<int>(key.size()),
       reinterpret_cast<const unsigned char*>(message.data()), message.size(), digest.data(), &length);
  return digest;
}

}  // namespace orvanta
