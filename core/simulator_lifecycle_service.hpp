// Booting, shutting down and erasing a simulator, and bringing its window forward.
//
// Each change runs one simctl command and is then read back from the device list: a boot counts as done
// when the device is listed as Booted, a shutdown or an erase when it is listed as Shutdown. A device
// that is still Booting or Shutting Down is waited for, up to a bounded time.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "core/simctl_client.hpp"
#include "core/simulator_device.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

enum class SimulatorLifecycleAction { boot, shutdown, erase };

// "boot", "shutdown", "erase": simctl's words.
[[nodiscard]] std::string_view commandWord(SimulatorLifecycleAction action);

struct SimulatorLifecycleError {
  enum class Case {
    mustBeShutDown,      // erase of a device that is not shut down
    simulatorBusy,       // another operation holds the device
    simctlFailed,        // simctl refused; `message` is its diagnostic
    notConfirmed,        // the device list never showed the expected state
    deviceDisappeared,   // the device is no longer listed
    unsupportedPlatform, // opening a window needs macOS
    cancelled,
  };
  Case kind = Case::simctlFailed;
  std::string deviceName;
  std::string message;          // simctlFailed: simctl's text; notConfirmed: the state last listed
  std::int32_t status = 0;      // simctlFailed: the exit status
  SimulatorLifecycleAction action = SimulatorLifecycleAction::boot;

  [[nodiscard]] std::string description() const;
  [[nodiscard]] std::string_view caseName() const;
};

struct SimulatorLifecycleResult {
  SimulatorDevice device;     // as listed after the change
  bool alreadyDone = false;   // it was in that state already (simctl said so); nothing changed
};

// Used on the main thread (it takes the mutation gate); blocks while simctl runs and while it waits.
class SimulatorLifecycleService {
 public:
  using Sleep = std::function<void(std::chrono::milliseconds, orvanta::stop_token)>;

  // `gate` may be null (no gate). `settleLimit` bounds the wait for Booting / Shutting Down; `sleep` is
  // how the wait passes time (tests pass a fake).
  SimulatorLifecycleService(SimctlClient simctl, SimulatorMutationGate* gate,
                            std::chrono::milliseconds settleLimit = std::chrono::seconds(120), Sleep sleep = {});

  // Called with the device's listed state each time it is read back while a change settles (on the
  // calling thread), so that a front end can show how it goes.
  void onStateRead(std::function<void(SimulatorState)> callback) { onStateRead_ = std::move(callback); }

  // Boots or shuts down `device`. A device that simctl reports as already in that state is a success
  // with `alreadyDone`. Fails with simctlFailed, notConfirmed, deviceDisappeared or cancelled.
  [[nodiscard]] expected<SimulatorLifecycleResult, SimulatorLifecycleError> boot(const SimulatorDevice& device,
                                                                               orvanta::stop_token stop = {});
  [[nodiscard]] expected<SimulatorLifecycleResult, SimulatorLifecycleError> shutdown(
      const SimulatorDevice& device, orvanta::stop_token stop = {});
  // Erases content and settings under the gate label "erase". Fails with simulatorBusy, mustBeShutDown
  // (from simctl's own refusal), simctlFailed, notConfirmed, deviceDisappeared or cancelled.
  [[nodiscard]] expected<SimulatorLifecycleResult, SimulatorLifecycleError> erase(const SimulatorDevice& device,
                                                                                orvanta::stop_token stop = {});

  // The argument lists that bring a device's window forward on macOS, in the order to try them: the
  // Device Hub URL of current Xcode (which also boots a shut-down device), then Simulator.app with the
  // device chosen, for older ones. Each is run as /usr/bin/open <arguments>.
  [[nodiscard]] static std::vector<std::vector<std::string>> windowOpeners(const std::string& udid);

 private:
  expected<SimulatorLifecycleResult, SimulatorLifecycleError> change(const SimulatorDevice& device,
                                                                     SimulatorLifecycleAction action,
                                                                     orvanta::stop_token stop);
  expected<SimulatorDevice, SimulatorLifecycleError> waitFor(const SimulatorDevice& device,
                                                             SimulatorLifecycleAction action, SimulatorState wanted,
                                                             orvanta::stop_token stop);

  SimctlClient simctl_;
  SimulatorMutationGate* gate_;
  std::function<void(SimulatorState)> onStateRead_;
  std::chrono::milliseconds settleLimit_;
  Sleep sleep_;
};

}  // namespace orvanta
