// Secrets the user asked Orvanta to keep (quick-input passwords, the key of the pasteboard fingerprints),
// held by the operating system's secret store and never by a file of ours.
//
// Each secret is a generic password named by a service and an account. makeSecretStore() returns the
// platform's store: the Keychain (Security framework) on macOS, the Secret Service (libsecret, for example
// gnome-keyring) on Linux. InMemorySecretStore stands in for it in tests.
//
// Secret values never appear in an error: a SecretStoreError carries only the store's status and message.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "support/expected.hpp"

namespace orvanta {

struct SecretStoreError {
  enum class Case {
    keychain,  // the store refused or failed: `status` and the store's own `message`
    notFound,  // "No secret is stored under that name." (no item for the account)
  };
  Case kind = Case::keychain;
  std::int64_t status = 0;  // keychain: an OSStatus on macOS, the GError code on Linux
  std::string message;      // keychain: the store's own message

  static SecretStoreError keychain(std::int64_t status, std::string message) {
    return {Case::keychain, status, std::move(message)};
  }
  static SecretStoreError notFound() { return {Case::notFound, 0, {}}; }

  // keychain: the store's message (or, when it gave none, a sentence with the status); notFound: the
  // sentence above.
  [[nodiscard]] std::string description() const;
  [[nodiscard]] std::string_view caseName() const;
  bool operator==(const SecretStoreError&) const = default;
};

// Every call blocks while the store answers (the Secret Service is reached over D-Bus). Implementations
// are thread-safe.
class SecretStore {
 public:
  virtual ~SecretStore() = default;

  // The secret of (service, account). Fails with notFound when there is none, keychain otherwise.
  [[nodiscard]] virtual expected<std::string, SecretStoreError> readSecret(std::string_view service,
                                                                          std::string_view account) = 0;
  // Adds the secret, or replaces the one already kept for (service, account). `label` is the name people
  // see in the platform's password manager; it must not contain the secret.
  [[nodiscard]] virtual expected<void, SecretStoreError> storeSecret(std::string_view service,
                                                                    std::string_view account,
                                                                    std::string_view secret,
                                                                    std::string_view label) = 0;
  // Removes the secret of (service, account). Fails with notFound when there was none.
  [[nodiscard]] virtual expected<void, SecretStoreError> removeSecret(std::string_view service,
                                                                     std::string_view account) = 0;
  // What the store is, for people: "the login keychain", "the Secret Service".
  [[nodiscard]] virtual std::string displayName() const = 0;
};

// The platform's store.
[[nodiscard]] std::unique_ptr<SecretStore> makeSecretStore();

// Whether `store` answers at all: a lookup of an account nobody uses succeeds or fails with notFound.
// Returns the store's error otherwise (no session bus, no Secret Service, a locked keychain that refused).
[[nodiscard]] expected<void, SecretStoreError> checkSecretStoreReachable(SecretStore& store);

// Secrets in memory, for tests. Thread-safe: every call holds `mutex_`.
class InMemorySecretStore final : public SecretStore {
 public:
  expected<std::string, SecretStoreError> readSecret(std::string_view service, std::string_view account) override;
  expected<void, SecretStoreError> storeSecret(std::string_view service, std::string_view account,
                                               std::string_view secret, std::string_view label) override;
  expected<void, SecretStoreError> removeSecret(std::string_view service, std::string_view account) override;
  std::string displayName() const override { return "an in-memory store"; }

  // Makes every following call fail with `error` (nullopt: work again).
  void failWith(std::optional<SecretStoreError> error);
  // How many secrets are kept.
  [[nodiscard]] std::size_t count() const;

 private:
  using Key = std::pair<std::string, std::string>;
  mutable std::mutex mutex_;
  std::map<Key, std::string> secrets_;    // guarded by mutex_
  std::optional<SecretStoreError> fail_;  // guarded by mutex_
};

}  // namespace orvanta
