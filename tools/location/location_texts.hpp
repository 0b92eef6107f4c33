// How the location tool words its figures (coordinates, distances, speeds, durations), a GPX file read from
// disk, its notes and a route's metrics, for every front end. Dot-decimal whatever the locale.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/expected.hpp"
#include "tools/location/gpx_route_parser.hpp"
#include "tools/location/location_route_playback.hpp"
#include "tools/location/location_simulation_error.hpp"

namespace orvanta {

// "35.6812, 139.7671"
[[nodiscard]] std::string coordinatesText(const SimulatedLocation& location);
// "850 m", "12.35 km"
[[nodiscard]] std::string distanceText(double metres);
// "20 m/s (72 km/h)"
[[nodiscard]] std::string speedDisplay(double metresPerSecond);
// "42.5 s", "3 min 05 s", "1 h 02 min 00 s"
[[nodiscard]] std::string durationText(double seconds);
// "2026-11-21T05:46:00Z"
[[nodiscard]] std::string isoDateText(std::chrono::system_clock::time_point date);
// "1 point", "3 points"
[[nodiscard]] std::string countText(std::int64_t count, std::string_view one, std::string_view many);

// A GPX file that could not be imported: the error, and a detail to show with it.
struct GPXImportFailure {
  LocationSimulationError error;
  std::optional<std::string> detail;
};

// Reads and parses the GPX file at `path`. Anything but a regular file, and a file above the parser's
// limit, is refused before it is read. Blocks on the file system; thread-safe.
[[nodiscard]] expected<GPXParseResult, GPXImportFailure> importGPXFile(const std::string& path);

// One sentence per note ("2 waypoints ignored (waypoints are not part of a route)").
[[nodiscard]] std::vector<std::string> gpxNoteLines(const GPXParseNotes& notes);

// The figures of a route, one per line ("Points:    120 in 1 segment", "Distance:  4.2 km", ...).
[[nodiscard]] std::vector<std::string> routeMetricLines(const LocationRouteMetrics& metrics);

}  // namespace orvanta
