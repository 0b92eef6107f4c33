// get_appearance, set_appearance, set_increased_contrast, set_text_size, set_status_bar, clear_status_bar
//
// Every change is read back from the simulator afterwards, so that a change the simulator did not take is
// reported as a failure instead of a success.
#include <algorithm>

#include "mcp/tool_support.hpp"
#include "tools/controls/simulator_controls_readback.hpp"
#include "tools/controls/simulator_controls_service.hpp"

namespace orvanta {

namespace {

using Json = nlohmann::json;
using Action = SimulatorControlsAction;
using ActionCase = SimulatorControlsAction::Case;

// The controls service on the call's target.
struct ControlsCall {
  ToolCall& call;
  SimulatorControlsService service;
  SimulatorTargetStatus status;

  explicit ControlsCall(ToolCall& call_) : call(call_), service(call_.environment.simctl()) {}

  std::optional<CommandFailure> resolve() {
    auto resolved = targetStatus(call);
    if (!resolved) return resolved.error();
    status = *resolved;
    return std::nullopt;
  }

  expected<SimulatorControlsResult, CommandFailure> perform(const Action& action) {
    auto result = service.perform(status, action, call.stop);
    if (!result) {
      auto failure = failureOf(call, result.error());
      if (result.error().kind == SimulatorControlsError::Case::noSimulatorSelected ||
          result.error().kind == SimulatorControlsError::Case::simulatorNotBooted) {
        failure.hints.push_back(statusLine(status, call.environment.discovery().devices()));
        failure.hints.push_back("Name a simulator with \"device\", or remember one with set_target.");
      }
      return unexpected(std::move(failure));
    }
    return *result;
  }
};

struct UiSetting {
  const char* what;  // "appearance", as the read-back sentence names it
  ActionCase query;
  std::string (*show)(const std::string&);
};

std::string plain(const std::string& value) { return value; }
std::string contrastWord(const std::string& value) {
  if (value == "enabled") return "on";
  if (value == "disabled") return "off";
  return value;
}

const UiSetting appearance{"appearance", ActionCase::queryAppearance, plain};
const UiSetting contrast{"increased contrast", ActionCase::queryIncreaseContrast, contrastWord};
const UiSetting textSize{"text size", ActionCase::queryContentSize, plain};

// Reads a setting, or changes it and reads it back; `expected` is simctl's word for the value asked for.
ToolResult uiSetting(ToolCall& call, const UiSetting& setting, const std::optional<Action>& change,
                     std::optional<std::string> expected) {
  ControlsCall controls(call);
  if (auto failure = controls.resolve()) return ToolResult::failed(*failure);
  std::optional<std::string> before;
  if (change && change->kind == ActionCase::stepContentSize) {
    auto current = controls.perform(Action::query(setting.query));
    if (!current) return ToolResult::failed(current.error());
    before = firstOutputLine(current->stdout);
    if (auto stepped = steppedContentSize(*before, change->step)) expected = std::string(rawValue(*stepped));
  }
  std::optional<SimulatorControlsResult> applied;
  if (change) {
    auto result = controls.perform(*change);
    if (!result) return ToolResult::failed(result.error());
    applied = *result;
  }
  auto reading = controls.perform(Action::query(setting.query));
  if (!reading) return ToolResult::failed(reading.error());
  const std::string reported = firstOutputLine(reading->stdout);
  if (change && expected && reported != *expected) {
    return ToolResult::failed(
        readBackFailure(settingNotConfirmedText(setting.what, setting.show(*expected), setting.show(reported))));
  }
  return ToolResult::of(uiSettingJson(applied ? *applied : *reading, setting.show(reported),
                                      change ? std::optional<bool>(true) : std::nullopt, before,
                                      change ? std::optional<bool>(true) : std::nullopt));
}

ToolResult setStatusBar(ToolCall& call) {
  StatusBarOverride value;
  if (auto preset = call.string("preset")) {
    for (const auto& entry : statusBarPresets()) {
      if (entry.id == *preset) value = entry.override;
    }
  }
  // The remaining arguments are the override's own fields, under its JSON names.
  Json fields = call.arguments;
  for (const char* other : {"preset", "device"}) fields.erase(other);
  auto given = statusBarOverrideFromJson(fields);
  if (!given) return ToolResult::failed(CommandFailure::failure("invalidStatusBarValue", given.error()));
  for (const auto& [key, field] : fields.items()) {
    if (field.is_null()) continue;
    if (key == "time") value.time = given->time;
    if (key == "dataNetwork") value.dataNetwork = given->dataNetwork;
    if (key == "wifiMode") value.wifiMode = given->wifiMode;
    if (key == "wifiBars") value.wifiBars = given->wifiBars;
    if (key == "cellularMode") value.cellularMode = given->cellularMode;
    if (key == "cellularBars") value.cellularBars = given->cellularBars;
    if (key == "operatorName") value.operatorName = given->operatorName;
    if (key == "batteryState") value.batteryState = given->batteryState;
    if (key == "batteryLevel") value.batteryLevel = given->batteryLevel;
  }
  ControlsCall controls(call);
  if (auto failure = controls.resolve()) return ToolResult::failed(*failure);
  auto applied = controls.perform(Action::applyStatusBarOverride(value));
  if (!applied) return ToolResult::failed(applied.error());
  auto listed = controls.perform(Action::query(ActionCase::queryStatusBarOverrides));
  if (!listed) return ToolResult::failed(listed.error());
  const auto reading = parseStatusBarList(listed->stdout);
  const auto wrong = statusBarContradictions(value, reading);
  if (!wrong.empty()) return ToolResult::failed(readBackFailure(statusBarNotConfirmedText(wrong)));
  return ToolResult::of(statusBarAppliedJson(*applied, value, true, reading, true));
}

ToolResult clearStatusBar(ToolCall& call) {
  ControlsCall controls(call);
  if (auto failure = controls.resolve()) return ToolResult::failed(*failure);
  auto cleared = controls.perform(Action::query(ActionCase::clearStatusBarOverrides));
  if (!cleared) return ToolResult::failed(cleared.error());
  auto listed = controls.perform(Action::query(ActionCase::queryStatusBarOverrides));
  if (!listed) return ToolResult::failed(listed.error());
  if (parseStatusBarList(listed->stdout).hasOverrides) {
    return ToolResult::failed(readBackFailure(statusBarClearNotConfirmedText()));
  }
  Json document = controlsResultJson(*cleared);
  document["verified"] = true;
  document["confirmed"] = true;
  return ToolResult::of(std::move(document));
}

template <class Enum, std::size_t N>
std::vector<std::string> words(const std::array<Enum, N>& all) {
  std::vector<std::string> list;
  for (auto value : all) list.emplace_back(rawValue(value));
  return list;
}

Json settingSchema() {
  return schema::result({{"action", {{"type", "string"}}},
                         {"simulatorUDID", {{"type", "string"}}},
                         {"simulatorName", {{"type", "string"}}},
                         {"stdout", {{"type", "string"}}},
                         {"stderr", {{"type", "string"}}},
                         {"value", {{"type", "string"}}},
                         {"previous", {{"type", "string"}}},
                         {"verified", {{"type", "boolean"}}},
                         {"confirmed", {{"type", "boolean"}}}});
}

Json statusBarSchema() {
  Json properties = {
      {"preset", schema::stringOf({"clean-screenshot", "low-battery", "no-signal"},
                                  "Start from a built-in set of overrides; the fields given here replace its fields")},
      {"time", schema::string("Clock text, e.g. 9:41 (1 to 32 characters)")},
      {"dataNetwork", schema::stringOf(words(allDataNetworks), "Data network")},
      {"wifiMode", schema::stringOf(words(allWifiModes), "Wi-Fi mode")},
      {"wifiBars", schema::integer("Wi-Fi bars", 0, 3)},
      {"cellularMode", schema::stringOf(words(allCellularModes), "Cellular mode")},
      {"cellularBars", schema::integer("Cellular bars", 0, 4)},
      {"operatorName", schema::string("Carrier text (may be empty, at most 64 characters)")},
      {"batteryState", schema::stringOf(words(allBatteryStates), "Battery state")},
      {"batteryLevel", schema::integer("Battery level in percent", 0, 100)}};
  return schema::object(properties);
}

}  // namespace

std::vector<ToolDefinition> controlTools() {
  std::vector<std::string> sizes{"increment", "decrement"};
  for (auto size : allContentSizes) sizes.emplace_back(rawValue(size));
  return {
      {"get_appearance", "Get the appearance", "The simulator's appearance: light or dark.", schema::object({}),
       settingSchema(), {.readOnly = true, .idempotent = true}, true, false,
       [](ToolCall& call) { return uiSetting(call, appearance, std::nullopt, std::nullopt); }},
      {"set_appearance", "Set the appearance", "Switch the simulator to light or dark appearance, read back to confirm.",
       schema::object({{"appearance", schema::stringOf({"light", "dark"}, "The appearance")}}, {"appearance"}),
       settingSchema(), {.idempotent = true}, true, false,
       [](ToolCall& call) {
         const auto value = *call.string("appearance");
         return uiSetting(call, appearance, Action::setAppearance(*fromRawValue<SimulatorAppearance>(value)), value);
       }},
      {"set_increased_contrast", "Set increased contrast", "Turn the Increase Contrast accessibility setting on or off, read back to confirm.",
       schema::object({{"enabled", schema::boolean("true for on, false for off")}}, {"enabled"}), settingSchema(),
       {.idempotent = true}, true, false,
       [](ToolCall& call) {
         const bool on = *call.boolean("enabled");
         return uiSetting(call, contrast, Action::setIncreaseContrast(on), std::string(on ? "enabled" : "disabled"));
       }},
      {"set_text_size", "Set the text size",
       "Set the Dynamic Type text size (extra-small ... accessibility-extra-extra-extra-large), or step it with "
       "increment or decrement (stops at the ends); read back to confirm.",
       schema::object({{"size", schema::stringOf(sizes, "A size, or increment / decrement")}}, {"size"}),
       settingSchema(), {}, true, false,
       [](ToolCall& call) {
         const auto value = *call.string("size");
         if (auto step = fromRawValue<SimulatorContentSizeStep>(value)) {
           return uiSetting(call, textSize, Action::stepContentSize(*step), std::nullopt);
         }
         return uiSetting(call, textSize, Action::setContentSize(*fromRawValue<SimulatorContentSize>(value)), value);
       }},
      {"set_status_bar", "Override the status bar",
       "Override status bar fields (the others stay as they are), from a preset and/or fields; read back to confirm.",
       statusBarSchema(),
       schema::result({{"action", {{"type", "string"}}},
                       {"simulatorUDID", {{"type", "string"}}},
                       {"simulatorName", {{"type", "string"}}},
                       {"override", {{"type", "object"}}},
                       {"listed", {{"type", "object"}}},
                       {"verified", {{"type", "boolean"}}},
                       {"confirmed", {{"type", "boolean"}}}}),
       {.idempotent = true}, true, false, setStatusBar},
      {"clear_status_bar", "Clear the status bar overrides", "Remove every status bar override; read back to confirm.",
       schema::object({}), settingSchema(), {.idempotent = true}, true, false, clearStatusBar},
  };
}

}  // namespace orvanta
