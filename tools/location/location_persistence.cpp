#include "tools/location/location_persistence.hpp"

#include <algorithm>

#include <nlohmann/json.hpp>

#include "support/text.hpp"
#include "support/reference_date.hpp"
#include "support/uuid.hpp"

namespace orvanta {
namespace {

using Case = LocationSimulationError::Case;
using Json = nlohmann::json;

std::optional<std::string> uuidField(const Json& json, const char* key) {
  const auto found = json.find(key);
  if (found == json.end() || !found->is_string()) return std::nullopt;
  return parseUUID(found->get<std::string>());
}

template <class T, class Decode>
std::vector<T> decodeAll(const Json& array, Decode decode) {
  return decodeSettingsItems<T>(array, decode);
}

template <class T>
Json encodeAll(const std::vector<T>& items) {
  return encodeSettingsItems(items, [](const T& item) { return toJson(item); });
}

bool sameCoordinate(const SimulatedLocation& a, const SimulatedLocation& b) {
  return a.latitude == b.latitude && a.longitude == b.longitude;
}

}  // namespace

Json toJson(const SimulatedLocation& location) {
  return {{"latitude", location.latitude}, {"longitude", location.longitude}};
}

std::optional<SimulatedLocation> simulatedLocationFromJson(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  const auto latitude = json.find("latitude");
  const auto longitude = json.find("longitude");
  if (latitude == json.end() || longitude == json.end() || !latitude->is_number() || !longitude->is_number()) {
    return std::nullopt;
  }
  SimulatedLocation location{latitude->get<double>(), longitude->get<double>()};
  if (!location.isValid()) return std::nullopt;
  return location;
}

Json toJson(const LocationHistoryEntry& entry) {
  return {{"id", entry.id}, {"coordinate", toJson(entry.coordinate)}, {"setAt", toReferenceSeconds(entry.setAt)}};
}

std::optional<LocationHistoryEntry> historyEntryFromJson(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  auto id = uuidField(json, "id");
  auto coordinate = simulatedLocationFromJson(json.value("coordinate", Json()));
  const auto setAt = json.find("setAt");
  if (!id || !coordinate || setAt == json.end() || !setAt->is_number()) return std::nullopt;
  auto date = fromReferenceSeconds(setAt->get<double>());
  if (!date) return std::nullopt;
  return LocationHistoryEntry{std::move(*id), *coordinate, *date};
}

Json toJson(const LocationPreset& preset) {
  return {{"id", preset.id}, {"label", preset.label}, {"coordinate", toJson(preset.coordinate)}};
}

std::optional<LocationPreset> presetFromJson(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  auto id = uuidField(json, "id");
  auto coordinate = simulatedLocationFromJson(json.value("coordinate", Json()));
  const auto label = json.find("label");
  if (!id || !coordinate || label == json.end() || !label->is_string()) return std::nullopt;
  return LocationPreset{std::move(*id), label->get<std::string>(), *coordinate};
}

// ---- LocationPersistence -----------------------------------------------------------------------------

Json LocationPersistence::load() const { return list_.load(); }

expected<void, LocationSimulationError> LocationPersistence::update(const std::function<Json(Json)>& change) {
  auto written = list_.update(change);
  if (!written) return unexpected(LocationSimulationError(Case::persistenceFailed));
  return {};
}

// ---- LocationHistoryStore ----------------------------------------------------------------------------

std::vector<LocationHistoryEntry> LocationHistoryStore::entries() const {
  return decodeAll<LocationHistoryEntry>(persistence_.load(), historyEntryFromJson);
}

expected<LocationHistoryEntry, LocationSimulationError> LocationHistoryStore::record(
    const SimulatedLocation& coordinate, std::chrono::system_clock::time_point setAt) {
  LocationHistoryEntry entry{makeUUID(), coordinate, setAt};
  auto written = persistence_.update([&](Json stored) {
    auto entries = decodeAll<LocationHistoryEntry>(stored, historyEntryFromJson);
    insertNewestFirst(
        entries, entry,
        [](const LocationHistoryEntry& old, const LocationHistoryEntry& added) {
          return sameCoordinate(old.coordinate, added.coordinate);
        },
        maximumLocationHistoryEntries);
    return encodeAll(entries);
  });
  if (!written) return unexpected(written.error());
  return entry;
}

// ---- LocationPresetStore -----------------------------------------------------------------------------

namespace {
// A label names one preset only, so that commands can take it in place of the id.
bool labelUsedElsewhere(const std::vector<LocationPreset>& presets, const std::string& label,
                        std::string_view exceptId) {
  return std::any_of(presets.begin(), presets.end(), [&](const LocationPreset& preset) {
    return preset.label == label && preset.id != exceptId;
  });
}
}  // namespace

std::vector<LocationPreset> LocationPresetStore::presets() const {
  return decodeAll<LocationPreset>(persistence_.load(), presetFromJson);
}

expected<LocationPreset, LocationSimulationError> LocationPresetStore::add(std::string_view label,
                                                                           const SimulatedLocation& coordinate) {
  const std::string_view name = trimWhitespace(label);
  if (name.empty()) return unexpected(LocationSimulationError(Case::emptyLabel));
  LocationPreset preset{makeUUID(), std::string(name), coordinate};
  std::optional<LocationSimulationError> refused;
  auto written = persistence_.update([&](Json stored) {
    auto presets = decodeAll<LocationPreset>(stored, presetFromJson);
    if (std::any_of(presets.begin(), presets.end(),
                    [&](const LocationPreset& old) { return sameCoordinate(old.coordinate, coordinate); })) {
      refused = LocationSimulationError(Case::duplicatePreset);
    } else if (labelUsedElsewhere(presets, preset.label, {})) {
      refused = LocationSimulationError::presetLabelTaken(preset.label);
    } else if (presets.size() >= maximumLocationPresets) {
      refused = LocationSimulationError(Case::presetLimitReached);
    }
    if (refused) return stored;
    presets.push_back(preset);
    return encodeAll(presets);
  });
  if (!written) return unexpected(written.error());
  if (refused) return unexpected(*refused);
  return preset;
}

expected<LocationPreset, LocationSimulationError> LocationPresetStore::edit(
    std::string_view id, std::string_view label, const std::optional<SimulatedLocation>& coordinate) {
  const std::string_view name = trimWhitespace(label);
  if (name.empty()) return unexpected(LocationSimulationError(Case::emptyLabel));
  const auto wanted = parseUUID(id);
  std::optional<LocationSimulationError> refused;
  LocationPreset changed;
  auto written = persistence_.update([&](Json stored) {
    auto presets = decodeAll<LocationPreset>(stored, presetFromJson);
    auto found = std::find_if(presets.begin(), presets.end(),
                              [&](const LocationPreset& preset) { return wanted && preset.id == *wanted; });
    if (found == presets.end()) {
      refused = LocationSimulationError(Case::presetNotFound);
    } else if (coordinate && std::any_of(presets.begin(), presets.end(), [&](const LocationPreset& other) {
                 return other.id != found->id && sameCoordinate(other.coordinate, *coordinate);
               })) {
      refused = LocationSimulationError(Case::duplicatePreset);
    } else if (labelUsedElsewhere(presets, std::string(name), found->id)) {
      refused = LocationSimulationError::presetLabelTaken(std::string(name));
    }
    if (refused) return stored;
    found->label = std::string(name);
    if (coordinate) found->coordinate = *coordinate;
    changed = *found;
    return encodeAll(presets);
  });
  if (!written) return unexpected(written.error());
  if (refused) return unexpected(*refused);
  return changed;
}

expected<LocationPreset, LocationSimulationError> LocationPresetStore::update(std::string_view id,
                                                                              std::string_view label,
                                                                              const SimulatedLocation& coordinate) {
  return edit(id, label, coordinate);
}

expected<LocationPreset, LocationSimulationError> LocationPresetStore::rename(std::string_view id,
                                                                              std::string_view label) {
  return edit(id, label, std::nullopt);
}

expected<LocationPreset, LocationSimulationError> LocationPresetStore::remove(std::string_view id) {
  const auto wanted = parseUUID(id);
  std::optional<LocationPreset> removed;
  auto written = persistence_.update([&](Json stored) {
    auto presets = decodeAll<LocationPreset>(stored, presetFromJson);
    auto found = std::find_if(presets.begin(), presets.end(),
                              [&](const LocationPreset& preset) { return wanted && preset.id == *wanted; });
    if (found == presets.end()) return stored;
    removed = *found;
    presets.erase(found);
    return encodeAll(presets);
  });
  if (!written) return unexpected(written.error());
  if (!removed) return unexpected(LocationSimulationError(Case::presetNotFound));
  return *removed;
}

}  // namespace orvanta
