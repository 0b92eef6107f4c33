#include "support/reference_date.hpp"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace orvanta {
namespace {

using namespace std::chrono;

TEST(ReferenceDateTest, ConvertsKnownInstantsBothWays) {
  struct Case {
    const char* what;
    system_clock::time_point instant;
    double seconds;
  } cases[] = {
      {"reference date", sys_days{year{2001} / 1 / 1}, 0},
      {"Unix epoch", system_clock::time_point{}, -978307200},
      {"2026-11-21 05:46:00", sys_days{year{2026} / 11 / 21} + hours(5) + minutes(46), 816932760},
      {"fraction after", sys_days{year{2001} / 1 / 1} + milliseconds(250), 0.25},
      {"fraction before", sys_days{year{2001} / 1 / 1} - milliseconds(500), -0.5},
      {"microseconds kept", sys_days{year{2024} / 2 / 29} + hours(12) + microseconds(123456),
       1709208000.0 - 978307200.0 + 0.123456},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    EXPECT_DOUBLE_EQ(toReferenceSeconds(c.instant), c.seconds);
    auto back = fromReferenceSeconds(c.seconds);
    ASSERT_TRUE(back.has_value());
    EXPECT_LE(std::chrono::abs(*back - c.instant), microseconds(1));
  }
}

TEST(ReferenceDateTest, ValuesNoClockCanHoldAreRefused) {
  for (double seconds : {std::nan(""), std::numeric_limits<double>::infinity(),
                         -std::numeric_limits<double>::infinity(), 1e300, -1e19}) {
    SCOPED_TRACE(seconds);
    EXPECT_EQ(fromReferenceSeconds(seconds), std::nullopt);
  }
}

TEST(ReferenceDateTest, FormatsUtcStampsWithoutRoundingUp) {
  struct Case {
    system_clock::time_point instant;
    const char* compact;
    const char* iso;
    const char* isoMilliseconds;
  } cases[] = {
      {sys_days{year{2026} / 11 / 21} + hours(5) + minutes(46) + milliseconds(999) + microseconds(900),
       "20261121-054600", "2026-11-21T05:46:00Z", "2026-11-21T05:46:00.999Z"},
      {sys_days{year{2024} / 2 / 29} + hours(23) + minutes(59) + seconds(59), "20240229-235959",
       "2024-02-29T23:59:59Z", "2024-02-29T23:59:59.000Z"},
      {system_clock::time_point{} - milliseconds(500), "19691231-235959", "1969-12-31T23:59:59Z",
       "1969-12-31T23:59:59.500Z"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.iso);
    EXPECT_EQ(formatUtc(c.instant, UtcFormat::compact), c.compact);
    EXPECT_EQ(formatUtc(c.instant, UtcFormat::iso8601), c.iso);
    EXPECT_EQ(formatUtc(c.instant, UtcFormat::rfc3339), c.isoMilliseconds);
  }
}

}  // namespace
}  // namespace orvanta
