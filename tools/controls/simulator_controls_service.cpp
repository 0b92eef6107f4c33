#include "tools/controls/simulator_controls_service.hpp"

#include <charconv>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "support/text.hpp"
#include "support/utf8.hpp"

namespace orvanta {

std::vector<std::string> simulatorControlsArguments(const std::string& udid, const SimulatorControlsAction& action) {
  using Case = SimulatorControlsAction::Case;
  auto ui = [&](std::string_view option, std::optional<std::string_view> value = std::nullopt) {
    std::vector<std::string> arguments{"simctl", "ui", udid, std::string(option)};
    if (value) arguments.emplace_back(*value);
    return arguments;
  };
  switch (action.kind) {
    case Case::setAppearance: return ui("appearance", rawValue(action.appearance));
    case Case::setIncreaseContrast: return ui("increase_contrast", action.increaseContrast ? "enabled" : "disabled");
    case Case::setContentSize: return ui("content_size", rawValue(action.contentSize));
    case Case::stepContentSize: return ui("content_size", rawValue(action.step));
    case Case::queryAppearance: return ui("appearance");
    case Case::queryIncreaseContrast: return ui("increase_contrast");
    case Case::queryContentSize: return ui("content_size");
    case Case::clearStatusBarOverrides: return {"simctl", "status_bar", udid, "clear"};
    case Case::queryStatusBarOverrides: return {"simctl", "status_bar", udid, "list"};
    case Case::applyStatusBarOverride: {
      const auto& o = action.statusBarOverride;
      std::vector<std::string> arguments{"simctl", "status_bar", udid, "override"};
      auto flag = [&](const char* name, std::string value) {
        arguments.emplace_back(name);
        arguments.push_back(std::move(value));
      };
      if (o.time) flag("--time", *o.time);
      if (o.dataNetwork) flag("--dataNetwork", std::string(rawValue(*o.dataNetwork)));
      if (o.wifiMode) flag("--wifiMode", std::string(rawValue(*o.wifiMode)));
      if (o.wifiBars) flag("--wifiBars", std::to_string(*o.wifiBars));
      if (o.cellularMode) flag("--cellularMode", std::string(rawValue(*o.cellularMode)));
      if (o.cellularBars) flag("--cellularBars", std::to_string(*o.cellularBars));
      if (o.operatorName) flag("--operatorName", *o.operatorName);
      if (o.batteryState) flag("--batteryState", std::string(rawValue(*o.batteryState)));
      if (o.batteryLevel) flag("--batteryLevel", std::to_string(*o.batteryLevel));
      return arguments;
    }
  }
  return {};
}

namespace {

bool hasControlCharacters(std::string_view text) {
  for (char c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) return true;
  }
  return false;
}

std::size_t characterCount(std::string_view text) {
  std::size_t count = 0;
  for (char c : text) {
    if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) ++count;
  }
  return count;
}

}  // namespace

std::optional<SimulatorControlsError> validateStatusBarOverride(const StatusBarOverride& value) {
  auto invalid = [](std::string message) { return SimulatorControlsError::invalidStatusBarValue(std::move(message)); };
  if (value.time) {
    if (trimWhitespace(*value.time).empty()) return invalid("The status bar time can't be empty.");
    if (!isValidUtf8(*value.time) || hasControlCharacters(*value.time)) {
      return invalid("The status bar time can't contain line breaks or control characters.");
    }
    if (characterCount(*value.time) > 32) return invalid("The status bar time can be at most 32 characters long.");
  }
  if (value.wifiBars && (*value.wifiBars < 0 || *value.wifiBars > 3)) {
    return invalid(fmt::format("Wi-Fi bars must be between 0 and 3 (got {}).", *value.wifiBars));
  }
  if (value.cellularBars && (*value.cellularBars < 0 || *value.cellularBars > 4)) {
    return invalid(fmt::format("Cellular bars must be between 0 and 4 (got {}).", *value.cellularBars));
  }
  if (value.operatorName) {
    if (!isValidUtf8(*value.operatorName) || hasControlCharacters(*value.operatorName)) {
      return invalid("The operator name can't contain line breaks or control characters.");
    }
    if (characterCount(*value.operatorName) > 64) return invalid("The operator name can be at most 64 characters long.");
  }
  if (value.batteryLevel && (*value.batteryLevel < 0 || *value.batteryLevel > 100)) {
    return invalid(fmt::format("Battery level must be between 0 and 100 percent (got {}).", *value.batteryLevel));
  }
  return std::nullopt;
}

