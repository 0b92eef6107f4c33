// Quick input's secrets in the platform's secret store: generic passwords under the service
// "me.tarlenvik.Orvanta.quick-input", one per secret field (account: the field's `secretAccount`), plus
// the key of the pasteboard fingerprints (account "pasteboard-fingerprint-key").
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/secret_store.hpp"
#include "support/expected.hpp"
#include "tools/quickinput/quick_input_error.hpp"

namespace orvanta {

// As thread-safe as the store beneath it; every call blocks while the store answers.
class KeychainQuickInputSecretStore {
 public:
  static constexpr std::string_view service = "me.tarlenvik.Orvanta.quick-input";
  static constexpr std::string_view fingerprintKeyAccount = "pasteboard-fingerprint-key";
  using FingerprintKey = std::array<std::uint8_t, 32>;

  explicit KeychainQuickInputSecretStore(SecretStore& store) : store_(store) {}

  // The secret kept for `account`. Fails with notFound or keychain.
  [[nodiscard]] expected<std::string, QuickInputSecretError> secret(std::string_view account) const;
  // Adds or replaces the secret of `account`; `label` names the item in the password manager.
  [[nodiscard]] expected<void, QuickInputSecretError> setSecret(std::string_view account, std::string_view value,
                                                                std::string_view label) const;
  // Removes the secret of `account`; one that is already gone counts as removed. Fails with keychain.
  [[nodiscard]] expected<void, QuickInputSecretError> removeSecret(std::string_view account) const;

  // The random key of the pasteboard fingerprints. With `create`, a missing key is made (32 random bytes)
  // and stored; without, a missing key fails with notFound. A stored key that is not 64 hex digits is
  // treated as missing.
  [[nodiscard]] expected<FingerprintKey, QuickInputSecretError> fingerprintKey(bool create) const;

 private:
  SecretStore& store_;
};

}  // namespace orvanta
