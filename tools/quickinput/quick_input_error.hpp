// Every failure of quick input, with the sentence the user sees.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "core/secret_store.hpp"
#include "tools/quickinput/simulator_pasteboard_service.hpp"

namespace orvanta {

// The secret store's failures as quick input reports them: keychain(status) with the store's own message,
// or notFound (no item for the field's account).
using QuickInputSecretError = SecretStoreError;

struct QuickInputError {
  enum class Case {
    profileNotFound,     // "That profile no longer exists."
    fieldNotFound,       // "That field no longer exists."
    noProfileSelected,   // "Choose a profile first."
    emptyProfileName,    // "Give the profile a name."
    emptyLabel,          // "Give the field a label."
    emptyValue,          // "Enter a value first."
    noValue,             // "This field keeps no value to copy."
    nameTaken,           // "A profile named “<detail>” already exists." / "This profile already has a field
                         // labelled “<detail>”.": names stay unique so that lookups by name do
    persistenceFailed,   // "Couldn't save your quick-input profiles."; detail: the settings store's reason
    secret,              // the secret store's sentence (see `secretError`)
    pasteboard,          // the simulator clipboard's sentence (see `pasteboardError`)
  };
  Case kind = Case::persistenceFailed;
  std::string detail;
  std::optional<QuickInputSecretError> secretError;
  std::optional<SimulatorPasteboardError> pasteboardError;

  QuickInputError() = default;
  explicit QuickInputError(Case kind_, std::string detail_ = {}) : kind(kind_), detail(std::move(detail_)) {}
  static QuickInputError secret(QuickInputSecretError error);
  static QuickInputError pasteboard(SimulatorPasteboardError error);

  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it; for secret and pasteboard, the wrapped error's case ("notFound",
  // "writeNotAccepted", ...).
  [[nodiscard]] std::string_view caseName() const;
  bool operator==(const QuickInputError&) const = default;
};

}  // namespace orvanta
