#include "core/secret_store.hpp"

#include <fmt/format.h>

namespace orvanta {

std::string SecretStoreError::description() const {
  switch (kind) {
    case Case::keychain:
      if (!message.empty()) return message;
      return fmt::format("The secret store failed with status {}.", status);
    case Case::notFound: return "No secret is stored under that name.";
  }
  return {};
}

std::string_view SecretStoreError::caseName() const {
  switch (kind) {
    case Case::keychain: return "keychain";
    case Case::notFound: return "notFound";
  }
  return {};
}

expected<void, SecretStoreError> checkSecretStoreReachable(SecretStore& store) {
  auto probe = store.readSecret("me.tarlenvik.Orvanta.reachability", "probe");
  if (probe || probe.error().kind == SecretStoreError::Case::notFound) return {};
  return unexpected(probe.error());
}

expected<std::string, SecretStoreError> InMemorySecretStore::readSecret(std::string_view service,
                                                                        std::string_view account) {
  std::lock_guard guard(mutex_);
  if (fail_) return unexpected(*fail_);
  auto found = secrets_.find(Key(service, account));
  if (found == secrets_.end()) return unexpected(SecretStoreError::notFound());
  return found->second;
}

expected<void, SecretStoreError> InMemorySecretStore::storeSecret(std::string_view service, std::string_view account,
                                                                  std::string_view secret, std::string_view) {
  std::lock_guard guard(mutex_);
  if (fail_) return unexpected(*fail_);
  secrets_[Key(service, account)] = std::string(secret);
  return {};
}

expected<void, SecretStoreError> InMemorySecretStore::removeSecret(std::string_view service,
                                                                   std::string_view account) {
  std::lock_guard guard(mutex_);
  if (fail_) return unexpected(*fail_);
  if (secrets_.erase(Key(service, account)) == 0) return unexpected(SecretStoreError::notFound());
  return {};
}

void InMemorySecretStore::failWith(std::optional<SecretStoreError> error) {
  std::lock_guard guard(mutex_);
  fail_ = std::move(error);
}

std::size_t InMemorySecretStore::count() const {
  std::lock_guard guard(mutex_);
  return secrets_.size();
}

}  // namespace orvanta
