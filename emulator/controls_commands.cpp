// ui (appearance, increase_contrast, content_size) and status_bar (override, clear, list).
#include <algorithm>
#include <array>
#include <charconv>

#include <fmt/format.h>

#include "emulator/emulator.hpp"

namespace orvanta::emulator {
namespace {

constexpr std::array<const char*, 12> kContentSizes{
    "extra-small",          "small",
    "medium",               "large",
    "extra-large",          "extra-extra-large",
    "extra-extra-extra-large", "accessibility-medium",
    "accessibility-large",  "accessibility-extra-large",
    "accessibility-extra-extra-large", "accessibility-extra-extra-extra-large"};

Json& uiState(Json& device) {
  Json& state = device["emulator"]["ui"];
  if (!state.is_object()) {
    state = Json{{"appearance", "light"}, {"increase_contrast", "disabled"}, {"content_size", "large"}};
  }
  return state;
}

int invalidValue(Invocation& call, const std::string& option, const std::string& value, const std::string& allowed) {
  return call.usage(fmt::format("Invalid {} value '{}'. Valid values: {}", option, value, allowed));
}

int ui(Invocation& call) {
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  if (call.requireBooted(*device, &status)) return status;
  if (call.args.size() < 2) return call.usage("Usage: simctl ui <device> <option> [<arguments>]");
  const std::string option = call.args[1];
  Json& state = uiState(*device);
  if (option != "appearance" && option != "increase_contrast" && option != "content_size") {
    return call.usage("Unknown option '" + option + "'. Options: appearance, increase_contrast, content_size");
  }
  if (call.args.size() == 2) {
    call.out += state[option].get<std::string>() + "\n";
    return 0;
  }
  const std::string value = call.args[2];
  if (option == "appearance") {
    if (value != "light" && value != "dark") return invalidValue(call, option, value, "light, dark");
    state[option] = value;
  } else if (option == "increase_contrast") {
    if (value != "enabled" && value != "disabled") return invalidValue(call, option, value, "enabled, disabled");
    state[option] = value;
  } else {
    auto current = std::find(kContentSizes.begin(), kContentSizes.end(), state[option].get<std::string>());
    auto index = current == kContentSizes.end() ? 3 : current - kContentSizes.begin();
    if (value == "increment") {
      index = std::min<std::ptrdiff_t>(index + 1, static_cast<std::ptrdiff_t>(kContentSizes.size()) - 1);
    } else if (value == "decrement") {
      index = std::max<std::ptrdiff_t>(index - 1, 0);
    } else {
      auto named = std::find(kContentSizes.begin(), kContentSizes.end(), value);
      if (named == kContentSizes.end()) {
        return invalidValue(call, option, value, "extra-small ... accessibility-extra-extra-extra-large, increment, decrement");
      }
      index = named - kContentSizes.begin();
    }
    state[option] = kContentSizes[static_cast<std::size_t>(index)];
  }
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

// Codes as `status_bar list` prints them.
int dataNetworkCode(const std::string& value) {
  static const std::array<std::pair<const char*, int>, 11> codes{{{"hide", 0}, {"wifi", 1}, {"3g", 6}, {"4g", 7},
                                                                  {"lte", 8}, {"lte-a", 9}, {"lte+", 10}, {"5g", 11},
                                                                  {"5g+", 12}, {"5g-uwb", 13}, {"5g-uc", 14}}};
  for (const auto& [name, code] : codes) {
    if (value == name) return code;
  }
  return -1;
}

int modeCode(const std::string& value) {
  if (value == "notSupported") return 0;
  if (value == "searching") return 1;
  if (value == "failed") return 2;
  if (value == "active") return 3;
  return -1;
}

// Nobody has documented simctl's battery-state codes; these are the emulator's own.
int batteryCode(const std::string& value) {
  if (value == "discharging") return 1;
  if (value == "charged") return 2;
  if (value == "charging") return 3;
  return -1;
}

std::optional<int> integer(const std::string& text) {
  int value = 0;
  auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (ec != std::errc() || ptr != text.data() + text.size()) return std::nullopt;
  return value;
}

int statusBar(Invocation& call) {
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  if (call.requireBooted(*device, &status)) return status;
  if (call.args.size() < 2) return call.usage("Usage: simctl status_bar <device> [list | clear | override <override arguments>]");
  Json& overrides = (*device)["emulator"]["status_bar"];
  if (!overrides.is_object()) overrides = Json::object();
  const std::string action = call.args[1];

  if (action == "clear") {
    overrides = Json::object();
  } else if (action == "list") {
    call.out += "Current Status Bar Overrides:\n=============================\n";
    auto number = [&](const char* key) { return overrides.contains(key) ? overrides[key].get<int>() : 0; };
    if (overrides.contains("time")) call.out += "Time: " + overrides["time"].get<std::string>() + "\n";
    if (overrides.contains("dataNetwork")) call.out += fmt::format("DataNetworkType: {}\n", number("dataNetwork"));
    if (overrides.contains("wifiMode") || overrides.contains("wifiBars")) {
      call.out += fmt::format("WiFi Mode: {}, WiFi Bars: {}\n", number("wifiMode"), number("wifiBars"));
    }
    if (overrides.contains("cellularMode") || overrides.contains("cellularBars")) {
      call.out += fmt::format("Cell Mode: {}, Cell Bars: {}\n", number("cellularMode"), number("cellularBars"));
    }
    if (overrides.contains("operatorName")) {
      call.out += "Operator Name: " + overrides["operatorName"].get<std::string>() + "\n";
    }
    if (overrides.contains("batteryState") || overrides.contains("batteryLevel")) {
      call.out += fmt::format("Battery State: {}, Battery Level: {}, Not Charging: 0\n", number("batteryState"),
                              number("batteryLevel"));
    }
    return 0;
  } else if (action == "override") {
    Json changed = overrides;
    for (std::size_t i = 2; i < call.args.size(); i += 2) {
      const std::string flag = call.args[i];
      if (i + 1 >= call.args.size()) return call.usage("Missing value for " + flag);
      const std::string value = call.args[i + 1];
      auto bounded = [&](const char* key, int low, int high) -> bool {
        auto parsed = integer(value);
        if (!parsed || *parsed < low || *parsed > high) return false;
        changed[key] = *parsed;
        return true;
      };
      auto coded = [&](const char* key, int code) -> bool {
        if (code < 0) return false;
        changed[key] = code;
        return true;
      };
      bool ok = true;
      if (flag == "--time") {
        changed["time"] = value;
      } else if (flag == "--operatorName") {
        changed["operatorName"] = value;
      } else if (flag == "--dataNetwork") {
        ok = coded("dataNetwork", dataNetworkCode(value));
      } else if (flag == "--wifiMode") {
        ok = value != "notSupported" && coded("wifiMode", modeCode(value));
      } else if (flag == "--cellularMode") {
        ok = coded("cellularMode", modeCode(value));
      } else if (flag == "--batteryState") {
        ok = coded("batteryState", batteryCode(value));
      } else if (flag == "--wifiBars") {
        ok = bounded("wifiBars", 0, 3);
      } else if (flag == "--cellularBars") {
        ok = bounded("cellularBars", 0, 4);
      } else if (flag == "--batteryLevel") {
        ok = bounded("batteryLevel", 0, 100);
      } else {
        return call.usage("Unrecognized override option: " + flag);
      }
      if (!ok) return call.usage(fmt::format("Invalid value '{}' for {}", value, flag));
    }
    overrides = std::move(changed);
  } else {
    return call.usage("Unknown status_bar action '" + action + "'");
  }
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

}  // namespace

void registerControlsCommands(CommandTable& table) {
  table["ui"] = ui;
  table["status_bar"] = statusBar;
}

}  // namespace orvanta::emulator
