#include "emulator/device_set.hpp"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

#include "support/app_paths.hpp"
#include "support/atomic_file.hpp"

namespace orvanta::emulator {

std::filesystem::path emulatorHome() {
  if (const char* home = std::getenv("ORVANTA_EMULATOR_HOME"); home && *home) return home;
  return temporaryDirectory() / ("orvanta-emulator-" + std::to_string(::getuid()));
}

namespace {

Json device(const std::filesystem::path& home, const char* udid, const char* name, const char* state,
            const char* type) {
  const auto base = home / "Devices" / udid;
  Json record = Json::object();
  if (std::string_view(state) == "Booted") record["lastBootedAt"] = "2026-11-20T09:12:44Z";
  record["dataPath"] = (base / "data").string();
  record["dataPathSize"] = 1170030592;
  record["logPath"] = (home / "Logs" / udid).string();
  record["udid"] = udid;
  record["isAvailable"] = true;
  record["deviceTypeIdentifier"] = std::string("com.apple.CoreSimulator.SimDeviceType.") + type;
  record["state"] = state;
  record["name"] = name;
  return record;
}

Json runtime(const char* identifier, Json devices) {
  return Json{{"identifier", std::string("com.apple.CoreSimulator.SimRuntime.") + identifier},
              {"devices", std::move(devices)}};
}

}  // namespace

Json seedDocument(const std::filesystem::path& home) {
  Json unavailable = device(home, "79D2BA8D-B640-4B9A-8A4F-AE079CEFF42F", "iPhone 14", "Shutdown", "iPhone-14");
  unavailable["isAvailable"] = false;
  unavailable["availabilityError"] = "runtime profile not found using \"System\" match policy";

  Json runtimes = Json::array();
  runtimes.push_back(runtime("watchOS-11-2", Json::array({device(home, "5E3C2D1A-7B8F-4E6D-9C0A-1B2C3D4E5F60",
                                                                "Apple Watch Series 10 (46mm)", "Shutdown",
                                                                "Apple-Watch-Series-10-46mm")})));
  runtimes.push_back(runtime(
      "iOS-18-2",
      Json::array({device(home, "3BC9A608-0042-414F-B35C-7ADB869BC572", "iPhone 16", "Booted", "iPhone-16"),
                   device(home, "E386B311-8A47-4772-8679-FE21D12C20A8", "iPad Pro 11-inch (M4)", "Shutdown",
                          "iPad-Pro-11-inch-M4-8GB"),
                   device(home, "A1F5C2E4-3D6B-4F8A-9E7C-2B4D6F8A0C1E", "iPhone 15", "Shutdown", "iPhone-15"),
                   device(home, "C7D9E1F3-5A7B-4C9D-8E1F-3A5B7C9D1E2F", "iPhone SE (3rd generation)",
                          "Shutting Down", "iPhone-SE-3rd-generation")})));
  runtimes.push_back(runtime(
      "iOS-17-5",
      Json::array({device(home, "9F8E7D6C-5B4A-4392-8170-6F5E4D3C2B1A", "iPhone 15", "Booted", "iPhone-15")})));
  runtimes.push_back(runtime("iOS-16-1", Json::array({unavailable})));
  runtimes.push_back(runtime("tvOS-18-2", Json::array()));
  return Json{{"formatVersion", 1}, {"runtimes", std::move(runtimes)}};
}

expected<DeviceSet, std::string> DeviceSet::open(const std::filesystem::path& home) {
  if (auto made = ensurePrivateDirectory(home); !made) return unexpected(made.error().description());
  DeviceSet set;
  set.home_ = home;
  auto lock = FileLock::acquire(home / "state.lock", FileLock::Wait::blocking);
  if (!lock) return unexpected(lock.error().description());
  set.lock_ = std::move(**lock);

  const auto file = home / "devices.json";
  auto text = readFile(file, 64 << 20);
  if (!text) return unexpected(text.error().description());
  if (!*text) {
    set.document_ = seedDocument(home);
    if (auto saved = set.save(); !saved) return unexpected(saved.error());
    return set;
  }
  try {
    set.document_ = Json::parse(**text);
  } catch (const nlohmann::json::exception& error) {
    return unexpected(std::string("The emulator's state file is damaged: ") + error.what());
  }
  if (set.settleTransitions()) {
    if (auto saved = set.save(); !saved) return unexpected(saved.error());
  }
  return set;
}

bool DeviceSet::settleTransitions() {
  const double now = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  bool changed = false;
  for (Json* device : allDevices()) {
    if (!device->contains("emulator") || !(*device)["emulator"].contains("transition")) continue;
    const Json& transition = (*device)["emulator"]["transition"];
    if (transition.value("at", 0.0) > now) continue;
    (*device)["state"] = transition.value("state", "Shutdown");
    (*device)["emulator"].erase("transition");
    changed = true;
  }
  return changed;
}

Json* DeviceSet::find(const std::string& selector) {
  auto upper = [](std::string text) {
    std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
  };
  const std::string wanted = upper(selector);
  for (Json* candidate : allDevices()) {
    if (upper((*candidate)["udid"].get<std::string>()) == wanted) return candidate;
  }
  if (selector == "booted") {
    for (Json* candidate : allDevices()) {
      if ((*candidate)["state"] == "Booted") return candidate;
    }
    return nullptr;
  }
  for (Json* candidate : allDevices()) {
    if ((*candidate)["name"] == selector && (*candidate)["isAvailable"] == true) return candidate;
  }
  return nullptr;
}

std::string DeviceSet::runtimeOf(const Json& device) const {
  for (const auto& entry : document_["runtimes"]) {
    for (const auto& candidate : entry["devices"]) {
      if (&candidate == &device) return entry["identifier"].get<std::string>();
    }
  }
  return {};
}

std::vector<Json*> DeviceSet::allDevices() {
  std::vector<Json*> devices;
  for (auto& entry : runtimes()) {
    for (auto& candidate : entry["devices"]) devices.push_back(&candidate);
  }
  return devices;
}

expected<void, std::string> DeviceSet::save() {
  auto written = writeFileAtomically(home_ / "devices.json", document_.dump(2) + "\n");
  if (!written) return unexpected(written.error().description());
  return {};
}

}  // namespace orvanta::emulator
