#include "tools/location/location_simulation_error.hpp"

#include <fmt/format.h>

#include <array>
#include <cmath>

#include "support/number_text.hpp"

namespace orvanta {

std::string_view pointProblemText(GPXPointProblem problem) {
  switch (problem) {
    case GPXPointProblem::missingLatitude: return "missing lat attribute";
    case GPXPointProblem::missingLongitude: return "missing lon attribute";
    case GPXPointProblem::invalidLatitude: return "lat is not a finite dot-decimal number";
    case GPXPointProblem::invalidLongitude: return "lon is not a finite dot-decimal number";
    case GPXPointProblem::latitudeOutOfRange: return "latitude must be between -90 and 90";
    case GPXPointProblem::longitudeOutOfRange: return "longitude must be between -180 and 180";
  }
  return {};
}

std::string formatFileByteCount(std::int64_t bytes) {
  if (bytes == 1 || bytes == -1) return fmt::format("{} byte", bytes);
  if (bytes > -1000 && bytes < 1000) return fmt::format("{} bytes", bytes);
  // Kilobytes without a fraction, megabytes with one digit, larger units with two; a value that rounds
  // up to 1000 moves on to the next unit.
  static constexpr std::array<std::string_view, 6> units = {"KB", "MB", "GB", "TB", "PB", "EB"};
  const double magnitude = std::fabs(static_cast<double>(bytes));
  std::size_t unit = 0;
  double scaled = magnitude / 1000.0;
  for (;;) {
    const int digits = unit == 0 ? 0 : unit == 1 ? 1 : 2;
    const double factor = std::pow(10.0, digits);
    const double rounded = std::round(scaled * factor) / factor;
    if (rounded < 1000.0 || unit + 1 == units.size()) {
      return fmt::format("{}{} {}", bytes < 0 ? "-" : "", formatTrimmedFixed(rounded, digits), units[unit]);
    }
    scaled /= 1000.0;
    ++unit;
  }
}

LocationSimulationError LocationSimulationError::simctlFailed(std::optional<std::int32_t> status,
                                                              std::string stderrText) {
  LocationSimulationError error(Case::simctlFailed);
  error.status = status;
  error.stderr = std::move(stderrText);
  return error;
}

LocationSimulationError LocationSimulationError::gpxTooLarge(std::int64_t maximumBytes) {
  LocationSimulationError error(Case::gpxTooLarge);
  error.maximumBytes = maximumBytes;
  return error;
}

LocationSimulationError LocationSimulationError::gpxInvalidPoint(std::int64_t pointNumber, GPXPointProblem problem) {
  LocationSimulationError error(Case::gpxInvalidPoint);
  error.pointNumber = pointNumber;
  error.problem = problem;
  return error;
}

LocationSimulationError LocationSimulationError::routeTooManyPoints(std::int64_t count, std::int64_t maximum) {
  LocationSimulationError error(Case::routeTooManyPoints);
  error.count = count;
  error.maximum = maximum;
  return error;
}

LocationSimulationError LocationSimulationError::presetLabelTaken(std::string label) {
  LocationSimulationError error(Case::presetLabelTaken);
  error.name = std::move(label);
  return error;
}

LocationSimulationError LocationSimulationError::scenarioUnavailable(std::string name) {
  LocationSimulationError error(Case::scenarioUnavailable);
  error.name = std::move(name);
  return error;
}

LocationSimulationError LocationSimulationError::scenariosUnavailable(std::string reason) {
  LocationSimulationError error(Case::scenariosUnavailable);
  error.reason = std::move(reason);
  return error;
}

LocationSimulationError LocationSimulationError::simulatorBusy(std::string holder) {
  LocationSimulationError error(Case::simulatorBusy);
  error.holder = std::move(holder);
  return error;
}

std::string LocationSimulationError::description() const {
  switch (kind) {
    case Case::simctlFailed: {
      std::string text = "Location command failed";
      if (status) text += fmt::format(" (exit {})", *status);
      const auto first = stderr.find_first_not_of(" \t\r\n");
      const std::string diagnostic =
          first == std::string::npos ? "simctl returned no diagnostic."
                                     : stderr.substr(first, stderr.find_last_not_of(" \t\r\n") - first + 1);
      return text + ": " + diagnostic;
    }
    case Case::gpxTooLarge:
      return "The GPX file is larger than " + formatFileByteCount(maximumBytes) + ". Use a smaller file.";
    case Case::gpxInvalidPoint: return fmt::format("Point {}: {}.", pointNumber, pointProblemText(problem));
    case Case::routeTooManyPoints:
      return fmt::format(
          "This route has {} points; the most Orvanta can send to the simulator is {}. Simplify the GPX file.",
          count, maximum);
    case Case::scenarioUnavailable:
      return "The scenario \u201c" + name +
             "\u201d is no longer available on this simulator. The list has been refreshed.";
    case Case::scenariosUnavailable: return "Could not read the simulator's scenarios: " + reason;
    case Case::emptyLatitude: return "Enter a latitude.";
    case Case::emptyLongitude: return "Enter a longitude.";
    case Case::invalidLatitude: return "Latitude must be a finite dot-decimal number (for example, 48.137154).";
    case Case::invalidLongitude: return "Longitude must be a finite dot-decimal number (for example, -122.0301).";
    case Case::latitudeOutOfRange: return "Latitude must be between -90 and 90.";
    case Case::longitudeOutOfRange: return "Longitude must be between -180 and 180.";
    case Case::noSimulatorSelected: return "Choose a booted simulator.";
    case Case::simulatorNotBooted: return "The selected simulator is no longer booted. Choose a simulator explicitly.";
    case Case::persistenceFailed: return "Could not save location data.";
    case Case::clipboardFailed: return "Could not copy coordinates.";
    case Case::emptyLabel: return "Enter a name for the preset.";
    case Case::duplicatePreset: return "These coordinates already have a preset. Edit the existing preset instead.";
    case Case::presetNotFound: return "This preset no longer exists.";
    case Case::presetLabelTaken: return "Another preset is already labelled \"" + name + "\".";
    case Case::gpxUnreadable: return "The GPX file could not be read.";
    case Case::gpxMalformedXML: return "The file is not well-formed XML, so it can't be a valid GPX file.";
    case Case::gpxUnsupportedFormat:
      return "Unsupported route format. Orvanta reads GPX files (a <gpx> document with tracks or routes).";
    case Case::gpxUnsafeContent: return "The GPX file declares a DTD or entities, which Orvanta refuses to process.";
    case Case::gpxNoPoints: return "The GPX file contains no track or route points.";
    case Case::gpxReaderOutOfMemory: return "Orvanta ran out of memory while reading the GPX file. Try again.";
    case Case::routeNeedsTwoPoints:
      return "A route needs at least two points. For a single location, use the Point tab.";
    case Case::routeCrossesAntimeridian:
      return "This route crosses the 180\u00b0 meridian. The simulator would travel the long way around the globe, "
             "so Orvanta won't start it.";
    case Case::invalidSpeed:
      return "Speed must be a positive dot-decimal number of meters per second (for example, 20).";
    case Case::speedOutOfRange: return "Speed must be between 0.1 and 1000 meters per second.";
    case Case::routeDataUnavailable:
      return "This recent route's saved data is missing or unreadable. Remove it and import the GPX file again.";
    case Case::simulatorBusy: return "Another operation is changing this simulator. Try again when it finishes.";
    case Case::presetLimitReached:
      return "Orvanta keeps at most 100 location presets. Remove one before adding another.";
  }
  return {};
}

std::string_view LocationSimulationError::caseName() const {
  switch (kind) {
    case Case::simctlFailed: return "simctlFailed";
    case Case::gpxTooLarge: return "gpxTooLarge";
    case Case::gpxInvalidPoint: return "gpxInvalidPoint";
    case Case::routeTooManyPoints: return "routeTooManyPoints";
    case Case::scenarioUnavailable: return "scenarioUnavailable";
    case Case::scenariosUnavailable: return "scenariosUnavailable";
    case Case::emptyLatitude: return "emptyLatitude";
    case Case::emptyLongitude: return "emptyLongitude";
    case Case::invalidLatitude: return "invalidLatitude";
    case Case::invalidLongitude: return "invalidLongitude";
    case Case::latitudeOutOfRange: return "latitudeOutOfRange";
    case Case::longitudeOutOfRange: return "longitudeOutOfRange";
    case Case::noSimulatorSelected: return "noSimulatorSelected";
    case Case::simulatorNotBooted: return "simulatorNotBooted";
    case Case::persistenceFailed: return "persistenceFailed";
    case Case::clipboardFailed: return "clipboardFailed";
    case Case::emptyLabel: return "emptyLabel";
    case Case::duplicatePreset: return "duplicatePreset";
    case Case::presetNotFound: return "presetNotFound";
    case Case::presetLabelTaken: return "presetLabelTaken";
    case Case::gpxUnreadable: return "gpxUnreadable";
    case Case::gpxMalformedXML: return "gpxMalformedXML";
    case Case::gpxUnsupportedFormat: return "gpxUnsupportedFormat";
    case Case::gpxUnsafeContent: return "gpxUnsafeContent";
    case Case::gpxNoPoints: return "gpxNoPoints";
    case Case::gpxReaderOutOfMemory: return "gpxReaderOutOfMemory";
    case Case::routeNeedsTwoPoints: return "routeNeedsTwoPoints";
    case Case::routeCrossesAntimeridian: return "routeCrossesAntimeridian";
    case Case::invalidSpeed: return "invalidSpeed";
    case Case::speedOutOfRange: return "speedOutOfRange";
    case Case::routeDataUnavailable: return "routeDataUnavailable";
    case Case::simulatorBusy: return "simulatorBusy";
    case Case::presetLimitReached: return "presetLimitReached";
  }
  return {};
}

}  // namespace orvanta
