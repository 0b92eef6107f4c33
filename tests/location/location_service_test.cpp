#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "tests/core/fake_run.hpp"
#include "tests/support/test_files.hpp"
#include "tools/location/location_persistence.hpp"
#include "tools/location/location_route_service.hpp"
#include "tools/location/location_simulator_service.hpp"

namespace orvanta {
namespace {

using Case = LocationSimulationError::Case;
using Strings = std::vector<std::string>;
using testing::FakeRun;

constexpr const char* kUDID = "3BC9A608-0042-414F-B35C-7ADB869BC572";
const auto kNow = std::chrono::system_clock::time_point(std::chrono::seconds(1'790'000'000));

SimulatorDevice phone() {
  return {kUDID, "iPhone 16", SimulatorState::booted, "iOS-18-2", "iOS 18.2", std::nullopt};
}
SimulatorTargetStatus booted() {
  return SimulatorTargetStatus::selected(phone());
}

LocationRoute routeOf(std::vector<std::vector<LocationRoutePoint>> segments) {
  LocationRoute route{"5D1C6E54-0B4B-4C55-9E59-9C4D4F5A2B10", "Morning Run", {"run.gpx"}, {}};
  for (auto& points : segments) route.segments.push_back({std::move(points)});
  return route;
}

class LocationServiceTest : public ::testing::Test {
 protected:
  LocationServiceEnvironment environment() {
    return {{fake.function(), "/usr/bin/xcrun"}, &gate, activity, [] { return kNow; }};
  }
  LocationSimulatorService simulator() { return LocationSimulatorService(environment(), history); }
  LocationRouteService routes(std::shared_ptr<LocationRouteLibrary> library = nullptr) {
    return LocationRouteService(environment(), std::move(library));
  }
  Strings argv(std::size_t call) const { return fake.calls.at(call).arguments; }

  FakeRun fake;
  SimulatorMutationGate gate;
  std::shared_ptr<LocationActivity> activity = std::make_shared<LocationActivity>();
  std::shared_ptr<InMemorySettingsStore> settings = std::make_shared<InMemorySettingsStore>();
  std::shared_ptr<LocationHistoryStore> history = std::make_shared<LocationHistoryStore>(settings);
};

TEST_F(LocationServiceTest, SetAndClearSendOneInvocationEachAndRecordTheHistory) {
  auto service = simulator();
  auto set = service.perform(booted(), LocationAction::set({0.00001, -122.0301}));
  ASSERT_TRUE(set.has_value()) << set.error().description();
  EXPECT_EQ(argv(0), (Strings{"simctl", "location", kUDID, "set", "0.00001,-122.0301"}));
  EXPECT_EQ(set->simulatorName, "iPhone 16");
  EXPECT_FALSE(set->persistenceError.has_value());
  ASSERT_EQ(history->entries().size(), 1u);
  EXPECT_EQ(history->entries()[0].coordinate, (SimulatedLocation{0.00001, -122.0301}));
  EXPECT_EQ(history->entries()[0].setAt, kNow);

  ASSERT_TRUE(service.perform(booted(), LocationAction::clear()).has_value());
  EXPECT_EQ(argv(1), (Strings{"simctl", "location", kUDID, "clear"}));
  EXPECT_EQ(history->entries().size(), 1u);  // a clear is not a point
  EXPECT_FALSE(gate.holder(kUDID).has_value());
}

// A bad target is refused end to end in location_cli_test.cpp.
TEST_F(LocationServiceTest, NothingIsSentForABadCoordinate) {
  struct Row {
    const char* label;
    SimulatedLocation location;
    Case error;
  };
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Row rows[] = {
      {"latitude not finite", {nan, 0}, Case::invalidLatitude},
      {"longitude not finite", {0, nan}, Case::invalidLongitude},
      {"latitude beyond 90", {90.5, 0}, Case::latitudeOutOfRange},
      {"longitude beyond 180", {0, -180.5}, Case::longitudeOutOfRange},
  };
  auto service = simulator();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    auto result = service.perform(booted(), LocationAction::set(row.location));
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, row.error);
  }
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_TRUE(history->entries().empty());
}

TEST_F(LocationServiceTest, FailuresBecomeSimctlFailedWithTheExactSentence) {
  struct Row {
    const char* label;
    std::function<void(FakeRun&)> reply;
    std::string message;
  };
  const Row rows[] = {
      {"stderr, every line", [](FakeRun& run) { run.reply("", 149, "An error was encountered:\nShutdown\n"); },
       "Location command failed (exit 149): An error was encountered:\nShutdown"},
      {"stdout when stderr is empty", [](FakeRun& run) { run.reply("Invalid device: X\n", 148, " \n"); },
       "Location command failed (exit 148): Invalid device: X"},
      {"nothing printed", [](FakeRun& run) { run.reply("", 1); },
       "Location command failed (exit 1): simctl returned no diagnostic."},
      {"xcrun missing", [](FakeRun& run) { run.fail(ProcessRunnerError::executableNotFound("/usr/bin/xcrun")); },
       "Location command failed: Executable not found at /usr/bin/xcrun."},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    row.reply(fake);
    auto result = simulator().perform(booted(), LocationAction::set({1, 2}));
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, Case::simctlFailed);
    EXPECT_EQ(result.error().description(), row.message);
    EXPECT_FALSE(gate.holder(kUDID).has_value()) << "the gate is released on failure";
  }
  EXPECT_TRUE(history->entries().empty());
}

TEST_F(LocationServiceTest, AHeldSimulatorIsRefusedAtOnceAndAnUnheldGateIsLeftAlone) {
  ASSERT_TRUE(gate.acquire(kUDID, gate_labels::scenario));
  // A refused clear is checked end to end (location_cli_test ABusySimulatorIsRefusedAtOnce).
  auto route = routes().start(booted(), routeOf({{{1, 2}, {1.1, 2.1}}}), 20);
  EXPECT_EQ(route.error().kind, Case::simulatorBusy);
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_EQ(gate.holder(kUDID), "scenario");

  // Inside a scenario run the caller holds the simulator and hands the services no gate.
  auto environment = this->environment();
  environment.gate = nullptr;
  EXPECT_TRUE(LocationSimulatorService(environment).perform(booted(), LocationAction::clear()).has_value());
  EXPECT_EQ(gate.holder(kUDID), "scenario");
}

TEST_F(LocationServiceTest, RouteStartSendsEveryPointAfterTheSpeed) {
  auto route = routeOf({{{47.376887, 8.541694}, {47.3769, 8.5418}}, {{47.4, 8.6}}});
  auto started = routes().start(booted(), route, 1.5);
  ASSERT_TRUE(started.has_value()) << started.error().description();
  EXPECT_EQ(argv(0), (Strings{"simctl", "location", kUDID, "start", "--speed=1.5", "--", "47.376887,8.541694",
                              "47.3769,8.5418", "47.4,8.6"}));
  EXPECT_EQ(started->metrics.pointCount, 3);
  EXPECT_EQ(started->operation, (LocationActiveOperation{LocationActiveOperation::Kind::route, "Morning Run", 3, 1.5,
                                                         kUDID, "iPhone 16", kNow}));
  EXPECT_FALSE(started->recent.has_value());  // no library given
  EXPECT_EQ(activity->current(), started->operation);
}

TEST_F(LocationServiceTest, RouteChecksComeBeforeTheTargetAndTheSimulator) {
  struct Row {
    const char* label;
    LocationRoute route;
    double speed;
    Case error;
  };
  const auto two = routeOf({{{1, 2}, {1.1, 2.1}}});
  const Row rows[] = {
      {"one point", routeOf({{{1, 2}}}), 20, Case::routeNeedsTwoPoints},
      {"zero speed", two, 0, Case::invalidSpeed},
      {"too slow", two, 0.05, Case::speedOutOfRange},
      {"too fast", two, 1000.5, Case::speedOutOfRange},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    // With no simulator chosen, a route error still wins: it is reported before the target.
    auto result = routes().start(SimulatorTargetStatus::noBootedSimulator(), row.route, row.speed);
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, row.error);
  }
  EXPECT_TRUE(fake.calls.empty());
  EXPECT_FALSE(activity->current().has_value());
}

