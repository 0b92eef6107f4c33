#include "tools/location/location_texts.hpp"

#include <cerrno>
#include <cmath>
#include <filesystem>

#include <fmt/format.h>

#include "support/atomic_file.hpp"
#include "support/number_text.hpp"
#include "support/reference_date.hpp"
#include "tools/location/location_entry.hpp"
#include "tools/location/location_route_service.hpp"

namespace orvanta {

std::string coordinatesText(const SimulatedLocation& location) {
  return coordinateText(location.latitude) + ", " + coordinateText(location.longitude);
}

std::string distanceText(double metres) {
  if (metres < 1000) return formatTrimmedFixed(metres, 0) + " m";
  return formatTrimmedFixed(metres / 1000, 2) + " km";
}

std::string speedDisplay(double metresPerSecond) {
  return formatTrimmedFixed(metresPerSecond, 2) + " m/s (" + formatTrimmedFixed(metresPerSecond * 3.6, 1) + " km/h)";
}

std::string durationText(double seconds) {
  const std::string sign = seconds < 0 ? "-" : "";
  const double magnitude = std::fabs(seconds);
  if (magnitude < 59.95) return sign + formatTrimmedFixed(magnitude, 1) + " s";
  const auto total = static_cast<std::int64_t>(std::llround(magnitude));
  const auto hours = total / 3600;
  const auto minutes = total % 3600 / 60;
  const auto rest = total % 60;
  if (hours > 0) return fmt::format("{}{} h {:02} min {:02} s", sign, hours, minutes, rest);
  return fmt::format("{}{} min {:02} s", sign, minutes, rest);
}

std::string isoDateText(std::chrono::system_clock::time_point date) { return formatUtc(date, UtcFormat::iso8601); }

std::string countText(std::int64_t count, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

expected<GPXParseResult, GPXImportFailure> importGPXFile(const std::string& path) {
  const auto unreadable = [](std::string detail) {
    return unexpected(GPXImportFailure{LocationSimulationError(LocationSimulationError::Case::gpxUnreadable),
                                       std::move(detail)});
  };
  auto bytes = readFile(path, static_cast<std::size_t>(GPXRouteParser::maximumBytes));
  if (!bytes && bytes.error().errorNumber == EFBIG) {
    return unexpected(GPXImportFailure{LocationSimulationError::gpxTooLarge(GPXRouteParser::maximumBytes), {}});
  }
  if (!bytes) return unreadable(bytes.error().description());
  if (!*bytes) return unreadable("There is no file at " + path + ".");
  auto parsed = GPXRouteParser::parse(**bytes, std::filesystem::path(path).filename().string());
  if (!parsed) return unexpected(GPXImportFailure{parsed.error(), {}});
  return std::move(*parsed);
}

std::vector<std::string> gpxNoteLines(const GPXParseNotes& notes) {
  std::vector<std::string> lines;
  if (notes.ignoredWaypointCount > 0) {
    lines.push_back(countText(notes.ignoredWaypointCount, "waypoint", "waypoints") +
                    " ignored (waypoints are not part of a route)");
  }
  if (notes.ignoredRouteCount > 0) {
    lines.push_back(countText(notes.ignoredRouteCount, "route", "routes") + " ignored because the file has tracks");
  }
  if (notes.unreadableTimestampCount > 0) {
    lines.push_back(countText(notes.unreadableTimestampCount, "point time", "point times") +
                    " could not be read; those points have no timestamp");
  }
  if (notes.unreadableElevationCount > 0) {
    lines.push_back(countText(notes.unreadableElevationCount, "point elevation", "point elevations") +
                    " could not be read; those points have no elevation");
  }
  return lines;
}

std::vector<std::string> routeMetricLines(const LocationRouteMetrics& metrics) {
  std::vector<std::string> lines;
  std::string points = "Points:    " + fmt::format("{}", metrics.pointCount) + " in " +
                       countText(metrics.segmentCount, "segment", "segments");
  if (metrics.segmentGapCount > 0) {
    points += " (" + countText(metrics.segmentGapCount, "gap", "gaps") + " between segments, not counted in the distance)";
  }
  lines.push_back(std::move(points));
  lines.push_back("Distance:  " + distanceText(metrics.distanceMeters));
  lines.push_back("Start:     " + coordinatesText({metrics.first.latitude, metrics.first.longitude}));
  lines.push_back("End:       " + coordinatesText({metrics.last.latitude, metrics.last.longitude}));
  const auto& bounds = metrics.bounds;
  lines.push_back("Bounds:    latitude " + coordinateText(bounds.minLatitude) + " to " +
                  coordinateText(bounds.maxLatitude) + ", longitude " + coordinateText(bounds.minLongitude) + " to " +
                  coordinateText(bounds.maxLongitude));
  if (metrics.duration) {
    lines.push_back("Duration:  " + durationText(*metrics.duration) + " (from " +
                    isoDateText(*metrics.first.timestamp()) + " to " + isoDateText(*metrics.last.timestamp()) + ")");
    if (auto speed = metrics.timedAverageSpeed()) {
      lines.push_back("Timed average speed: " + speedDisplay(*speed));
      lines.push_back("  " + std::string(locationTimedSpeedNote));
    }
  } else {
    lines.push_back("Duration:  unknown (not every point has a time)");
  }
  return lines;
}

}  // namespace orvanta
