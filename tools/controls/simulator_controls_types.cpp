#include "tools/controls/simulator_controls_types.hpp"

#include <algorithm>

#include <nlohmann/json.hpp>

namespace orvanta {

const std::array<SimulatorContentSize, 12> allContentSizes{
    SimulatorContentSize::extraSmall,
    SimulatorContentSize::small,
    SimulatorContentSize::medium,
    SimulatorContentSize::large,
    SimulatorContentSize::extraLarge,
    SimulatorContentSize::extraExtraLarge,
    SimulatorContentSize::extraExtraExtraLarge,
    SimulatorContentSize::accessibilityMedium,
    SimulatorContentSize::accessibilityLarge,
    SimulatorContentSize::accessibilityExtraLarge,
    SimulatorContentSize::accessibilityExtraExtraLarge,
    SimulatorContentSize::accessibilityExtraExtraExtraLarge,
};
const std::array<StatusBarDataNetwork, 11> allDataNetworks{
    StatusBarDataNetwork::hide,   StatusBarDataNetwork::wifi,   StatusBarDataNetwork::g3,     StatusBarDataNetwork::g4,
    StatusBarDataNetwork::lte,    StatusBarDataNetwork::lteA,   StatusBarDataNetwork::ltePlus, StatusBarDataNetwork::g5,
    StatusBarDataNetwork::g5Plus, StatusBarDataNetwork::g5Uwb,  StatusBarDataNetwork::g5Uc,
};
const std::array<StatusBarWifiMode, 3> allWifiModes{StatusBarWifiMode::searching, StatusBarWifiMode::failed,
                                                    StatusBarWifiMode::active};
const std::array<StatusBarCellularMode, 4> allCellularModes{
    StatusBarCellularMode::notSupported, StatusBarCellularMode::searching, StatusBarCellularMode::failed,
    StatusBarCellularMode::active};
const std::array<StatusBarBatteryState, 3> allBatteryStates{
    StatusBarBatteryState::charging, StatusBarBatteryState::charged, StatusBarBatteryState::discharging};

namespace {
constexpr std::array<std::string_view, 12> kContentSizeRaw{
    "extra-small",          "small",
    "medium",               "large",
    "extra-large",          "extra-extra-large",
    "extra-extra-extra-large", "accessibility-medium",
    "accessibility-large",  "accessibility-extra-large",
    "accessibility-extra-extra-large", "accessibility-extra-extra-extra-large",
};
constexpr std::array<std::string_view, 12> kContentSizeDisplay{
    "Extra Small",          "Small",
    "Medium",               "Large",
    "Extra Large",          "Extra Extra Large",
    "Extra Extra Extra Large", "Accessibility Medium",
    "Accessibility Large",  "Accessibility Extra Large",
    "Accessibility Extra Extra Large", "Accessibility Extra Extra Extra Large",
};
constexpr std::array<std::string_view, 11> kDataNetworkRaw{"hide", "wifi", "3g",  "4g",     "lte",   "lte-a",
                                                           "lte+", "5g",   "5g+", "5g-uwb", "5g-uc"};
constexpr std::array<std::string_view, 3> kWifiModeRaw{"searching", "failed", "active"};
constexpr std::array<std::string_view, 4> kCellularModeRaw{"notSupported", "searching", "failed", "active"};
constexpr std::array<std::string_view, 3> kBatteryStateRaw{"charging", "charged", "discharging"};

template <class Enum, std::size_t N>
std::optional<Enum> lookup(const std::array<std::string_view, N>& names, std::string_view text) {
  for (std::size_t i = 0; i < N; ++i) {
    if (names[i] == text) return static_cast<Enum>(i);
  }
  return std::nullopt;
}
template <class Enum>
std::size_t indexOf(Enum value) {
  return static_cast<std::size_t>(value);
}
}  // namespace

std::string_view rawValue(SimulatorAppearance value) { return value == SimulatorAppearance::light ? "light" : "dark"; }
std::string_view rawValue(SimulatorContentSize value) { return kContentSizeRaw[indexOf(value)]; }
std::string_view rawValue(SimulatorContentSizeStep value) {
  return value == SimulatorContentSizeStep::increment ? "increment" : "decrement";
}
std::string_view rawValue(StatusBarDataNetwork value) { return kDataNetworkRaw[indexOf(value)]; }
std::string_view rawValue(StatusBarWifiMode value) { return kWifiModeRaw[indexOf(value)]; }
std::string_view rawValue(StatusBarCellularMode value) { return kCellularModeRaw[indexOf(value)]; }
std::string_view rawValue(StatusBarBatteryState value) { return kBatteryStateRaw[indexOf(value)]; }

std::string displayName(SimulatorContentSize value) { return std::string(kContentSizeDisplay[indexOf(value)]); }
std::string displayName(StatusBarCellularMode value) {
  if (value == StatusBarCellularMode::notSupported) return "Not Supported";
  return std::string(rawValue(value));
}

template <>
std::optional<SimulatorAppearance> fromRawValue(std::string_view text) {
  if (text == "light") return SimulatorAppearance::light;
  if (text == "dark") return SimulatorAppearance::dark;
  return std::nullopt;
}
template <>
std::optional<SimulatorContentSize> fromRawValue(std::string_view text) {
  return lookup<SimulatorContentSize>(kContentSizeRaw, text);
}
template <>
std::optional<SimulatorContentSizeStep> fromRawValue(std::string_view text) {
  if (text == "increment") return SimulatorContentSizeStep::increment;
  if (text == "decrement") return SimulatorContentSizeStep::decrement;
  return std::nullopt;
}
template <>
std::optional<StatusBarDataNetwork> fromRawValue(std::string_view text) {
  return lookup<StatusBarDataNetwork>(kDataNetworkRaw, text);
}
template <>
std::optional<StatusBarWifiMode> fromRawValue(std::string_view text) {
  return lookup<StatusBarWifiMode>(kWifiModeRaw, text);
}
template <>
std::optional<StatusBarCellularMode> fromRawValue(std::string_view text) {
  return lookup<StatusBarCellularMode>(kCellularModeRaw, text);
}
template <>
std::optional<StatusBarBatteryState> fromRawValue(std::string_view text) {
  return lookup<StatusBarBatteryState>(kBatteryStateRaw, text);
}

bool StatusBarOverride::isEmpty() const { return *this == StatusBarOverride{}; }

nlohmann::json toJson(const StatusBarOverride& value) {
  nlohmann::json json = nlohmann::json::object();
  if (value.time) json["time"] = *value.time;
  if (value.dataNetwork) json["dataNetwork"] = rawValue(*value.dataNetwork);
  if (value.wifiMode) json["wifiMode"] = rawValue(*value.wifiMode);
  if (value.wifiBars) json["wifiBars"] = *value.wifiBars;
  if (value.cellularMode) json["cellularMode"] = rawValue(*value.cellularMode);
  if (value.cellularBars) json["cellularBars"] = *value.cellularBars;
  if (value.operatorName) json["operatorName"] = *value.operatorName;
  if (value.batteryState) json["batteryState"] = rawValue(*value.batteryState);
  if (value.batteryLevel) json["batteryLevel"] = *value.batteryLevel;
  return json;
}

expected<StatusBarOverride, std::string> statusBarOverrideFromJson(const nlohmann::json& json) {
  if (!json.is_object()) return unexpected(std::string("A status bar override must be a JSON object."));
  StatusBarOverride value;
  std::string problem;
  auto text = [&](const char* key, std::optional<std::string>& field) {
    if (!json.contains(key) || json[key].is_null()) return;
    if (!json[key].is_string()) {
      problem = std::string("\"") + key + "\" must be text.";
      return;
    }
    field = json[key].get<std::string>();
  };
  auto number = [&](const char* key, std::optional<int>& field) {
    if (!json.contains(key) || json[key].is_null()) return;
    if (!json[key].is_number_integer()) {
      problem = std::string("\"") + key + "\" must be a whole number.";
      return;
    }
    const auto wide = json[key].get<std::int64_t>();
    if (wide < INT32_MIN || wide > INT32_MAX) {
      problem = std::string("\"") + key + "\" is out of range.";
      return;
    }
    field = static_cast<int>(wide);
  };
  auto choice = [&]<class Enum>(const char* key, std::optional<Enum>& field) {
    if (!json.contains(key) || json[key].is_null()) return;
    if (!json[key].is_string() || !fromRawValue<Enum>(json[key].get<std::string>())) {
      problem = std::string("\"") + key + "\" has a value the status bar does not know: " + json[key].dump() + ".";
      return;
    }
    field = fromRawValue<Enum>(json[key].get<std::string>());
  };
  text("time", value.time);
  choice("dataNetwork", value.dataNetwork);
  choice("wifiMode", value.wifiMode);
  number("wifiBars", value.wifiBars);
  choice("cellularMode", value.cellularMode);
  number("cellularBars", value.cellularBars);
  text("operatorName", value.operatorName);
  choice("batteryState", value.batteryState);
  number("batteryLevel", value.batteryLevel);
  if (!problem.empty()) return unexpected(problem);
  return value;
}

const std::array<StatusBarPreset, 3>& statusBarPresets() {
  static const std::array<StatusBarPreset, 3> presets = [] {
    StatusBarOverride clean;
    clean.time = "9:41";
    clean.dataNetwork = StatusBarDataNetwork::wifi;
    clean.wifiMode = StatusBarWifiMode::active;
    clean.wifiBars = 3;
    clean.cellularMode = StatusBarCellularMode::active;
    clean.cellularBars = 4;
    clean.batteryState = StatusBarBatteryState::charged;
    clean.batteryLevel = 100;
    StatusBarOverride lowBattery;
    lowBattery.batteryState = StatusBarBatteryState::discharging;
    lowBattery.batteryLevel = 10;
    StatusBarOverride noSignal;
    noSignal.dataNetwork = StatusBarDataNetwork::hide;
    noSignal.wifiMode = StatusBarWifiMode::failed;
    noSignal.wifiBars = 0;
    noSignal.cellularMode = StatusBarCellularMode::failed;
    noSignal.cellularBars = 0;
    return std::array<StatusBarPreset, 3>{
        StatusBarPreset{"clean-screenshot", "Clean Screenshot", "9:41, full battery, full signal", clean},
        StatusBarPreset{"low-battery", "Low Battery", "10% battery, discharging", lowBattery},
        StatusBarPreset{"no-signal", "No Signal", "Cellular and Wi-Fi both show failed", noSignal},
    };
  }();
  return presets;
}

SimulatorControlsAction SimulatorControlsAction::setAppearance(SimulatorAppearance value) {
  SimulatorControlsAction action;
  action.kind = Case::setAppearance;
  action.appearance = value;
  return action;
}
SimulatorControlsAction SimulatorControlsAction::setIncreaseContrast(bool enabled) {
  SimulatorControlsAction action;
  action.kind = Case::setIncreaseContrast;
  action.increaseContrast = enabled;
  return action;
}
SimulatorControlsAction SimulatorControlsAction::setContentSize(SimulatorContentSize value) {
  SimulatorControlsAction action;
  action.kind = Case::setContentSize;
  action.contentSize = value;
  return action;
}
SimulatorControlsAction SimulatorControlsAction::stepContentSize(SimulatorContentSizeStep value) {
  SimulatorControlsAction action;
  action.kind = Case::stepContentSize;
  action.step = value;
  return action;
}
SimulatorControlsAction SimulatorControlsAction::applyStatusBarOverride(StatusBarOverride value) {
  SimulatorControlsAction action;
  action.kind = Case::applyStatusBarOverride;
  action.statusBarOverride = std::move(value);
  return action;
}
SimulatorControlsAction SimulatorControlsAction::query(Case kind) {
  SimulatorControlsAction action;
  action.kind = kind;
  return action;
}

std::string_view SimulatorControlsAction::caseName() const {
  switch (kind) {
    case Case::setAppearance: return "setAppearance";
    case Case::setIncreaseContrast: return "setIncreaseContrast";
    case Case::setContentSize: return "setContentSize";
    case Case::stepContentSize: return "stepContentSize";
    case Case::applyStatusBarOverride: return "applyStatusBarOverride";
    case Case::queryAppearance: return "queryAppearance";
    case Case::queryIncreaseContrast: return "queryIncreaseContrast";
    case Case::queryContentSize: return "queryContentSize";
    case Case::clearStatusBarOverrides: return "clearStatusBarOverrides";
    case Case::queryStatusBarOverrides: return "queryStatusBarOverrides";
  }
  return {};
}

SimulatorControlsError SimulatorControlsError::simctlFailed(std::optional<std::int32_t> status, std::string message) {
  SimulatorControlsError error;
  error.kind = Case::simctlFailed;
  error.exitStatus = status;
  error.message = std::move(message);
  return error;
}
SimulatorControlsError SimulatorControlsError::invalidStatusBarValue(std::string message) {
  SimulatorControlsError error;
  error.kind = Case::invalidStatusBarValue;
  error.message = std::move(message);
  return error;
}
SimulatorControlsError SimulatorControlsError::of(Case kind) {
  SimulatorControlsError error;
  error.kind = kind;
  return error;
}

std::string SimulatorControlsError::description() const {
  switch (kind) {
    case Case::simctlFailed:
      return "Simulator command failed" + (exitStatus ? " (exit " + std::to_string(*exitStatus) + ")" : std::string()) +
             ": " + message;
    case Case::invalidStatusBarValue: return message;
    case Case::noSimulatorSelected: return "Choose a booted simulator.";
    case Case::simulatorNotBooted: return "The selected simulator is no longer booted. Choose a simulator explicitly.";
    case Case::persistenceFailed: return "Could not save the status bar draft.";
    case Case::emptyStatusBarOverride: return "Set at least one status bar field before applying.";
  }
  return {};
}

std::string_view SimulatorControlsError::caseName() const {
  switch (kind) {
    case Case::simctlFailed: return "simctlFailed";
    case Case::invalidStatusBarValue: return "invalidStatusBarValue";
    case Case::noSimulatorSelected: return "noSimulatorSelected";
    case Case::simulatorNotBooted: return "simulatorNotBooted";
    case Case::persistenceFailed: return "persistenceFailed";
    case Case::emptyStatusBarOverride: return "emptyStatusBarOverride";
  }
  return {};
}

std::optional<SimulatorContentSize> steppedContentSize(std::string_view current, SimulatorContentSizeStep step) {
  const auto size = fromRawValue<SimulatorContentSize>(current);
  if (!size) return std::nullopt;
  auto index = static_cast<std::ptrdiff_t>(*size) + (step == SimulatorContentSizeStep::increment ? 1 : -1);
  index = std::clamp<std::ptrdiff_t>(index, 0, static_cast<std::ptrdiff_t>(allContentSizes.size()) - 1);
  return allContentSizes[static_cast<std::size_t>(index)];
}

}  // namespace orvanta
