// Reading a route from the bytes of a GPX file (GPX 1.0 or 1.1).
//
// The reader is strict and defensive. It refuses files above 25 MiB, files that declare entities or
// need an external entity, documents that are not GPX, and the whole file when one track or route point
// has a missing or bad coordinate. What it skips without failing is counted in GPXParseNotes so that the
// user can be told: waypoints, routes beside tracks, unreadable elevations and times.
//
// It streams over the buffer with expat and keeps only the points; it never builds a tree, never reads a
// file or the network, and never loads a DTD.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "support/expected.hpp"
#include "tools/location/location_route.hpp"
#include "tools/location/location_simulation_error.hpp"

namespace orvanta {

struct GPXParseNotes {
  std::int64_t ignoredWaypointCount = 0;      // `wpt` elements; waypoints never join the route
  std::int64_t ignoredRouteCount = 0;         // non-empty `rte` routes dropped because the file has tracks
  std::int64_t unreadableTimestampCount = 0;  // point `time`s not read; the point was kept without one
  std::int64_t unreadableElevationCount = 0;  // point `ele`s not read; the point was kept without one
  bool operator==(const GPXParseNotes&) const = default;
};

struct GPXParseResult {
  LocationRoute route;
  GPXParseNotes notes;
  bool operator==(const GPXParseResult&) const = default;
};

class GPXRouteParser {
 public:
  static constexpr std::int64_t maximumBytes = 26214400;  // 25 MiB
  static constexpr std::size_t maximumDepth = 64;        // open elements

  // Reads `data`, the whole file, into one route. `sourceFilename` is the file's last path component: the
  // route's source, and its name when the file names neither its first track (or first route, when it
  // has no tracks) nor its metadata. The route has a fresh random id and at least one segment, none empty.
  //
  // The route holds the track segments when the file has any track point, otherwise its routes. Names are
  // normalised by normalizeRouteName; with none left the name is "Untitled Route". Surrounding white space
  // is ignored in `ele` (a decimal number of metres) and `time` (read by GPXTimestamp). An `ele` or `time`
  // text longer than 1024 bytes counts as unreadable.
  //
  // Fails with, the first one met winning:
  //  - gpxTooLarge(26214400) when `data` is longer than 26214400 bytes;
  //  - gpxMalformedXML when `data` is empty, is not well-formed XML, or nests more than 64 elements;
  //  - gpxUnsafeContent when the bytes contain "<!ENTITY" (in UTF-8 or either UTF-16 byte order), even in
  //    a comment, or the document declares an entity, refers to an undeclared entity that a DTD it did
  //    not read might declare, or would need an external entity;
  //  - gpxUnsupportedFormat when the root element is not `gpx` in no namespace or the GPX namespace;
  //  - gpxInvalidPoint(n, problem) for the first track or route point (counted from 1 across tracks and
  //    routes in document order) with a missing lat or lon, one that is not strict dot-decimal, or one out
  //    of range, checked lat before lon;
  //  - gpxNoPoints when no track or route holds a point;
  //  - gpxReaderOutOfMemory when the XML reader could not get the memory it needed (not a fault of the
  //    file: every file within the size limit fits the reader's bound).
  // Point count limits and the 180th meridian are not checked here (see prepareRoutePlayback).
  //
  // Pure and blocking (a 25 MiB file takes a fraction of a second); callable from any thread at once.
  [[nodiscard]] static expected<GPXParseResult, LocationSimulationError> parse(std::string_view data,
                                                                               std::string_view sourceFilename);
};

namespace detail {
// The most memory the XML reader held during the last parse on this thread, and the bound it may not
// pass. For tests and benchmarks.
std::size_t gpxParserPeakMemoryOfLastParse();
std::size_t gpxParserMemoryLimit();
}  // namespace detail

}  // namespace orvanta
