// HMAC-SHA-256 from OpenSSL's libcrypto, loaded the first time a digest is asked for: the library is
// large, and loading it at start (its relocations and initialisers) would cost every command about a
// millisecond, while only the pasteboard's fingerprints use it.
#include <dlfcn.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/opensslv.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/hmac_sha256.hpp"

namespace orvanta {
namespace {

struct Libcrypto {
  decltype(&HMAC) hmac = nullptr;
  decltype(&EVP_sha256) sha256 = nullptr;
};

// The library stays loaded until the program ends. Without it no digest can be made, and a wrong one
// must never be returned: the program ends, saying why.
const Libcrypto& libcrypto() {
  static const Libcrypto loaded = [] {
    const std::string name = "libcrypto.so." + std::to_string(OPENSSL_SHLIB_VERSION);
    Libcrypto functions;
    if (void* handle = ::dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL)) {
      functions.hmac = reinterpret_cast<decltype(&HMAC)>(::dlsym(handle, "HMAC"));
      functions.sha256 = reinterpret_cast<decltype(&EVP_sha256)>(::dlsym(handle, "EVP_sha256"));
    }
    if (functions.hmac == nullptr || functions.sha256 == nullptr) {
      const char* message = ::dlerror();
      std::fprintf(stderr, "orvanta: %s could not be loaded: %s\n", name.c_str(),
                   message != nullptr ? message : "HMAC or EVP_sha256 is missing");
      std::abort();
    }
    return functions;
  }();
  return loaded;
}

}  // namespace

Sha256Digest hmacSha256(std::span<const std::uint8_t> key, std::string_view message) {
  const Libcrypto& library = libcrypto();
  Sha256Digest digest{};
  unsigned int length = 0;
  // An empty key is still a key: OpenSSL wants a non-null pointer for it.
  static const unsigned char noKey = 0;
  library.hmac(library.sha256(), key.empty() ? &noKey : key.data(), static_cast<int>(key.size()),
               reinterpret_cast<const unsigned char*>(message.data()), message.size(), digest.data(), &length);
  return digest;
}

}  // namespace orvanta
