#include "tools/location/location_entry.hpp"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace orvanta {
namespace {

using Case = LocationSimulationError::Case;

TEST(LocationEntryTest, CoordinatesAreStrictDotDecimalWithinRange) {
  struct Row {
    std::string latitude;
    std::string longitude;
    std::optional<Case> error;  // none: accepted
  };
  const Row rows[] = {
      {"90", "-180", {}},
      {"-90", "180", {}},
      {"-0", "0.0", {}},
      {"", "", Case::emptyLatitude},
      {"48", "", Case::emptyLongitude},
      {"abc", "", Case::emptyLongitude},  // emptiness is checked for both before the form
      {"48.", "11", Case::invalidLatitude},
      {".5", "11", Case::invalidLatitude},
      {"1e2", "11", Case::invalidLatitude},
      {"NaN", "11", Case::invalidLatitude},
      {"1" + std::string(400, '0'), "11", Case::invalidLatitude},  // overflows to infinity
      {"95", "abc", Case::invalidLongitude},                        // the form is checked for both before range
      {"90.0001", "11", Case::latitudeOutOfRange},
      {"-91", "181", Case::latitudeOutOfRange},
      {"48", "-180.5", Case::longitudeOutOfRange},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.latitude + " / " + row.longitude);
    const auto result = parseCoordinateEntry(row.latitude, row.longitude);
    if (row.error) {
      ASSERT_FALSE(result.has_value());
      EXPECT_EQ(result.error().kind, *row.error);
    } else {
      ASSERT_TRUE(result.has_value()) << result.error().description();
    }
  }
  EXPECT_EQ(parseCoordinateEntry("+48.1", "-122.0301").value(), (SimulatedLocation{48.1, -122.0301}));
}

TEST(LocationEntryTest, SpeedIsPositiveDotDecimalWithinRange) {
  struct Row {
    std::string text;
    std::optional<double> speed;
    std::optional<Case> error;
  };
  const Row rows[] = {
      {".5", 0.5, {}},        {"+20", 20, {}},      {"1000", 1000, {}},   {"0.1", 0.1, {}},
      {"+.25", 0.25, {}},     {"0.05", {}, Case::speedOutOfRange},      {"1000.001", {}, Case::speedOutOfRange},
      {"-3", {}, Case::invalidSpeed},                {"0", {}, Case::invalidSpeed},
      {"", {}, Case::invalidSpeed},                  {"5.", {}, Case::invalidSpeed},
      {"1e2", {}, Case::invalidSpeed},               {"+-3", {}, Case::invalidSpeed},
      {".", {}, Case::invalidSpeed},                 {"20 ", {}, Case::invalidSpeed},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    const auto result = parseSpeedEntry(row.text);
    if (row.error) {
      ASSERT_FALSE(result.has_value());
      EXPECT_EQ(result.error().kind, *row.error);
    } else {
      ASSERT_TRUE(result.has_value());
      EXPECT_EQ(*result, *row.speed);
    }
  }
  EXPECT_EQ(parseSpeedEntry("0.05").error().description(), "Speed must be between 0.1 and 1000 meters per second.");
}

TEST(LocationEntryTest, CoordinateTextIsShortestPlainDecimal) {
  const std::pair<double, std::string> rows[] = {
      {0.00001, "0.00001"},
      {-0.0, "0"},
      {0.0, "0"},
      {-122.0301, "-122.0301"},
      {5e-324, "0." + std::string(323, '0') + "5"},  // the smallest double still has no exponent
      {0.1 + 0.2, "0.30000000000000004"},
      {1e300, "1e+300"},  // outside any coordinate range: the library's own form
      {std::numeric_limits<double>::infinity(), "inf"},
  };
  for (const auto& [value, text] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(coordinateText(value), text);
  }
  EXPECT_EQ(coordinatePairText({-33.8688, 151.2093}), "-33.8688,151.2093");
}

TEST(LocationEntryTest, SpeedTextKeepsAtMostThreeFractionDigits) {
  const std::pair<double, std::string> rows[] = {
      {20, "20"}, {0.125, "0.125"}, {2.0004, "2"}, {999.9996, "1000"}, {33.333333, "33.333"},
  };
  for (const auto& [value, text] : rows) {
    SCOPED_TRACE(text);
    EXPECT_EQ(speedText(value), text);
  }
}

}  // namespace
}  // namespace orvanta
