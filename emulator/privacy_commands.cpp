// privacy <device> <action> <service> [<bundle identifier>]
//
// Without arguments it prints simctl's usage text (on stderr, with the usage status). The state lives in
// device["emulator"]["privacy"]: {"<bundle identifier>": {"<service>": "granted" | "revoked"}}; reset
// removes entries, and "all" stands for every listed service. Like simctl, a grant or revoke for an app
// that is not installed succeeds and records nothing, and a revoke or reset ends the app if it runs (the
// emulator does that for every such change). An unknown service fails with NSPOSIXErrorDomain code 1.
#include <algorithm>
#include <array>

#include "emulator/emulator.hpp"

namespace orvanta::emulator {
namespace {

constexpr std::array<const char*, 12> kServices{"calendar", "contacts-limited", "contacts", "location",
                                                "location-always", "photos-add", "photos", "media-library",
                                                "microphone", "motion", "reminders", "siri"};

constexpr const char* kHelp =
    "Grant, revoke, or reset privacy and permissions\n"
    "Usage: simctl privacy <device> <action> <service> [<bundle identifier>]\n"
    "\n"
    "\taction\n"
    "\t     The action to take:\n"
    "\t         grant - Grant access without prompting. Requires bundle identifier.\n"
    "\t         revoke - Revoke access, denying all use of the service. Requires bundle identifier.\n"
    "\t         reset - Reset access, prompting on next use. Bundle identifier optional.\n"
    "\t     Some permission changes will terminate the application if running.\n"
    "\tservice\n"
    "\t     The service:\n"
    "\t         all - Apply the action to all services.\n"
    "\t         calendar - Allow access to calendar.\n"
    "\t         contacts-limited - Allow access to basic contact info.\n"
    "\t         contacts - Allow access to full contact details.\n"
    "\t         location - Allow access to location services when app is in use.\n"
    "\t         location-always - Allow access to location services at all times.\n"
    "\t         photos-add - Allow adding photos to the photo library.\n"
    "\t         photos - Allow full access to the photo library.\n"
    "\t         media-library - Allow access to the media library.\n"
    "\t         microphone - Allow access to audio input.\n"
    "\t         motion - Allow access to motion and fitness data.\n"
    "\t         reminders - Allow access to reminders.\n"
    "\t         siri - Allow use of the app with Siri.\n"
    "\tbundle identifier\n"
    "\t     The bundle identifier of the target application.\n"
    "\n"
    "Examples:\n"
    "\treset all permissions: privacy <device> reset all\n"
    "\tgrant test host photo permissions: privacy <device> grant photos com.example.app.test-host\n"
    "\n"
    "Warning:\n"
    "Normally applications must have valid Info.plist usage description keys and follow the API guidelines to "
    "request access to services. Using this command to bypass those requirements can mask bugs.";

bool listed(const std::string& service) {
  return std::find(kServices.begin(), kServices.end(), service) != kServices.end();
}

int privacy(Invocation& call) {
  if (call.args.empty()) return call.usage(kHelp);
  int status = 0;
  Json* device = call.device(0, &status);
  if (!device) return status;
  if (call.args.size() < 3 || call.args.size() > 4) return call.usage(kHelp);
  if (call.requireBooted(*device, &status)) return status;
  const std::string& action = call.args[1];
  const std::string& service = call.args[2];
  const std::string bundleIdentifier = call.args.size() == 4 ? call.args[3] : std::string();
  if (action != "grant" && action != "revoke" && action != "reset") {
    return call.usage("Unknown action '" + action + "'.\n" + kHelp);
  }
  if (service != "all" && !listed(service)) {
    return call.fail(SimctlFailure{"NSPOSIXErrorDomain", 1, "Failed to set access\nOperation not permitted", ""});
  }
  if (action != "reset" && bundleIdentifier.empty()) {
    return call.usage("The " + action + " action requires a bundle identifier.\n" + kHelp);
  }

  if (!deviceApps(call, *device, &status)) return status;
  Json& emulatorState = (*device)["emulator"];
  if (!emulatorState["privacy"].is_object()) emulatorState["privacy"] = Json::object();
  // Taken only now: adding a member to an ordered object moves its other members.
  Json& state = emulatorState["privacy"];
  Json* apps = &emulatorState["apps"];

  if (action == "reset") {
    if (bundleIdentifier.empty() && service == "all") {
      state = Json::object();
    } else if (bundleIdentifier.empty()) {
      for (auto& [bundle, services] : state.items()) services.erase(service);
    } else if (state.contains(bundleIdentifier)) {
      if (service == "all") {
        state.erase(bundleIdentifier);
      } else {
        state[bundleIdentifier].erase(service);
      }
    }
  } else if ((*apps)["installed"].contains(bundleIdentifier)) {
    const std::string value = action == "grant" ? "granted" : "revoked";
    Json& services = state[bundleIdentifier];
    if (service == "all") {
      for (const char* each : kServices) services[each] = value;
    } else {
      services[service] = value;
    }
  }
  if (action != "grant" && !bundleIdentifier.empty()) (*apps)["running"].erase(bundleIdentifier);
  if (auto saved = call.devices.save(); !saved) return call.usage(saved.error());
  return 0;
}

}  // namespace

void registerPrivacyCommands(CommandTable& table) { table["privacy"] = privacy; }

}  // namespace orvanta::emulator
