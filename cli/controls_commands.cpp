// orvanta ui appearance|contrast|text-size, orvanta status-bar show|set|preset|clear
//
// Every change is read back from the simulator afterwards (unless --no-verify), so that a change the
// simulator did not take is reported as a failure instead of a success.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "tools/controls/simulator_controls_readback.hpp"
#include "tools/controls/simulator_controls_service.hpp"

namespace orvanta {
namespace {

using Action = SimulatorControlsAction;
using ActionCase = SimulatorControlsAction::Case;

std::string firstLine(std::string_view text) { return firstOutputLine(text); }

template <class Enum, std::size_t N>
std::string choices(const std::array<Enum, N>& all) {
  std::string text;
  for (auto value : all) {
    if (!text.empty()) text += ", ";
    text += rawValue(value);
  }
  return text;
}

// Runs actions on the resolved target and turns their errors into the command's failures.
class ControlsSession {
 public:
  explicit ControlsSession(CommandContext& context)
      : context_(context), service_(context.environment.simctl()) {}

  CommandOutcome resolve() {
    auto status = currentTargetStatus(context_);
    if (!status) return unexpected(status.error());
    status_ = *status;
    return {};
  }

  expected<SimulatorControlsResult, CommandFailure> perform(const Action& action) {
    auto result = service_.perform(status_, action, context_.stop);
    if (!result) return unexpected(failure(result.error()));
    return *result;
  }

  CommandFailure failure(const SimulatorControlsError& error) const {
    if (context_.stop.stop_requested()) return CommandFailure::interrupted();
    std::vector<std::string> hints;
    if (error.kind == SimulatorControlsError::Case::noSimulatorSelected ||
        error.kind == SimulatorControlsError::Case::simulatorNotBooted) {
      hints.push_back(statusLine(status_, context_.environment.discovery().devices()));
      hints.push_back("Choose one with 'orvanta target set NAME', or pass --device for one call.");
    }
    return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
  }

  const SimulatorTargetStatus& status() const { return status_; }

