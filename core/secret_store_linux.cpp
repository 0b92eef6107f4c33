// The Secret Service (gnome-keyring, KeePassXC, ...) through libsecret: one generic password per
// (service, account), in the default collection.
#include <libsecret/secret.h>

#include <string>

#include "core/secret_store.hpp"

namespace orvanta {
namespace {

// Our items carry the two attributes by which the Keychain names a generic password, under a schema of
// our own, so that a lookup never matches another program's items.
const SecretSchema* orvantaSchema() {
  static const SecretSchema schema = [] {
    SecretSchema value{};
    value.name = "me.tarlenvik.Orvanta.GenericPassword";
    value.flags = SECRET_SCHEMA_NONE;
    value.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
    value.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
    value.attributes[2] = {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING};
    return value;
  }();
  return &schema;
}

SecretStoreError takeError(GError* error) {
  auto result = SecretStoreError::keychain(error->code, error->message != nullptr ? error->message : "");
  g_error_free(error);
  return result;
}

class LibsecretStore final : public SecretStore {
 public:
  expected<std::string, SecretStoreError> readSecret(std::string_view service, std::string_view account) override {
    const std::string serviceText(service);
    const std::string accountText(account);
    GError* error = nullptr;
    gchar* secret = secret_password_lookup_sync(orvantaSchema(), nullptr, &error, "service", serviceText.c_str(),
                                                "account", accountText.c_str(), nullptr);
    if (error != nullptr) return unexpected(takeError(error));
    if (secret == nullptr) return unexpected(SecretStoreError::notFound());
    std::string value(secret);
    secret_password_free(secret);  // wipes the library's copy
    return value;
  }

  expected<void, SecretStoreError> storeSecret(std::string_view service, std::string_view account,
                                               std::string_view secret, std::string_view label) override {
    const std::string serviceText(service);
    const std::string accountText(account);
    const std::string labelText(label);
    std::string secretText(secret);
    GError* error = nullptr;
    const gboolean stored =
        secret_password_store_sync(orvantaSchema(), SECRET_COLLECTION_DEFAULT, labelText.c_str(), secretText.c_str(),
                                   nullptr, &error, "service", serviceText.c_str(), "account", accountText.c_str(), nullptr);
    wipe(secretText);
    if (error != nullptr) return unexpected(takeError(error));
    if (!stored) return unexpected(SecretStoreError::keychain(0, "The Secret Service did not store the secret."));
    return {};
  }

  expected<void, SecretStoreError> removeSecret(std::string_view service, std::string_view account) override {
    const std::string serviceText(service);
    const std::string accountText(account);
    GError* error = nullptr;
    const gboolean removed = secret_password_clear_sync(orvantaSchema(), nullptr, &error, "service",
                                                        serviceText.c_str(), "account", accountText.c_str(), nullptr);
    if (error != nullptr) return unexpected(takeError(error));
    if (!removed) return unexpected(SecretStoreError::notFound());
    return {};
  }

  std::string displayName() const override { return "the Secret Service"; }

 private:
  static void wipe(std::string& text) {
    volatile char* bytes = text.data();
    for (std::size_t i = 0; i < text.size(); ++i) bytes[i] = 0;
  }
};

}  // namespace

std::unique_ptr<SecretStore> makeSecretStore() { return std::make_unique<LibsecretStore>(); }

}  // namespace orvanta
