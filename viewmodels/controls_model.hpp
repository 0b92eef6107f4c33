// The Controls page: appearance, increased contrast, the text size with a stepper, and the status bar with
// its presets and the saved draft. The current values are read from the simulator when the target changes
// and after each change; each change is read back.
#pragma once

#include <optional>
#include <string>

#include "tools/controls/simulator_controls_service.hpp"
#include "viewmodels/page_model.hpp"

namespace orvanta {

struct ControlsReading {
  std::optional<SimulatorAppearance> appearance;
  std::optional<bool> increasedContrast;
  std::optional<SimulatorContentSize> contentSize;
  std::optional<StatusBarReading> statusBar;
  std::optional<std::string> problem;  // why a value could not be read
};

class ControlsModel : public PageModel {
 public:
  explicit ControlsModel(PanelSession& session);

  [[nodiscard]] const ControlsReading& reading() const { return reading_; }
  void reload();

  void setAppearance(SimulatorAppearance appearance);
  void setIncreasedContrast(bool enabled);
  void setContentSize(SimulatorContentSize size);
  // One size larger or smaller than the current one; at the end of the range it says so and sends nothing.
  void stepContentSize(SimulatorContentSizeStep step);

  // The draft the status-bar editor holds, kept in the settings between runs.
  [[nodiscard]] const StatusBarEditorDraft& draft() const { return draft_; }
  void setDraft(StatusBarEditorDraft draft);
  // Fills the draft from a preset ("clean-screenshot", "low-battery", "no-signal") and applies it.
  void applyPreset(const std::string& presetID);
  void applyDraft();
  void clearStatusBar();

 private:
  void apply(ScenarioStepKind kind);

  ControlsReading reading_;
  StatusBarEditorDraft draft_;
  std::optional<std::string> readFor_;
  std::uint64_t generation_ = 0;
};

}  // namespace orvanta
