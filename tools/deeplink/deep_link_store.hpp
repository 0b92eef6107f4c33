// The deep-link tool's remembered links, each a JSON array under one settings key:
//
//   "Orvanta.DeepLink.recents"    [{"id": UUID, "urlString": "myapp://x", "openedAt": seconds since
//                                   2001-01-01 UTC}, ...]   newest first, at most 25; opening a URL that is
//                                   already listed (same text exactly) moves it to the front
//   "Orvanta.DeepLink.favorites"  [{"id": UUID, "urlString": "myapp://x", "label": "Inbox"}, ...]   in the
//                                   order added, at most 100
//
// Favourites: the URL must pass validateDeepLink and is kept as its trimmed text; each URL is a favourite
// at most once (exact text: "myapp://A" and "myapp://a" are different links). The label is trimmed and
// may be empty (the URL then stands for it). Adding beyond 100 is refused rather than dropping an old one.
//
// Ids are upper-case UUIDs, looked up in any letter case. Unreadable entries are left out and dropped by
// the next change (see support/settings_list.hpp). As thread-safe as the settings store; calls block on
// the store's file.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "support/expected.hpp"
#include "support/settings_list.hpp"
#include "support/settings_store.hpp"
#include "tools/deeplink/deep_link_error.hpp"
#include "tools/deeplink/deep_link_limits.hpp"

namespace orvanta {

struct DeepLinkHistoryEntry {
  std::string id;
  std::string urlString;
  std::chrono::system_clock::time_point openedAt;
  bool operator==(const DeepLinkHistoryEntry&) const = default;
};

struct DeepLinkFavorite {
  std::string id;
  std::string urlString;
  std::string label;
  // The label, or the URL when the label is empty.
  [[nodiscard]] const std::string& title() const { return label.empty() ? urlString : label; }
  bool operator==(const DeepLinkFavorite&) const = default;
};

struct DeepLinkHistoryCodec {
  static nlohmann::json encode(const DeepLinkHistoryEntry& entry);
  static std::optional<DeepLinkHistoryEntry> decode(const nlohmann::json& json);
};

struct DeepLinkFavoriteCodec {
  static nlohmann::json encode(const DeepLinkFavorite& favorite);
  static std::optional<DeepLinkFavorite> decode(const nlohmann::json& json);
};

class DeepLinkHistoryStore {
 public:
  static constexpr std::string_view key = "Orvanta.DeepLink.recents";

  explicit DeepLinkHistoryStore(std::shared_ptr<SettingsStore> defaults)
      : list_(std::move(defaults), std::string(key), maximumDeepLinkHistoryEntries) {}

  [[nodiscard]] std::vector<DeepLinkHistoryEntry> entries() const { return list_.entries(); }
  // Records `urlString` as opened at `openedAt` (a new entry, first). Fails with persistenceFailed.
  [[nodiscard]] expected<DeepLinkHistoryEntry, DeepLinkError> record(std::string urlString,
                                                                     std::chrono::system_clock::time_point openedAt);
  [[nodiscard]] expected<void, DeepLinkError> clear();

 private:
  RecentList<DeepLinkHistoryEntry, DeepLinkHistoryCodec> list_;
};

class DeepLinkFavoriteStore {
 public:
  static constexpr std::string_view key = "Orvanta.DeepLink.favorites";

  explicit DeepLinkFavoriteStore(std::shared_ptr<SettingsStore> defaults)
      : list_(std::move(defaults), std::string(key)) {}

  [[nodiscard]] std::vector<DeepLinkFavorite> favorites() const;

  // Adds `url` with `label`. Fails with the validation errors, duplicateFavorite, favoriteLimitReached or
  // persistenceFailed.
  [[nodiscard]] expected<DeepLinkFavorite, DeepLinkError> add(std::string_view url, std::string_view label);
  // Gives favourite `id` a new label. Fails with favoriteNotFound or persistenceFailed.
  [[nodiscard]] expected<DeepLinkFavorite, DeepLinkError> relabel(std::string_view id, std::string_view label);
  // Removes favourite `id` and returns it. Fails with favoriteNotFound or persistenceFailed.
  [[nodiscard]] expected<DeepLinkFavorite, DeepLinkError> remove(std::string_view id);

  // The favourites `idOrLabel` names: the one with that id, else every one whose label is exactly it,
  // else every one whose URL is exactly it. Empty when none matches.
  [[nodiscard]] std::vector<DeepLinkFavorite> matching(std::string_view idOrLabel) const;

 private:
  SettingsList list_;
};

}  // namespace orvanta
