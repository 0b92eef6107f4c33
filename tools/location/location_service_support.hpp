// What the location services share: the target check, holding the mutation gate around one invocation,
// and running one simctl invocation with its failure as simctlFailed. Internal to tools/location.
#pragma once

#include <cstdio>  // before any use of the names stdout and stderr (macros on some systems)

#include <string>
#include <vector>

#include "core/simctl_client.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "core/simulator_target.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"
#include "tools/location/location_simulation_error.hpp"

namespace orvanta::detail {

// The device of a `selected` target; simulatorNotBooted for `lost`, noSimulatorSelected otherwise.
[[nodiscard]] expected<SimulatorDevice, LocationSimulationError> bootedLocationTarget(
    const SimulatorTargetStatus& target);

// Holds `udid` under the "location" label until destroyed. Main thread only, like the gate.
class LocationGateHold {
 public:
  // Takes the simulator, or fails with simulatorBusy naming the holder. A null gate holds nothing.
  [[nodiscard]] static expected<LocationGateHold, LocationSimulationError> take(SimulatorMutationGate* gate,
                                                                                const std::string& udid);
  LocationGateHold(LocationGateHold&& other) noexcept : gate_(other.gate_), udid_(std::move(other.udid_)) {
    other.gate_ = nullptr;
  }
  LocationGateHold& operator=(LocationGateHold&&) = delete;
  LocationGateHold(const LocationGateHold&) = delete;
  ~LocationGateHold() { release(); }
  void release();

 private:
  LocationGateHold(SimulatorMutationGate* gate, std::string udid) : gate_(gate), udid_(std::move(udid)) {}
  SimulatorMutationGate* gate_;
  std::string udid_;
};

struct LocationCommandOutput {
  std::string stdout;
  std::string stderr;
};

// Runs one `simctl location` argument list. Fails with simctlFailed: without a status and with the
// runner's sentence when simctl cannot be run; with the exit status and stderr (stdout when stderr is
// empty) when it exits non-zero; without a status when a signal ended it.
[[nodiscard]] expected<LocationCommandOutput, LocationSimulationError> runLocationCommand(
    const SimctlClient& client, const std::vector<std::string>& arguments, orvanta::stop_token stop);

}  // namespace orvanta::detail
