#include "tools/controls/status_bar_for_capture.hpp"

#include <algorithm>

namespace orvanta {

StatusBarForCapture::StatusBarForCapture(SimctlClient client, const SimulatorDevice& device,
                                         std::function<void(std::string)> note)
    : service_(std::move(client)), target_(SimulatorTargetStatus::selected(device)), note_(std::move(note)) {}

expected<void, SimulatorControlsError> StatusBarForCapture::apply(const StatusBarPreset& preset,
                                                                  orvanta::stop_token stop) {
  auto applied = service_.perform(target_, SimulatorControlsAction::applyStatusBarOverride(preset.override), stop);
  if (!applied) return unexpected(applied.error());
  applied_ = true;
  auto listed =
      service_.perform(target_, SimulatorControlsAction::query(SimulatorControlsAction::Case::queryStatusBarOverrides), stop);
  const bool confirmed = listed && parseStatusBarList(listed->stdout).hasOverrides;
  note_("Applied the \"" + preset.title + "\" status bar" +
        (confirmed ? " (confirmed)." : ", but the simulator does not list the overrides."));
  return {};
}

StatusBarForCapture::~StatusBarForCapture() {
  if (!applied_) return;
  // Not cancellable: the overrides must not outlive the capture they were set for.
  auto cleared =
      service_.perform(target_, SimulatorControlsAction::query(SimulatorControlsAction::Case::clearStatusBarOverrides));
  if (cleared) {
    note_("Cleared the status bar overrides.");
  } else {
    note_("Couldn't clear the status bar overrides: " + cleared.error().description() +
          " Clear them with 'orvanta status-bar clear'.");
  }
}

const StatusBarPreset* findStatusBarPreset(std::string_view id) {
  const auto& presets = statusBarPresets();
  auto found = std::find_if(presets.begin(), presets.end(), [&](const auto& preset) { return preset.id == id; });
  return found == presets.end() ? nullptr : &*found;
}

}  // namespace orvanta
