#include "tools/deeplink/deep_link_store.hpp"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "support/reference_date.hpp"
#include "support/uuid.hpp"
#include "tools/deeplink/deep_link_validation.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;
using Case = DeepLinkError::Case;

std::optional<std::string> stringField(const Json& json, const char* key) {
  const auto found = json.find(key);
  if (found == json.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

std::string trimmedLabel(std::string_view label) { return std::string(trimDeepLinkWhitespace(label)); }

// Labels are optional, but a label names one favourite only, so that it can stand for the id.
bool labelUsedElsewhere(const std::vector<DeepLinkFavorite>& favorites, const std::string& label,
                        const std::optional<std::string>& exceptId) {
  if (label.empty()) return false;
  return std::any_of(favorites.begin(), favorites.end(), [&](const DeepLinkFavorite& favorite) {
    return favorite.label == label && (!exceptId || favorite.id != *exceptId);
  });
}

std::vector<DeepLinkFavorite> decodeFavorites(const Json& array) {
  return decodeSettingsItems<DeepLinkFavorite>(array, DeepLinkFavoriteCodec::decode);
}

Json encodeFavorites(const std::vector<DeepLinkFavorite>& favorites) {
  return encodeSettingsItems(favorites, DeepLinkFavoriteCodec::encode);
}

}  // namespace

Json DeepLinkHistoryCodec::encode(const DeepLinkHistoryEntry& entry) {
  return {{"id", entry.id}, {"urlString", entry.urlString}, {"openedAt", toReferenceSeconds(entry.openedAt)}};
}

std::optional<DeepLinkHistoryEntry> DeepLinkHistoryCodec::decode(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  auto id = stringField(json, "id");
  auto url = stringField(json, "urlString");
  const auto openedAt = json.find("openedAt");
  if (!id || !url || openedAt == json.end() || !openedAt->is_number()) return std::nullopt;
  auto canonical = parseUUID(*id);
  auto date = fromReferenceSeconds(openedAt->get<double>());
  if (!canonical || !date) return std::nullopt;
  return DeepLinkHistoryEntry{std::move(*canonical), std::move(*url), *date};
}

Json DeepLinkFavoriteCodec::encode(const DeepLinkFavorite& favorite) {
  return {{"id", favorite.id}, {"urlString", favorite.urlString}, {"label", favorite.label}};
}

std::optional<DeepLinkFavorite> DeepLinkFavoriteCodec::decode(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  auto id = stringField(json, "id");
  auto url = stringField(json, "urlString");
  auto label = stringField(json, "label");
  if (!id || !url || !label) return std::nullopt;
  auto canonical = parseUUID(*id);
  if (!canonical) return std::nullopt;
  return DeepLinkFavorite{std::move(*canonical), std::move(*url), std::move(*label)};
}

// ---- history -----------------------------------------------------------------------------------------

expected<DeepLinkHistoryEntry, DeepLinkError> DeepLinkHistoryStore::record(
    std::string urlString, std::chrono::system_clock::time_point openedAt) {
  DeepLinkHistoryEntry entry{makeUUID(), std::move(urlString), openedAt};
  auto written = list_.record(entry, [](const DeepLinkHistoryEntry& old, const DeepLinkHistoryEntry& added) {
    return old.urlString == added.urlString;
  });
  if (!written) return unexpected(DeepLinkError::persistenceFailed());
  return entry;
}

expected<void, DeepLinkError> DeepLinkHistoryStore::clear() {
  if (!list_.clear()) return unexpected(DeepLinkError::persistenceFailed());
  return {};
}

// ---- favourites --------------------------------------------------------------------------------------

std::vector<DeepLinkFavorite> DeepLinkFavoriteStore::favorites() const { return decodeFavorites(list_.load()); }

expected<DeepLinkFavorite, DeepLinkError> DeepLinkFavoriteStore::add(std::string_view url, std::string_view label) {
  auto link = validateDeepLink(url);
  if (!link) return unexpected(link.error());
  DeepLinkFavorite favorite{makeUUID(), link->urlString, trimmedLabel(label)};
  std::optional<DeepLinkError> refused;
  auto written = list_.update([&](Json stored) {
    auto favorites = decodeFavorites(stored);
    if (std::any_of(favorites.begin(), favorites.end(),
                    [&](const DeepLinkFavorite& old) { return old.urlString == favorite.urlString; })) {
      refused = DeepLinkError(Case::duplicateFavorite);
    } else if (labelUsedElsewhere(favorites, favorite.label, std::nullopt)) {
      refused = DeepLinkError::labelTaken(favorite.label);
    } else if (favorites.size() >= maximumDeepLinkFavorites) {
      refused = DeepLinkError(Case::favoriteLimitReached);
    }
    if (refused) return stored;
    favorites.push_back(favorite);
    return encodeFavorites(favorites);
  });
  if (!written) return unexpected(DeepLinkError::persistenceFailed());
  if (refused) return unexpected(*refused);
  return favorite;
}

expected<DeepLinkFavorite, DeepLinkError> DeepLinkFavoriteStore::relabel(std::string_view id, std::string_view label) {
  const auto wanted = parseUUID(id);
  std::optional<DeepLinkFavorite> changed;
  std::optional<DeepLinkError> refused;
  auto written = list_.update([&](Json stored) {
    auto favorites = decodeFavorites(stored);
    auto found = std::find_if(favorites.begin(), favorites.end(),
                              [&](const DeepLinkFavorite& favorite) { return wanted && favorite.id == *wanted; });
    if (found == favorites.end()) return stored;
    auto newLabel = trimmedLabel(label);
    if (labelUsedElsewhere(favorites, newLabel, found->id)) {
      refused = DeepLinkError::labelTaken(std::move(newLabel));
      return stored;
    }
    found->label = std::move(newLabel);
    changed = *found;
    return encodeFavorites(favorites);
  });
  if (!written) return unexpected(DeepLinkError::persistenceFailed());
  if (refused) return unexpected(*refused);
  if (!changed) return unexpected(DeepLinkError(Case::favoriteNotFound));
  return *changed;
}

expected<DeepLinkFavorite, DeepLinkError> DeepLinkFavoriteStore::remove(std::string_view id) {
  const auto wanted = parseUUID(id);
  std::optional<DeepLinkFavorite> removed;
  auto written = list_.update([&](Json stored) {
    auto favorites = decodeFavorites(stored);
    auto found = std::find_if(favorites.begin(), favorites.end(),
                              [&](const DeepLinkFavorite& favorite) { return wanted && favorite.id == *wanted; });
    if (found == favorites.end()) return stored;
    removed = *found;
    favorites.erase(found);
    return encodeFavorites(favorites);
  });
  if (!written) return unexpected(DeepLinkError::persistenceFailed());
  if (!removed) return unexpected(DeepLinkError(Case::favoriteNotFound));
  return *removed;
}

std::vector<DeepLinkFavorite> DeepLinkFavoriteStore::matching(std::string_view idOrLabel) const {
  const auto all = favorites();
  std::vector<DeepLinkFavorite> found;
  if (auto id = parseUUID(idOrLabel)) {
    std::copy_if(all.begin(), all.end(), std::back_inserter(found),
                 [&](const DeepLinkFavorite& favorite) { return favorite.id == *id; });
    if (!found.empty()) return found;
  }
  std::copy_if(all.begin(), all.end(), std::back_inserter(found),
               [&](const DeepLinkFavorite& favorite) { return !favorite.label.empty() && favorite.label == idOrLabel; });
  if (!found.empty()) return found;
  std::copy_if(all.begin(), all.end(), std::back_inserter(found),
               [&](const DeepLinkFavorite& favorite) { return favorite.urlString == idOrLabel; });
  return found;
}

}  // namespace orvanta
