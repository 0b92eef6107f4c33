// The location tool's remembered points: the history of positions set on a simulator, and the user's
// named presets. Each is a JSON array under one settings key:
//
//   "Orvanta.Location.recents"   [{"id": UUID, "coordinate": {"latitude": 48.1, "longitude": 11.5},
//                                  "setAt": seconds since 2001-01-01 UTC}, ...]   newest first, at most 25
//   "Orvanta.Location.presets"   [{"id": UUID, "label": "Office", "coordinate": {...}}, ...]   at most 100
//
// Ids are upper-case UUIDs (makeUUID) and are looked up in any letter case. A stored value that is not an
// array reads as an empty list, and an entry that cannot be read (a missing key, a coordinate out of
// range) is left out, and is dropped by the next change of that list. Every change is one
// read-modify-write of the settings store, so another Orvanta process cannot slip a change in between.
//
// As thread-safe as the settings store (the real one and the in-memory one are); the calls block on the
// store's file.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "support/expected.hpp"
#include "support/settings_list.hpp"
#include "support/settings_store.hpp"
#include "tools/location/location_route.hpp"
#include "tools/location/location_simulation_error.hpp"

namespace orvanta {

inline constexpr std::size_t maximumLocationHistoryEntries = 25;
inline constexpr std::size_t maximumLocationPresets = 100;

struct LocationHistoryEntry {
  std::string id;
  SimulatedLocation coordinate;
  std::chrono::system_clock::time_point setAt;
  bool operator==(const LocationHistoryEntry&) const = default;
};

struct LocationPreset {
  std::string id;
  std::string label;
  SimulatedLocation coordinate;
  bool operator==(const LocationPreset&) const = default;
};

// {"latitude": ..., "longitude": ...}; reading refuses a value that is not a valid position.
[[nodiscard]] nlohmann::json toJson(const SimulatedLocation& location);
[[nodiscard]] std::optional<SimulatedLocation> simulatedLocationFromJson(const nlohmann::json& json);
[[nodiscard]] nlohmann::json toJson(const LocationHistoryEntry& entry);
[[nodiscard]] std::optional<LocationHistoryEntry> historyEntryFromJson(const nlohmann::json& json);
[[nodiscard]] nlohmann::json toJson(const LocationPreset& preset);
[[nodiscard]] std::optional<LocationPreset> presetFromJson(const nlohmann::json& json);

// One list kept as a JSON array under `key` in `defaults`.
class LocationPersistence {
 public:
  LocationPersistence(std::shared_ptr<SettingsStore> defaults, std::string key)
      : list_(std::move(defaults), std::move(key)) {}

  // The stored array; an empty one when nothing is stored, the value is not an array, or the store cannot
  // be read.
  [[nodiscard]] nlohmann::json load() const;
  // Replaces the array with what `change` makes of the current one, as one step. `change` must not call
  // back into the store. Fails with persistenceFailed when the store cannot be written.
  [[nodiscard]] expected<void, LocationSimulationError> update(
      const std::function<nlohmann::json(nlohmann::json)>& change);

  [[nodiscard]] const std::string& key() const { return list_.key(); }

 private:
  SettingsList list_;
};

// The positions set on simulators, newest first.
class LocationHistoryStore {
 public:
  static constexpr std::string_view key = "Orvanta.Location.recents";

  explicit LocationHistoryStore(std::shared_ptr<SettingsStore> defaults)
      : persistence_(std::move(defaults), std::string(key)) {}

  [[nodiscard]] std::vector<LocationHistoryEntry> entries() const;

  // Records a position that was just set: every entry with exactly the same latitude and longitude goes,
  // a new entry goes first, and only the newest 25 are kept. Fails with persistenceFailed.
  [[nodiscard]] expected<LocationHistoryEntry, LocationSimulationError> record(
      const SimulatedLocation& coordinate, std::chrono::system_clock::time_point setAt);

 private:
  LocationPersistence persistence_;
};

// Named positions, in the order they were added.
class LocationPresetStore {
 public:
  static constexpr std::string_view key = "Orvanta.Location.presets";

  explicit LocationPresetStore(std::shared_ptr<SettingsStore> defaults)
      : persistence_(std::move(defaults), std::string(key)) {}

  [[nodiscard]] std::vector<LocationPreset> presets() const;

  // Adds a preset with a new id. The label is trimmed of surrounding white space. Fails with emptyLabel
  // (nothing left after trimming), duplicatePreset (a preset has exactly these coordinates),
  // presetLimitReached (100 presets already), or persistenceFailed. `coordinate` must be valid (as
  // parseCoordinateEntry returns it).
  [[nodiscard]] expected<LocationPreset, LocationSimulationError> add(std::string_view label,
                                                                      const SimulatedLocation& coordinate);
  // Gives preset `id` a new label and coordinate, keeping its place. Fails with emptyLabel, presetNotFound,
  // duplicatePreset (another preset has these coordinates) or persistenceFailed.
  [[nodiscard]] expected<LocationPreset, LocationSimulationError> update(std::string_view id, std::string_view label,
                                                                         const SimulatedLocation& coordinate);
  // Changes only the label; the same failures as update.
  [[nodiscard]] expected<LocationPreset, LocationSimulationError> rename(std::string_view id, std::string_view label);
  // Removes preset `id` and returns it. Fails with presetNotFound or persistenceFailed.
  [[nodiscard]] expected<LocationPreset, LocationSimulationError> remove(std::string_view id);

 private:
  expected<LocationPreset, LocationSimulationError> edit(std::string_view id, std::string_view label,
                                                         const std::optional<SimulatedLocation>& coordinate);

  LocationPersistence persistence_;
};

}  // namespace orvanta
