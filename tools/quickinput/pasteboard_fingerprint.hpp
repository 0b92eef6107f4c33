// What quick input remembers about a value it put on a simulator's clipboard: a keyed digest, never the
// value, so that it can later clear the clipboard only while the clipboard still holds that value.
//
// The digest is HMAC-SHA-256 under a random key kept in the secret store (see quick_input_secrets.hpp),
// written as 64 lower-case hex digits: without the key, a stored fingerprint says nothing about even a
// short password. The fingerprints live in the settings, one per simulator, so that a copy and a later
// clear may be separate processes:
//
//   "Orvanta.QuickInput.pasteboardFingerprints"   {"<udid>": "<digest>", ...}
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "support/expected.hpp"
#include "support/file_error.hpp"
#include "support/settings_store.hpp"
#include "tools/quickinput/quick_input_secrets.hpp"

namespace orvanta {

struct PasteboardFingerprint {
  std::string digest;

  // The fingerprint of `text` under `key`. Pure.
  [[nodiscard]] static PasteboardFingerprint of(std::string_view text,
                                                const KeychainQuickInputSecretStore::FingerprintKey& key);
  bool operator==(const PasteboardFingerprint&) const = default;
};

// As thread-safe as the settings store; calls block on the store's file.
class PasteboardFingerprintStore {
 public:
  static constexpr std::string_view key = "Orvanta.QuickInput.pasteboardFingerprints";

  explicit PasteboardFingerprintStore(std::shared_ptr<SettingsStore> defaults) : defaults_(std::move(defaults)) {}

  // The fingerprint stored for `udid`; nullopt when there is none or the settings cannot be read.
  [[nodiscard]] std::optional<PasteboardFingerprint> fingerprint(std::string_view udid) const;
  [[nodiscard]] expected<void, FileError> setFingerprint(std::string_view udid, const PasteboardFingerprint& value);
  [[nodiscard]] expected<void, FileError> removeFingerprint(std::string_view udid);

 private:
  std::shared_ptr<SettingsStore> defaults_;
};

}  // namespace orvanta
