// The quick-input profiles document under the settings key "Orvanta.QuickInput.profiles" (its shape is in
// quick_input_model.hpp).
//
// A stored document that cannot be decoded is copied aside, as it was, under
// "Orvanta.QuickInput.profiles.unreadable" before an empty document replaces it, and takeRecoveryNotice()
// then says so once. If the copy cannot be written, nothing replaces the stored document and the call fails.
//
// As thread-safe as the settings store; calls block on the store's file. Each change is one
// read-modify-write of the settings, so two processes never lose each other's edits.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/expected.hpp"
#include "support/settings_store.hpp"
#include "tools/quickinput/quick_input_error.hpp"
#include "tools/quickinput/quick_input_model.hpp"

namespace orvanta {

class QuickInputStore {
 public:
  static constexpr std::string_view key = "Orvanta.QuickInput.profiles";
  static constexpr std::string_view unreadableKey = "Orvanta.QuickInput.profiles.unreadable";
  using Edit = std::function<expected<void, QuickInputError>(QuickInputDocument&)>;

  explicit QuickInputStore(std::shared_ptr<SettingsStore> defaults) : defaults_(std::move(defaults)) {}

  // The stored document (an empty one when none is stored). Fails with persistenceFailed.
  [[nodiscard]] expected<QuickInputDocument, QuickInputError> document();
  // Applies `edit` to the stored document and writes it back; nothing is written when `edit` fails, and
  // its error is returned. Fails with persistenceFailed too.
  [[nodiscard]] expected<QuickInputDocument, QuickInputError> change(const Edit& edit);

  // "The quick-input profiles could not be read; ..." once after an undecodable document was set aside.
  [[nodiscard]] std::optional<std::string> takeRecoveryNotice();

 private:
  // Sets an undecodable stored document aside and replaces it with an empty one.
  expected<void, QuickInputError> recoverIfUnreadable();

  std::shared_ptr<SettingsStore> defaults_;
  std::optional<std::string> notice_;
};

// The profiles `idOrName` names: the one with that id (any letter case), else every one named exactly so.
[[nodiscard]] std::vector<const QuickInputProfile*> matchingProfiles(const QuickInputDocument& document,
                                                                     std::string_view idOrName);
// The fields of `profile` that `idOrLabel` names: the one with that id, else every one labelled exactly so.
[[nodiscard]] std::vector<const QuickInputField*> matchingFields(const QuickInputProfile& profile,
                                                                 std::string_view idOrLabel);

}  // namespace orvanta
