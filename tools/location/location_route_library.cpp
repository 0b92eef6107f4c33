#include "tools/location/location_route_library.hpp"

#include <algorithm>
#include <cmath>
#include <system_error>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "support/app_paths.hpp"
#include "support/atomic_file.hpp"
#include "support/json_text.hpp"
#include "support/reference_date.hpp"
#include "support/uuid.hpp"
#include "tools/location/location_entry.hpp"
#include "tools/location/location_persistence.hpp"
#include "tools/location/location_route_playback.hpp"

namespace orvanta {
namespace {

using Case = LocationSimulationError::Case;
using Json = nlohmann::json;

template <class T>
std::optional<T> field(const Json& json, const char* key) {
  const auto found = json.find(key);
  if (found == json.end()) return std::nullopt;
  if constexpr (std::is_same_v<T, std::string>) {
    if (!found->is_string()) return std::nullopt;
  } else if constexpr (std::is_integral_v<T>) {
    if (!found->is_number_integer()) return std::nullopt;
  } else {
    if (!found->is_number()) return std::nullopt;
  }
  return found->get<T>();
}

std::vector<LocationRouteRecent> decodeRecents(const Json& array) {
  std::vector<LocationRouteRecent> recents;
  for (const auto& item : array) {
    if (auto recent = routeRecentFromJson(item)) recents.push_back(std::move(*recent));
  }
  return recents;
}

Json encodeRecents(const std::vector<LocationRouteRecent>& recents) {
  Json array = Json::array();
  for (const auto& recent : recents) array.push_back(toJson(recent));
  return array;
}

std::optional<LocationRoutePoint> decodePoint(const Json& json) {
  if (!json.is_array() || json.size() < 2 || !json[0].is_number() || !json[1].is_number()) return std::nullopt;
  LocationRoutePoint point(json[0].get<double>(), json[1].get<double>());
  if (!SimulatedLocation{point.latitude, point.longitude}.isValid()) return std::nullopt;
  if (json.size() > 2 && !json[2].is_null()) {
    if (!json[2].is_number() || !std::isfinite(json[2].get<double>())) return std::nullopt;
    point.setElevation(json[2].get<double>());
  }
  if (json.size() > 3 && !json[3].is_null()) {
    if (!json[3].is_number()) return std::nullopt;
    const auto date = fromReferenceSeconds(json[3].get<double>());
    if (!date) return std::nullopt;
    point.setTimestamp(std::chrono::round<std::chrono::microseconds>(*date));
  }
  return point;
}

Json encodePoint(const LocationRoutePoint& point) {
  Json json = Json::array({point.latitude, point.longitude});
  const auto elevation = point.elevation();
  const auto timestamp = point.timestamp();
  if (elevation || timestamp) json.push_back(elevation ? Json(*elevation) : Json());
  if (timestamp) {
    json.push_back(toReferenceSeconds(std::chrono::time_point_cast<std::chrono::system_clock::duration>(*timestamp)));
  }
  return json;
}

}  // namespace

Json toJson(const LocationRouteRecent& recent) {
  return {{"id", recent.id},
          {"name", recent.name},
          {"sourceFilename", recent.sourceFilename},
          {"pointCount", recent.pointCount},
          {"segmentCount", recent.segmentCount},
          {"distanceMeters", recent.distanceMeters},
          {"speedMetersPerSecond", recent.speedMetersPerSecond},
          {"startedAt", toReferenceSeconds(recent.startedAt)},
          {"signature", recent.signature}};
}

std::optional<LocationRouteRecent> routeRecentFromJson(const Json& json) {
  if (!json.is_object()) return std::nullopt;
  auto idText = field<std::string>(json, "id");
  auto id = idText ? parseUUID(*idText) : std::nullopt;
  auto name = field<std::string>(json, "name");
  auto sourceFilename = field<std::string>(json, "sourceFilename");
  auto pointCount = field<std::int64_t>(json, "pointCount");
  auto segmentCount = field<std::int64_t>(json, "segmentCount");
  auto distance = field<double>(json, "distanceMeters");
  auto speed = field<double>(json, "speedMetersPerSecond");
  auto startedAtSeconds = field<double>(json, "startedAt");
  auto signature = field<std::string>(json, "signature");
  if (!id || !name || !sourceFilename || !pointCount || !segmentCount || !distance || !speed || !startedAtSeconds ||
      !signature) {
    return std::nullopt;
  }
  auto startedAt = fromReferenceSeconds(*startedAtSeconds);
  if (!startedAt) return std::nullopt;
  return LocationRouteRecent{std::move(*id), std::move(*name), std::move(*sourceFilename),
                             *pointCount,    *segmentCount,    *distance,
                             *speed,         *startedAt,       std::move(*signature)};
}

std::string locationRouteSignature(const LocationRoute& route) {
  std::uint64_t hash = 0xcbf29ce484222325ULL;
  auto mix = [&](std::string_view bytes) {
    for (char c : bytes) {
      hash ^= static_cast<unsigned char>(c);
      hash *= 0x100000001b3ULL;
    }
  };
  std::int64_t points = 0;
  for (const auto& segment : route.segments) {
    for (const auto& point : segment.points) {
      mix(coordinatePairText({point.latitude, point.longitude}));
      mix(";");
      ++points;
    }
    mix("|");
  }
  return fmt::format("{}:{}:{:016x}", points, route.segments.size(), hash);
}

std::string encodeRouteDocument(const std::vector<LocationRouteSegment>& segments) {
  Json array = Json::array();
  for (const auto& segment : segments) {
    Json points = Json::array();
    for (const auto& point : segment.points) points.push_back(encodePoint(point));
    array.push_back(std::move(points));
  }
  return Json{{"version", LocationRouteLibrary::documentVersion}, {"segments", std::move(array)}}.dump() + "\n";
}

expected<std::vector<LocationRouteSegment>, RouteDocumentProblem> decodeRouteDocument(std::string_view text) {
  auto parsed = parseJsonText(text);
  if (!parsed || !parsed->is_object()) return unexpected(RouteDocumentProblem::unreadable);
  const auto version = field<std::int64_t>(*parsed, "version");
  if (!version || *version < 1) return unexpected(RouteDocumentProblem::unreadable);
  if (*version > LocationRouteLibrary::documentVersion) return unexpected(RouteDocumentProblem::newerVersion);
  const auto segments = parsed->find("segments");
  if (segments == parsed->end() || !segments->is_array() || segments->empty()) {
    return unexpected(RouteDocumentProblem::unreadable);
  }
  std::vector<LocationRouteSegment> decoded;
  decoded.reserve(segments->size());
  for (const auto& segment : *segments) {
    if (!segment.is_array() || segment.empty()) return unexpected(RouteDocumentProblem::unreadable);
    LocationRouteSegment points;
    points.points.reserve(segment.size());
    for (const auto& item : segment) {
      auto point = decodePoint(item);
      if (!point) return unexpected(RouteDocumentProblem::unreadable);
      points.points.push_back(*point);
    }
    decoded.push_back(std::move(points));
  }
  return decoded;
}

// ---- LocationRouteLibrary ----------------------------------------------------------------------------

LocationRouteLibrary::LocationRouteLibrary(std::shared_ptr<SettingsStore> storage, std::filesystem::path directory,
                                           Clock now)
    : storage_(std::move(storage)), directory_(std::move(directory)), now_(std::move(now)) {}

expected<std::filesystem::path, FileError> LocationRouteLibrary::defaultDirectory() {
  auto support = applicationSupportDirectory();
  if (!support) return unexpected(support.error());
  return *support / "Routes";
}

std::filesystem::path LocationRouteLibrary::file(const std::string& id) const {
  return directory_ / (id + ".json");
}

std::vector<LocationRouteRecent> LocationRouteLibrary::recents() const {
  return decodeRecents(LocationPersistence(storage_, std::string(key)).load());
}

std::optional<LocationRouteRecent> LocationRouteLibrary::recent(std::string_view id) const {
  const auto wanted = parseUUID(id);
  if (!wanted) return std::nullopt;
  for (auto& recent : recents()) {
    if (recent.id == *wanted) return recent;
  }
  return std::nullopt;
}

expected<LocationRouteRecent, LocationSimulationError> LocationRouteLibrary::remember(
    const LocationRoute& route, double speedMetersPerSecond, std::chrono::system_clock::time_point startedAt) {
  const auto failed = [] { return unexpected(LocationSimulationError(Case::persistenceFailed)); };
  LocationRouteRecent recent;
  recent.name = route.name;
  recent.sourceFilename = route.source.filename;
  recent.signature = locationRouteSignature(route);
  recent.speedMetersPerSecond = speedMetersPerSecond;
  recent.startedAt = startedAt;
  recent.segmentCount = static_cast<std::int64_t>(route.segments.size());
  if (auto metrics = routeMetrics(route)) {
    recent.pointCount = metrics->pointCount;
    recent.distanceMeters = metrics->distanceMeters;
  }
  const auto earlier = recents();
  const auto same = std::find_if(earlier.begin(), earlier.end(),
                                 [&](const LocationRouteRecent& old) { return old.signature == recent.signature; });
  const bool reused = same != earlier.end();
  recent.id = reused ? same->id : makeUUID();

  if (!ensurePrivateDirectory(directory_)) return failed();
  if (!writeFileAtomically(file(recent.id), encodeRouteDocument(route.segments))) return failed();

  std::vector<std::string> dropped;
  std::vector<std::string> listed;
  auto written = LocationPersistence(storage_, std::string(key)).update([&](Json stored) {
    dropped.clear();
    listed.clear();
    auto list = decodeRecents(stored);
    std::vector<LocationRouteRecent> kept{recent};
    for (auto& old : list) {
      if (old.id == recent.id) continue;
      if (old.signature == recent.signature || kept.size() >= maximumRouteRecents) {
        dropped.push_back(old.id);
      } else {
        kept.push_back(std::move(old));
      }
    }
    for (const auto& entry : kept) listed.push_back(entry.id);
    return encodeRecents(kept);
  });
  if (!written) {
    if (!reused) deleteFile(recent.id);
    return failed();
  }
  for (const auto& id : dropped) deleteFile(id);
  removeUnlistedFiles(listed);
  return recent;
}

expected<LocationRoute, LocationSimulationError> LocationRouteLibrary::open(const LocationRouteRecent& recent) const {
  const auto unavailable = [] { return unexpected(LocationSimulationError(Case::routeDataUnavailable)); };
  const auto path = file(recent.id);
  auto text = readFile(path, read_budget::settings);
  if (!text || !*text) return unavailable();
  auto segments = decodeRouteDocument(**text);
  if (!segments) {
    // A newer Orvanta's file is fine as it is; only a damaged one is set aside.
    if (segments.error() == RouteDocumentProblem::unreadable) (void)moveAsideUnreadable(path, now_());
    return unavailable();
  }
  return LocationRoute{recent.id, recent.name, {recent.sourceFilename}, std::move(*segments)};
}

expected<std::vector<LocationRouteRecent>, LocationSimulationError> LocationRouteLibrary::remove(
    std::span<const std::string> ids) {
  std::vector<std::string> wanted;
  for (const auto& id : ids) {
    if (auto uuid = parseUUID(id)) wanted.push_back(*uuid);
  }
  return removeWhere([&](const LocationRouteRecent& recent) {
    return std::find(wanted.begin(), wanted.end(), recent.id) != wanted.end();
  });
}

expected<std::vector<LocationRouteRecent>, LocationSimulationError> LocationRouteLibrary::removeAll() {
  return removeWhere([](const LocationRouteRecent&) { return true; });
}

expected<std::vector<LocationRouteRecent>, LocationSimulationError> LocationRouteLibrary::removeWhere(
    const std::function<bool(const LocationRouteRecent&)>& chosen) {
  std::vector<LocationRouteRecent> removed;
  auto written = LocationPersistence(storage_, std::string(key)).update([&](Json stored) {
    removed.clear();
    std::vector<LocationRouteRecent> kept;
    for (auto& recent : decodeRecents(stored)) {
      (chosen(recent) ? removed : kept).push_back(std::move(recent));
    }
    return encodeRecents(kept);
  });
  if (!written) return unexpected(written.error());
  for (const auto& recent : removed) deleteFile(recent.id);
  return removed;
}

void LocationRouteLibrary::removeUnlistedFiles(const std::vector<std::string>& listed) const {
  // Files that no recent names: a process killed between saving a route and listing it left them. One
  // written moments ago may belong to another process that is about to list it, so only old ones go.
  constexpr auto settled = std::chrono::minutes(10);
  std::error_code error;
  std::filesystem::directory_iterator entries(directory_, error);
  if (error) return;
  const auto now = std::filesystem::file_time_type::clock::now();
  for (const auto& entry : entries) {
    const auto name = entry.path().filename().string();
    if (!name.ends_with(".json")) continue;
    const auto id = parseUUID(name.substr(0, name.size() - 5));
    if (!id || std::find(listed.begin(), listed.end(), *id) != listed.end()) continue;
    const auto written = std::filesystem::last_write_time(entry.path(), error);
    if (error || now - written < settled) continue;
    std::filesystem::remove(entry.path(), error);
  }
}

void LocationRouteLibrary::deleteFile(const std::string& id) const {
  // Ids come from decoded recents, which are always UUIDs, so the name never leaves the folder.
  std::error_code ignored;
  std::filesystem::remove(file(id), ignored);
}

}  // namespace orvanta
