#include "tools/quickinput/pasteboard_fingerprint.hpp"

#include <nlohmann/json.hpp>

#include "support/hmac_sha256.hpp"

namespace orvanta {

using Json = nlohmann::json;

PasteboardFingerprint PasteboardFingerprint::of(std::string_view text,
                                                const KeychainQuickInputSecretStore::FingerprintKey& key) {
  return {lowerHex(hmacSha256(key, text))};
}

std::optional<PasteboardFingerprint> PasteboardFingerprintStore::fingerprint(std::string_view udid) const {
  auto stored = defaults_->value(key);
  if (!stored || !*stored || !(*stored)->is_object()) return std::nullopt;
  const Json& all = **stored;
  auto found = all.find(std::string(udid));
  if (found == all.end() || !found->is_string()) return std::nullopt;
  return PasteboardFingerprint{found->get<std::string>()};
}

expected<void, FileError> PasteboardFingerprintStore::setFingerprint(std::string_view udid,
                                                                     const PasteboardFingerprint& value) {
  return defaults_->update(key, [&](std::optional<Json> current) -> std::optional<Json> {
    Json all = current && current->is_object() ? std::move(*current) : Json::object();
    all[std::string(udid)] = value.digest;
    return all;
  });
}

expected<void, FileError> PasteboardFingerprintStore::removeFingerprint(std::string_view udid) {
  return defaults_->update(key, [&](std::optional<Json> current) -> std::optional<Json> {
    if (!current || !current->is_object()) return std::nullopt;
    current->erase(std::string(udid));
    if (current->empty()) return std::nullopt;
    return current;
  });
}

}  // namespace orvanta
