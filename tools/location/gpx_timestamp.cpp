#include "tools/location/gpx_timestamp.hpp"

#include <cstdint>

#include "support/number_text.hpp"

namespace orvanta {
namespace {

bool isLeapYear(int year) {
  return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int daysInMonth(int year, int month) {
  static constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : lengths[month - 1];
}

// Days from 1970-01-01 to the given proleptic Gregorian date (Howard Hinnant's days_from_civil).
std::int64_t daysFromCivil(std::int64_t year, std::int64_t month, std::int64_t day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

}  // namespace

GPXTimestamp::Result GPXTimestamp::read(std::string_view text) {
  // Fixed positions: YYYY-MM-DDThh:mm:ss at 0..18, then the optional fraction, then the zone.
  constexpr std::size_t fixedLength = 19;
  if (text.size() < fixedLength + 1 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
      text[16] != ':') {
    return Result::invalid();
  }
  const int year = decimalDigitsAt(text, 0, 4);
  const int month = decimalDigitsAt(text, 5, 2);
  const int day = decimalDigitsAt(text, 8, 2);
  const int hour = decimalDigitsAt(text, 11, 2);
  const int minute = decimalDigitsAt(text, 14, 2);
  const int second = decimalDigitsAt(text, 17, 2);
  if (year < 0 || month < 0 || day < 0 || hour < 0 || minute < 0 || second < 0) return Result::invalid();

  std::size_t at = fixedLength;
  std::int64_t microseconds = 0;
  if (text[at] == '.') {
    const std::size_t fractionStart = ++at;
    while (at < text.size() && (text[at] >= '0' && text[at] <= '9')) {
      if (at - fractionStart < 6) microseconds = microseconds * 10 + (text[at] - '0');
      ++at;
    }
    if (at == fractionStart) return Result::invalid();
    for (std::size_t digits = at - fractionStart; digits < 6; ++digits) microseconds *= 10;
  }

  int offsetMinutes = 0;
  bool offsetIsReal = true;
  if (at < text.size() && text[at] == 'Z') {
    ++at;
  } else if (at < text.size() && (text[at] == '+' || text[at] == '-')) {
    if (text.size() - at < 6 || text[at + 3] != ':') return Result::invalid();
    const int offsetHours = decimalDigitsAt(text, at + 1, 2);
    const int offsetMinutePart = decimalDigitsAt(text, at + 4, 2);
    if (offsetHours < 0 || offsetMinutePart < 0) return Result::invalid();
    offsetIsReal = offsetHours <= 23 && offsetMinutePart <= 59;
    offsetMinutes = (text[at] == '-' ? -1 : 1) * (offsetHours * 60 + offsetMinutePart);
    at += 6;
  } else {
    return Result::invalid();
  }
  if (at != text.size()) return Result::invalid();

  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 || minute > 59 || second > 59) {
    return Result::invalid();
  }
  if (!offsetIsReal) return Result::notCanonical();

  // With four-digit years the microsecond count stays below 2^59, far from overflowing 64 bits.
  const std::int64_t seconds =
      daysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second - std::int64_t{offsetMinutes} * 60;
  return Result::valid(LocationInstant(std::chrono::microseconds(seconds * 1000000 + microseconds)));
}

}  // namespace orvanta
