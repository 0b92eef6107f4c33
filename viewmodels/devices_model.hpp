// The Devices page: every listed simulator with its state and runtime, the target among them, and boot,
// shut down, erase (after a confirmation) and open.
#pragma once

#include <string>
#include <vector>

#include "core/simulator_lifecycle_service.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

struct DeviceRow {
  SimulatorDevice device;
  std::string label;    // the name that tells it apart among the listed devices
  std::string detail;   // "Booted · iOS 18.0"
  bool isTarget = false;
};

class DevicesModel : public PageModel {
 public:
  explicit DevicesModel(PanelSession& session);

  [[nodiscard]] std::vector<DeviceRow> rows() const;
  void refresh() { session_.refreshDevices(); }
  void choose(const std::string& udid);

  void boot(const std::string& udid) { change(SimulatorLifecycleAction::boot, udid); }
  void shutdown(const std::string& udid) { change(SimulatorLifecycleAction::shutdown, udid); }
  // What the confirmation asks before an erase; empty for a device that is not listed.
  [[nodiscard]] std::string eraseQuestion(const std::string& udid) const;
  // Erases after the user confirmed eraseQuestion().
  void erase(const std::string& udid) { change(SimulatorLifecycleAction::erase, udid); }
  void open(const std::string& udid);

 private:
  void change(SimulatorLifecycleAction action, const std::string& udid);
  [[nodiscard]] const SimulatorDevice* listed(const std::string& udid) const;
};

}  // namespace orvanta
