#include "viewmodels/devices_model.hpp"

#include <algorithm>

#include "app/device_window.hpp"
#include "app/environment.hpp"
#include "app/questions.hpp"

namespace orvanta {

DevicesModel::DevicesModel(PanelSession& session) : PageModel(session) {
  session_.listen(lifetime_, [this] { changed(); });
}

std::vector<DeviceRow> DevicesModel::rows() const {
  const auto& devices = session_.devices();
  const auto& status = session_.status();
  std::vector<DeviceRow> rows;
  rows.reserve(devices.size());
  for (const auto& device : devices) {
    DeviceRow row{device, deviceLabel(device, devices), {}, false};
    row.detail = std::string(rawValue(device.state)) + " \xC2\xB7 " + device.runtimeDisplayName;
    row.isTarget = (status.kind == SimulatorTargetStatus::Case::selected ||
                    status.kind == SimulatorTargetStatus::Case::lost) &&
                   status.udid == device.udid;
    rows.push_back(std::move(row));
  }
  return rows;
}

const SimulatorDevice* DevicesModel::listed(const std::string& udid) const {
  const auto& devices = session_.devices();
  auto found = std::find_if(devices.begin(), devices.end(), [&](const auto& device) { return device.udid == udid; });
  return found == devices.end() ? nullptr : &*found;
}

void DevicesModel::choose(const std::string& udid) {
  if (auto problem = session_.chooseTarget(udid)) {
    fail(*problem);
    return;
  }
  succeed(session_.statusLine());
}

std::string DevicesModel::eraseQuestion(const std::string& udid) const {
  const auto* device = listed(udid);
  return device ? orvanta::eraseQuestion(*device) : std::string();
}

void DevicesModel::change(SimulatorLifecycleAction action, const std::string& udid) {
  const auto* found = listed(udid);
  if (!found) {
    fail("That simulator is no longer listed.");
    return;
  }
  const SimulatorDevice device = *found;
  const auto label = action == SimulatorLifecycleAction::erase ? gate_labels::erase : gate_labels::lifecycle;
  auto gate = hold(device.udid, label, gate_messages::appData);
  if (!gate) return;
  using Outcome = expected<SimulatorLifecycleResult, SimulatorLifecycleError>;
  run<Outcome>(
      [client = session_.environment().simctl(), device, action](const orvanta::stop_token& stop) -> Outcome {
        // The panel holds the gate; the service takes none of its own.
        SimulatorLifecycleService service(client, nullptr);
        switch (action) {
          case SimulatorLifecycleAction::boot: return service.boot(device, stop);
          case SimulatorLifecycleAction::shutdown: return service.shutdown(device, stop);
          case SimulatorLifecycleAction::erase: return service.erase(device, stop);
        }
        return service.boot(device, stop);
      },
      [this, gate, device, action](Outcome result) {
        if (result) {
          succeed(lifecycleResultText(action, *result));
        } else {
          fail(lifecycleFailure(result.error(), device).message);
        }
        session_.refreshDevices();
      });
}

void DevicesModel::open(const std::string& udid) {
  const auto* found = listed(udid);
  if (!found) {
    fail("That simulator is no longer listed.");
    return;
  }
  run<CommandOutcome>(
      [run = session_.environment().run(), device = *found](const orvanta::stop_token& stop) {
        return openDeviceWindow(run, device, stop);
      },
      [this, device = *found](CommandOutcome opened) {
        if (opened) {
          succeed(openedWindowText(device));
        } else {
          fail(opened.error().message);
        }
      });
}

}  // namespace orvanta