 private:
  CommandContext& context_;
  SimulatorControlsService service_;
  SimulatorTargetStatus status_;
};

CommandFailure notConfirmed(std::string message) { return readBackFailure(std::move(message)); }

// One `ui` setting: how it is named, set, queried and shown.
struct UiSetting {
  const char* what;  // "appearance"
  ActionCase query;
  std::function<std::string(const std::string&)> show;  // simctl's word as the user sees it
};

CommandOutcome uiCommand(CommandContext& context, const UiSetting& setting, const std::optional<Action>& change,
                         std::optional<std::string> expected, bool verify) {
  ControlsSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  std::optional<std::string> before;
  if (change && change->kind == ActionCase::stepContentSize && verify) {
    auto current = session.perform(Action::query(setting.query));
    if (!current) return unexpected(current.error());
    before = firstLine(current->stdout);
    if (auto stepped = steppedContentSize(*before, change->step)) expected = std::string(rawValue(*stepped));
  }
  std::optional<SimulatorControlsResult> applied;
  if (change) {
    auto result = session.perform(*change);
    if (!result) return unexpected(result.error());
    applied = *result;
  }
  std::optional<SimulatorControlsResult> reading;
  if (!change || verify) {
    auto result = session.perform(Action::query(setting.query));
    if (!result) return unexpected(result.error());
    reading = *result;
  }
  const std::optional<std::string> reported = reading ? std::optional(firstLine(reading->stdout)) : std::nullopt;

  if (context.options.json) {
    // The value in the command's own words (on/off for contrast); what was asked for when not read back.
    std::optional<std::string> value;
    if (reported) {
      value = setting.show(*reported);
    } else if (expected) {
      value = setting.show(*expected);
    }
    std::optional<bool> confirmed;
    if (change && verify) confirmed = !(expected && reported != expected);
    nlohmann::json document = uiSettingJson(applied ? *applied : *reading, value,
                                            change ? std::optional<bool>(verify) : std::nullopt, before, confirmed);
    context.emitJson(document);
  }
  if (change && verify && expected && reported != expected) {
    return unexpected(notConfirmed(settingNotConfirmedText(setting.what, setting.show(*expected), setting.show(*reported))));
  }
  if (context.options.json) return {};
  const std::string& name = (applied ? *applied : *reading).simulatorName;
  if (!change) {
    context.out << setting.show(*reported) << '\n';
  } else if (!verify) {
    context.out << "Sent " << setting.what << " " << (expected ? setting.show(*expected) : rawValue(change->step))
                << " to " << name << " (not read back).\n";
  } else if (before && reported == before) {
    context.out << "The " << setting.what << " of " << name << " stays " << setting.show(*reported)
                << ": it is already at the " << (change->step == SimulatorContentSizeStep::increment ? "largest" : "smallest")
                << " size.\n";
  } else {
    context.out << "The " << setting.what << " of " << name << " is now " << setting.show(*reported)
                << (expected ? " (confirmed)." : ".") << '\n';
  }
  return {};
}

std::string plain(const std::string& value) { return value; }
std::string contrastWord(const std::string& value) {
  if (value == "enabled") return "on";
  if (value == "disabled") return "off";
  return value;
}

// ---- status bar --------------------------------------------------------------------------------------

struct StatusBarFlags {
  std::optional<std::string> time, dataNetwork, wifiMode, cellularMode, operatorName, batteryState;
  std::optional<int> wifiBars, cellularBars, batteryLevel;
  bool saveDraft = false;
  bool fromDraft = false;
};

template <class Enum, std::size_t N>
expected<std::optional<Enum>, CommandFailure> parseChoice(const std::optional<std::string>& text, const char* what,
                                                          const std::array<Enum, N>& all) {
  if (!text) return std::optional<Enum>();
  if (auto value = fromRawValue<Enum>(*text)) return value;
  return unexpected(CommandFailure::usage(std::string("Unknown ") + what + " \"" + *text + "\".",
                                          {std::string("Choose one of: ") + choices(all) + "."}));
}

expected<StatusBarOverride, CommandFailure> overrideFromFlags(const StatusBarFlags& flags, StatusBarOverride base) {
  auto dataNetwork = parseChoice(flags.dataNetwork, "data network", allDataNetworks);
  if (!dataNetwork) return unexpected(dataNetwork.error());
  auto wifiMode = parseChoice(flags.wifiMode, "Wi-Fi mode", allWifiModes);
  if (!wifiMode) return unexpected(wifiMode.error());
  auto cellularMode = parseChoice(flags.cellularMode, "cellular mode", allCellularModes);
  if (!cellularMode) return unexpected(cellularMode.error());
  auto batteryState = parseChoice(flags.batteryState, "battery state", allBatteryStates);
  if (!batteryState) return unexpected(batteryState.error());
  if (flags.time) base.time = flags.time;
  if (*dataNetwork) base.dataNetwork = *dataNetwork;
  if (*wifiMode) base.wifiMode = *wifiMode;
  if (flags.wifiBars) base.wifiBars = flags.wifiBars;
  if (*cellularMode) base.cellularMode = *cellularMode;
  if (flags.cellularBars) base.cellularBars = flags.cellularBars;
  if (flags.operatorName) base.operatorName = flags.operatorName;
  if (*batteryState) base.batteryState = *batteryState;
  if (flags.batteryLevel) base.batteryLevel = flags.batteryLevel;
  return base;
}

CommandOutcome applyOverride(CommandContext& context, const StatusBarOverride& value, bool verify,
                             const std::string& what) {
  ControlsSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto applied = session.perform(Action::applyStatusBarOverride(value));
  if (!applied) return unexpected(applied.error());
  std::optional<StatusBarReading> reading;
  std::vector<std::string> wrong;
  if (verify) {
    auto listed = session.perform(Action::query(ActionCase::queryStatusBarOverrides));
    if (!listed) return unexpected(listed.error());
    reading = parseStatusBarList(listed->stdout);
    wrong = statusBarContradictions(value, *reading);
  }
  if (context.options.json) {
    nlohmann::json document = statusBarAppliedJson(*applied, value, verify, reading, wrong.empty());
    context.emitJson(document);
  }
  if (!wrong.empty()) {
    return unexpected(notConfirmed(statusBarNotConfirmedText(wrong)));
  }
  if (!context.options.json) {
    context.out << what << " applied to " << applied->simulatorName << (verify ? " (confirmed)." : " (not read back).")
                << '\n';
  }
  return {};
}

CommandOutcome showStatusBar(CommandContext& context) {
  ControlsSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto listed = session.perform(Action::query(ActionCase::queryStatusBarOverrides));
  if (!listed) return unexpected(listed.error());
  auto reading = parseStatusBarList(listed->stdout);
  if (context.options.json) {
    nlohmann::json document = controlsResultJson(*listed);
    document["overrides"] = statusBarReadingJson(reading);
    document["hasOverrides"] = reading.hasOverrides;
    context.emitJson(document);
  } else if (!reading.hasOverrides) {
    context.out << "No status bar overrides on " << listed->simulatorName << ".\n";
  } else {
    context.out << listed->stdout;
    if (!listed->stdout.ends_with('\n')) context.out << '\n';
  }
  return {};
}

CommandOutcome clearStatusBar(CommandContext& context, bool verify) {
  ControlsSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto cleared = session.perform(Action::query(ActionCase::clearStatusBarOverrides));
  if (!cleared) return unexpected(cleared.error());
  bool confirmed = true;
  if (verify) {
    auto listed = session.perform(Action::query(ActionCase::queryStatusBarOverrides));
    if (!listed) return unexpected(listed.error());
    confirmed = !parseStatusBarList(listed->stdout).hasOverrides;
  }
  if (context.options.json) {
    nlohmann::json document = controlsResultJson(*cleared);
    document["verified"] = verify;
    if (verify) document["confirmed"] = confirmed;
    context.emitJson(document);
  }
  if (!confirmed) return unexpected(notConfirmed(statusBarClearNotConfirmedText()));
  if (!context.options.json) {
    context.out << "Status bar overrides cleared on " << cleared->simulatorName << (verify ? " (confirmed)." : ".") << '\n';
  }
  return {};
}

}  // namespace

void registerControlsCommands(CLI::App& app, CommandRegistry& registry) {
  auto* ui = app.add_subcommand("ui", "Appearance, increased contrast and text size of the target simulator");
  ui->require_subcommand(1);

  struct UiOptions {
    std::optional<std::string> value;
    bool noVerify = false;
  };

  auto* appearance = ui->add_subcommand("appearance", "Print the appearance, or set it to light or dark");
  auto appearanceOptions = std::make_shared<UiOptions>();
  appearance->add_option("VALUE", appearanceOptions->value, "light or dark")->check(CLI::IsMember({"light", "dark"}));
  appearance->add_flag("--no-verify", appearanceOptions->noVerify, "Do not read the value back after setting it");
  appearance->footer("--json: {action, simulatorUDID, simulatorName, stdout, stderr, value, verified?, confirmed?}.");
  registry.on(appearance, [appearanceOptions](CommandContext& context) {
    UiSetting setting{"appearance", ActionCase::queryAppearance, plain};
    std::optional<Action> change;
    if (appearanceOptions->value) {
      change = Action::setAppearance(*fromRawValue<SimulatorAppearance>(*appearanceOptions->value));
    }
    return uiCommand(context, setting, change, appearanceOptions->value, !appearanceOptions->noVerify);
  });

  auto* contrast = ui->add_subcommand("contrast", "Print increased contrast, or turn it on or off");
  auto contrastOptions = std::make_shared<UiOptions>();
  contrast->add_option("VALUE", contrastOptions->value, "on or off")->check(CLI::IsMember({"on", "off"}));
  contrast->add_flag("--no-verify", contrastOptions->noVerify, "Do not read the value back after setting it");
  contrast->footer("--json: {action, simulatorUDID, simulatorName, stdout, stderr, value, verified?, confirmed?}.");
  registry.on(contrast, [contrastOptions](CommandContext& context) {
    UiSetting setting{"increased contrast", ActionCase::queryIncreaseContrast, contrastWord};
    std::optional<Action> change;
    std::optional<std::string> expected;
    if (contrastOptions->value) {
      const bool on = *contrastOptions->value == "on";
      change = Action::setIncreaseContrast(on);
      expected = on ? "enabled" : "disabled";
    }
    return uiCommand(context, setting, change, expected, !contrastOptions->noVerify);
  });

  auto* textSize = ui->add_subcommand("text-size", "Print the text size, set it, or step it up or down");
  auto textSizeOptions = std::make_shared<UiOptions>();
  std::vector<std::string> sizes{"increment", "decrement"};
  for (auto size : allContentSizes) sizes.emplace_back(rawValue(size));
  textSize->add_option("VALUE", textSizeOptions->value, "a size such as large or accessibility-medium, or increment/decrement")
      ->check(CLI::IsMember(sizes));
  textSize->add_flag("--no-verify", textSizeOptions->noVerify, "Do not read the value back after setting it");
  std::string sizeList;
  for (auto size : allContentSizes) sizeList += "  " + std::string(rawValue(size)) + "  (" + displayName(size) + ")\n";
  textSize->footer("Sizes, smallest first:\n" + sizeList +
                   "increment and decrement stop at the ends.\n"
                   "--json: {action, simulatorUDID, simulatorName, stdout, stderr, value, previous?, verified?, confirmed?}.");
  registry.on(textSize, [textSizeOptions](CommandContext& context) {
    UiSetting setting{"text size", ActionCase::queryContentSize, plain};
    std::optional<Action> change;
    std::optional<std::string> expected;
    if (const auto& value = textSizeOptions->value) {
      if (auto step = fromRawValue<SimulatorContentSizeStep>(*value)) {
        change = Action::stepContentSize(*step);
      } else {
        change = Action::setContentSize(*fromRawValue<SimulatorContentSize>(*value));
        expected = *value;
      }
    }
    return uiCommand(context, setting, change, expected, !textSizeOptions->noVerify);
  });

  auto* statusBar = app.add_subcommand("status-bar", "Override the target simulator's status bar, or clear it");
  statusBar->require_subcommand(1);

  auto* show = statusBar->add_subcommand("show", "The current overrides, as simctl lists them");
  show->footer("--json: {action, simulatorUDID, simulatorName, stdout, stderr, hasOverrides, overrides}. simctl lists\n"
               "numeric codes; the known ones are decoded, the battery state is given as batteryStateCode.");
  registry.on(show, showStatusBar);

  auto flags = std::make_shared<StatusBarFlags>();
  auto noVerify = std::make_shared<bool>(false);
  auto* set = statusBar->add_subcommand("set", "Override some status bar fields (the others stay as they are)");
  set->add_option("--time", flags->time, "Clock text, e.g. 9:41 (1 to 32 characters)");
  set->add_option("--data-network", flags->dataNetwork, choices(allDataNetworks));
  set->add_option("--wifi-mode", flags->wifiMode, choices(allWifiModes));
  set->add_option("--wifi-bars", flags->wifiBars, "0 to 3");
  set->add_option("--cellular-mode", flags->cellularMode, choices(allCellularModes));
  set->add_option("--cellular-bars", flags->cellularBars, "0 to 4");
  set->add_option("--operator-name", flags->operatorName, "Carrier text (may be empty, at most 64 characters)");
  set->add_option("--battery-state", flags->batteryState, choices(allBatteryStates));
  set->add_option("--battery-level", flags->batteryLevel, "0 to 100");
  set->add_flag("--save-draft", flags->saveDraft,
                "Save these fields as the draft instead of applying them (no simulator needed)");
  set->add_flag("--from-draft", flags->fromDraft, "Start from the saved draft; the options given here replace its fields");
  set->add_flag("--no-verify", *noVerify, "Do not read the status bar back after applying");
  set->footer("Example: orvanta status-bar set --time 9:41 --battery-level 100 --battery-state charged\n"
              "--json: {action, simulatorUDID, simulatorName, stdout, stderr, override, verified, listed?, confirmed?};\n"
              "with --save-draft: {draft}.");
  registry.on(set, [flags, noVerify](CommandContext& context) -> CommandOutcome {
    SimulatorControlsPersistence persistence(context.environment.settings());
    StatusBarOverride base;
    if (flags->fromDraft) {
      auto draft = persistence.loadDraft();
      if (!draft) {
        return unexpected(CommandFailure::failure("noDraft", "There is no saved status bar draft.",
                                                  {"Save one with 'orvanta status-bar set ... --save-draft'."}));
      }
      base = *draft;
    }
    auto value = overrideFromFlags(*flags, base);
    if (!value) return unexpected(value.error());
    if (flags->saveDraft) {
      using Error = SimulatorControlsError;
      if (value->isEmpty()) return unexpected(CommandFailure::failure(
          "emptyStatusBarOverride", Error::of(Error::Case::emptyStatusBarOverride).description()));
      if (auto invalid = validateStatusBarOverride(*value)) {
        return unexpected(CommandFailure::failure(std::string(invalid->caseName()), invalid->description()));
      }
      if (auto saved = persistence.saveDraft(*value); !saved) {
        return unexpected(CommandFailure::failure(std::string(saved.error().caseName()), saved.error().description()));
      }
      if (context.options.json) {
        context.emitJson({{"draft", toJson(*value)}});
      } else {
        context.out << "Status bar draft saved. Apply it with 'orvanta status-bar set --from-draft'.\n";
      }
      return {};
    }
    return applyOverride(context, *value, !*noVerify, "Status bar overrides");
  });

  auto presetName = std::make_shared<std::string>();
  auto presetNoVerify = std::make_shared<bool>(false);
  auto* preset = statusBar->add_subcommand("preset", "Apply a built-in set of overrides");
  std::vector<std::string> presetIds;
  std::string presetHelp = "Presets:\n";
  for (const auto& entry : statusBarPresets()) {
    presetIds.push_back(entry.id);
    presetHelp += "  " + entry.id + "  " + entry.title + ": " + entry.subtitle + "\n";
  }
  preset->add_option("NAME", *presetName, "clean-screenshot, low-battery or no-signal")
      ->required()
      ->check(CLI::IsMember(presetIds));
  preset->add_flag("--no-verify", *presetNoVerify, "Do not read the status bar back after applying");
  preset->footer(presetHelp + "--json: as for 'status-bar set'.");
  registry.on(preset, [presetName, presetNoVerify](CommandContext& context) {
    const auto& all = statusBarPresets();
    auto found = std::find_if(all.begin(), all.end(), [&](const StatusBarPreset& p) { return p.id == *presetName; });
    return applyOverride(context, found->override, !*presetNoVerify, "The \"" + found->title + "\" preset");
  });

  auto clearNoVerify = std::make_shared<bool>(false);
  auto* clear = statusBar->add_subcommand("clear", "Remove every status bar override");
  clear->add_flag("--no-verify", *clearNoVerify, "Do not read the status bar back after clearing");
  clear->footer("--json: {action, simulatorUDID, simulatorName, stdout, stderr, verified, confirmed?}.");
  registry.on(clear, [clearNoVerify](CommandContext& context) { return clearStatusBar(context, !*clearNoVerify); });
}

}  // namespace orvanta
