// The simctl emulator's command table: each subcommand is a handler over the device set.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "emulator/device_set.hpp"

namespace orvanta::emulator {

// One run of `simctl <subcommand> <args...>`: handlers append to out/err and return the exit status.
struct Invocation {
  std::string subcommand;
  std::vector<std::string> args;
  DeviceSet& devices;
  std::string out;
  std::string err;

  // Writes a failure's envelope to err and returns its exit status.
  int fail(const SimctlFailure& failure);
  // "Invalid device: <selector>" (or "No devices are booted." for "booted"), exit 148.
  int invalidDevice(const std::string& selector);
  // Resolves args[index] as a device selector; nullptr after writing the error (status in *status).
  Json* device(std::size_t index, int* status);
  // A usage error: the text on stderr, exit 64 (what simctl's argument parser uses).
  int usage(const std::string& text);
  // The state error simctl gives when a command needs a booted device.
  int requireBooted(const Json& device, int* status);
};

using Handler = std::function<int(Invocation&)>;
using CommandTable = std::map<std::string, Handler>;

void registerDeviceCommands(CommandTable& table);
void registerControlsCommands(CommandTable& table);
void registerLocationCommands(CommandTable& table);
void registerAppsCommands(CommandTable& table);
void registerDeepLinkCommands(CommandTable& table);
void registerIoCommands(CommandTable& table);
void registerPushCommands(CommandTable& table);
void registerPrivacyCommands(CommandTable& table);

// The device's app state (see apps_commands.cpp), seeded on first use; nullptr after writing the error.
Json* deviceApps(Invocation& call, Json& device, int* status);
// spawn <device> log stream: prints while it runs (see log_commands.cpp).
void registerLogCommands(CommandTable& table);
void registerPasteboardCommands(CommandTable& table);
// addmedia and keychain (see app_data_commands.cpp).
void registerAppDataCommands(CommandTable& table);
// spawn <device> defaults export|write|delete on the booted `device` (see app_data_commands.cpp).
int spawnDefaults(Invocation& call, Json& device);
// Fills a seeded user app's data container (and its group containers) with the files an app of its kind
// keeps: preferences, a database in WAL mode with rows still in its log, JSON and documents. Fails with
// a sentence.
expected<void, std::string> seedAppData(const std::string& bundleIdentifier, const std::filesystem::path& dataContainer,
                                        const std::map<std::string, std::filesystem::path>& groupContainers);

}  // namespace orvanta::emulator
