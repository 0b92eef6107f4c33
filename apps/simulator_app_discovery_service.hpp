// The installed apps of the target simulator as the interface shows them, with enough bookkeeping for a
// view to tell a fresh list from a stale one.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/simulator_app_service.hpp"

namespace orvanta {

// Main-thread object: its state is read and changed on the thread that runs the MainLoop.
class SimulatorAppDiscoveryService {
 public:
  explicit SimulatorAppDiscoveryService(SimctlClient client) : client_(std::move(client)) {}

  // The apps of `loadedForUDID`, hidden ones left out, sorted by name.
  [[nodiscard]] const std::vector<SimulatorApp>& apps() const { return apps_; }
  // The sentence of the last failed listing; cleared by a successful one.
  [[nodiscard]] const std::optional<std::string>& lastError() const { return lastError_; }
  // The simulator whose apps are held; none before the first listing and after clear().
  [[nodiscard]] const std::optional<std::string>& loadedForUDID() const { return loadedForUDID_; }
  // Raised by one on every successful listing, even when the list did not change.
  [[nodiscard]] std::uint64_t listingRevision() const { return listingRevision_; }

  // The held app with this bundle identifier, if any.
  [[nodiscard]] const SimulatorApp* app(const std::string& bundleIdentifier) const;

  // Lists the apps of `udid`. On success stores the list and `udid`, raises the revision and clears
  // lastError. On failure records the error's sentence; the list is kept when it belongs to `udid` (stale
  // but still that simulator's) and dropped otherwise. Blocks while simctl runs. Returns the error, if any.
  std::optional<SimulatorAppError> refresh(const std::string& udid, orvanta::stop_token stop = {});

  // Forgets the list (the target went away). The revision is not reset, so it never repeats.
  void clear();

 private:
  SimctlClient client_;
  std::vector<SimulatorApp> apps_;
  std::optional<std::string> lastError_;
  std::optional<std::string> loadedForUDID_;
  std::uint64_t listingRevision_ = 0;
};

}  // namespace orvanta
