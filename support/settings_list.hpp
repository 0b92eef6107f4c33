// Lists kept as one JSON array under one settings key: histories (newest first, bounded, duplicates
// removed), favourites and presets.
//
// A stored value that is not an array reads as an empty list, and an item that cannot be decoded is left
// out and dropped by the next change of that list: a damaged list never blocks the tool that keeps it.
// Every change is one read-modify-write of the settings store, so another Orvanta process cannot slip a
// change in between.
//
// As thread-safe as the settings store beneath it; every call blocks on the store's file.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/expected.hpp"
#include "support/file_error.hpp"
#include "support/settings_store.hpp"

namespace orvanta {

// The raw array under one key.
class SettingsList {
 public:
  SettingsList(std::shared_ptr<SettingsStore> store, std::string key)
      : store_(std::move(store)), key_(std::move(key)) {}

  // The stored array; an empty one when nothing is stored, the value is not an array, or the store cannot
  // be read.
  [[nodiscard]] nlohmann::json load() const;
  // Replaces the array with what `change` makes of the current one (an empty array when the stored value
  // is missing or not an array), as one step. `change` must not call back into the store.
  [[nodiscard]] expected<void, FileError> update(const std::function<nlohmann::json(nlohmann::json)>& change);

  [[nodiscard]] const std::string& key() const { return key_; }

 private:
  std::shared_ptr<SettingsStore> store_;
  std::string key_;
};

// Every item of `array` that `decode` (json -> optional<T>) can read, in order.
template <class T, class Decode>
[[nodiscard]] std::vector<T> decodeSettingsItems(const nlohmann::json& array, Decode&& decode) {
  std::vector<T> items;
  if (!array.is_array()) return items;
  for (const auto& item : array) {
    if (std::optional<T> decoded = decode(item)) items.push_back(std::move(*decoded));
  }
  return items;
}

// The items as a JSON array, each through `encode` (T -> json).
template <class T, class Encode>
[[nodiscard]] nlohmann::json encodeSettingsItems(const std::vector<T>& items, Encode&& encode) {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& item : items) array.push_back(encode(item));
  return array;
}

// Puts `item` first, drops the older items that `same(old, item)` calls duplicates, and keeps at most
// `limit` items.
template <class T, class Same>
void insertNewestFirst(std::vector<T>& items, T item, Same&& same, std::size_t limit) {
  std::erase_if(items, [&](const T& old) { return same(old, item); });
  items.insert(items.begin(), std::move(item));
  if (items.size() > limit) items.resize(limit);
}

// A typed, bounded, newest-first history under one key: the shape of the location, push and deep-link
// recents. `Codec` provides `static nlohmann::json encode(const T&)` and
// `static std::optional<T> decode(const nlohmann::json&)`.
template <class T, class Codec>
class RecentList {
 public:
  RecentList(std::shared_ptr<SettingsStore> store, std::string key, std::size_t limit)
      : list_(std::move(store), std::move(key)), limit_(limit) {}

  // The readable entries, newest first.
  [[nodiscard]] std::vector<T> entries() const { return decodeSettingsItems<T>(list_.load(), Codec::decode); }

  // Records `entry` as the newest, removing older entries that `same(old, entry)` calls duplicates, and
  // keeps the newest `limit`. Fails with the store's error; nothing changes then.
  template <class Same>
  [[nodiscard]] expected<void, FileError> record(const T& entry, Same&& same) {
    return list_.update([&](nlohmann::json stored) {
      auto items = decodeSettingsItems<T>(stored, Codec::decode);
      insertNewestFirst(items, entry, same, limit_);
      return encodeSettingsItems(items, Codec::encode);
    });
  }

  // Removes the entries for which `remove(entry)` holds; returns how many went.
  template <class Predicate>
  [[nodiscard]] expected<std::size_t, FileError> removeIf(Predicate&& remove) {
    std::size_t removed = 0;
    auto written = list_.update([&](nlohmann::json stored) {
      auto items = decodeSettingsItems<T>(stored, Codec::decode);
      removed = static_cast<std::size_t>(std::erase_if(items, remove));
      return encodeSettingsItems(items, Codec::encode);
    });
    if (!written) return unexpected(written.error());
    return removed;
  }

  [[nodiscard]] expected<void, FileError> clear() {
    return list_.update([](nlohmann::json) { return nlohmann::json::array(); });
  }

  [[nodiscard]] std::size_t limit() const { return limit_; }
  [[nodiscard]] const std::string& key() const { return list_.key(); }

 private:
  SettingsList list_;
  std::size_t limit_;
};

}  // namespace orvanta
