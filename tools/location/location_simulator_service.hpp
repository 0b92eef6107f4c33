// Puts a fixed position on a simulator or clears it, and lists and runs the location scenarios that the
// simulator tooling offers, each through one `xcrun simctl location` invocation. Routes are played by
// LocationRouteService (location_route_service.hpp), which shares the record of the last started
// operation with this service through LocationActivity.
//
// Every invocation that changes the simulator (set, clear, start, run) holds the mutation gate under the
// label "location" while simctl runs, so it never overlaps an install, a scenario run or a recording on
// the same simulator; a held simulator is refused at once with simulatorBusy. Listing scenarios changes
// nothing and takes no gate.
#pragma once

#include <cstdio>  // before any use of the names stdout and stderr (macros on some systems)

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/simctl_client.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "core/simulator_target.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"
#include "tools/location/location_route.hpp"
#include "tools/location/location_scenario_list.hpp"
#include "tools/location/location_simulation_error.hpp"

namespace orvanta {

class LocationHistoryStore;

namespace gate_labels {
// Held by the location tool while one of its simctl invocations changes a simulator.
inline constexpr std::string_view location = "location";
}  // namespace gate_labels

struct LocationAction {
  enum class Case { set, clear };
  Case kind = Case::clear;
  SimulatedLocation location;  // set

  static LocationAction set(SimulatedLocation location) { return {Case::set, location}; }
  static LocationAction clear() { return {Case::clear, {}}; }

  // "set" or "clear".
  [[nodiscard]] std::string_view caseName() const { return kind == Case::set ? "set" : "clear"; }
  bool operator==(const LocationAction&) const = default;
};

struct LocationCommandResult {
  LocationAction action;
  std::string simulatorUDID;
  std::string simulatorName;
  std::string stdout;
  std::string stderr;
  // persistenceFailed when the position reached the simulator but the point history could not be saved.
  std::optional<LocationSimulationError> persistenceError;
};

// What the tool started last on a simulator: a route or a scenario. Only a record for display; nothing
// observes how far a route or scenario has got, or whether it has finished.
struct LocationActiveOperation {
  enum class Kind { route, scenario };
  Kind kind = Kind::route;
  std::string name;                 // the route's or the scenario's name
  std::int64_t pointCount = 0;      // route
  double speedMetersPerSecond = 0;  // route
  std::string simulatorUDID;
  std::string simulatorName;
  std::chrono::system_clock::time_point startedAt;

  bool operator==(const LocationActiveOperation&) const = default;
};

// The one record of the operation the location tool started last, shared by the services that start
// routes and scenarios. It is replaced by each start, and dropped when a set or clear on the same
// simulator ends whatever was playing there; a failed command leaves it as it is. Not persisted.
// Main thread only, like the services that use it.
class LocationActivity {
 public:
  [[nodiscard]] const std::optional<LocationActiveOperation>& current() const { return current_; }
  void started(LocationActiveOperation operation) { current_ = std::move(operation); }
  void endedOn(std::string_view udid) {
    if (current_ && current_->simulatorUDID == udid) current_.reset();
  }

 private:
  std::optional<LocationActiveOperation> current_;
};

// What the location services are built from.
struct LocationServiceEnvironment {
  using Clock = std::function<std::chrono::system_clock::time_point()>;

  SimctlClient client;
  // The shared gate. Null when the caller already holds the simulator for the whole of a longer
  // operation (a scenario run), so that the location steps inside it are not refused by their own run.
  SimulatorMutationGate* gate = nullptr;
  std::shared_ptr<LocationActivity> activity;  // null: the service keeps a record of its own
  Clock now = std::chrono::system_clock::now;
};

struct LocationScenarioStart {
  LocationActiveOperation operation;
  std::string stdout;
  std::string stderr;
};

// Used on the main thread (it takes the mutation gate and updates the activity record); each operation
// blocks while simctl runs and may be cancelled through `stop`.
class LocationSimulatorService {
 public:
  // `history`, when given, records each successful set.
  explicit LocationSimulatorService(LocationServiceEnvironment environment,
                                    std::shared_ptr<LocationHistoryStore> history = nullptr);

  // Sets or clears the simulated location of the target. Fails, in this order, with invalidLatitude /
  // invalidLongitude (a coordinate that is not finite) or latitudeOutOfRange / longitudeOutOfRange;
  // noSimulatorSelected unless a simulator is selected, simulatorNotBooted when it is `lost`; simulatorBusy
  // when the gate is held; simctlFailed when simctl cannot be run (no status) or exits non-zero (its status
  // and its stderr, else its stdout). A successful set is recorded in the history; a history that cannot
  // be saved is reported in the result's persistenceError and does not fail the call.
  [[nodiscard]] expected<LocationCommandResult, LocationSimulationError> perform(const SimulatorTargetStatus& target,
                                                                                 const LocationAction& action,
                                                                                 orvanta::stop_token stop = {});

  // The target's scenarios, which then replace scenarios(). Fails with noSimulatorSelected /
  // simulatorNotBooted, or scenariosUnavailable: with the simctlFailed sentence when the listing fails,
  // or with "the list output was not in the expected format" (see parseLocationScenarioList).
  [[nodiscard]] expected<std::vector<LocationScenario>, LocationSimulationError> listScenarios(
      const SimulatorTargetStatus& target, orvanta::stop_token stop = {});
  // The list last fetched, as shown to the user.
  [[nodiscard]] const std::vector<LocationScenario>& scenarios() const { return scenarios_; }

  // Runs the scenario `name` (simctl returns once the scenario has started) and records it as the active
  // operation. When simctl refuses it, the list is fetched again and replaces scenarios(); if `name` is
  // not on it the failure is scenarioUnavailable(name), otherwise simctlFailed. Also noSimulatorSelected,
  // simulatorNotBooted and simulatorBusy as for perform.
  [[nodiscard]] expected<LocationScenarioStart, LocationSimulationError> runScenario(
      const SimulatorTargetStatus& target, const std::string& name, orvanta::stop_token stop = {});

  [[nodiscard]] const std::optional<LocationActiveOperation>& activeOperation() const {
    return environment_.activity->current();
  }

 private:
  LocationServiceEnvironment environment_;
  std::shared_ptr<LocationHistoryStore> history_;
  std::vector<LocationScenario> scenarios_;
};

}  // namespace orvanta
