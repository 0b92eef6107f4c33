// Every reader of what simctl prints, fed the same bytes: the device list (JSON), the app list (text
// property list), launch output, the status-bar listing, the location scenario list, and a stored
// status-bar draft. None may crash, hang or leak on any input.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <nlohmann/json.hpp>

#include "apps/simulator_app.hpp"
#include "core/simctl_client.hpp"
#include "tools/controls/simulator_controls_service.hpp"
#include "tools/location/location_scenario_list.hpp"
#include "tools/privacy/privacy_service_list.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  (void)orvanta::decodeDeviceList(text);
  (void)orvanta::decodeAppList(text, true);
  (void)orvanta::parseLaunchOutput(text);
  (void)orvanta::parseStatusBarList(text);
  (void)orvanta::parseLocationScenarioList(text);
  (void)orvanta::parsePrivacyServiceWords(text);
  auto json = nlohmann::json::parse(text.begin(), text.end(), nullptr, false);
  if (!json.is_discarded()) (void)orvanta::statusBarOverrideFromJson(json);
  return 0;
}