TEST_F(LocationServiceTest, TheActiveOperationFollowsStartsAndSurvivesFailures) {
  auto route = routeOf({{{1, 2}, {1.1, 2.1}}});
  ASSERT_TRUE(routes().start(booted(), route, 20).has_value());
  const auto playing = activity->current();

  fake.reply("", 2, "boom\n");
  EXPECT_FALSE(routes().start(booted(), route, 30).has_value());
  EXPECT_EQ(activity->current(), playing);

  auto service = simulator();
  auto scenario = service.runScenario(booted(), "City Run");
  ASSERT_TRUE(scenario.has_value()) << scenario.error().description();
  EXPECT_EQ(argv(2), (Strings{"simctl", "location", kUDID, "run", "City Run"}));
  EXPECT_EQ(activity->current(), (LocationActiveOperation{LocationActiveOperation::Kind::scenario, "City Run", 0, 0,
                                                          kUDID, "iPhone 16", kNow}));

  // Clearing another simulator does not end it; clearing this one does.
  auto other = phone();
  other.udid = "OTHER";
  ASSERT_TRUE(service.perform(SimulatorTargetStatus::selected(other), LocationAction::clear()).has_value());
  EXPECT_TRUE(activity->current().has_value());
  ASSERT_TRUE(service.perform(booted(), LocationAction::clear()).has_value());
  EXPECT_FALSE(activity->current().has_value());
}

