#include "core/simulator_discovery_service.hpp"

namespace orvanta {

std::optional<ProcessRunnerError> SimulatorDiscoveryService::refresh(orvanta::stop_token stop) {
  return accept(client_.listDevices(std::move(stop)));
}

std::optional<ProcessRunnerError> SimulatorDiscoveryService::accept(
    expected<std::vector<SimulatorDevice>, ProcessRunnerError> listed) {
  if (!listed) {
    lastError_ = listed.error().description();
    return listed.error();
  }
  devices_ = std::move(*listed);
  lastError_.reset();
  lastRefreshed_ = std::chrono::system_clock::now();
  if (onRefresh) onRefresh();
  return std::nullopt;
}

void SimulatorDiscoveryService::startFallbackTimer(MainLoop& loop) {
  fallbackTimer_.cancel();
  fallbackTimer_ = loop.addRepeatingTimer(MainLoop::Seconds(fallbackInterval), [this] { (void)refresh(); });
}

}  // namespace orvanta
