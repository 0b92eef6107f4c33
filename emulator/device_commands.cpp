// list, boot, shutdown, erase, delete and help.
//
// Boot and shutdown pass through "Booting" and "Shutting Down" for $ORVANTA_EMULATOR_TRANSITION_SECONDS
// (default 0: at once), as a real device does while it starts or stops; the device set settles such a
// transition when it is next opened after its time has come.
#include <chrono>
#include <cstdlib>
#include <system_error>

#include <fmt/format.h>

#include "emulator/emulator.hpp"

namespace orvanta::emulator {
namespace {

std::string runtimeTitle(const std::string& identifier) {
  // "com.apple.CoreSimulator.SimRuntime.iOS-18-2" -> "iOS 18.2", as the text listing shows it.
  constexpr std::string_view prefix = "com.apple.CoreSimulator.SimRuntime.";
  std::string rest = identifier.starts_with(prefix) ? identifier.substr(prefix.size()) : identifier;
  auto dash = rest.find('-');
  if (dash == std::string::npos) return rest;
  std::string version = rest.substr(dash + 1);
  for (char& c : version) {
    if (c == '-') c = '.';
  }
  return rest.substr(0, dash) + " " + version;
}

int list(Invocation& call) {
  bool json = false;
  bool escape = true;
  for (const auto& arg : call.args) {
    if (arg == "--json" || arg == "-j") {
      json = true;
    } else if (arg == "-e" || arg == "--no-escape-slashes") {
      escape = false;
    } else if (arg != "devices" && arg != "-v") {
      return call.usage(fmt::format("Unsupported list type or filter: {}", arg));
    }
  }
  if (json) {
    Json devices = Json::object();
    for (auto& entry : call.devices.runtimes()) {
      Json listed = Json::array();
      for (const auto& device : entry["devices"]) {
        Json copy = device;
        copy.erase("emulator");
        listed.push_back(std::move(copy));
      }
      devices[entry["identifier"].get<std::string>()] = std::move(listed);
    }
    call.out += appleJson(Json{{"devices", std::move(devices)}}, escape);
    return 0;
  }
  call.out += "== Devices ==\n";
  for (auto& entry : call.devices.runtimes()) {
    const bool available = std::none_of(entry["devices"].begin(), entry["devices"].end(),
                                        [](const Json& d) { return d["isAvailable"] == false; });
    call.out += fmt::format("-- {} --{}\n", runtimeTitle(entry["identifier"].get<std::string>()),
                            available ? "" : " (unavailable)");
    for (const auto& device : entry["devices"]) {
      call.out += fmt::format("    {} ({}) ({}){}\n", device["name"].get<std::string>(),
                              device["udid"].get<std::string>(), device["state"].get<std::string>(),
                              device["isAvailable"] == false ? " (unavailable, runtime profile not found)" : "");
    }
  }
  return 0;
}

double transitionSeconds() {
  const char* text = std::getenv("ORVANTA_EMULATOR_TRANSITION_SECONDS");
  if (text == nullptr || *text == '\0') return 0;
  return std::max(0.0, std::atof(text));
}

// Puts the device into `passing` until the transition time has run out, then into `final`.
void changeState(Json& device, const char* passing, const char* final) {
  const double seconds = transitionSeconds();
  if (seconds <= 0) {
    device["state"] = final;
    return;
  }
  const double now = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  device["state"] = passing;
  device["emulator"]["transition"] = Json{{"state", final}, {"at", now + seconds}};
}

int boot(Invocation& call) {
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  const std::string state = (*device)["state"].get<std::string>();
  if (state != "Shutdown") {
    return call.fail({"com.apple.CoreSimulator.SimError", 405, "Unable to boot device in current state: " + state, ""});
  }
  changeState(*device, "Booting", "Booted");
  (*device)["lastBootedAt"] = "2026-11-21T08:00:00Z";
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

int shutdown(Invocation& call) {
  int status = 0;
  if (!call.args.empty() && call.args[0] == "all") {
    for (Json* device : call.devices.allDevices()) {
      if ((*device)["state"] == "Booted") (*device)["state"] = "Shutdown";
    }
  } else {
    Json* device = call.device(0, &status);
    if (!device) return status;
    const std::string state = (*device)["state"].get<std::string>();
    if (state != "Booted") {
      return call.fail(
          {"com.apple.CoreSimulator.SimError", 405, "Unable to shutdown device in current state: " + state, ""});
    }
    changeState(*device, "Shutting Down", "Shutdown");
  }
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

// `erase <device>`: content and settings back to new. Only a shut-down device can be erased.
int eraseContents(Invocation& call) {
  int status = 0;
  if (!call.args.empty() && call.args[0] == "all") {
    return call.usage("The emulator erases one device at a time.");
  }
  Json* device = call.device(0, &status);
  if (!device) return status;
  const std::string state = (*device)["state"].get<std::string>();
  if (state != "Shutdown") {
    return call.fail({"com.apple.CoreSimulator.SimError", 405,
                      "Unable to erase contents and settings in current state: " + state, ""});
  }
  (*device).erase("emulator");
  (*device).erase("lastBootedAt");
  std::error_code ignored;
  std::filesystem::remove_all((*device)["dataPath"].get<std::string>(), ignored);
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

// `help`: the usage text, whose first line names simctl's version.
int help(Invocation& call) {
  call.out +=
      "@(#)PROGRAM:simctl  PROJECT:CoreSimulator-1010.10\n"
      "usage: simctl [--set <path>] [--profiles <path>] <subcommand> ...\n"
      "       simctl help [subcommand]\n"
      "Command line utility to control the Simulator\n\n"
      "Subcommands:\n"
      "\tboot                Boot a device or device pair.\n"
      "\terase               Erase a device's contents and settings.\n"
      "\tlist                List available devices, device types, runtimes, or device pairs.\n"
      "\tshutdown            Shutdown a device.\n";
  return 0;
}

int erase(Invocation& call) {
  // `delete <device>`: the device disappears from every listing.
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  const std::string udid = (*device)["udid"].get<std::string>();
  for (auto& entry : call.devices.runtimes()) {
    auto& listed = entry["devices"];
    for (auto it = listed.begin(); it != listed.end(); ++it) {
      if ((*it)["udid"] == udid) {
        listed.erase(it);
        break;
      }
    }
  }
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

}  // namespace

void registerDeviceCommands(CommandTable& table) {
  table["list"] = list;
  table["boot"] = boot;
  table["shutdown"] = shutdown;
  table["delete"] = erase;
  table["erase"] = eraseContents;
  table["help"] = help;
}

}  // namespace orvanta::emulator
