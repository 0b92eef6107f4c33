// HMAC-SHA-256 from OpenSSL's libcrypto, loaded the first time a digest is asked for: the library is
// large, and loading it at start (its relocations and initialisers) would cost every command about a
// millisecond, while only the pasteboard's fingerprints use it.
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <openssl/opensslv.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/hmac_sha256.hpp"
#include "support/loaded_library.hpp"

namespace orvanta {
namespace {

struct Libcrypto {
  decltype(&HMAC) hmac = nullptr;
  decltype(&EVP_sha256) sha256 = nullptr;
  decltype(&EVP_MD_CTX_new) contextNew = nullptr;
  decltype(&EVP_MD_CTX_free) contextFree = nullptr;
  decltype(&EVP_DigestInit_ex) digestInit = nullptr;
  decltype(&EVP_DigestUpdate) digestUpdate = nullptr;
  decltype(&EVP_DigestFinal_ex) digestFinal = nullptr;

  [[nodiscard]] bool complete() const {
    return hmac != nullptr && sha256 != nullptr && contextNew != nullptr && contextFree != nullptr &&
           digestInit != nullptr && digestUpdate != nullptr && digestFinal != nullptr;
  }
};

// The library stays loaded until the program ends. Without it no digest can be made, and a wrong one
// must never be returned: the program ends, saying why.
const Libcrypto& libcrypto() {
  static const Libcrypto loaded = [] {
    const std::string name = "libcrypto.so." + std::to_string(OPENSSL_SHLIB_VERSION);
    Libcrypto functions;
    auto library = LoadedLibrary::open(name);
    if (library) {
      library->find(functions.hmac, "HMAC");
      library->find(functions.sha256, "EVP_sha256");
      library->find(functions.contextNew, "EVP_MD_CTX_new");
      library->find(functions.contextFree, "EVP_MD_CTX_free");
      library->find(functions.digestInit, "EVP_DigestInit_ex");
      library->find(functions.digestUpdate, "EVP_DigestUpdate");
      library->find(functions.digestFinal, "EVP_DigestFinal_ex");
    }
    if (!functions.complete()) {
      std::fprintf(stderr, "orvanta: %s could not be loaded: %s\n", name.c_str(),
                   library ? "a digest function is missing" : library.error().c_str());
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

struct Sha256::State {
  const Libcrypto& library = libcrypto();
  EVP_MD_CTX* context = library.contextNew();
  State() { library.digestInit(context, library.sha256(), nullptr); }
  ~State() { library.contextFree(context); }
  State(const State&) = delete;
  State& operator=(const State&) = delete;
};

Sha256::Sha256() : state_(std::make_unique<State>()) {}
Sha256::~Sha256() = default;
Sha256::Sha256(Sha256&&) noexcept = default;
Sha256& Sha256::operator=(Sha256&&) noexcept = default;

void Sha256::update(std::string_view bytes) { state_->library.digestUpdate(state_->context, bytes.data(), bytes.size()); }

Sha256Digest Sha256::finish() {
  Sha256Digest digest{};
  unsigned int length = 0;
  state_->library.digestFinal(state_->context, digest.data(), &length);
  state_->library.digestInit(state_->context, state_->library.sha256(), nullptr);
  return digest;
}

}  // namespace orvanta
