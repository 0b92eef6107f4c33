// push <device> [<bundle identifier>] (<json file> | -)
//
// Like simctl, a payload must be at most 4096 bytes and a JSON object with an "aps" key; the bundle
// identifier may be left out when the payload names it under "Simulator Target Bundle". Success prints
// "Notification sent to '<bundle>'". simctl's wording for a refused payload or app has not been captured,
// so those envelopes carry the emulator's own sentences in simctl's shape.
//
// Every delivered payload is appended to device["emulator"]["push"]["delivered"] as
// {"bundleIdentifier": ..., "payload": the JSON object, "bytes": the file's size}, the newest last, so that
// tests can read what arrived.
#include <iostream>
#include <iterator>

#include "emulator/emulator.hpp"
#include "support/atomic_file.hpp"

namespace orvanta::emulator {
namespace {

constexpr std::size_t kMaximumBytes = 4096;
constexpr std::size_t kKeptDeliveries = 100;

constexpr const char* kHelp = R"(Send a simulated push notification
Usage: simctl push <device> [<bundle identifier>] (<json file> | -)

	bundle identifier
	     The bundle identifier of the target application
	     If the payload file contains a 'Simulator Target Bundle' top-level key this parameter may be omitted.
	     If both are provided this argument will override the value from the payload.
	json file
	     Path to a JSON payload or '-' to read from stdin. The payload must:
	       - Contain an object at the top level.
	       - Contain an 'aps' key with valid Apple Push Notification values.
	       - Be 4096 bytes or less.

Only application remote push notifications are supported. VoIP, Complication, File Provider, and other types are not supported.)";

int invalidPayload(Invocation& call, const std::string& line) {
  return call.fail(SimctlFailure{"NSPOSIXErrorDomain", 22, line + "\nInvalid argument", ""});
}

int push(Invocation& call) {
  if (call.args.size() < 2 || call.args.size() > 3) return call.usage(kHelp);
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  if (call.requireBooted(*device, &status)) return status;

  const std::string& source = call.args.back();
  std::string bytes;
  if (source == "-") {
    bytes.assign(std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>());
  } else {
    auto read = readFile(source, 1 << 20);
    if (!read || !*read) {
      return call.fail(SimctlFailure{"NSCocoaErrorDomain", 260,
                                     "The file \xe2\x80\x9c" + std::filesystem::path(source).filename().string() +
                                         "\xe2\x80\x9d couldn\xe2\x80\x99t be opened because there is no such file.",
                                     ""});
    }
    bytes = std::move(**read);
  }
  if (bytes.size() > kMaximumBytes) {
    return invalidPayload(call, "The payload is " + std::to_string(bytes.size()) +
                                    " bytes; notification payloads must be 4096 bytes or less.");
  }
  Json payload = Json::parse(bytes, nullptr, false);
  if (payload.is_discarded()) return invalidPayload(call, "The payload is not valid JSON.");
  if (!payload.is_object()) return invalidPayload(call, "The payload must contain an object at the top level.");
  if (!payload.contains("aps")) return invalidPayload(call, "The payload must contain an 'aps' key.");

  std::string bundleIdentifier;
  if (call.args.size() == 3) {
    bundleIdentifier = call.args[1];
  } else if (payload.contains("Simulator Target Bundle") && payload["Simulator Target Bundle"].is_string()) {
    bundleIdentifier = payload["Simulator Target Bundle"].get<std::string>();
  } else {
    return call.usage("No bundle identifier was given and the payload has no 'Simulator Target Bundle' key.\n" +
                      std::string(kHelp));
  }

  Json* apps = deviceApps(call, *device, &status);
  if (!apps) return status;
  if (!(*apps)["installed"].contains(bundleIdentifier)) {
    return call.fail(SimctlFailure{"NSPOSIXErrorDomain", 2,
                                   "Unable to deliver the notification: no app with bundle identifier \xe2\x80\x9c" +
                                       bundleIdentifier + "\xe2\x80\x9d is installed.\nNo such file or directory",
                                   ""});
  }

  Json& delivered = (*device)["emulator"]["push"]["delivered"];
  if (!delivered.is_array()) delivered = Json::array();
  delivered.push_back(Json{{"bundleIdentifier", bundleIdentifier}, {"payload", std::move(payload)}, {"bytes", bytes.size()}});
  while (delivered.size() > kKeptDeliveries) delivered.erase(delivered.begin());
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  call.out += "Notification sent to '" + bundleIdentifier + "'\n";
  return 0;
}

}  // namespace

void registerPushCommands(CommandTable& table) { table["push"] = push; }

}  // namespace orvanta::emulator
