#include <gtest/gtest.h>

#include "core/simulator_mutation_gate.hpp"
#include "tests/cli/cli_harness.hpp"
#include "tests/support/test_files.hpp"

namespace orvanta {
namespace {

using testing::contains;

using testing::CliResult;
using testing::kIPadPro;
using testing::kIPhone16;
using Json = nlohmann::json;

const char* const kRouteNote =
    "Orvanta can't observe progress or completion. After the last point the simulator holds that location until you "
    "Stop, Clear, or Set another. Stop clears the simulated location.";

// Two timed segments, a waypoint and an unreadable elevation.
const char* const kRide = R"(<?xml version="1.0" encoding="UTF-8"?>
<gpx version="1.1" creator="test" xmlns="http://www.topografix.com/GPX/1/1">
  <wpt lat="47.0" lon="8.0"><name>Start</name></wpt>
  <trk><name>Lake  Ride</name>
    <trkseg>
      <trkpt lat="47.3769" lon="8.5417"><ele>408</ele><time>2024-05-01T06:00:00Z</time></trkpt>
      <trkpt lat="47.3779" lon="8.5427"><ele>high</ele><time>2024-05-01T06:01:00Z</time></trkpt>
    </trkseg>
    <trkseg>
      <trkpt lat="47.38" lon="8.545"><time>2024-05-01T06:05:00Z</time></trkpt>
      <trkpt lat="47.381" lon="-0.00001"><time>2024-05-01T06:06:40Z</time></trkpt>
    </trkseg>
  </trk>
</gpx>
)";

class LocationCliTest : public testing::TargetedCliTest {
 protected:
  std::string writeGpx(const std::string& name, const std::string& content) {
    const auto path = root() / name;
    testing::writeBytes(path, content);
    return path.string();
  }
};

TEST_F(LocationCliTest, SetClearAndHistory) {
  auto set = orvanta({"location", "set", "48.137154", "-122.0301"});
  ASSERT_EQ(set.status, 0) << set.err;
  EXPECT_EQ(set.out, "Location of iPhone 16 set to 48.137154, -122.0301.\n");
  EXPECT_EQ(emulatorState(kIPhone16, "location"),
            (Json{{"mode", "point"}, {"latitude", 48.137154}, {"longitude", -122.0301}}));

  ASSERT_EQ(orvanta({"location", "set", "1", "2"}).status, 0);
  ASSERT_EQ(orvanta({"location", "set", "+48.137154", "-122.0301"}).status, 0);
  auto history = orvanta({"--json", "location", "history"}).json();
  ASSERT_EQ(history.size(), 2u);
  EXPECT_EQ(history[0]["coordinate"], (Json{{"latitude", 48.137154}, {"longitude", -122.0301}}));
  EXPECT_TRUE(history[0]["setAt"].get<std::string>().ends_with("Z"));

  auto cleared = orvanta({"--json", "location", "clear"});
  ASSERT_EQ(cleared.status, 0) << cleared.err;
  EXPECT_EQ(cleared.json()["action"], "clear");
  EXPECT_EQ(cleared.json()["simulatorUDID"], kIPhone16);
  EXPECT_EQ(emulatorState(kIPhone16, "location")["mode"], "cleared");
}

TEST_F(LocationCliTest, RefusalsCarryTheToolsSentences) {
  struct Row {
    std::vector<std::string> arguments;
    const char* kind;
    const char* message;
  };
  const Row rows[] = {
      {{"location", "set", "48,1", "11"},
       "invalidLatitude",
       "Latitude must be a finite dot-decimal number (for example, 48.137154)."},
      {{"location", "set", "48", "181"}, "longitudeOutOfRange", "Longitude must be between -180 and 180."},
      {{"location", "clear", "--device", kIPadPro},
       "simulatorNotBooted",
       "The selected simulator is no longer booted. Choose a simulator explicitly."},
      {{"gpx", "inspect", "/nonexistent/ride.gpx"}, "gpxUnreadable", "The GPX file could not be read."},
      {{"location", "route", "x.gpx", "--speed", "-3"},
       "invalidSpeed",
       "Speed must be a positive dot-decimal number of meters per second (for example, 20)."},
      {{"location", "scenario", "Moon Walk"},
       "scenarioUnavailable",
       "The scenario \u201cMoon Walk\u201d is no longer available on this simulator. The list has been refreshed."},
      {{"location", "preset", "Office"}, "presetNotFound", "This preset no longer exists."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.kind);
    auto arguments = row.arguments;
    arguments.push_back("--json");
    expectFailure(orvanta(arguments), row.kind, row.message);
  }
  EXPECT_TRUE(emulatorState(kIPhone16, "location").is_null()) << "nothing reached the simulator";

  ASSERT_EQ(orvanta({"target", "clear"}).status, 0);
  auto unchosen = orvanta({"location", "set", "1", "2"});
  expectFailure(unchosen, "noSimulatorSelected", "Choose a booted simulator.");
  EXPECT_TRUE(contains(unchosen.err, "2 Simulators booted")) << unchosen.err;
}

// Another process holds the simulator: refused at once, nothing sent. (simctl's failures: location_service_test.)
TEST_F(LocationCliTest, ABusySimulatorIsRefusedAtOnce) {
  SimulatorMutationGate other(root() / "runtime" / "orvanta");
  ASSERT_TRUE(other.acquire(kIPhone16, gate_labels::scenario));
  auto busy = orvanta({"location", "clear"});
  expectFailure(busy, "simulatorBusy", "Another operation is changing this simulator. Try again when it finishes.");
  EXPECT_TRUE(contains(busy.err, "Held by: scenario (pid ")) << busy.err;
  EXPECT_TRUE(emulatorState(kIPhone16, "location").is_null());
  other.release(kIPhone16, gate_labels::scenario);
  EXPECT_EQ(orvanta({"location", "clear"}).status, 0);
}

TEST_F(LocationCliTest, AGpxRouteIsPlayedRememberedAndReplayed) {
  const auto file = writeGpx("ride.gpx", kRide);
  auto played = orvanta({"location", "route", file, "--speed", "7.5"});
  ASSERT_EQ(played.status, 0) << played.err;
  EXPECT_TRUE(played.out.starts_with("Playing \"Lake Ride\" on iPhone 16 at 7.5 m/s.\n")) << played.out;
  EXPECT_TRUE(contains(played.out, "4 in 2 segments")) << played.out;
  EXPECT_TRUE(contains(played.out, "1 waypoint ignored")) << played.out;
  EXPECT_TRUE(played.out.ends_with(std::string(kRouteNote) + "\n")) << played.out;
  const Json waypoints = Json::array({{47.3769, 8.5417}, {47.3779, 8.5427}, {47.38, 8.545}, {47.381, -0.00001}});
  EXPECT_EQ(emulatorState(kIPhone16, "location"), (Json{{"mode", "route"}, {"speed", 7.5}, {"waypoints", waypoints}}));

  auto recents = orvanta({"--json", "location", "recents"}).json();
  ASSERT_EQ(recents.size(), 1u);
  const std::string id = recents[0]["id"];
  EXPECT_EQ(recents[0]["name"], "Lake Ride");
  EXPECT_EQ(recents[0]["pointCount"], 4);
  EXPECT_EQ(recents[0]["speedMetersPerSecond"], 7.5);
  const auto saved = root() / "data" / "orvanta" / "Routes" / (id + ".json");
  EXPECT_TRUE(std::filesystem::exists(saved));

  // The GPX file is not needed any more; without --speed the default is 20.
  std::filesystem::remove(file);
  ASSERT_EQ(orvanta({"location", "clear"}).status, 0);
  auto replayed = orvanta({"--json", "location", "route", "--recent", id});
  ASSERT_EQ(replayed.status, 0) << replayed.err;
  EXPECT_EQ(replayed.json()["recent"]["id"], id);
  EXPECT_EQ(replayed.json()["activeOperation"]["kind"], "route");
  EXPECT_EQ(emulatorState(kIPhone16, "location")["speed"], 20);
  EXPECT_EQ(emulatorState(kIPhone16, "location")["waypoints"], waypoints);

  auto removed = orvanta({"location", "recents", "--remove", id});
  ASSERT_EQ(removed.status, 0) << removed.err;
  EXPECT_TRUE(contains(removed.out, "Saved route data is deleted. GPX files and the Simulator are unaffected.\n"));
  EXPECT_TRUE(orvanta({"--json", "location", "recents"}).json().empty());
  expectFailure(orvanta({"location", "route", "--recent", id}), "recentNotFound",
                "No recent route has the id " + id + ".");
}

TEST_F(LocationCliTest, GpxInspectNeedsNoSimulator) {
  setEnvironment("ORVANTA_XCRUN", "/nonexistent/xcrun");
  auto json = orvanta({"--json", "gpx", "inspect", writeGpx("ride.gpx", kRide)});
  ASSERT_EQ(json.status, 0) << json.err;
  const auto report = json.json();
  EXPECT_EQ(report["name"], "Lake Ride");
  EXPECT_EQ(report["metrics"]["pointCount"], 4);
  EXPECT_EQ(report["metrics"]["duration"], 400.0);
  EXPECT_EQ(report["notes"]["ignoredWaypointCount"], 1);
  EXPECT_EQ(report["playable"], true);

  auto text = orvanta({"gpx", "inspect", (root() / "ride.gpx").string()});
  ASSERT_EQ(text.status, 0) << text.err;
  EXPECT_TRUE(contains(text.out, "Duration:  6 min 40 s")) << text.out;
  EXPECT_TRUE(contains(text.out, "Average over the whole route. The simulator cannot replay per-point timestamps."));

  struct Row {
    std::string content;
    const char* kind;
    const char* message;
  };
  const Row rows[] = {
      {"<gpx><trk>", "gpxMalformedXML", "The file is not well-formed XML, so it can't be a valid GPX file."},
      {R"(<!DOCTYPE gpx [<!ENTITY a "b">]><gpx/>)", "gpxUnsafeContent",
       "The GPX file declares a DTD or entities, which Orvanta refuses to process."},
      {std::string(26214401, ' '), "gpxTooLarge", "The GPX file is larger than 26.2 MB. Use a smaller file."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.kind);
    expectFailure(orvanta({"--json", "gpx", "inspect", writeGpx("bad.gpx", row.content)}), row.kind, row.message);
  }

  // A route the simulator cannot take is still inspected, with the reason it cannot be played.
  auto crossing = orvanta(
      {"--json", "gpx", "inspect",
       writeGpx("pacific.gpx", R"(<gpx><rte><rtept lat="0" lon="179.9"/><rtept lat="0" lon="-179.9"/></rte></gpx>)")});
  ASSERT_EQ(crossing.status, 0) << crossing.err;
  EXPECT_EQ(crossing.json()["playable"], false);
  EXPECT_EQ(crossing.json()["playbackError"]["kind"], "routeCrossesAntimeridian");
}

TEST_F(LocationCliTest, PresetsAndScenarios) {
  auto added = orvanta({"--json", "location", "presets", "add", " Office ", "37.3349", "-122.009"});
  ASSERT_EQ(added.status, 0) << added.err;
  const std::string id = added.json()["id"];
  EXPECT_EQ(added.json()["label"], "Office");
  expectFailure(orvanta({"location", "presets", "add", "Desk", "37.3349", "-122.009"}), "duplicatePreset",
                "These coordinates already have a preset. Edit the existing preset instead.");

  auto chosen = orvanta({"location", "preset", "Office"});
  ASSERT_EQ(chosen.status, 0) << chosen.err;
  EXPECT_EQ(chosen.out, "Location of iPhone 16 set to \"Office\" (37.3349, -122.009).\n");
  EXPECT_EQ(emulatorState(kIPhone16, "location")["latitude"], 37.3349);

  ASSERT_EQ(orvanta({"location", "presets", "rename", id, "HQ"}).status, 0);
  EXPECT_EQ(orvanta({"--json", "location", "presets"}).json()[0]["label"], "HQ");
  ASSERT_EQ(orvanta({"location", "presets", "remove", id}).status, 0);
  EXPECT_TRUE(orvanta({"--json", "location", "presets"}).json().empty());

  auto scenarios = orvanta({"--json", "location", "scenarios"});
  ASSERT_EQ(scenarios.status, 0) << scenarios.err;
  EXPECT_EQ(scenarios.json()["scenarios"].size(), 4u);
  EXPECT_EQ(scenarios.json()["scenarios"][2], (Json{{"name", "City Run"}, {"summary", ""}}));
  auto run = orvanta({"location", "scenario", "Freeway Drive"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(emulatorState(kIPhone16, "location"), (Json{{"mode", "scenario"}, {"scenario", "Freeway Drive"}}));
}

}  // namespace
}  // namespace orvanta
