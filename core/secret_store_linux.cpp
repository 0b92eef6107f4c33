// The Secret Service (gnome-keyring, KeePassXC, ...) through libsecret: one generic password per
// (service, account), in the default collection.
//
// libsecret is loaded when a secret is first used, not when the program starts: with it come GLib, GIO
// and a score of other libraries whose loading would otherwise dominate the start of every command.
#include <libsecret/secret.h>

#include <type_traits>
#include <string>

#include "core/secret_store.hpp"
#include "support/loaded_library.hpp"

namespace orvanta {
namespace {

constexpr const char* kLibraryName = "libsecret-1.so.0";

// The library's functions this store calls, found once.
struct Libsecret {
  decltype(&secret_password_lookup_sync) lookup = nullptr;
  decltype(&secret_password_store_sync) store = nullptr;
  decltype(&secret_password_clear_sync) clear = nullptr;
  decltype(&secret_password_free) freePassword = nullptr;
  decltype(&g_error_free) freeError = nullptr;
};

// The loaded library, or the loader's message. The library stays loaded until the program ends (GLib's
// threads and types cannot be unloaded).
const expected<Libsecret, std::string>& libsecret() {
  static const expected<Libsecret, std::string> loaded = []() -> expected<Libsecret, std::string> {
    auto library = LoadedLibrary::open(kLibraryName);
    if (!library) return unexpected("The Secret Service library could not be loaded: " + library.error());
    Libsecret functions;
    bool complete = true;
    auto find = [&](auto& function, const char* name) { complete = library->find(function, name) && complete; };
    find(functions.lookup, "secret_password_lookup_sync");
    find(functions.store, "secret_password_store_sync");
    find(functions.clear, "secret_password_clear_sync");
    find(functions.freePassword, "secret_password_free");
    find(functions.freeError, "g_error_free");  // GLib, found through the library's dependencies
    if (!complete) return unexpected(std::string("The Secret Service library ") + kLibraryName + " lacks a function.");
    return functions;
  }();
  return loaded;
}

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

SecretStoreError takeError(const Libsecret& library, GError* error) {
  auto result = SecretStoreError::keychain(error->code, error->message != nullptr ? error->message : "");
  library.freeError(error);
  return result;
}

class LibsecretStore final : public SecretStore {
 public:
  expected<std::string, SecretStoreError> readSecret(std::string_view service, std::string_view account) override {
    const auto& library = libsecret();
    if (!library) return unexpected(SecretStoreError::keychain(0, library.error()));
    const std::string serviceText(service);
    const std::string accountText(account);
    GError* error = nullptr;
    gchar* secret = library->lookup(orvantaSchema(), nullptr, &error, "service", serviceText.c_str(), "account",
                                    accountText.c_str(), nullptr);
    if (error != nullptr) return unexpected(takeError(*library, error));
    if (secret == nullptr) return unexpected(SecretStoreError::notFound());
    std::string value(secret);
    library->freePassword(secret);  // wipes the library's copy
    return value;
  }

  expected<void, SecretStoreError> storeSecret(std::string_view service, std::string_view account,
                                               std::string_view secret, std::string_view label) override {
    const auto& library = libsecret();
    if (!library) return unexpected(SecretStoreError::keychain(0, library.error()));
    const std::string serviceText(service);
    const std::string accountText(account);
    const std::string labelText(label);
    std::string secretText(secret);
    GError* error = nullptr;
    const gboolean stored =
        library->store(orvantaSchema(), SECRET_COLLECTION_DEFAULT, labelText.c_str(), secretText.c_str(), nullptr,
                       &error, "service", serviceText.c_str(), "account", accountText.c_str(), nullptr);
    wipe(secretText);
    if (error != nullptr) return unexpected(takeError(*library, error));
    if (!stored) return unexpected(SecretStoreError::keychain(0, "The Secret Service did not store the secret."));
    return {};
  }

  expected<void, SecretStoreError> removeSecret(std::string_view service, std::string_view account) override {
    const auto& library = libsecret();
    if (!library) return unexpected(SecretStoreError::keychain(0, library.error()));
    const std::string serviceText(service);
    const std::string accountText(account);
    GError* error = nullptr;
    const gboolean removed = library->clear(orvantaSchema(), nullptr, &error, "service", serviceText.c_str(),
                                            "account", accountText.c_str(), nullptr);
    if (error != nullptr) return unexpected(takeError(*library, error));
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
