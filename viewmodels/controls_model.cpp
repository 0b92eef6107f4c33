#include "viewmodels/controls_model.hpp"

#include "app/environment.hpp"
#include "tools/controls/simulator_controls_readback.hpp"

namespace orvanta {

ControlsModel::ControlsModel(PanelSession& session) : PageModel(session) {
  if (auto saved = SimulatorControlsPersistence(session_.environment().settings()).loadDraft()) draft_ = *saved;
  session_.listen(lifetime_, [this] {
    const auto target = session_.target();
    const std::optional<std::string> udid = target ? std::optional(target->udid) : std::nullopt;
    if (udid != readFor_) reload();
    changed();
  });
  reload();
}

void ControlsModel::reload() {
  const auto target = session_.target();
  readFor_ = target ? std::optional(target->udid) : std::nullopt;
  const auto generation = ++generation_;
  if (!target) {
    reading_ = {};
    changed();
    return;
  }
  run<ControlsReading>(
      [client = session_.environment().simctl(), status = session_.status()](const orvanta::stop_token&) {
        using Action = SimulatorControlsAction;
        SimulatorControlsService service(client);
        ControlsReading reading;
        auto query = [&](Action::Case which) -> std::optional<std::string> {
          auto result = service.perform(status, Action::query(which));
          if (!result) {
            if (!reading.problem) reading.problem = result.error().description();
            return std::nullopt;
          }
          return result->stdout;
        };
        if (auto text = query(Action::Case::queryAppearance)) {
          reading.appearance = fromRawValue<SimulatorAppearance>(firstOutputLine(*text));
        }
        if (auto text = query(Action::Case::queryIncreaseContrast)) {
          const auto word = firstOutputLine(*text);
          if (word == "enabled" || word == "disabled") reading.increasedContrast = word == "enabled";
        }
        if (auto text = query(Action::Case::queryContentSize)) {
          reading.contentSize = fromRawValue<SimulatorContentSize>(firstOutputLine(*text));
        }
        if (auto text = query(Action::Case::queryStatusBarOverrides)) reading.statusBar = parseStatusBarList(*text);
        return reading;
      },
      [this, generation](ControlsReading reading) {
        if (generation == generation_) reading_ = std::move(reading);
      });
}

void ControlsModel::apply(ScenarioStepKind kind) {
  runStep(std::move(kind), std::nullopt, [this](const ScenarioStepOutcome&) { reload(); });
}

void ControlsModel::setAppearance(SimulatorAppearance appearance) { apply(ScenarioStepKind::setAppearance(appearance)); }

void ControlsModel::setIncreasedContrast(bool enabled) { apply(ScenarioStepKind::setIncreasedContrast(enabled)); }

void ControlsModel::setContentSize(SimulatorContentSize size) { apply(ScenarioStepKind::setContentSize(size)); }

void ControlsModel::stepContentSize(SimulatorContentSizeStep step) {
  auto device = requireTarget();
  if (!device) return;
  if (!reading_.contentSize) {
    fail(reading_.problem.value_or("The current text size is not known yet."));
    return;
  }
  auto next = steppedContentSize(rawValue(*reading_.contentSize), step);
  if (!next || *next == *reading_.contentSize) {
    succeed("The text size of " + device->name + " stays " + std::string(rawValue(*reading_.contentSize)) +
            ": it is already at the " + (step == SimulatorContentSizeStep::increment ? "largest" : "smallest") +
            " size.");
    return;
  }
  setContentSize(*next);
}

void ControlsModel::setDraft(StatusBarEditorDraft draft) {
  draft_ = std::move(draft);
  if (auto saved = SimulatorControlsPersistence(session_.environment().settings()).saveDraft(draft_); !saved) {
    fail(saved.error().description());
  }
  changed();
}

void ControlsModel::applyPreset(const std::string& presetID) {
  for (const auto& preset : statusBarPresets()) {
    if (preset.id != presetID) continue;
    setDraft(preset.override);
    applyDraft();
    return;
  }
  fail("There is no status bar preset \xE2\x80\x9C" + presetID + "\xE2\x80\x9D.");
}

void ControlsModel::applyDraft() {
  if (auto invalid = validateStatusBarOverride(draft_)) {
    fail(invalid->description());
    return;
  }
  apply(ScenarioStepKind::setStatusBarOverride(draft_));
}

void ControlsModel::clearStatusBar() { apply(ScenarioStepKind::clearStatusBarOverrides()); }

}  // namespace orvanta
