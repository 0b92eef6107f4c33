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

struct Sha256::State {
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  State() { EVP_DigestInit_ex(context, EVP_sha256(), nullptr); }
  ~State() { EVP_MD_CTX_free(context); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;
};

Sha256::Sha256() : state_(std::make_unique<State>()) {}
Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::update(std::string_view bytes) { EVP_DigestUpdate(state_->context, bytes.data(), bytes.size()); }

Sha256Digest Sha256::finish() {
  Sha256Digest digest{};
  unsigned int length = 0;
  EVP_DigestFinal_ex(state_->context, digest.data(), &length);
  EVP_DigestInit_ex(state_->context, EVP_sha256(), nullptr);
  return digest;
}

}  // namespace orvanta
