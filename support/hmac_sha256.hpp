// HMAC-SHA-256 (RFC 2104 over FIPS 180-4), from the platform's maintained cryptography library: OpenSSL's
// libcrypto on Linux, CommonCrypto on macOS.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace orvanta {

using Sha256Digest = std::array<std::uint8_t, 32>;

// The keyed digest of `message` under `key`. Pure and thread-safe. On Linux the first call loads libcrypto;
// a system without it cannot make digests, and the program ends with a message on stderr.
[[nodiscard]] Sha256Digest hmacSha256(std::span<const std::uint8_t> key, std::string_view message);

// `bytes` as lower-case hexadecimal text.
[[nodiscard]] std::string lowerHex(std::span<const std::uint8_t> bytes);

}  // namespace orvanta
