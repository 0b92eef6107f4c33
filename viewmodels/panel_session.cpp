#include "viewmodels/panel_session.hpp"

#include <algorithm>

#include "app/environment.hpp"
#include "apps/simulator_app_service.hpp"

namespace orvanta {

PanelSession::PanelSession(Environment& environment, std::function<void()> wake, std::size_t threads)
    : environment_(environment), work_(threads, std::move(wake)) {
  updateStatus();
}

PanelSession::~PanelSession() = default;

const std::vector<SimulatorDevice>& PanelSession::devices() const { return environment_.discovery().devices(); }

const std::optional<std::string>& PanelSession::devicesError() const { return environment_.discovery().lastError(); }

void PanelSession::refreshDevices() {
  if (refreshingDevices_) {
    refreshAgain_ = true;
    return;
  }
  refreshingDevices_ = true;
  notify();
  const SimctlClient client = environment_.simctl();
  work_.post<expected<std::vector<SimulatorDevice>, ProcessRunnerError>>(
      lifetime_, [client](const orvanta::stop_token& stop) { return client.listDevices(stop); },
      [this](expected<std::vector<SimulatorDevice>, ProcessRunnerError> listed) {
        refreshingDevices_ = false;
        devicesLoaded_ = true;
        (void)environment_.discovery().accept(std::move(listed));
        updateStatus();
        if (std::exchange(refreshAgain_, false)) {
          refreshDevices();
        } else {
          notify();
        }
      });
}

void PanelSession::updateStatus() {
  auto remembered = environment_.selection().selectedUDID();
  status_ = resolveTargetStatus(remembered ? *remembered : std::nullopt, devices());
  const std::optional<std::string> bootedTarget =
      status_.kind == SimulatorTargetStatus::Case::selected ? std::optional(status_.udid) : std::nullopt;
  if (bootedTarget != appsFor_) {
    appsFor_ = bootedTarget;
    apps_.clear();
    appsError_.reset();
    refreshApps();
  }
}

std::string PanelSession::statusLine() const {
  if (!devicesLoaded_) return "Listing simulators…";
  return orvanta::statusLine(status_, devices());
}

std::optional<std::string> PanelSession::chooseTarget(const std::string& udid) {
  if (auto saved = environment_.selection().setSelectedUDID(udid); !saved) return saved.error().description();
  updateStatus();
  notify();
  return std::nullopt;
}

expected<SimulatorDevice, std::string> PanelSession::target(const TargetRequirement& requirement) const {
  if (status_.kind == SimulatorTargetStatus::Case::selected) return *status_.device;
  if (status_.kind == SimulatorTargetStatus::Case::lost) return unexpected(requirement.notBootedMessage);
  return unexpected(requirement.noSimulatorMessage);
}

void PanelSession::refreshApps() {
  ++appsGeneration_;
  if (!appsFor_) {
    refreshingApps_ = false;
    return;
  }
  refreshingApps_ = true;
  const SimctlClient client = environment_.simctl();
  const std::string udid = *appsFor_;
  const auto generation = appsGeneration_;
  work_.post<expected<std::vector<SimulatorApp>, SimulatorAppError>>(
      lifetime_, [client, udid](const orvanta::stop_token& stop) { return listInstalledApps(client, udid, stop); },
      [this, generation](expected<std::vector<SimulatorApp>, SimulatorAppError> listed) {
        if (generation != appsGeneration_) return;  // the target changed meanwhile
        refreshingApps_ = false;
        if (listed) {
          apps_ = std::move(*listed);
          appsError_.reset();
        } else {
          appsError_ = listed.error().description();
        }
        notify();
      });
}

const SimulatorApp* PanelSession::app(const std::string& bundleIdentifier) const {
  auto found = std::find_if(apps_.begin(), apps_.end(),
                            [&](const SimulatorApp& app) { return app.bundleIdentifier == bundleIdentifier; });
  return found == apps_.end() ? nullptr : &*found;
}

void PanelSession::listen(std::weak_ptr<const void> owner, std::function<void()> listener) {
  listeners_.emplace_back(std::move(owner), std::move(listener));
}

void PanelSession::notify() {
  std::erase_if(listeners_, [](const auto& entry) { return entry.first.expired(); });
  // A listener may add listeners: call the ones there are now.
  const auto current = listeners_;
  for (const auto& [owner, listener] : current) {
    if (!owner.expired()) listener();
  }
}

}  // namespace orvanta
