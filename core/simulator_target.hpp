// Which simulator the tools act on: the remembered choice, its status against the device list, and the
// texts that describe it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/simulator_device.hpp"
#include "support/file_error.hpp"
#include "support/settings_store.hpp"

namespace orvanta {

// Whether the chosen simulator can be acted on.
struct SimulatorTargetStatus {
  enum class Case { needsChoice, selected, lost, noBootedSimulator };
  Case kind = Case::noBootedSimulator;
  int bootedCount = 0;                    // needsChoice
  std::optional<SimulatorDevice> device;  // selected (always), lost (when still listed)
  std::string udid;                       // lost (and selected: the device's udid)

  static SimulatorTargetStatus needsChoice(int bootedCount);
  static SimulatorTargetStatus selected(SimulatorDevice device);
  static SimulatorTargetStatus lost(std::string udid, std::optional<SimulatorDevice> device);
  static SimulatorTargetStatus noBootedSimulator();

  [[nodiscard]] std::string_view caseName() const;
  bool operator==(const SimulatorTargetStatus&) const = default;
};

// Resolves the status from the remembered udid and the device lists. Never chooses on its own, not even
// when exactly one simulator is booted, and never changes the remembered udid.
[[nodiscard]] SimulatorTargetStatus resolveTargetStatus(const std::optional<std::string>& rememberedUDID,
                                                        const std::vector<SimulatorDevice>& bootedDevices,
                                                        const std::vector<SimulatorDevice>& allDevices);
// The same, taking the booted devices from `allDevices`.
[[nodiscard]] SimulatorTargetStatus resolveTargetStatus(const std::optional<std::string>& rememberedUDID,
                                                        const std::vector<SimulatorDevice>& allDevices);

// The name that tells `device` apart among `allDevices`: its name alone when unique; otherwise " · " and the
// runtime display name added; when that is still shared, " · " and the first group of the udid too.
[[nodiscard]] std::string deviceLabel(const SimulatorDevice& device, const std::vector<SimulatorDevice>& allDevices);

// The one-line description of a status ("Target: iPhone 16", "2 Simulators booted — choose a target in
// any tool", ...). `allDevices` is used for the device label.
[[nodiscard]] std::string statusLine(const SimulatorTargetStatus& status, const std::vector<SimulatorDevice>& allDevices);

// Remembers the chosen simulator's udid in the settings store, under "Orvanta.Target.selectedUDID".
// As thread-safe as its store.
class SimulatorSelectionStore {
 public:
  static constexpr std::string_view key = "Orvanta.Target.selectedUDID";

  explicit SimulatorSelectionStore(std::shared_ptr<SettingsStore> defaults) : defaults_(std::move(defaults)) {}

  // The remembered udid; none when nothing is stored (or the stored value is not text).
  [[nodiscard]] expected<std::optional<std::string>, FileError> selectedUDID() const;
  [[nodiscard]] expected<void, FileError> setSelectedUDID(const std::optional<std::string>& udid);

 private:
  std::shared_ptr<SettingsStore> defaults_;
};

}  // namespace orvanta
