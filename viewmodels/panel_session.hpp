// What every page of the panel shares: the environment's services, the device list and the chosen target,
// the apps installed on the target, and the pool that runs simctl off the main thread.
//
// Main thread only, like the services it hands out. Its calls return at once; their results arrive when
// the main thread drains work(), and then every listener is told.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/target_resolution.hpp"
#include "apps/simulator_app.hpp"
#include "core/simulator_target.hpp"
#include "support/expected.hpp"
#include "viewmodels/panel_work.hpp"

namespace orvanta {

class Environment;

class PanelSession {
 public:
  PanelSession(Environment& environment, std::function<void()> wake, std::size_t threads = 4);
  ~PanelSession();
  PanelSession(const PanelSession&) = delete;
  PanelSession& operator=(const PanelSession&) = delete;

  [[nodiscard]] Environment& environment() { return environment_; }
  [[nodiscard]] PanelWork& work() { return work_; }

  // Lists the devices again (at once, every 30 s and on request); the target status follows the list. A
  // refresh asked for while one runs is folded into it.
  void refreshDevices();
  [[nodiscard]] bool refreshingDevices() const { return refreshingDevices_; }
  [[nodiscard]] const std::vector<SimulatorDevice>& devices() const;
  // The last refresh's failure sentence, if it failed.
  [[nodiscard]] const std::optional<std::string>& devicesError() const;
  // Whether the device list has been read at least once (well or not).
  [[nodiscard]] bool devicesLoaded() const { return devicesLoaded_; }

  [[nodiscard]] const SimulatorTargetStatus& status() const { return status_; }
  // "Target: iPhone 16", "2 Simulators booted — choose a target in any tool", ...
  [[nodiscard]] std::string statusLine() const;
  // Remembers `udid` as the target (as `orvanta target set` does); the failure's sentence, if any.
  std::optional<std::string> chooseTarget(const std::string& udid);
  // The device a tool acts on, or the tool's sentence for why it cannot.
  [[nodiscard]] expected<SimulatorDevice, std::string> target(const TargetRequirement& requirement = {}) const;

  // The apps installed on the target (hidden ones left out), listed after each change of target and on
  // request; empty while there is no booted target.
  void refreshApps();
  [[nodiscard]] const std::vector<SimulatorApp>& apps() const { return apps_; }
  [[nodiscard]] const std::optional<std::string>& appsError() const { return appsError_; }
  [[nodiscard]] bool refreshingApps() const { return refreshingApps_; }
  [[nodiscard]] const SimulatorApp* app(const std::string& bundleIdentifier) const;

  // Called on the main thread after the devices, the target or the apps changed, while `owner` lives.
  void listen(std::weak_ptr<const void> owner, std::function<void()> listener);

 private:
  void updateStatus();
  void notify();

  Environment& environment_;
  std::shared_ptr<int> lifetime_ = std::make_shared<int>(0);
  bool refreshingDevices_ = false;
  bool refreshAgain_ = false;
  bool devicesLoaded_ = false;
  SimulatorTargetStatus status_;
  std::optional<std::string> appsFor_;  // the udid the apps were listed for
  std::vector<SimulatorApp> apps_;
  std::optional<std::string> appsError_;
  bool refreshingApps_ = false;
  std::uint64_t appsGeneration_ = 0;
  std::vector<std::pair<std::weak_ptr<const void>, std::function<void()>>> listeners_;
  PanelWork work_;  // last: its threads stop before the rest goes
};

}  // namespace orvanta
