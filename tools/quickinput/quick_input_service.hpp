// Quick input: profiles of labelled fields, and one field's value put on a simulator's clipboard.
//
// Plain values live in the profiles document; secret values only in the secret store (service
// "me.tarlenvik.Orvanta.quick-input", account "field.<FIELD-ID>"). A secret is stored before the field that
// names it is saved, and removed when the field or its profile is removed.
//
// Copying reads the value back from the simulator before it reports success (see
// simulator_pasteboard_service.hpp), then remembers the value's fingerprint for that simulator. Clearing
// empties the simulator's clipboard only while it still holds what was copied; otherwise it leaves it alone
// and says "Nothing Orvanta copied is waiting to be cleared".
//
// Used from one thread at a time; calls block on the settings file, the secret store and simctl.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "core/secret_store.hpp"
#include "support/expected.hpp"
#include "support/settings_store.hpp"
#include "support/stop_token.hpp"
#include "tools/quickinput/pasteboard_fingerprint.hpp"
#include "tools/quickinput/quick_input_error.hpp"
#include "tools/quickinput/quick_input_model.hpp"
#include "tools/quickinput/quick_input_secrets.hpp"
#include "tools/quickinput/quick_input_store.hpp"
#include "tools/quickinput/simulator_pasteboard_service.hpp"

namespace orvanta {

// A field to add. `value` is the plain value or the secret (by `valueKind`); it is ignored for `none`.
struct QuickInputFieldDraft {
  enum class ValueKind { none, plain, secret };
  QuickInputFieldKind kind = QuickInputFieldKind::custom;
  std::string label;
  ValueKind valueKind = ValueKind::plain;
  std::string value;
};

struct QuickInputCopyOutcome {
  QuickInputField field;
  std::string simulatorUDID;
  SimulatorPasteboardWrite write;
  // Why the fingerprint could not be kept (the copy itself succeeded, but a later clear will find nothing
  // to clear); nullopt when it was kept.
  std::optional<std::string> fingerprintProblem;
};

struct QuickInputClearOutcome {
  bool cleared = false;
  std::string message;  // "<name>'s clipboard cleared" or "Nothing Orvanta copied is waiting to be cleared"
};

class QuickInputService {
 public:
  static constexpr std::string_view nothingToClearMessage = "Nothing Orvanta copied is waiting to be cleared";

  QuickInputService(std::shared_ptr<SettingsStore> defaults, SecretStore& secrets,
                    SimulatorPasteboardService pasteboard);

  [[nodiscard]] QuickInputStore& store() { return store_; }

  // Profiles. Fail with emptyProfileName, profileNotFound or persistenceFailed. A new profile is selected
  // when it is the only one.
  [[nodiscard]] expected<QuickInputProfile, QuickInputError> addProfile(std::string_view name);
  [[nodiscard]] expected<QuickInputProfile, QuickInputError> renameProfile(std::string_view id, std::string_view name);
  [[nodiscard]] expected<QuickInputProfile, QuickInputError> selectProfile(std::string_view id);
  // Removes the profile and the secrets of its fields (a secret that cannot be removed fails the call
  // before anything changes).
  [[nodiscard]] expected<QuickInputProfile, QuickInputError> removeProfile(std::string_view id);

  // Adds a field at the end of profile `profileID`. Fails with emptyLabel, emptyValue, profileNotFound,
  // secret (the store refused the secret) or persistenceFailed; on failure no secret is left behind.
  [[nodiscard]] expected<QuickInputField, QuickInputError> addField(std::string_view profileID,
                                                                    const QuickInputFieldDraft& draft);
  // Removes the field and its secret. Fails with profileNotFound, fieldNotFound, secret or persistenceFailed.
  [[nodiscard]] expected<QuickInputField, QuickInputError> removeField(std::string_view profileID,
                                                                       std::string_view fieldID);

  // The value `field` would copy. Fails with noValue, or secret (notFound when its item is missing).
  [[nodiscard]] expected<std::string, QuickInputError> value(const QuickInputField& field) const;

  // Puts the field's value on simulator `udid`'s clipboard, read back, and remembers its fingerprint.
  // Fails with noValue, secret, or pasteboard (invalidTarget, commandFailed, verificationFailed,
  // writeNotAccepted).
  [[nodiscard]] expected<QuickInputCopyOutcome, QuickInputError> copyField(const QuickInputField& field,
                                                                           const std::string& udid,
                                                                           orvanta::stop_token stop = {});

  // Clears simulator `udid`'s clipboard if it still holds the value last copied there; `simulatorName`
  // is for the message. Fails with pasteboard (invalidTarget, commandFailed, verificationFailed,
  // clearNotAccepted) or secret (the key could not be read).
  [[nodiscard]] expected<QuickInputClearOutcome, QuickInputError> clear(const std::string& udid,
                                                                        const std::string& simulatorName,
                                                                        orvanta::stop_token stop = {});

 private:
  QuickInputStore store_;
  KeychainQuickInputSecretStore secrets_;
  PasteboardFingerprintStore fingerprints_;
  SimulatorPasteboardService pasteboard_;
};

}  // namespace orvanta
