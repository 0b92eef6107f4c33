#include "tools/controls/simulator_controls_readback.hpp"

namespace orvanta {

std::string firstOutputLine(std::string_view text) {
  auto end = text.find_first_of("\r\n");
  std::string line(text.substr(0, end));
  while (!line.empty() && line.back() == ' ') line.pop_back();
  return line;
}

std::vector<std::string> statusBarContradictions(const StatusBarOverride& sent, const StatusBarReading& reading) {
  std::vector<std::string> found;
  const auto& got = reading.values;
  auto compare = [&](const char* name, const auto& want, const auto& have, auto show) {
    if (!want) return;
    if (!have) {
      found.push_back(std::string(name) + " " + show(*want) + " (not listed)");
    } else if (*want != *have) {
      found.push_back(std::string(name) + " " + show(*want) + " (listed as " + show(*have) + ")");
    }
  };
  auto text = [](const std::string& value) { return "\"" + value + "\""; };
  auto number = [](int value) { return std::to_string(value); };
  auto raw = [](auto value) { return std::string(rawValue(value)); };
  if (sent.time && sent.time->find('T') == std::string::npos) compare("time", sent.time, got.time, text);
  compare("data network", sent.dataNetwork, got.dataNetwork, raw);
  compare("Wi-Fi mode", sent.wifiMode, got.wifiMode, raw);
  compare("Wi-Fi bars", sent.wifiBars, got.wifiBars, number);
  compare("cellular mode", sent.cellularMode, got.cellularMode, raw);
  compare("cellular bars", sent.cellularBars, got.cellularBars, number);
  compare("operator name", sent.operatorName, got.operatorName, text);
  compare("battery level", sent.batteryLevel, got.batteryLevel, number);
  return found;
}

std::string settingNotConfirmedText(std::string_view what, std::string_view sent, std::string_view reported) {
  return "Sent " + std::string(what) + " " + std::string(sent) + ", but the simulator reports " + std::string(reported) +
         ".";
}

std::string statusBarNotConfirmedText(const std::vector<std::string>& contradictions) {
  std::string list;
  for (const auto& item : contradictions) list += (list.empty() ? "" : "; ") + item;
  return "Sent the status bar overrides, but the simulator does not show: " + list + ".";
}

std::string statusBarClearNotConfirmedText() {
  return "Cleared the status bar overrides, but the simulator still lists some.";
}

}  // namespace orvanta
