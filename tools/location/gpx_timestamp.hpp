// Reading the `time` of a GPX point: an internet date-time such as "2024-05-01T06:30:00Z" or
// "2024-05-01T08:30:00.25+02:00".
#pragma once

#include <string_view>

#include "tools/location/location_route.hpp"

namespace orvanta {

struct GPXTimestamp {
  struct Result {
    enum class Case { valid, invalid, notCanonical };
    Case kind = Case::invalid;
    LocationInstant instant{};  // valid only

    static Result valid(LocationInstant instant) { return {Case::valid, instant}; }
    static Result invalid() { return {Case::invalid, {}}; }
    static Result notCanonical() { return {Case::notCanonical, {}}; }
    bool operator==(const Result&) const = default;
  };

  // Accepts exactly "YYYY-MM-DDThh:mm:ss", an optional "." with one or more fraction digits, then "Z" or
  // "+hh:mm" / "-hh:mm". Any other shape, and a date or time that does not exist (month 1-12, day within
  // the month by the Gregorian leap-year rule, hour 0-23, minute and second 0-59), is `invalid`. A text of
  // the right shape whose offset is not a real one (hours above 23 or minutes above 59) is `notCanonical`.
  // The instant keeps the fraction to the microsecond; further digits are dropped. Pure and thread-safe.
  [[nodiscard]] static Result read(std::string_view text);
};

}  // namespace orvanta
