// Every failure of the location tool and of the GPX reader, with the sentence the user sees.
#pragma once

// <cstdio> first: `stderr` is a field name below, and some C libraries define it as a macro that must
// expand the same way in every file that sees this header.
#include <cstdio>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvanta {

// Why the GPX reader refused one point; the text is quoted inside LocationSimulationError's sentence.
enum class GPXPointProblem {
  missingLatitude,
  missingLongitude,
  invalidLatitude,
  invalidLongitude,
  latitudeOutOfRange,
  longitudeOutOfRange
};

// "missing lat attribute", "lat is not a finite dot-decimal number", ...
[[nodiscard]] std::string_view pointProblemText(GPXPointProblem problem);

// One case per failure; the payload fields that a case does not use keep their defaults.
struct LocationSimulationError {
  enum class Case {
    simctlFailed,
    gpxTooLarge,
    gpxInvalidPoint,
    routeTooManyPoints,
    scenarioUnavailable,
    scenariosUnavailable,
    emptyLatitude,
    emptyLongitude,
    invalidLatitude,
    invalidLongitude,
    latitudeOutOfRange,
    longitudeOutOfRange,
    noSimulatorSelected,
    simulatorNotBooted,
    persistenceFailed,
    clipboardFailed,
    emptyLabel,
    duplicatePreset,
    presetNotFound,
    gpxUnreadable,
    gpxMalformedXML,
    gpxUnsupportedFormat,
    gpxUnsafeContent,
    gpxNoPoints,
    gpxReaderOutOfMemory,
    routeNeedsTwoPoints,
    routeCrossesAntimeridian,
    invalidSpeed,
    speedOutOfRange,
    routeDataUnavailable,
    simulatorBusy,      // the mutation gate refused: another operation holds the simulator; nothing was sent
    presetLimitReached,  // adding a preset beyond maximumLocationPresets
    presetLabelTaken     // another preset has this label (`name`): a label names one preset only
  };

  Case kind = Case::gpxMalformedXML;
  std::optional<std::int32_t> status;             // simctlFailed: the exit status, when known
  std::string stderr;                             // simctlFailed: what simctl printed on stderr
  std::int64_t maximumBytes = 0;                  // gpxTooLarge
  std::int64_t pointNumber = 0;                   // gpxInvalidPoint: 1-based, across tracks and routes
  GPXPointProblem problem = GPXPointProblem::missingLatitude;  // gpxInvalidPoint
  std::int64_t count = 0;                         // routeTooManyPoints
  std::int64_t maximum = 0;                       // routeTooManyPoints
  std::string name;                               // scenarioUnavailable; presetLabelTaken: the label
  std::string reason;                             // scenariosUnavailable
  std::string holder;                             // simulatorBusy: who holds it ("scenario (pid 4242)")

  LocationSimulationError() = default;
  // A case without payload, e.g. LocationSimulationError(Case::gpxNoPoints).
  explicit LocationSimulationError(Case kind_) : kind(kind_) {}

  static LocationSimulationError simctlFailed(std::optional<std::int32_t> status, std::string stderrText);
  static LocationSimulationError gpxTooLarge(std::int64_t maximumBytes);
  static LocationSimulationError gpxInvalidPoint(std::int64_t pointNumber, GPXPointProblem problem);
  static LocationSimulationError routeTooManyPoints(std::int64_t count, std::int64_t maximum);
  static LocationSimulationError scenarioUnavailable(std::string name);
  static LocationSimulationError scenariosUnavailable(std::string reason);
  static LocationSimulationError simulatorBusy(std::string holder);
  static LocationSimulationError presetLabelTaken(std::string label);

  // The exact user-facing sentence, e.g. "Point 12: missing lat attribute.".
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it in --json output ("gpxInvalidPoint", ...).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const LocationSimulationError&) const = default;
};

// A byte count as a file size in decimal units, the way file browsers show it: "999 bytes", "12 KB",
// "26.2 MB", "1.5 GB". Thread-safe.
[[nodiscard]] std::string formatFileByteCount(std::int64_t bytes);

}  // namespace orvanta
