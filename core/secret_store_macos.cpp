// The login keychain through the Security framework: generic-password items (kSecClassGenericPassword)
// named by kSecAttrService and kSecAttrAccount.
#include <CoreFoundation/CoreFoundation.h>
#include <Security/Security.h>

#include <string>
#include <utility>

#include "core/secret_store.hpp"

namespace orvanta {
namespace {

// Owns one Core Foundation reference.
template <typename T>
class CFHolder {
 public:
  explicit CFHolder(T value = nullptr) : value_(value) {}
  ~CFHolder() {
    if (value_ != nullptr) CFRelease(value_);
  }
  CFHolder(const CFHolder&) = delete;
  CFHolder& operator=(const CFHolder&) = delete;
  CFHolder(CFHolder&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
  CFHolder& operator=(CFHolder&&) = delete;
  T get() const { return value_; }
  T* out() { return &value_; }

 private:
  T value_;
};

CFHolder<CFStringRef> makeString(std::string_view text) {
  return CFHolder<CFStringRef>(CFStringCreateWithBytes(kCFAllocatorDefault,
                                                       reinterpret_cast<const UInt8*>(text.data()),
                                                       static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false));
}

CFHolder<CFDataRef> makeData(std::string_view bytes) {
  return CFHolder<CFDataRef>(
      CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

std::string toUtf8(CFStringRef text) {
  if (text == nullptr) return {};
  const CFIndex length = CFStringGetLength(text);
  const CFIndex capacity = CFStringGetMaximumSizeForEncoding(length, kCFStringEncodingUTF8) + 1;
  std::string buffer(static_cast<std::size_t>(capacity), '\0');
  if (!CFStringGetCString(text, buffer.data(), capacity, kCFStringEncodingUTF8)) return {};
  buffer.resize(std::char_traits<char>::length(buffer.c_str()));
  return buffer;
}

// The Security framework's own sentence for `status`.
SecretStoreError keychainError(OSStatus status) {
  CFHolder<CFStringRef> message(SecCopyErrorMessageString(status, nullptr));
  return SecretStoreError::keychain(status, toUtf8(message.get()));
}

// The query that names one generic password.
CFHolder<CFMutableDictionaryRef> itemQuery(CFStringRef service, CFStringRef account) {
  CFHolder<CFMutableDictionaryRef> query(
      CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(query.get(), kSecClass, kSecClassGenericPassword);
  CFDictionarySetValue(query.get(), kSecAttrService, service);
  CFDictionarySetValue(query.get(), kSecAttrAccount, account);
  return query;
}

class KeychainSecretStore final : public SecretStore {
 public:
  expected<std::string, SecretStoreError> readSecret(std::string_view service, std::string_view account) override {
    auto serviceText = makeString(service);
    auto accountText = makeString(account);
    // Without both names the query would match other items.
    if (serviceText.get() == nullptr || accountText.get() == nullptr) return unexpected(keychainError(errSecParam));
    auto query = itemQuery(serviceText.get(), accountText.get());
    CFDictionarySetValue(query.get(), kSecReturnData, kCFBooleanTrue);
    CFDictionarySetValue(query.get(), kSecMatchLimit, kSecMatchLimitOne);
    CFHolder<CFTypeRef> result;
    const OSStatus status = SecItemCopyMatching(query.get(), result.out());
    if (status == errSecItemNotFound) return unexpected(SecretStoreError::notFound());
    if (status != errSecSuccess) return unexpected(keychainError(status));
    if (result.get() == nullptr || CFGetTypeID(result.get()) != CFDataGetTypeID()) {
      return unexpected(keychainError(errSecDecode));
    }
    auto data = static_cast<CFDataRef>(result.get());
    return std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                       static_cast<std::size_t>(CFDataGetLength(data)));
  }

  expected<void, SecretStoreError> storeSecret(std::string_view service, std::string_view account,
                                               std::string_view secret, std::string_view label) override {
    auto serviceText = makeString(service);
    auto accountText = makeString(account);
    auto labelText = makeString(label);
    auto data = makeData(secret);
    if (serviceText.get() == nullptr || accountText.get() == nullptr || data.get() == nullptr) {
      return unexpected(keychainError(errSecParam));
    }
    auto query = itemQuery(serviceText.get(), accountText.get());

    CFHolder<CFMutableDictionaryRef> changes(
        CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    CFDictionarySetValue(changes.get(), kSecValueData, data.get());
    // A label that is not UTF-8 yields no string; the item then keeps (or gets) no label.
    if (labelText.get() != nullptr) CFDictionarySetValue(changes.get(), kSecAttrLabel, labelText.get());
    OSStatus status = SecItemUpdate(query.get(), changes.get());
    if (status == errSecItemNotFound) {
      CFDictionarySetValue(query.get(), kSecValueData, data.get());
      if (labelText.get() != nullptr) CFDictionarySetValue(query.get(), kSecAttrLabel, labelText.get());
      status = SecItemAdd(query.get(), nullptr);
    }
    if (status != errSecSuccess) return unexpected(keychainError(status));
    return {};
  }

  expected<void, SecretStoreError> removeSecret(std::string_view service, std::string_view account) override {
    auto serviceText = makeString(service);
    auto accountText = makeString(account);
    // Without both names the query would match other items.
    if (serviceText.get() == nullptr || accountText.get() == nullptr) return unexpected(keychainError(errSecParam));
    auto query = itemQuery(serviceText.get(), accountText.get());
    const OSStatus status = SecItemDelete(query.get());
    if (status == errSecItemNotFound) return unexpected(SecretStoreError::notFound());
    if (status != errSecSuccess) return unexpected(keychainError(status));
    return {};
  }

  std::string displayName() const override { return "the login keychain"; }
};

}  // namespace

std::unique_ptr<SecretStore> makeSecretStore() { return std::make_unique<KeychainSecretStore>(); }

}  // namespace orvanta