TEST_F(LocationServiceTest, ARefusedScenarioIsLookedUpAgain) {
  struct Row {
    const char* label;
    std::string listing;
    int listingStatus;
    Case error;
  };
  const Row rows[] = {
      {"gone from the list", "Apple\nCity Run\n", 0, Case::scenarioUnavailable},
      {"still listed", "Apple\nFreeway Drive\n", 0, Case::simctlFailed},
      {"the list fails too", "", 1, Case::simctlFailed},
  };
  auto service = simulator();
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    fake.calls.clear();
    fake.reply("", 22, "Invalid argument\n");
    fake.reply(row.listing, row.listingStatus);
    auto result = service.runScenario(booted(), "Freeway Drive");
    ASSERT_FALSE(result.has_value());
    EXPECT_EQ(result.error().kind, row.error);
    ASSERT_EQ(fake.calls.size(), 2u);
    EXPECT_EQ(argv(1), (Strings{"simctl", "location", kUDID, "list"}));
    if (row.error == Case::scenarioUnavailable) {
      EXPECT_EQ(service.scenarios(), (std::vector<LocationScenario>{{"Apple", ""}, {"City Run", ""}}));
    }
  }
  EXPECT_FALSE(activity->current().has_value());
}

// The listing's argv is checked above; a good listing is read end to end (location_cli_test PresetsAndScenarios).
TEST_F(LocationServiceTest, ScenarioListFailuresAreScenariosUnavailable) {
  auto service = simulator();
  fake.reply("", 148, "Invalid device: " + std::string(kUDID) + "\n");
  auto failed = service.listScenarios(booted());
  ASSERT_FALSE(failed.has_value());
  EXPECT_EQ(failed.error().description(),
            "Could not read the simulator's scenarios: Location command failed (exit "
            "148): Invalid device: 3BC9A608-0042-414F-B35C-7ADB869BC572");
}

TEST_F(LocationServiceTest, ACommandThatReachedTheSimulatorSucceedsEvenWhenNothingCanBeSaved) {
  testing::ScratchFolder folder;
  testing::writeBytes(folder / "blocked", "");  // a file where the settings folder belongs
  auto unwritable = std::make_shared<JsonFileSettingsStore>(folder / "blocked" / "settings.json");
  LocationSimulatorService service(environment(), std::make_shared<LocationHistoryStore>(unwritable));
  auto set = service.perform(booted(), LocationAction::set({1, 2}));
  ASSERT_TRUE(set.has_value());
  EXPECT_EQ(set->persistenceError, LocationSimulationError(Case::persistenceFailed));

  auto started = routes(std::make_shared<LocationRouteLibrary>(unwritable, folder / "Routes"))
                     .start(booted(), routeOf({{{1, 2}, {1.1, 2.1}}}), 20);
  ASSERT_TRUE(started.has_value());
  EXPECT_EQ(started->persistenceError, LocationSimulationError(Case::persistenceFailed));
  EXPECT_TRUE(activity->current().has_value());
  EXPECT_TRUE(testing::entries(folder / "Routes").empty()) << "the saved points of an unlisted route are removed";
}

}  // namespace
}  // namespace orvanta