StatusBarReading parseStatusBarList(std::string_view text) {
  StatusBarReading reading;
  auto code = [](std::string_view value) -> std::optional<int> {
    int number = 0;
    auto [ptr, ec] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (ec != std::errc() || ptr != value.data() + value.size()) return std::nullopt;
    return number;
  };
  auto dataNetwork = [](int number) -> std::optional<StatusBarDataNetwork> {
    switch (number) {
      case 0: return StatusBarDataNetwork::hide;
      case 1: return StatusBarDataNetwork::wifi;
      case 6: return StatusBarDataNetwork::g3;
      case 7: return StatusBarDataNetwork::g4;
      case 8: return StatusBarDataNetwork::lte;
      case 9: return StatusBarDataNetwork::lteA;
      case 10: return StatusBarDataNetwork::ltePlus;
      case 11: return StatusBarDataNetwork::g5;
      case 12: return StatusBarDataNetwork::g5Plus;
      case 13: return StatusBarDataNetwork::g5Uwb;
      case 14: return StatusBarDataNetwork::g5Uc;
      default: return std::nullopt;
    }
  };
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    std::string_view line = text.substr(start, end - start);
    start = end + 1;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || line.starts_with("Current Status Bar Overrides") ||
        line.find_first_not_of('=') == std::string_view::npos) {
      continue;
    }
    bool understood = true;
    // "Key: value" pairs separated by ", ", except Time and Operator Name, whose values are free text.
    if (line.starts_with("Time: ") || line == "Time:") {
      reading.values.time = line.size() > 6 ? std::string(line.substr(6)) : std::string();
    } else if (line.starts_with("Operator Name:")) {
      std::string_view value = line.substr(14);
      if (value.starts_with(' ')) value.remove_prefix(1);
      reading.values.operatorName = std::string(value);
    } else {
      std::size_t pairStart = 0;
      while (pairStart <= line.size()) {
        std::size_t pairEnd = line.find(", ", pairStart);
        if (pairEnd == std::string_view::npos) pairEnd = line.size();
        std::string_view pair = line.substr(pairStart, pairEnd - pairStart);
        pairStart = pairEnd + 2;
        const auto colon = pair.find(": ");
        if (colon == std::string_view::npos) {
          understood = false;
          break;
        }
        const std::string_view key = pair.substr(0, colon);
        const auto number = code(pair.substr(colon + 2));
        if (!number) {
          understood = false;
          continue;
        }
        if (key == "DataNetworkType") {
          reading.values.dataNetwork = dataNetwork(*number);
        } else if (key == "WiFi Mode") {
          if (*number >= 1 && *number <= 3) reading.values.wifiMode = allWifiModes[static_cast<std::size_t>(*number - 1)];
        } else if (key == "WiFi Bars") {
          reading.values.wifiBars = *number;
        } else if (key == "Cell Mode") {
          if (*number >= 0 && *number <= 3) reading.values.cellularMode = allCellularModes[static_cast<std::size_t>(*number)];
        } else if (key == "Cell Bars") {
          reading.values.cellularBars = *number;
        } else if (key == "Battery State") {
          reading.batteryStateCode = *number;
        } else if (key == "Battery Level") {
          reading.values.batteryLevel = *number;
        } else if (key != "Not Charging") {
          understood = false;
        }
      }
    }
    reading.hasOverrides = true;
    if (!understood) reading.unknownLines.emplace_back(line);
  }
  return reading;
}

expected<SimulatorControlsResult, SimulatorControlsError> SimulatorControlsService::perform(
    const SimulatorTargetStatus& target, const SimulatorControlsAction& action, orvanta::stop_token stop) const {
  using Error = SimulatorControlsError;
  if (target.kind == SimulatorTargetStatus::Case::lost) return unexpected(Error::of(Error::Case::simulatorNotBooted));
  if (target.kind != SimulatorTargetStatus::Case::selected || !target.device) {
    return unexpected(Error::of(Error::Case::noSimulatorSelected));
  }
  if (action.kind == SimulatorControlsAction::Case::applyStatusBarOverride) {
    if (action.statusBarOverride.isEmpty()) return unexpected(Error::of(Error::Case::emptyStatusBarOverride));
    if (auto invalid = validateStatusBarOverride(action.statusBarOverride)) return unexpected(*invalid);
  }
  const auto& device = *target.device;
  auto output = client_.run(client_.xcrunPath, simulatorControlsArguments(device.udid, action), std::move(stop));
  if (!output) return unexpected(Error::simctlFailed(std::nullopt, output.error().description()));
  std::string out = utf8OrEmpty(output->stdout);
  std::string err = utf8OrEmpty(output->stderr);
  if (output->terminationStatus != 0 || output->terminatedBySignal) {
    return unexpected(Error::simctlFailed(output->terminationStatus, simctlDiagnostic(*output)));
  }
  return SimulatorControlsResult{action, device.udid, device.name, std::move(out), std::move(err)};
}

std::optional<StatusBarEditorDraft> SimulatorControlsPersistence::loadDraft() const {
  auto stored = defaults_->value(draftKey);
  if (!stored || !*stored) return std::nullopt;
  auto draft = statusBarOverrideFromJson(**stored);
  if (!draft) return std::nullopt;
  return *draft;
}

expected<void, SimulatorControlsError> SimulatorControlsPersistence::saveDraft(const StatusBarEditorDraft& draft) {
  if (!defaults_->setValue(draftKey, toJson(draft))) {
    return unexpected(SimulatorControlsError::of(SimulatorControlsError::Case::persistenceFailed));
  }
  return {};
}

}  // namespace orvanta
