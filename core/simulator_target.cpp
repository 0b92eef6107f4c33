#include "core/simulator_target.hpp"

#include <algorithm>

#include <fmt/format.h>

namespace orvanta {

SimulatorTargetStatus SimulatorTargetStatus::needsChoice(int count) {
  SimulatorTargetStatus status;
  status.kind = Case::needsChoice;
  status.bootedCount = count;
  return status;
}

SimulatorTargetStatus SimulatorTargetStatus::selected(SimulatorDevice chosen) {
  SimulatorTargetStatus status;
  status.kind = Case::selected;
  status.udid = chosen.udid;
  status.device = std::move(chosen);
  return status;
}

SimulatorTargetStatus SimulatorTargetStatus::lost(std::string udid, std::optional<SimulatorDevice> device) {
  SimulatorTargetStatus status;
  status.kind = Case::lost;
  status.udid = std::move(udid);
  status.device = std::move(device);
  return status;
}

SimulatorTargetStatus SimulatorTargetStatus::noBootedSimulator() { return SimulatorTargetStatus{}; }

std::string_view SimulatorTargetStatus::caseName() const {
  switch (kind) {
    case Case::needsChoice: return "needsChoice";
    case Case::selected: return "selected";
    case Case::lost: return "lost";
    case Case::noBootedSimulator: return "noBootedSimulator";
  }
  return {};
}

SimulatorTargetStatus resolveTargetStatus(const std::optional<std::string>& rememberedUDID,
                                          const std::vector<SimulatorDevice>& bootedDevices,
                                          const std::vector<SimulatorDevice>& allDevices) {
  if (!rememberedUDID) {
    if (bootedDevices.empty()) return SimulatorTargetStatus::noBootedSimulator();
    return SimulatorTargetStatus::needsChoice(static_cast<int>(bootedDevices.size()));
  }
  for (const auto& device : bootedDevices) {
    if (device.udid == *rememberedUDID) return SimulatorTargetStatus::selected(device);
  }
  std::optional<SimulatorDevice> listed;
  for (const auto& device : allDevices) {
    if (device.udid == *rememberedUDID) {
      listed = device;
      break;
    }
  }
  return SimulatorTargetStatus::lost(*rememberedUDID, std::move(listed));
}

SimulatorTargetStatus resolveTargetStatus(const std::optional<std::string>& rememberedUDID,
                                          const std::vector<SimulatorDevice>& allDevices) {
  std::vector<SimulatorDevice> booted;
  std::copy_if(allDevices.begin(), allDevices.end(), std::back_inserter(booted),
               [](const SimulatorDevice& device) { return device.state == SimulatorState::booted; });
  return resolveTargetStatus(rememberedUDID, booted, allDevices);
}

std::string deviceLabel(const SimulatorDevice& device, const std::vector<SimulatorDevice>& allDevices) {
  bool sameName = false;
  bool sameNameAndRuntime = false;
  for (const auto& other : allDevices) {
    if (other.udid == device.udid || other.name != device.name) continue;
    sameName = true;
    if (other.runtimeDisplayName == device.runtimeDisplayName) sameNameAndRuntime = true;
  }
  std::string label = device.name;
  if (sameName) label += " · " + device.runtimeDisplayName;
  if (sameNameAndRuntime) label += " · " + device.udid.substr(0, device.udid.find('-'));
  return label;
}

std::string statusLine(const SimulatorTargetStatus& status, const std::vector<SimulatorDevice>& allDevices) {
  switch (status.kind) {
    case SimulatorTargetStatus::Case::needsChoice:
      return fmt::format("{} Simulators booted — choose a target in any tool", status.bootedCount);
    case SimulatorTargetStatus::Case::selected:
      return "Target: " + deviceLabel(*status.device, allDevices);
    case SimulatorTargetStatus::Case::lost:
      return (status.device ? status.device->name : std::string("Simulator")) + " is no longer booted — choose another";
    case SimulatorTargetStatus::Case::noBootedSimulator:
      return "No Simulator booted — boot one to use Orvanta's tools";
  }
  return {};
}

expected<std::optional<std::string>, FileError> SimulatorSelectionStore::selectedUDID() const {
  auto stored = defaults_->value(key);
  if (!stored) return unexpected(stored.error());
  if (!*stored || !(*stored)->is_string()) return std::optional<std::string>();
  return std::optional<std::string>((*stored)->get<std::string>());
}

expected<void, FileError> SimulatorSelectionStore::setSelectedUDID(const std::optional<std::string>& udid) {
  if (!udid) return defaults_->removeValue(key);
  return defaults_->setValue(key, *udid);
}

}  // namespace orvanta
