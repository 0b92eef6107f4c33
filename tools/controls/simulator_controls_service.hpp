// Performs the simulator controls through `simctl ui` and `simctl status_bar`, and reads them back.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/simctl_client.hpp"
#include "core/simulator_target.hpp"
#include "support/settings_store.hpp"
#include "tools/controls/simulator_controls_types.hpp"

namespace orvanta {

// The argument list (after the xcrun path) of an action on `udid`; only the override's set fields become
// flags, in a fixed order.
[[nodiscard]] std::vector<std::string> simulatorControlsArguments(const std::string& udid,
                                                                  const SimulatorControlsAction& action);

// The value rules of a status-bar override: Wi-Fi bars 0-3, cellular bars 0-4, battery level 0-100, a time
// text of 1 to 32 characters and an operator name of at most 64, neither with control characters. The
// first broken rule as invalidStatusBarValue, if any.
[[nodiscard]] std::optional<SimulatorControlsError> validateStatusBarOverride(const StatusBarOverride& value);

// What `simctl status_bar <udid> list` reports. simctl prints numeric codes; the known ones are decoded.
// The battery state's codes are not documented anywhere, so it is kept as the raw code.
struct StatusBarReading {
  StatusBarOverride values;                 // batteryState is never set here
  std::optional<int> batteryStateCode;
  bool hasOverrides = false;                // any override line was listed
  std::vector<std::string> unknownLines;    // lines that are not understood, kept for display
};
[[nodiscard]] StatusBarReading parseStatusBarList(std::string_view text);

// Runs one action on the target. Stateless and thread-safe; blocks while simctl runs.
class SimulatorControlsService {
 public:
  explicit SimulatorControlsService(SimctlClient client) : client_(std::move(client)) {}

  // Fails with noSimulatorSelected / simulatorNotBooted unless the target is selected, with
  // emptyStatusBarOverride or invalidStatusBarValue before anything runs, and with simctlFailed when
  // simctl cannot be run (no status) or exits non-zero (its status and its stderr, or stdout when stderr
  // is empty).
  [[nodiscard]] expected<SimulatorControlsResult, SimulatorControlsError> perform(
      const SimulatorTargetStatus& target, const SimulatorControlsAction& action, orvanta::stop_token stop = {}) const;

 private:
  SimctlClient client_;
};

// Keeps the status-bar draft under "Orvanta.SimulatorControls.statusBarDraft". As thread-safe as its store.
class SimulatorControlsPersistence {
 public:
  static constexpr std::string_view draftKey = "Orvanta.SimulatorControls.statusBarDraft";

  explicit SimulatorControlsPersistence(std::shared_ptr<SettingsStore> defaults) : defaults_(std::move(defaults)) {}

  // The saved draft; none when nothing (or nothing readable) is saved.
  [[nodiscard]] std::optional<StatusBarEditorDraft> loadDraft() const;
  // Fails with persistenceFailed.
  [[nodiscard]] expected<void, SimulatorControlsError> saveDraft(const StatusBarEditorDraft& draft);

 private:
  std::shared_ptr<SettingsStore> defaults_;
};

}  // namespace orvanta
