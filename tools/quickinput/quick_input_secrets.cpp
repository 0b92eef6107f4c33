#include "tools/quickinput/quick_input_secrets.hpp"

#include <optional>

#include "support/hmac_sha256.hpp"
#include "support/random_bytes.hpp"

namespace orvanta {
namespace {

std::optional<KeychainQuickInputSecretStore::FingerprintKey> decodeKey(std::string_view text) {
  KeychainQuickInputSecretStore::FingerprintKey key{};
  if (text.size() != key.size() * 2) return std::nullopt;
  auto digit = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
  };
  for (std::size_t i = 0; i < key.size(); ++i) {
    const int high = digit(text[2 * i]);
    const int low = digit(text[2 * i + 1]);
    if (high < 0 || low < 0) return std::nullopt;
    key[i] = static_cast<std::uint8_t>(high * 16 + low);
  }
  return key;
}

}  // namespace

expected<std::string, QuickInputSecretError> KeychainQuickInputSecretStore::secret(std::string_view account) const {
  return store_.readSecret(service, account);
}

expected<void, QuickInputSecretError> KeychainQuickInputSecretStore::setSecret(std::string_view account,
                                                                               std::string_view value,
                                                                               std::string_view label) const {
  return store_.storeSecret(service, account, value, label);
}

expected<void, QuickInputSecretError> KeychainQuickInputSecretStore::removeSecret(std::string_view account) const {
  auto removed = store_.removeSecret(service, account);
  if (!removed && removed.error().kind != QuickInputSecretError::Case::notFound) return removed;
  return {};
}

expected<KeychainQuickInputSecretStore::FingerprintKey, QuickInputSecretError>
KeychainQuickInputSecretStore::fingerprintKey(bool create) const {
  auto stored = store_.readSecret(service, fingerprintKeyAccount);
  if (stored) {
    if (auto key = decodeKey(*stored)) return *key;
  } else if (stored.error().kind != QuickInputSecretError::Case::notFound) {
    return unexpected(stored.error());
  }
  if (!create) return unexpected(QuickInputSecretError::notFound());
  FingerprintKey key{};
  fillRandomBytes(key);
  auto written = store_.storeSecret(service, fingerprintKeyAccount, lowerHex(key), "Orvanta clipboard fingerprint key");
  if (!written) return unexpected(written.error());
  return key;
}

}  // namespace orvanta
