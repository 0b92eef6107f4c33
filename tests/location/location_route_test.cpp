#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "tools/location/location_route_playback.hpp"

namespace orvanta {
namespace {

using Case = LocationSimulationError::Case;
using std::chrono::seconds;

LocationRoute routeOf(std::vector<std::vector<LocationRoutePoint>> segments) {
  LocationRoute route{"ID", "Test", {"test.gpx"}, {}};
  for (auto& points : segments) route.segments.push_back({std::move(points)});
  return route;
}

std::vector<LocationRoutePoint> line(std::size_t count) {
  std::vector<LocationRoutePoint> points;
  for (std::size_t i = 0; i < count; ++i) points.emplace_back(0.001 * static_cast<double>(i), 10.0);
  return points;
}

TEST(LocationRoutePlaybackTest, PointLimitsAndTheAntimeridian) {
  struct Row {
    const char* label;
    LocationRoute route;
    std::optional<Case> error;
  };
  const Row rows[] = {
      {"one point", routeOf({line(1)}), Case::routeNeedsTwoPoints},
      {"two points in two segments", routeOf({line(1), line(1)}), {}},
      {"exactly 4000", routeOf({line(2500), line(1500)}), {}},
      {"4001", routeOf({line(4001)}), Case::routeTooManyPoints},
      {"close but across 180", routeOf({{{0, 179.9}, {0, -179.9}}}), Case::routeCrossesAntimeridian},
      {"across 180 at a segment join", routeOf({{{0, 170}, {0, 179.9}}, {{0, -179.9}, {0, -170}}}),
       Case::routeCrossesAntimeridian},
      {"exactly 180 apart", routeOf({{{0, -90}, {0, 90}, {0, 180}, {0, 0}}}), {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    const auto result = prepareRoutePlayback(row.route);
    if (row.error) {
      ASSERT_FALSE(result.has_value());
      EXPECT_EQ(result.error().kind, *row.error);
    } else {
      ASSERT_TRUE(result.has_value()) << result.error().description();
    }
  }
  EXPECT_EQ(prepareRoutePlayback(routeOf({line(4001)})).error(),
            LocationSimulationError::routeTooManyPoints(4001, 4000));
  EXPECT_EQ(prepareRoutePlayback(routeOf({{{1, 2}}, {{3, 4}, {5, 6}}})).value(),
            (std::vector<SimulatedLocation>{{1, 2}, {3, 4}, {5, 6}}));
}

TEST(LocationRouteMetricsTest, DistanceAlongSegmentsAndTimedSpeed) {
  const LocationInstant start{seconds(1700000000)};
  // One degree along the equator is 111195.08 m on the mean sphere; the jump between the segments
  // is not travelled.
  auto route = routeOf({{{0, 0, 5.0, start}, {0, 1, 7.0, start + seconds(3600)}},
                        {{10, 1, std::nullopt, start + seconds(3700)}, {10, 2, std::nullopt, start + seconds(7200)}}});
  auto metrics = routeMetrics(route).value();
  EXPECT_EQ(metrics.pointCount, 4);
  EXPECT_EQ(metrics.segmentCount, 2);
  EXPECT_EQ(metrics.segmentGapCount, 1);
  EXPECT_EQ(metrics.bounds, (LocationRouteBounds{0, 10, 0, 2}));
  EXPECT_EQ(metrics.first, route.segments[0].points[0]);
  EXPECT_EQ(metrics.last, route.segments[1].points[1]);
  const double equatorDegree = 111195.0802335329;
  EXPECT_NEAR(metrics.distanceMeters, equatorDegree + greatCircleDistance(10, 1, 10, 2), 1e-6);
  EXPECT_NEAR(greatCircleDistance(48.137154, 11.576124, 48.208174, 16.373819), 355801.3103348145, 1e-6);
  ASSERT_TRUE(metrics.hasCompleteTimestamps);
  EXPECT_EQ(metrics.duration, 7200.0);
  EXPECT_NEAR(metrics.timedAverageSpeed().value(), metrics.distanceMeters / 7200.0, 1e-9);

  route.segments[1].points[0].setTimestamp(std::nullopt);
  metrics = routeMetrics(route).value();
  EXPECT_FALSE(metrics.hasCompleteTimestamps);
  EXPECT_FALSE(metrics.duration.has_value());
  EXPECT_FALSE(metrics.timedAverageSpeed().has_value());
  EXPECT_FALSE(routeMetrics(routeOf({})).has_value());
}

}  // namespace
}  // namespace orvanta
