#include "tools/location/gpx_timestamp.hpp"

#include <chrono>
#include <cstdint>

#include "support/number_text.hpp"

namespace orvanta {

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
  std::int64_t fraction = 0;  // microseconds
  if (text[at] == '.') {
    const std::size_t fractionStart = ++at;
    while (at < text.size() && (text[at] >= '0' && text[at] <= '9')) {
      if (at - fractionStart < 6) fraction = fraction * 10 + (text[at] - '0');
      ++at;
    }
    if (at == fractionStart) return Result::invalid();
    for (std::size_t digits = at - fractionStart; digits < 6; ++digits) fraction *= 10;
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

  using namespace std::chrono;
  const year_month_day date{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                            std::chrono::day{static_cast<unsigned>(day)}};
  if (!date.ok() || hour > 23 || minute > 59 || second > 59) return Result::invalid();
  if (!offsetIsReal) return Result::notCanonical();
  return Result::valid(LocationInstant(sys_days(date) + hours(hour) + minutes(minute - offsetMinutes) +
                                       seconds(second) + microseconds(fraction)));
}

}  // namespace orvanta
