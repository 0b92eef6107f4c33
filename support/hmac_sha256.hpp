// SHA-256 (FIPS 180-4) and HMAC-SHA-256 (RFC 2104), from the platform's maintained cryptography library: OpenSSL's
// libcrypto on Linux, CommonCrypto on macOS.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace orvanta {

using Sha256Digest = std::array<std::uint8_t, 32>;

// The keyed digest of `message` under `key`. Pure and thread-safe. On Linux the first call loads libcrypto;
// a system without it cannot make digests, and the program ends with a message on stderr.
[[nodiscard]] Sha256Digest hmacSha256(std::span<const std::uint8_t> key, std::string_view message);

// A SHA-256 digest computed over data given in pieces (a file read in chunks). Move-only; one owner uses it.
class Sha256 {
 public:
  Sha256();
  ~Sha256();
  Sha256(Sha256&&) noexcept;
  Sha256& operator=(Sha256&&) noexcept;

  void update(std::string_view bytes);
  // The digest of everything given so far; the object then starts over.
  [[nodiscard]] Sha256Digest finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// `bytes` as lower-case hexadecimal text.
[[nodiscard]] std::string lowerHex(std::span<const std::uint8_t> bytes);

}  // namespace orvanta
