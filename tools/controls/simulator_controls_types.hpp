// The vocabulary of the simulator controls: appearance, contrast, text size and status-bar overrides.
// Scenarios store and apply the same types.
#pragma once

#include <cstdio>  // before any use of the names stdout and stderr (macros on some systems)

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include <nlohmann/json_fwd.hpp>

#include "support/expected.hpp"

namespace orvanta {

enum class SimulatorAppearance { light, dark };
enum class SimulatorContentSize {
  extraSmall,
  small,
  medium,
  large,
  extraLarge,
  extraExtraLarge,
  extraExtraExtraLarge,
  accessibilityMedium,
  accessibilityLarge,
  accessibilityExtraLarge,
  accessibilityExtraExtraLarge,
  accessibilityExtraExtraExtraLarge,
};
enum class SimulatorContentSizeStep { increment, decrement };
enum class StatusBarDataNetwork { hide, wifi, g3, g4, lte, lteA, ltePlus, g5, g5Plus, g5Uwb, g5Uc };
enum class StatusBarWifiMode { searching, failed, active };
enum class StatusBarCellularMode { notSupported, searching, failed, active };
enum class StatusBarBatteryState { charging, charged, discharging };

// Every case of each enumeration, in order.
inline constexpr std::array allAppearances{SimulatorAppearance::light, SimulatorAppearance::dark};
extern const std::array<SimulatorContentSize, 12> allContentSizes;
extern const std::array<StatusBarDataNetwork, 11> allDataNetworks;
extern const std::array<StatusBarWifiMode, 3> allWifiModes;
extern const std::array<StatusBarCellularMode, 4> allCellularModes;
extern const std::array<StatusBarBatteryState, 3> allBatteryStates;

// Raw values as the simulator tool takes them ("extra-large", "lte+", "notSupported", ...).
std::string_view rawValue(SimulatorAppearance value);
std::string_view rawValue(SimulatorContentSize value);
std::string_view rawValue(SimulatorContentSizeStep value);
std::string_view rawValue(StatusBarDataNetwork value);
std::string_view rawValue(StatusBarWifiMode value);
std::string_view rawValue(StatusBarCellularMode value);
std::string_view rawValue(StatusBarBatteryState value);

// The content size one step from `current` (as the simulator reports it), kept within the smallest and the
// largest; nullopt when `current` names no size.
std::optional<SimulatorContentSize> steppedContentSize(std::string_view current, SimulatorContentSizeStep step);

// Display names ("Extra Large", "Not Supported", ...).
std::string displayName(SimulatorContentSize value);
std::string displayName(StatusBarCellularMode value);

// The case whose raw value is `text` (exact), if any.
template <class Enum>
std::optional<Enum> fromRawValue(std::string_view text);

// Overrides of the status bar; an absent field leaves that part unchanged.
struct StatusBarOverride {
  std::optional<std::string> time;
  std::optional<StatusBarDataNetwork> dataNetwork;
  std::optional<StatusBarWifiMode> wifiMode;
  std::optional<int> wifiBars;
  std::optional<StatusBarCellularMode> cellularMode;
  std::optional<int> cellularBars;
  std::optional<std::string> operatorName;
  std::optional<StatusBarBatteryState> batteryState;
  std::optional<int> batteryLevel;

  [[nodiscard]] bool isEmpty() const;
  bool operator==(const StatusBarOverride&) const = default;
};

// The status bar as edited before it is applied; the same nine fields.
using StatusBarEditorDraft = StatusBarOverride;

// JSON with the field names as keys and raw values; absent fields left out. Reading ignores unknown keys
// and fails with a sentence on a value of the wrong kind.
nlohmann::json toJson(const StatusBarOverride& value);
expected<StatusBarOverride, std::string> statusBarOverrideFromJson(const nlohmann::json& json);

struct StatusBarPreset {
  std::string id;
  std::string title;
  std::string subtitle;
  StatusBarOverride override;
};

// "Clean Screenshot", "Low Battery", "No Signal", in that order; ids "clean-screenshot", "low-battery",
// "no-signal".
const std::array<StatusBarPreset, 3>& statusBarPresets();

struct SimulatorControlsAction {
  enum class Case {
    setAppearance,
    setIncreaseContrast,
    setContentSize,
    stepContentSize,
    applyStatusBarOverride,
    queryAppearance,
    queryIncreaseContrast,
    queryContentSize,
    clearStatusBarOverrides,
    queryStatusBarOverrides,
  };
  Case kind = Case::queryAppearance;
  SimulatorAppearance appearance = SimulatorAppearance::light;
  bool increaseContrast = false;
  SimulatorContentSize contentSize = SimulatorContentSize::large;
  SimulatorContentSizeStep step = SimulatorContentSizeStep::increment;
  StatusBarOverride statusBarOverride;

  static SimulatorControlsAction setAppearance(SimulatorAppearance value);
  static SimulatorControlsAction setIncreaseContrast(bool enabled);
  static SimulatorControlsAction setContentSize(SimulatorContentSize value);
  static SimulatorControlsAction stepContentSize(SimulatorContentSizeStep value);
  static SimulatorControlsAction applyStatusBarOverride(StatusBarOverride value);
  static SimulatorControlsAction query(Case kind);

  [[nodiscard]] std::string_view caseName() const;
  bool operator==(const SimulatorControlsAction&) const = default;
};

struct SimulatorControlsResult {
  SimulatorControlsAction action;
  std::string simulatorUDID;
  std::string simulatorName;
  std::string stdout;
  std::string stderr;
};

struct SimulatorControlsError {
  enum class Case {
    simctlFailed,
    invalidStatusBarValue,
    noSimulatorSelected,
    simulatorNotBooted,
    persistenceFailed,
    emptyStatusBarOverride,
  };
  Case kind = Case::simctlFailed;
  std::optional<std::int32_t> exitStatus;  // simctlFailed
  std::string message;                     // simctlFailed, invalidStatusBarValue

  static SimulatorControlsError simctlFailed(std::optional<std::int32_t> status, std::string message);
  static SimulatorControlsError invalidStatusBarValue(std::string message);
  static SimulatorControlsError of(Case kind);

  [[nodiscard]] std::string description() const;
  [[nodiscard]] std::string_view caseName() const;
  bool operator==(const SimulatorControlsError&) const = default;
};

}  // namespace orvanta
