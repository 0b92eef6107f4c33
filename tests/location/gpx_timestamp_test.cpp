#include "tools/location/gpx_timestamp.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <string>

namespace orvanta {
namespace {

using Kind = GPXTimestamp::Result::Case;

TEST(GPXTimestampTest, ReadsInstantsAndRefusesWhatDoesNotExist) {
  struct Row {
    std::string text;
    Kind kind;
    std::int64_t unixMicroseconds;  // valid rows only
  };
  const Row rows[] = {
      {"1970-01-01T00:00:00Z", Kind::valid, 0},
      {"2024-02-29T12:00:00Z", Kind::valid, 1709208000'000000},  // leap year
      {"2000-02-29T00:00:00Z", Kind::valid, 951782400'000000},   // divisible by 400
      {"0001-01-01T00:00:00Z", Kind::valid, -62135596800'000000},
      {"9999-12-31T23:59:59Z", Kind::valid, 253402300799'000000},
      {"2024-02-29T14:30:00+02:30", Kind::valid, 1709208000'000000},
      {"2024-02-29T04:00:00-08:00", Kind::valid, 1709208000'000000},
      {"1970-01-01T00:00:00.1234567Z", Kind::valid, 123456},  // digits past the microsecond are dropped
      {"1969-12-31T23:59:59.25Z", Kind::valid, -750000},
      {"2023-02-29T00:00:00Z", Kind::invalid, 0},  // not a leap year
      {"1900-02-29T00:00:00Z", Kind::invalid, 0},  // divisible by 100
      {"2024-02-30T10:00:00Z", Kind::invalid, 0},
      {"2024-04-31T10:00:00Z", Kind::invalid, 0},
      {"2024-13-01T10:00:00Z", Kind::invalid, 0},
      {"2024-00-10T10:00:00Z", Kind::invalid, 0},
      {"2024-01-00T10:00:00Z", Kind::invalid, 0},
      {"2024-01-01T24:00:00Z", Kind::invalid, 0},
      {"2024-01-01T23:60:00Z", Kind::invalid, 0},
      {"2024-01-01T23:59:60Z", Kind::invalid, 0},
      {"2024-01-01T10:00:00", Kind::invalid, 0},  // no zone
      {"2024-01-01t10:00:00z", Kind::invalid, 0},
      {"2024-1-01T10:00:00Z", Kind::invalid, 0},
      {"2024-01-01T10:00:00.Z", Kind::invalid, 0},
      {"2024-01-01T10:00:00+0200", Kind::invalid, 0},
      {"2024-01-01T10:00:00Z ", Kind::invalid, 0},
      {"+2024-01-01T10:00:00Z", Kind::invalid, 0},
      {"", Kind::invalid, 0},
      {"2024-01-01T10:00:00+24:00", Kind::notCanonical, 0},
      {"2024-01-01T10:00:00-02:60", Kind::notCanonical, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const auto result = GPXTimestamp::read(row.text);
    ASSERT_EQ(result.kind, row.kind);
    if (row.kind == Kind::valid) {
      EXPECT_EQ(result.instant.time_since_epoch().count(), row.unixMicroseconds);
    }
  }
}

}  // namespace
}  // namespace orvanta
