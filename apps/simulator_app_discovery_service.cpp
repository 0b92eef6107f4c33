#include "apps/simulator_app_discovery_service.hpp"

namespace orvanta {

const SimulatorApp* SimulatorAppDiscoveryService::app(const std::string& bundleIdentifier) const {
  for (const auto& candidate : apps_) {
    if (candidate.bundleIdentifier == bundleIdentifier) return &candidate;
  }
  return nullptr;
}

std::optional<SimulatorAppError> SimulatorAppDiscoveryService::refresh(const std::string& udid,
                                                                       orvanta::stop_token stop) {
  auto listed = listInstalledApps(client_, udid, std::move(stop));
  if (!listed) {
    lastError_ = listed.error().description();
    if (loadedForUDID_ != udid) {
      apps_.clear();
      loadedForUDID_.reset();
    }
    return listed.error();
  }
  apps_ = std::move(*listed);
  loadedForUDID_ = udid;
  lastError_.reset();
  ++listingRevision_;
  return std::nullopt;
}

void SimulatorAppDiscoveryService::clear() {
  apps_.clear();
  loadedForUDID_.reset();
  lastError_.reset();
}

}  // namespace orvanta
