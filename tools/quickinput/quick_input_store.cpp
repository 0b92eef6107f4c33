#include "tools/quickinput/quick_input_store.hpp"

#include <utility>

#include <nlohmann/json.hpp>

#include "support/uuid.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using Case = QuickInputError::Case;

QuickInputError persistenceFailed(const FileError& error) {
  return QuickInputError(Case::persistenceFailed, error.description());
}

bool sameID(std::string_view stored, std::string_view given) {
  auto canonical = parseUUID(given);
  return canonical && *canonical == stored;
}

}  // namespace

expected<void, QuickInputError> QuickInputStore::recoverIfUnreadable() {
  auto stored = defaults_->value(key);
  if (!stored) return unexpected(persistenceFailed(stored.error()));
  if (!*stored || decodeQuickInputDocument(**stored)) return {};

  const Json unreadable = **stored;
  if (auto copied = defaults_->setValue(unreadableKey, unreadable); !copied) {
    return unexpected(persistenceFailed(copied.error()));
  }
  // Replace only what was copied: another process may have written a good document meanwhile.
  auto replaced = defaults_->update(key, [&](std::optional<Json> current) -> std::optional<Json> {
    if (current && *current == unreadable) return encodeQuickInputDocument(QuickInputDocument{});
    return current;
  });
  if (!replaced) return unexpected(persistenceFailed(replaced.error()));
  notice_ = "The quick-input profiles could not be read; they were kept under \"" + std::string(unreadableKey) +
            "\" in the settings, and the profiles start empty.";
  return {};
}

expected<QuickInputDocument, QuickInputError> QuickInputStore::document() {
  if (auto recovered = recoverIfUnreadable(); !recovered) return unexpected(recovered.error());
  auto stored = defaults_->value(key);
  if (!stored) return unexpected(persistenceFailed(stored.error()));
  if (!*stored) return QuickInputDocument{};
  auto decoded = decodeQuickInputDocument(**stored);
  if (!decoded)
    return unexpected(QuickInputError(Case::persistenceFailed, "The stored profiles changed while reading."));
  return std::move(*decoded);
}

expected<QuickInputDocument, QuickInputError> QuickInputStore::change(const Edit& edit) {
  if (auto recovered = recoverIfUnreadable(); !recovered) return unexpected(recovered.error());
  std::optional<QuickInputError> failure;
  QuickInputDocument result;
  auto written = defaults_->update(key, [&](std::optional<Json> current) -> std::optional<Json> {
    QuickInputDocument document;
    if (current) {
      auto decoded = decodeQuickInputDocument(*current);
      if (!decoded) {
        failure = QuickInputError(Case::persistenceFailed, "The stored profiles changed while saving.");
        return current;
      }
      document = std::move(*decoded);
    }
    if (auto edited = edit(document); !edited) {
      failure = edited.error();
      return current;
    }
    result = document;
    return encodeQuickInputDocument(document);
  });
  if (!written) return unexpected(persistenceFailed(written.error()));
  if (failure) return unexpected(*failure);
  return result;
}

std::optional<std::string> QuickInputStore::takeRecoveryNotice() {
  return std::exchange(notice_, std::nullopt);
}

namespace {

// The item whose id is `idOrName` alone, else every item with that name, in order.
template <typename Item, typename Name>
std::vector<const Item*> matching(const std::vector<Item>& items, std::string_view idOrName, Name name) {
  std::vector<const Item*> matches;
  for (const auto& item : items) {
    if (sameID(item.id, idOrName)) return {&item};
  }
  for (const auto& item : items) {
    if (name(item) == idOrName) matches.push_back(&item);
  }
  return matches;
}

}  // namespace

std::vector<const QuickInputProfile*> matchingProfiles(const QuickInputDocument& document, std::string_view idOrName) {
  return matching(document.profiles, idOrName,
                  [](const QuickInputProfile& profile) -> const std::string& { return profile.name; });
}

std::vector<const QuickInputField*> matchingFields(const QuickInputProfile& profile, std::string_view idOrLabel) {
  return matching(profile.fields, idOrLabel,
                  [](const QuickInputField& field) -> const std::string& { return field.label; });
}

}  // namespace orvanta
