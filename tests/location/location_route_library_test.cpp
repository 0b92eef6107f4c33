#include "tools/location/location_route_library.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>

#include <nlohmann/json.hpp>

#include "support/uuid.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using Case = LocationSimulationError::Case;
using std::chrono::seconds;
using testing::entries;
using testing::readBytes;
using testing::writeBytes;

const auto kStart = std::chrono::system_clock::time_point(seconds(1'790'000'000));

LocationRoute routeAlong(double longitude, std::string name = "Ride") {
  return LocationRoute{"5D1C6E54-0B4B-4C55-9E59-9C4D4F5A2B10",
                       std::move(name),
                       {"ride.gpx"},
                       {{{{47.0, longitude}, {47.001, longitude}}}}};
}

class LocationRouteLibraryTest : public ::testing::Test {
 protected:
  testing::ScratchFolder folder;
  std::shared_ptr<InMemorySettingsStore> settings = std::make_shared<InMemorySettingsStore>();
  LocationRouteLibrary library{settings, folder / "Routes", [] { return kStart; }};
};

TEST_F(LocationRouteLibraryTest, ARememberedRouteReopensWithEveryPointValue) {
  const auto time = [](double secondsSince2001) {
    return LocationInstant(std::chrono::microseconds(static_cast<std::int64_t>(secondsSince2001 * 1e6)) +
                           seconds(978'307'200));
  };
  LocationRoute route{
      "IGNORED",
      "Morning Run",
      {"run.gpx"},
      {{{{47.3769, 8.5417, 408.5, time(736236000.25)}, {47.3779, 8.5427, std::nullopt, time(736236060)}}},
       {{{-33.5, -70.25, -3.0}, {0.00001, 0}}}}};
  auto recent = library.remember(route, 12.5, kStart);
  ASSERT_TRUE(recent.has_value()) << recent.error().description();
  EXPECT_EQ(recent->pointCount, 4);
  EXPECT_EQ(recent->segmentCount, 2);
  EXPECT_EQ(recent->speedMetersPerSecond, 12.5);
  EXPECT_EQ(recent->sourceFilename, "run.gpx");
  EXPECT_TRUE(parseUUID(recent->id).has_value());
  EXPECT_EQ(library.recents(), std::vector<LocationRouteRecent>{*recent});

  EXPECT_EQ(readBytes(library.file(recent->id)),
            "{\"segments\":[[[47.3769,8.5417,408.5,736236000.25],[47.3779,8.5427,null,736236060.0]],"
            "[[-33.5,-70.25,-3.0],[1e-05,0.0]]],\"version\":1}\n");

  auto reopened = library.open(*recent);
  ASSERT_TRUE(reopened.has_value()) << reopened.error().description();
  EXPECT_EQ(reopened->id, recent->id);
  EXPECT_EQ(reopened->name, "Morning Run");
  EXPECT_EQ(reopened->segments, route.segments);
}

TEST_F(LocationRouteLibraryTest, TheSameRouteKeepsItsIdAndTheEleventhPushesTheOldestOut) {
  auto first = library.remember(routeAlong(1), 20, kStart);
  ASSERT_TRUE(first.has_value());
  for (int i = 2; i <= 10; ++i) ASSERT_TRUE(library.remember(routeAlong(i), 20, kStart + seconds(i)).has_value());

  // Played again, under another name and speed: the same recent, moved to the front.
  auto again = library.remember(routeAlong(1, "Ride again"), 5, kStart + seconds(100));
  ASSERT_TRUE(again.has_value());
  EXPECT_EQ(again->id, first->id);
  auto list = library.recents();
  ASSERT_EQ(list.size(), 10u);
  EXPECT_EQ(list[0].name, "Ride again");
  EXPECT_EQ(list[0].speedMetersPerSecond, 5);
  EXPECT_EQ(list[0].startedAt, kStart + seconds(100));

  const auto oldest = list.back();
  auto eleventh = library.remember(routeAlong(11), 20, kStart + seconds(200));
  ASSERT_TRUE(eleventh.has_value());
  list = library.recents();
  ASSERT_EQ(list.size(), 10u);
  EXPECT_EQ(list.front().id, eleventh->id);
  EXPECT_FALSE(library.recent(oldest.id).has_value());
  EXPECT_FALSE(std::filesystem::exists(library.file(oldest.id)));
  EXPECT_EQ(entries(folder / "Routes").size(), 10u);
}

TEST_F(LocationRouteLibraryTest, MissingOrDamagedDataIsRouteDataUnavailable) {
  struct Row {
    const char* label;
    std::optional<std::string> content;  // none: the file is missing
    bool movedAside;
  };
  const Row rows[] = {
      {"missing", std::nullopt, false},
      {"not JSON", "{\"version\":1,\"segm", true},
      {"an empty segment", R"({"version":1,"segments":[[]]})", true},
      {"a point out of range", R"({"version":1,"segments":[[[91,0],[0,0]]]})", true},
      {"a point without longitude", R"({"version":1,"segments":[[[1],[0,0]]]})", true},
      {"a newer version", R"({"version":2,"segments":[[[1,2],[3,4,5,6,7]]]})", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    auto recent = library.remember(routeAlong(50), 20, kStart);
    ASSERT_TRUE(recent.has_value());
    const auto path = library.file(recent->id);
    if (row.content) {
      writeBytes(path, *row.content);
    } else {
      std::filesystem::remove(path);
    }
    auto opened = library.open(*recent);
    ASSERT_FALSE(opened.has_value());
    EXPECT_EQ(opened.error().description(),
              "This recent route's saved data is missing or unreadable. Remove it and import the GPX file again.");
    const auto aside = folder / "Routes" / (recent->id + ".unreadable-20260921-141320.json");
    EXPECT_EQ(std::filesystem::exists(aside), row.movedAside);
    EXPECT_EQ(std::filesystem::exists(path), row.content.has_value() && !row.movedAside);

    ASSERT_TRUE(library.removeAll().has_value());
    if (row.movedAside) {
      EXPECT_EQ(readBytes(aside), *row.content) << "a moved-aside file is never deleted";
    }
    std::filesystem::remove(aside);
  }
}

TEST_F(LocationRouteLibraryTest, RemovingRecentsDeletesOnlyTheirSavedData) {
  auto a = library.remember(routeAlong(1), 20, kStart);
  auto b = library.remember(routeAlong(2), 20, kStart);
  auto c = library.remember(routeAlong(3), 20, kStart);
  ASSERT_TRUE(a && b && c);
  writeBytes(folder / "Routes" / "notes.txt", "mine");

  const std::vector<std::string> ids{b->id, "E621E1F8-C36C-495A-93FC-0C247A3E6E5F"};
  auto removed = library.remove(ids);
  ASSERT_TRUE(removed.has_value());
  EXPECT_EQ(*removed, std::vector<LocationRouteRecent>{*b});
  EXPECT_FALSE(std::filesystem::exists(library.file(b->id)));
  EXPECT_EQ(library.recents().size(), 2u);

  removed = library.removeAll();
  ASSERT_TRUE(removed.has_value());
  EXPECT_EQ(removed->size(), 2u);
  EXPECT_TRUE(library.recents().empty());
  EXPECT_EQ(entries(folder / "Routes"), std::set<std::string>{"notes.txt"});
}

TEST(LocationRouteSignatureTest, OnlyThePositionsAndTheirSegmentsCount) {
  LocationRoute route = routeAlong(1);
  LocationRoute renamed = route;
  renamed.name = "Other";
  renamed.id = "OTHER";
  renamed.segments[0].points[0].setElevation(100.0);
  EXPECT_EQ(locationRouteSignature(renamed), locationRouteSignature(route));

  LocationRoute split = route;
  split.segments = {{{route.segments[0].points[0]}}, {{route.segments[0].points[1]}}};
  LocationRoute moved = route;
  moved.segments[0].points[1].longitude += 1e-9;
  EXPECT_NE(locationRouteSignature(split), locationRouteSignature(route));
  EXPECT_NE(locationRouteSignature(moved), locationRouteSignature(route));
}

}  // namespace
}  // namespace orvanta
