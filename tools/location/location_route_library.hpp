// The routes played recently: a list of at most 10 under the settings key "Orvanta.Location.recentRoutes",
// newest first, and each route's points saved as "<id>.json" in a folder of the application-support
// folder ("Routes"), so that a recent can be played again without its GPX file.
//
// A route file is one JSON object on one line, keys sorted:
//
//   {"segments":[[[48.1,11.5,519.5,735638400.25],[48.2,11.6],...],...],"version":1}
//
// Each point is an array that begins with latitude and longitude; the third member is the elevation in
// metres and the fourth the timestamp in seconds since 2001-01-01 00:00:00 UTC, each null when absent,
// and trailing nulls are left out. Members after the fourth are ignored, so that a later version can add
// some without breaking this reader.
//
// A recent's `signature` identifies the route's content: "<points>:<segments>:<16 hex digits>", the
// digits being the 64-bit FNV-1a hash of every position in simctl's coordinate text, segment by segment.
// Playing a route whose signature is already in the list moves that recent to the front and keeps its id
// (and so its file), with the new name, speed and time; elevations and timestamps do not count, as the
// simulator never receives them.
//
// Files are replaced atomically. A route file that cannot be decoded is moved aside as
// "<id>.unreadable-<yyyyMMdd-HHmmss>.json" (never deleted); one of a newer version is left alone. Only
// removing a recent, or a recent falling off the end of the list, deletes its file.
//
// As thread-safe as its settings store; the calls block on the file system.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "support/expected.hpp"
#include "support/file_error.hpp"
#include "support/settings_store.hpp"
#include "tools/location/location_route.hpp"
#include "tools/location/location_simulation_error.hpp"

namespace orvanta {

inline constexpr std::size_t maximumRouteRecents = 10;

struct LocationRouteRecent {
  std::string id;  // also the saved file's name, without ".json"
  std::string name;
  std::string sourceFilename;
  std::int64_t pointCount = 0;
  std::int64_t segmentCount = 0;
  double distanceMeters = 0;
  double speedMetersPerSecond = 0;
  std::chrono::system_clock::time_point startedAt;
  std::string signature;
  bool operator==(const LocationRouteRecent&) const = default;
};

// The keys "id", "name", "sourceFilename", "pointCount", "segmentCount", "distanceMeters",
// "speedMetersPerSecond", "startedAt" (2001-epoch seconds) and "signature". Reading refuses a missing key,
// a value of the wrong kind, or an id that is not a UUID.
[[nodiscard]] nlohmann::json toJson(const LocationRouteRecent& recent);
[[nodiscard]] std::optional<LocationRouteRecent> routeRecentFromJson(const nlohmann::json& json);

// The content signature described above. Pure.
[[nodiscard]] std::string locationRouteSignature(const LocationRoute& route);

// The route file's text for `segments`.
[[nodiscard]] std::string encodeRouteDocument(const std::vector<LocationRouteSegment>& segments);

enum class RouteDocumentProblem {
  unreadable,    // not the document described above, or a point out of range
  newerVersion,  // "version" above the one this reader knows
};
// The segments of a route file: at least one, none empty.
[[nodiscard]] expected<std::vector<LocationRouteSegment>, RouteDocumentProblem> decodeRouteDocument(
    std::string_view text);

class LocationRouteLibrary {
 public:
  static constexpr std::string_view key = "Orvanta.Location.recentRoutes";
  static constexpr int documentVersion = 1;
  using Clock = std::function<std::chrono::system_clock::time_point()>;

  // `directory` holds the route files; it is created (0700) on the first save.
  LocationRouteLibrary(std::shared_ptr<SettingsStore> storage, std::filesystem::path directory,
                       Clock now = std::chrono::system_clock::now);

  // applicationSupportDirectory()/"Routes". Fails with homeNotFound.
  [[nodiscard]] static expected<std::filesystem::path, FileError> defaultDirectory();

  [[nodiscard]] const std::filesystem::path& directory() const { return directory_; }
  // directory()/"<id>.json"
  [[nodiscard]] std::filesystem::path file(const std::string& id) const;

  // Newest first; entries that cannot be read are left out.
  [[nodiscard]] std::vector<LocationRouteRecent> recents() const;
  // The recent with this id (any letter case).
  [[nodiscard]] std::optional<LocationRouteRecent> recent(std::string_view id) const;

  // Remembers a route that has just started playing at `speedMetersPerSecond`: saves its points, then puts
  // its recent at the front of the list (see the signature rule above) and deletes the files of recents
  // that fall beyond 10. Fails with persistenceFailed when the folder, the file or the list cannot be
  // written; the list is then as it was.
  [[nodiscard]] expected<LocationRouteRecent, LocationSimulationError> remember(
      const LocationRoute& route, double speedMetersPerSecond, std::chrono::system_clock::time_point startedAt);

  // The saved route of `recent`: its id, name and source file name, and the saved segments. Fails with
  // routeDataUnavailable when the file is missing, cannot be read, or does not decode (and is then moved
  // aside).
  [[nodiscard]] expected<LocationRoute, LocationSimulationError> open(const LocationRouteRecent& recent) const;

  // Removes these recents (ids in any letter case; unknown ones are ignored) and deletes their saved
  // files; GPX files are never touched. Returns the recents removed. Fails with persistenceFailed.
  [[nodiscard]] expected<std::vector<LocationRouteRecent>, LocationSimulationError> remove(
      std::span<const std::string> ids);
  // Removes every recent and its file.
  [[nodiscard]] expected<std::vector<LocationRouteRecent>, LocationSimulationError> removeAll();

 private:
  expected<std::vector<LocationRouteRecent>, LocationSimulationError> removeWhere(
      const std::function<bool(const LocationRouteRecent&)>& chosen);
  void deleteFile(const std::string& id) const;
  void removeUnlistedFiles(const std::vector<std::string>& listed) const;

  std::shared_ptr<SettingsStore> storage_;
  std::filesystem::path directory_;
  Clock now_;
};

}  // namespace orvanta
