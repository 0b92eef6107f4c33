// The current list of simulators, refreshed on request and by a 30-second fallback timer.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/simctl_client.hpp"
#include "support/main_loop.hpp"

namespace orvanta {

// Main-thread object: devices, lastError and the callback are read and changed on the thread that runs
// the MainLoop (the command line's only thread).
class SimulatorDiscoveryService {
 public:
  static constexpr double fallbackInterval = 30.0;

  explicit SimulatorDiscoveryService(SimctlClient client) : client_(std::move(client)) {}

  // The last good list (sorted by name); empty before the first successful refresh.
  [[nodiscard]] const std::vector<SimulatorDevice>& devices() const { return devices_; }
  // The description of the last failed refresh; cleared by a successful one.
  [[nodiscard]] const std::optional<std::string>& lastError() const { return lastError_; }
  [[nodiscard]] std::optional<std::chrono::system_clock::time_point> lastRefreshed() const { return lastRefreshed_; }
  [[nodiscard]] const SimctlClient& client() const { return client_; }

  // Called after each successful refresh (not after a failed one).
  std::function<void()> onRefresh;

  // Lists the devices. On success replaces `devices`, clears `lastError`, stamps `lastRefreshed` and calls
  // onRefresh; on failure records the error's description and changes nothing else. Blocks until simctl
  // has answered; a stop request cancels it. Returns the error, if any.
  std::optional<ProcessRunnerError> refresh(orvanta::stop_token stop = {});
  // The second half of refresh() for a front end that lists the devices on a worker thread (through
  // client(), which is thread-safe) and hands the listing back to the main thread.
  std::optional<ProcessRunnerError> accept(expected<std::vector<SimulatorDevice>, ProcessRunnerError> listed);

  // (Re)creates the repeating refresh timer on `loop`. The timer belongs to the service: it stops when
  // the service is destroyed.
  void startFallbackTimer(MainLoop& loop);

 private:
  SimctlClient client_;
  std::vector<SimulatorDevice> devices_;
  std::optional<std::string> lastError_;
  std::optional<std::chrono::system_clock::time_point> lastRefreshed_;
  TimerHandle fallbackTimer_;
};

}  // namespace orvanta
