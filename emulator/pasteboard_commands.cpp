// pbcopy, pbpaste and pbsync: each device has a pasteboard of its own, kept byte for byte in
// <home>/pasteboards/<UDID>; the Mac's pasteboard ("host" in pbsync) is <home>/host-pasteboard.
//
// pbcopy reads standard input to its end and prints nothing; pbpaste prints the text as is, with no
// newline added (an empty pasteboard prints nothing). Both need a booted device.
//
// The fault some runtimes show, where pbcopy exits 0 but the pasteboard keeps its old content, is switched
// on by the rule "pbcopyStoresNothing" in $ORVANTA_EMULATOR_FAULTS or <home>/faults.json: {} for every
// device, or {"udids": [...]} for some.
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "emulator/emulator.hpp"
#include "support/atomic_file.hpp"

namespace orvanta::emulator {
namespace {

std::filesystem::path devicePasteboard(const DeviceSet& devices, const Json& device) {
  return devices.home() / "pasteboards" / device["udid"].get<std::string>();
}

std::filesystem::path hostPasteboard(const DeviceSet& devices) { return devices.home() / "host-pasteboard"; }

std::string readStandardInput() {
  std::string text;
  char buffer[65536];
  for (;;) {
    ssize_t count = ::read(0, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    text.append(buffer, static_cast<std::size_t>(count));
  }
  return text;
}

Json pbcopyFault(const std::filesystem::path& home) {
  auto ruleIn = [](const Json& rules) -> Json {
    if (rules.is_object() && rules.contains("pbcopyStoresNothing")) return rules["pbcopyStoresNothing"];
    return nullptr;
  };
  if (const char* inline_ = std::getenv("ORVANTA_EMULATOR_FAULTS"); inline_ && *inline_) {
    if (auto rule = ruleIn(Json::parse(inline_, nullptr, false)); !rule.is_null()) return rule;
  }
  if (auto text = readFile(home / "faults.json", 1 << 20); text && *text) return ruleIn(Json::parse(**text, nullptr, false));
  return nullptr;
}

bool pbcopyStoresNothing(const DeviceSet& devices, const Json& device) {
  const Json rule = pbcopyFault(devices.home());
  if (rule.is_null()) return false;
  if (!rule.is_object() || !rule.contains("udids")) return true;
  for (const auto& udid : rule["udids"]) {
    if (udid == device["udid"]) return true;
  }
  return false;
}

// The arguments after the options pbcopy, pbpaste and pbsync share (-v, and -p for pbsync).
std::vector<std::string> operands(const std::vector<std::string>& args) {
  std::vector<std::string> rest;
  for (const auto& arg : args) {
    if (arg != "-v" && arg != "-p") rest.push_back(arg);
  }
  return rest;
}

std::string readPasteboard(const std::filesystem::path& file) {
  auto text = readFile(file, 64 << 20);
  return text && *text ? **text : std::string();
}

int writePasteboard(Invocation& call, const std::filesystem::path& file, const std::string& text) {
  std::error_code ignored;
  std::filesystem::create_directories(file.parent_path(), ignored);
  if (auto written = writeFileAtomically(file, text); !written) return call.usage(written.error().description());
  return 0;
}

// The booted device `selector` names; nullptr after writing the error.
Json* bootedDevice(Invocation& call, const std::string& selector, int* status) {
  Json* device = call.devices.find(selector);
  if (device == nullptr) {
    *status = call.invalidDevice(selector);
    return nullptr;
  }
  if (call.requireBooted(*device, status)) return nullptr;
  return device;
}

int pbcopy(Invocation& call) {
  const auto rest = operands(call.args);
  if (rest.size() != 1) return call.usage("Usage: simctl pbcopy [-v] <device>");
  int status = 0;
  Json* device = bootedDevice(call, rest[0], &status);
  const std::string text = readStandardInput();
  if (device == nullptr) return status;
  if (pbcopyStoresNothing(call.devices, *device)) return 0;
  return writePasteboard(call, devicePasteboard(call.devices, *device), text);
}

int pbpaste(Invocation& call) {
  const auto rest = operands(call.args);
  if (rest.size() != 1) return call.usage("Usage: simctl pbpaste [-v] <device>");
  int status = 0;
  Json* device = bootedDevice(call, rest[0], &status);
  if (device == nullptr) return status;
  call.out += readPasteboard(devicePasteboard(call.devices, *device));
  return 0;
}

int pbsync(Invocation& call) {
  const auto rest = operands(call.args);
  if (rest.size() != 2) return call.usage("Usage: simctl pbsync [-p] [-v] <source device | host> <destination device | host>");
  int status = 0;
  std::filesystem::path source;
  std::filesystem::path destination;
  if (rest[0] == "host") {
    source = hostPasteboard(call.devices);
  } else if (Json* device = bootedDevice(call, rest[0], &status)) {
    source = devicePasteboard(call.devices, *device);
  } else {
    return status;
  }
  if (rest[1] == "host") {
    destination = hostPasteboard(call.devices);
  } else if (Json* device = bootedDevice(call, rest[1], &status)) {
    destination = devicePasteboard(call.devices, *device);
  } else {
    return status;
  }
  return writePasteboard(call, destination, readPasteboard(source));
}

}  // namespace

void registerPasteboardCommands(CommandTable& table) {
  table["pbcopy"] = pbcopy;
  table["pbpaste"] = pbpaste;
  table["pbsync"] = pbsync;
}

}  // namespace orvanta::emulator
