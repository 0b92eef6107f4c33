#include "core/simulator_lifecycle_service.hpp"

#include <algorithm>
#include <condition_variable>
#include <mutex>

#include <fmt/format.h>

namespace orvanta {
namespace {

using Case = SimulatorLifecycleError::Case;

SimulatorLifecycleError failure(Case kind, const SimulatorDevice& device, SimulatorLifecycleAction action,
                                std::string message = {}, std::int32_t status = 0) {
  return {kind, device.name, std::move(message), status, action};
}

// Waits, or returns early when a stop is requested.
void stoppableSleep(std::chrono::milliseconds duration, orvanta::stop_token stop) {
  std::mutex mutex;
  std::condition_variable woken;
  // Registered before the lock is taken: a stop already requested runs the callback right here.
  orvanta::stop_callback onStop(stop, [&] {
    std::lock_guard guard(mutex);
    woken.notify_all();
  });
  std::unique_lock lock(mutex);
  woken.wait_for(lock, duration, [&] { return stop.stop_requested(); });
}

// simctl's refusal of a change the device is already past ("... in current state: Booted").
bool saysAlreadyIn(std::string_view diagnostic, SimulatorLifecycleAction action) {
  switch (action) {
    case SimulatorLifecycleAction::boot:
      return diagnostic.find("Unable to boot device in current state: Booted") != std::string_view::npos;
    case SimulatorLifecycleAction::shutdown:
      return diagnostic.find("Unable to shutdown device in current state: Shutdown") != std::string_view::npos;
    case SimulatorLifecycleAction::erase:
      return false;
  }
  return false;
}

// simctl's refusal to act while the device is on its way (Booting, Shutting Down): wait for it instead.
bool saysInTransition(std::string_view diagnostic) {
  return diagnostic.find("in current state: Booting") != std::string_view::npos ||
         diagnostic.find("in current state: Shutting Down") != std::string_view::npos;
}

}  // namespace

std::string_view commandWord(SimulatorLifecycleAction action) {
  switch (action) {
    case SimulatorLifecycleAction::boot: return "boot";
    case SimulatorLifecycleAction::shutdown: return "shutdown";
    case SimulatorLifecycleAction::erase: return "erase";
  }
  return "boot";
}

std::string SimulatorLifecycleError::description() const {
  switch (kind) {
    case Case::mustBeShutDown: return fmt::format("Shut down {} before erasing it.", deviceName);
    case Case::simulatorBusy: return std::string(gate_messages::appData);
    case Case::simctlFailed:
      if (message.empty()) return fmt::format("simctl {} failed with status {}.", commandWord(action), status);
      return message;
    case Case::notConfirmed: {
      const char* wanted = action == SimulatorLifecycleAction::boot ? "Booted" : "Shutdown";
      return fmt::format("Sent {} to {}, but the device list still shows it as {} instead of {}.",
                         commandWord(action), deviceName, message, wanted);
    }
    case Case::deviceDisappeared: return fmt::format("{} is no longer listed.", deviceName);
    case Case::unsupportedPlatform: return "Opening a simulator's window needs macOS and Xcode.";
    case Case::cancelled: return "The command was cancelled.";
  }
  return {};
}

std::string_view SimulatorLifecycleError::caseName() const {
  switch (kind) {
    case Case::mustBeShutDown: return "mustBeShutDown";
    case Case::simulatorBusy: return "simulatorBusy";
    case Case::simctlFailed: return "simctlFailed";
    case Case::notConfirmed: return "notConfirmed";
    case Case::deviceDisappeared: return "deviceDisappeared";
    case Case::unsupportedPlatform: return "unsupportedPlatform";
    case Case::cancelled: return "cancelled";
  }
  return {};
}

SimulatorLifecycleService::SimulatorLifecycleService(SimctlClient simctl, SimulatorMutationGate* gate,
                                                     std::chrono::milliseconds settleLimit, Sleep sleep)
    : simctl_(std::move(simctl)), gate_(gate), settleLimit_(settleLimit), sleep_(std::move(sleep)) {
  if (!sleep_) sleep_ = stoppableSleep;
}

expected<SimulatorLifecycleResult, SimulatorLifecycleError> SimulatorLifecycleService::boot(
    const SimulatorDevice& device, orvanta::stop_token stop) {
  auto hold = SimulatorGateHold::take(gate_, device.udid, gate_labels::lifecycle);
  if (!hold) return unexpected(failure(Case::simulatorBusy, device, SimulatorLifecycleAction::boot));
  return change(device, SimulatorLifecycleAction::boot, std::move(stop));
}

expected<SimulatorLifecycleResult, SimulatorLifecycleError> SimulatorLifecycleService::shutdown(
    const SimulatorDevice& device, orvanta::stop_token stop) {
  auto hold = SimulatorGateHold::take(gate_, device.udid, gate_labels::lifecycle);
  if (!hold) return unexpected(failure(Case::simulatorBusy, device, SimulatorLifecycleAction::shutdown));
  return change(device, SimulatorLifecycleAction::shutdown, std::move(stop));
}

expected<SimulatorLifecycleResult, SimulatorLifecycleError> SimulatorLifecycleService::erase(
    const SimulatorDevice& device, orvanta::stop_token stop) {
  auto hold = SimulatorGateHold::take(gate_, device.udid, gate_labels::erase);
  if (!hold) return unexpected(failure(Case::simulatorBusy, device, SimulatorLifecycleAction::erase));
  return change(device, SimulatorLifecycleAction::erase, std::move(stop));
}

expected<SimulatorLifecycleResult, SimulatorLifecycleError> SimulatorLifecycleService::change(
    const SimulatorDevice& device, SimulatorLifecycleAction action, orvanta::stop_token stop) {
  const SimulatorState wanted = action == SimulatorLifecycleAction::boot ? SimulatorState::booted
                                                                         : SimulatorState::shutdown;
  auto output = simctl_.simctl({std::string(commandWord(action)), device.udid}, stop);
  if (!output) {
    if (output.error().kind == ProcessRunnerError::Case::cancelled) {
      return unexpected(failure(Case::cancelled, device, action));
    }
    return unexpected(failure(Case::simctlFailed, device, action, output.error().description()));
  }
  bool alreadyDone = false;
  if (output->terminationStatus != 0 || output->terminatedBySignal) {
    const std::string diagnostic = simctlDiagnostic(*output);
    if (saysAlreadyIn(diagnostic, action)) {
      alreadyDone = true;
    } else if (action == SimulatorLifecycleAction::erase &&
               diagnostic.find("Unable to erase contents and settings in current state") != std::string::npos) {
      return unexpected(failure(Case::mustBeShutDown, device, action));
    } else if (!saysInTransition(diagnostic)) {
      return unexpected(failure(Case::simctlFailed, device, action, diagnostic, output->terminationStatus));
    }
  }
  auto listed = waitFor(device, action, wanted, stop);
  if (!listed) return unexpected(listed.error());
  return SimulatorLifecycleResult{std::move(*listed), alreadyDone};
}

expected<SimulatorDevice, SimulatorLifecycleError> SimulatorLifecycleService::waitFor(
    const SimulatorDevice& device, SimulatorLifecycleAction action, SimulatorState wanted,
    orvanta::stop_token stop) {
  using namespace std::chrono_literals;
  std::chrono::milliseconds waited{0};
  std::chrono::milliseconds pause = 100ms;
  for (;;) {
    auto devices = simctl_.listDevices(stop);
    if (!devices) {
      if (devices.error().kind == ProcessRunnerError::Case::cancelled) {
        return unexpected(failure(Case::cancelled, device, action));
      }
      return unexpected(failure(Case::simctlFailed, device, action, devices.error().description()));
    }
    const auto found = std::find_if(devices->begin(), devices->end(),
                                    [&](const SimulatorDevice& listed) { return listed.udid == device.udid; });
    if (found == devices->end()) return unexpected(failure(Case::deviceDisappeared, device, action));
    if (onStateRead_) onStateRead_(found->state);
    if (found->state == wanted) return *found;
    const bool onItsWay = found->state == SimulatorState::booting || found->state == SimulatorState::shuttingDown;
    if (!onItsWay || waited >= settleLimit_) {
      return unexpected(failure(Case::notConfirmed, device, action, std::string(rawValue(found->state))));
    }
    sleep_(pause, stop);
    if (stop.stop_requested()) return unexpected(failure(Case::cancelled, device, action));
    waited += pause;
    pause = std::min(pause * 2, std::chrono::milliseconds(1000));
  }
}

std::vector<std::vector<std::string>> SimulatorLifecycleService::windowOpeners(const std::string& udid) {
  return {{"devices://device/open?id=" + udid},
          {"-a", "Simulator", "--args", "-CurrentDeviceUDID", udid}};
}

}  // namespace orvanta
