// Dates as Orvanta stores them, and the fixed-layout UTC texts used in file names and documents.
//
// On disk a date is the number of seconds since 2001-01-01 00:00:00 UTC, as a double with its fraction
// (Unix seconds − 978307200). All functions here are pure, independent of the locale and time zone,
// and thread-safe.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace orvanta {

// 2001-01-01 00:00:00 UTC in Unix seconds.
inline constexpr std::int64_t kReferenceDateUnixSeconds = 978307200;

// Seconds from 2001-01-01 00:00:00 UTC to `date` (negative before it).
[[nodiscard]] double toReferenceSeconds(std::chrono::system_clock::time_point date);

// The instant `seconds` after 2001-01-01 00:00:00 UTC, rounded to the clock's tick. nullopt when
// `seconds` is not finite or lies outside what system_clock can represent (documents may hold anything).
[[nodiscard]] std::optional<std::chrono::system_clock::time_point> fromReferenceSeconds(double seconds);

enum class UtcFormat {
  compact,  // "yyyyMMdd-HHmmss", e.g. "20261121-054600" (file-name stamps)
  iso8601,  // "yyyy-MM-ddTHH:mm:ssZ", e.g. "2026-11-21T05:46:00Z"
  iso8601Milliseconds,  // "yyyy-MM-ddTHH:mm:ss.SSSZ", e.g. "2026-11-24T08:31:13.285Z" (dates in --json)
};

// `date` in UTC in the given layout; what the layout does not show of a second is dropped (rounded down).
[[nodiscard]] std::string formatUtc(std::chrono::system_clock::time_point date, UtcFormat format);

}  // namespace orvanta
