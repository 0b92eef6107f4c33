#include "emulator/emulator.hpp"

namespace orvanta::emulator {

int Invocation::fail(const SimctlFailure& failure) {
  err += failure.envelope();
  return failure.exitStatus();
}

int Invocation::invalidDevice(const std::string& selector) {
  err += selector == "booted" ? std::string("No devices are booted.\n") : "Invalid device: " + selector + "\n";
  return 148;
}

Json* Invocation::device(std::size_t index, int* status) {
  if (index >= args.size()) {
    *status = usage("Usage: simctl " + subcommand + " <device> ...");
    return nullptr;
  }
  Json* found = devices.find(args[index]);
  if (!found) *status = invalidDevice(args[index]);
  return found;
}

int Invocation::usage(const std::string& text) {
  err += text + "\n";
  return 64;
}

int Invocation::requireBooted(const Json& device, int* status) {
  if (device["state"] == "Booted") return 0;
  *status = fail(SimctlFailure{"com.apple.CoreSimulator.SimError", 405,
                              "Unable to lookup in current state: " + device["state"].get<std::string>(), ""});
  return *status;
}

}  // namespace orvanta::emulator
