// Bringing a simulator's device window forward, and the sentences of a lifecycle change, for every front
// end.
#pragma once

#include "app/command_failure.hpp"
#include "core/process_runner.hpp"
#include "core/simulator_lifecycle_service.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

// Opens the device window of `device` with the first opener that works (macOS: the Device Hub URL, then
// Simulator.app). Fails with unsupportedPlatform elsewhere, with openFailed and the opener's diagnostic as
// a hint when none worked. Thread-safe when `run` is.
[[nodiscard]] CommandOutcome openDeviceWindow(const RunFunction& run, const SimulatorDevice& device,
                                              const orvanta::stop_token& stop);

// "Opened the window of iPhone 16."
[[nodiscard]] std::string openedWindowText(const SimulatorDevice& device);

// "iPhone 16 is booted.", "iPhone 16 was already shut down.", "iPhone 16 is erased: its content and
// settings are as new."
[[nodiscard]] std::string lifecycleResultText(SimulatorLifecycleAction action, const SimulatorLifecycleResult& result);

// The failure of a lifecycle change as the front ends report it (a hint to shut down before an erase).
[[nodiscard]] CommandFailure lifecycleFailure(const SimulatorLifecycleError& error, const SimulatorDevice& device);

}  // namespace orvanta
