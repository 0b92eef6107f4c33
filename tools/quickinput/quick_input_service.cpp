#include "tools/quickinput/quick_input_service.hpp"

#include <algorithm>

#include "support/text.hpp"
#include "support/uuid.hpp"

namespace orvanta {
namespace {

using Case = QuickInputError::Case;
using ValueKind = QuickInputFieldDraft::ValueKind;

QuickInputProfile* findProfile(QuickInputDocument& document, std::string_view id) {
  auto canonical = parseUUID(id);
  if (!canonical) return nullptr;
  for (auto& profile : document.profiles) {
    if (profile.id == *canonical) return &profile;
  }
  return nullptr;
}

expected<QuickInputProfile*, QuickInputError> requireProfile(QuickInputDocument& document, std::string_view id) {
  if (auto* profile = findProfile(document, id)) return profile;
  return unexpected(QuickInputError(Case::profileNotFound));
}

std::string secretLabel(const QuickInputField& field) {
  return "Orvanta quick input: " + field.label;
}

// Applies `edit` to the profile `id` in one read-modify-write of `store`; the profile as edited.
template <typename Edit>
expected<QuickInputProfile, QuickInputError> editProfile(QuickInputStore& store, std::string_view id, Edit edit) {
  QuickInputProfile edited;
  auto changed = store.change([&](QuickInputDocument& document) -> expected<void, QuickInputError> {
    auto profile = requireProfile(document, id);
    if (!profile) return unexpected(profile.error());
    edit(document, **profile);
    edited = **profile;
    return {};
  });
  if (!changed) return unexpected(changed.error());
  return edited;
}

}  // namespace

QuickInputService::QuickInputService(std::shared_ptr<SettingsStore> defaults, SecretStore& secrets,
                                     SimulatorPasteboardService pasteboard)
    : store_(defaults), secrets_(secrets), fingerprints_(defaults), pasteboard_(std::move(pasteboard)) {}

// ---- profiles ----------------------------------------------------------------------------------------

namespace {
const QuickInputProfile* profileNamed(const QuickInputDocument& document, std::string_view name) {
  for (const auto& profile : document.profiles) {
    if (profile.name == name) return &profile;
  }
  return nullptr;
}
}  // namespace

expected<QuickInputProfile, QuickInputError> QuickInputService::addProfile(std::string_view name) {
  const auto trimmed = trimWhitespace(name);
  if (trimmed.empty()) return unexpected(QuickInputError(Case::emptyProfileName));
  QuickInputProfile added{makeUUID(), std::string(trimmed), {}};
  auto changed = store_.change([&](QuickInputDocument& document) -> expected<void, QuickInputError> {
    if (profileNamed(document, added.name)) return unexpected(QuickInputError(Case::nameTaken, added.name));
    document.profiles.push_back(added);
    if (document.profiles.size() == 1) document.selectedProfileID = added.id;
    return {};
  });
  if (!changed) return unexpected(changed.error());
  return added;
}

expected<QuickInputProfile, QuickInputError> QuickInputService::renameProfile(std::string_view id,
                                                                              std::string_view name) {
  const auto trimmed = trimWhitespace(name);
  if (trimmed.empty()) return unexpected(QuickInputError(Case::emptyProfileName));
  std::optional<QuickInputError> clash;
  auto edited = editProfile(store_, id, [&](QuickInputDocument& document, QuickInputProfile& profile) {
    if (const auto* other = profileNamed(document, trimmed); other != nullptr && other->id != profile.id) {
      clash = QuickInputError(Case::nameTaken, std::string(trimmed));
      return;
    }
    profile.name = std::string(trimmed);
  });
  if (clash) return unexpected(*clash);
  return edited;
}

expected<QuickInputProfile, QuickInputError> QuickInputService::selectProfile(std::string_view id) {
  return editProfile(store_, id, [](QuickInputDocument& document, QuickInputProfile& profile) {
    document.selectedProfileID = profile.id;
  });
}

expected<QuickInputProfile, QuickInputError> QuickInputService::removeProfile(std::string_view id) {
  auto document = store_.document();
  if (!document) return unexpected(document.error());
  auto profile = requireProfile(*document, id);
  if (!profile) return unexpected(profile.error());
  for (const auto& field : (*profile)->fields) {
    if (!field.secretAccount) continue;
    if (auto removed = secrets_.removeSecret(*field.secretAccount); !removed) {
      return unexpected(QuickInputError::secret(removed.error()));
    }
  }
  QuickInputProfile removed;
  auto changed = store_.change([&](QuickInputDocument& current) -> expected<void, QuickInputError> {
    auto found = std::find_if(current.profiles.begin(), current.profiles.end(),
                              [&](const QuickInputProfile& candidate) { return candidate.id == (*profile)->id; });
    if (found == current.profiles.end()) return unexpected(QuickInputError(Case::profileNotFound));
    removed = *found;
    current.profiles.erase(found);
    if (current.selectedProfileID == removed.id) current.selectedProfileID.reset();
    return {};
  });
  if (!changed) return unexpected(changed.error());
  return removed;
}

// ---- fields ------------------------------------------------------------------------------------------

expected<QuickInputField, QuickInputError> QuickInputService::addField(std::string_view profileID,
                                                                       const QuickInputFieldDraft& draft) {
  const auto label = trimWhitespace(draft.label);
  if (label.empty()) return unexpected(QuickInputError(Case::emptyLabel));
  if (draft.valueKind != ValueKind::none && draft.value.empty()) return unexpected(QuickInputError(Case::emptyValue));

  QuickInputField field;
  field.id = makeUUID();
  field.kind = draft.kind;
  field.label = std::string(label);
  field.isSecret = draft.valueKind == ValueKind::secret;
  field.savesValue = draft.valueKind != ValueKind::none;
  if (draft.valueKind == ValueKind::plain) field.plainValue = draft.value;
  if (field.isSecret) field.secretAccount = secretAccountForField(field.id);

  // Check the profile before anything reaches the secret store.
  auto document = store_.document();
  if (!document) return unexpected(document.error());
  if (!findProfile(*document, profileID)) return unexpected(QuickInputError(Case::profileNotFound));

  // The field is saved first and its secret second: a process killed in between leaves a field whose
  // secret is missing (shown as such, and removable), never a secret in the keyring that nothing names.
  auto changed = store_.change([&](QuickInputDocument& current) -> expected<void, QuickInputError> {
    auto profile = requireProfile(current, profileID);
    if (!profile) return unexpected(profile.error());
    const auto& fields = (*profile)->fields;
    if (std::any_of(fields.begin(), fields.end(), [&](const QuickInputField& other) { return other.label == field.label; })) {
      return unexpected(QuickInputError(Case::nameTaken, "field:" + field.label));
    }
    (*profile)->fields.push_back(field);
    return {};
  });
  if (!changed) return unexpected(changed.error());
  if (field.isSecret) {
    if (auto stored = secrets_.setSecret(*field.secretAccount, draft.value, secretLabel(field)); !stored) {
      (void)removeField(profileID, field.id);
      return unexpected(QuickInputError::secret(stored.error()));
    }
  }
  return field;
}

expected<QuickInputField, QuickInputError> QuickInputService::removeField(std::string_view profileID,
                                                                          std::string_view fieldID) {
  auto canonicalField = parseUUID(fieldID);
  QuickInputField removed;
  auto changed = store_.change([&](QuickInputDocument& document) -> expected<void, QuickInputError> {
    auto profile = requireProfile(document, profileID);
    if (!profile) return unexpected(profile.error());
    auto& fields = (*profile)->fields;
    auto found = std::find_if(fields.begin(), fields.end(), [&](const QuickInputField& candidate) {
      return canonicalField && candidate.id == *canonicalField;
    });
    if (found == fields.end()) return unexpected(QuickInputError(Case::fieldNotFound));
    removed = *found;
    fields.erase(found);
    return {};
  });
  if (!changed) return unexpected(changed.error());
  // After the field is gone nothing names the secret any more; one that stays behind is only reported.
  if (removed.secretAccount) {
    if (auto gone = secrets_.removeSecret(*removed.secretAccount); !gone) {
      return unexpected(QuickInputError::secret(gone.error()));
    }
  }
  return removed;
}

// ---- copy and clear ----------------------------------------------------------------------------------

expected<std::string, QuickInputError> QuickInputService::value(const QuickInputField& field) const {
  if (!field.savesValue) return unexpected(QuickInputError(Case::noValue));
  if (field.isSecret) {
    if (!field.secretAccount) return unexpected(QuickInputError::secret(QuickInputSecretError::notFound()));
    auto secret = secrets_.secret(*field.secretAccount);
    if (!secret) return unexpected(QuickInputError::secret(secret.error()));
    return std::move(*secret);
  }
  if (!field.plainValue) return unexpected(QuickInputError(Case::noValue));
  return *field.plainValue;
}

expected<QuickInputCopyOutcome, QuickInputError> QuickInputService::copyField(const QuickInputField& field,
                                                                              const std::string& udid,
                                                                              orvanta::stop_token stop) {
  if (trimWhitespace(udid).empty()) {
    return unexpected(
        QuickInputError::pasteboard(SimulatorPasteboardError::of(SimulatorPasteboardError::Case::invalidTarget)));
  }
  auto text = value(field);
  if (!text) return unexpected(text.error());
  auto written = pasteboard_.writeText(*text, udid, stop,
                                       field.isSecret ? SimulatorPasteboardService::Sensitivity::secret
                                                      : SimulatorPasteboardService::Sensitivity::plain);
  if (!written) return unexpected(QuickInputError::pasteboard(written.error()));

  QuickInputCopyOutcome outcome{field, udid, *written, std::nullopt};
  auto key = secrets_.fingerprintKey(true);
  if (!key) {
    outcome.fingerprintProblem = key.error().description();
  } else if (auto kept = fingerprints_.setFingerprint(udid, PasteboardFingerprint::of(*text, *key)); !kept) {
    outcome.fingerprintProblem = kept.error().description();
  }
  return outcome;
}

expected<QuickInputClearOutcome, QuickInputError> QuickInputService::clear(const std::string& udid,
                                                                           const std::string& simulatorName,
                                                                           orvanta::stop_token stop) {
  if (trimWhitespace(udid).empty()) {
    return unexpected(
        QuickInputError::pasteboard(SimulatorPasteboardError::of(SimulatorPasteboardError::Case::invalidTarget)));
  }
  const QuickInputClearOutcome nothing{false, std::string(nothingToClearMessage)};
  auto stored = fingerprints_.fingerprint(udid);
  if (!stored) return nothing;
  auto key = secrets_.fingerprintKey(false);
  if (!key) {
    if (key.error().kind == QuickInputSecretError::Case::notFound) return nothing;
    return unexpected(QuickInputError::secret(key.error()));
  }
  auto shown = pasteboard_.readText(udid, stop);
  if (!shown) return unexpected(QuickInputError::pasteboard(shown.error()));
  if (PasteboardFingerprint::of(*shown, *key) != *stored) return nothing;

  if (auto cleared = pasteboard_.clear(udid, stop); !cleared) {
    return unexpected(QuickInputError::pasteboard(cleared.error()));
  }
  (void)fingerprints_.removeFingerprint(udid);
  return QuickInputClearOutcome{true, simulatorName + "'s clipboard cleared"};
}

}  // namespace orvanta
