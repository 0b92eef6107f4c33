// The payloads sent successfully, newest first, kept in the settings store:
//
//   "Orvanta.Push.recents"  [{"id": UUID, "payload": text as sent, "bundleIdentifier": ..., "simulatorName": ...,
//                             "sentAt": seconds since 2001-01-01 UTC}, ...]   at most 25
//
// A stored value that is not an array reads as an empty history, and entries that cannot be read are left
// out; the next successful send writes the list back whole, so a damaged history heals itself. As
// thread-safe as the settings store; the calls block on the store's file.
#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "support/expected.hpp"
#include "support/file_error.hpp"
#include "support/settings_list.hpp"
#include "support/settings_store.hpp"

namespace orvanta {

inline constexpr std::size_t maximumPushHistoryEntries = 25;

struct PushHistoryEntry {
  std::string id;  // upper-case UUID
  std::string payload;
  std::string bundleIdentifier;
  std::string simulatorName;
  std::chrono::system_clock::time_point sentAt;

  // A new entry with a fresh id.
  [[nodiscard]] static PushHistoryEntry make(std::string payload, std::string bundleIdentifier,
                                             std::string simulatorName, std::chrono::system_clock::time_point sentAt);
  bool operator==(const PushHistoryEntry&) const = default;
};

// The stored form: the keys above, "sentAt" in seconds since 2001. Reading refuses an entry with a missing
// or mistyped key, an id that is not a UUID, or a date out of range.
struct PushHistoryCodec {
  [[nodiscard]] static nlohmann::json encode(const PushHistoryEntry& entry);
  [[nodiscard]] static std::optional<PushHistoryEntry> decode(const nlohmann::json& json);
};

class PushHistoryStore {
 public:
  static constexpr std::string_view key = "Orvanta.Push.recents";

  explicit PushHistoryStore(std::shared_ptr<SettingsStore> defaults)
      : list_(std::move(defaults), std::string(key), maximumPushHistoryEntries) {}

  // The history, newest first; empty when nothing readable is stored.
  [[nodiscard]] std::vector<PushHistoryEntry> load() const { return list_.entries(); }

  // Records a sent payload: older entries with the same payload and the same bundle identifier go, `entry`
  // goes first, and the newest 25 are kept. Returns the new history. Fails with the store's error; nothing
  // changes then.
  [[nodiscard]] expected<std::vector<PushHistoryEntry>, FileError> record(const PushHistoryEntry& entry);

 private:
  RecentList<PushHistoryEntry, PushHistoryCodec> list_;
};

}  // namespace orvanta
