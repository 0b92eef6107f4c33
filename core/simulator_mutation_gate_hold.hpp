// Holding a simulator's mutation gate for the length of a scope.
#pragma once

#include <string>
#include <string_view>

#include "core/simulator_mutation_gate.hpp"

namespace orvanta {

// Tries to take `udid` for `label` on construction and frees it on destruction if it was taken, so the gate
// is released on every way out of an operation. Not copyable or movable; main thread only, like the gate.
class SimulatorMutationGateHold {
 public:
  SimulatorMutationGateHold(SimulatorMutationGate& gate, std::string udid, std::string_view label)
      : gate_(gate), udid_(std::move(udid)), label_(label), held_(gate_.acquire(udid_, label_)) {}
  ~SimulatorMutationGateHold() {
    if (held_) gate_.release(udid_, label_);
  }
  SimulatorMutationGateHold(const SimulatorMutationGateHold&) = delete;
  SimulatorMutationGateHold& operator=(const SimulatorMutationGateHold&) = delete;

  // False when another holder (here or in another process) has the simulator.
  [[nodiscard]] bool held() const { return held_; }

 private:
  SimulatorMutationGate& gate_;
  std::string udid_;
  std::string label_;
  bool held_;
};

}  // namespace orvanta
