#include <CommonCrypto/CommonDigest.h>
#include <CommonCrypto/CommonHMAC.h>

#include "support/hmac_sha256.hpp"

namespace orvanta {

Sha256Digest hmacSha256(std::span<const std::uint8_t> key, std::string_view message) {
  Sha256Digest digest{};
  CCHmac(kCCHmacAlgSHA256, key.data(), key.size(), message.data(), message.size(), digest.data());
  return digest;
}

struct Sha256::State {
  CC_SHA256_CTX context{};
  State() { CC_SHA256_Init(&context); }
};

Sha256::Sha256() : state_(std::make_unique<State>()) {}
Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::update(std::string_view bytes) {
  // CC_LONG is 32 bits wide: feed larger pieces in parts.
  while (!bytes.empty()) {
    const auto part = bytes.substr(0, 1u << 30);
    CC_SHA256_Update(&state_->context, part.data(), static_cast<CC_LONG>(part.size()));
    bytes.remove_prefix(part.size());
  }
}

Sha256Digest Sha256::finish() {
  Sha256Digest digest{};
  CC_SHA256_Final(digest.data(), &state_->context);
  CC_SHA256_Init(&state_->context);
  return digest;
}

}  // namespace orvanta
