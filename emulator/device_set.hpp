// The emulator's simulated devices, kept as one JSON document in its state folder.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "emulator/simctl_output.hpp"
#include "support/expected.hpp"
#include "support/file_lock.hpp"

namespace orvanta::emulator {

// The state folder: $ORVANTA_EMULATOR_HOME, else <tmp>/orvanta-emulator-<uid>.
std::filesystem::path emulatorHome();

// The device set of one invocation. Opening it takes the folder's lock, so concurrent invocations see
// each other's changes whole; the lock is released on destruction (or earlier by unlock(), for
// commands that keep running).
class DeviceSet {
 public:
  // Opens (seeding it on first use) the device set in `home`. Fails with a sentence.
  static expected<DeviceSet, std::string> open(const std::filesystem::path& home);

  // Each runtime: {"identifier": ..., "devices": [device...]}. Devices keep the keys simctl prints plus
  // "tool" state of their own under "emulator".
  Json& runtimes() { return document_["runtimes"]; }
  const std::filesystem::path& home() const { return home_; }

  // The device a selector names: a udid (any letter case), "booted" (the first booted device), or an exact
  // name (the first available device of that name). Nullptr when none.
  Json* find(const std::string& selector);
  // The runtime identifier a device is listed under.
  std::string runtimeOf(const Json& device) const;
  std::vector<Json*> allDevices();

  expected<void, std::string> save();
  void unlock() { lock_.reset(); }

 private:
  DeviceSet() = default;
  // Ends the boots and shutdowns whose time has come; true when a device changed.
  bool settleTransitions();
  std::filesystem::path home_;
  Json document_;
  std::optional<FileLock> lock_;
};

// The seeded set: several runtimes, two booted devices, a duplicate name, an unavailable device, a device
// shutting down and an empty runtime.
Json seedDocument(const std::filesystem::path& home);

}  // namespace orvanta::emulator
