// set_location, clear_location, send_push, set_privacy, open_url, get_pasteboard, set_pasteboard
#include "apps/simulator_app_service.hpp"
#include "mcp/tool_support.hpp"
#include "support/utf8.hpp"
#include "tools/deeplink/deep_link_service.hpp"
#include "tools/deeplink/deep_link_store.hpp"
#include "tools/deeplink/deep_link_validation.hpp"
#include <cerrno>

#include "support/atomic_file.hpp"
#include "tools/location/gpx_route_parser.hpp"
#include "tools/location/location_entry.hpp"
#include "tools/location/location_persistence.hpp"
#include "tools/location/location_route_library.hpp"
#include "tools/location/location_route_service.hpp"
#include "tools/location/location_simulator_service.hpp"
#include "tools/privacy/simulator_privacy_service.hpp"
#include "tools/push/push_history.hpp"
#include "tools/push/push_payload.hpp"
#include "tools/push/push_preset.hpp"
#include "tools/push/push_sender_service.hpp"

namespace orvanta {

namespace {

using Json = nlohmann::json;

// What a service that takes the target status says when there is none to act on, with the status line.
CommandFailure withStatusHint(ToolCall& call, CommandFailure failure, const SimulatorTargetStatus& status,
                              bool noTarget) {
  if (noTarget) {
    failure.hints.push_back(statusLine(status, call.environment.discovery().devices()));
    failure.hints.push_back("Name a simulator with \"device\", or remember one with set_target.");
  }
  return failure;
}

ToolResult location(ToolCall& call, const LocationAction& action) {
  auto status = targetStatus(call);
  if (!status) return ToolResult::failed(status.error());
  LocationSimulatorService service({call.environment.simctl(), &call.environment.gate(), nullptr},
                                   action.kind == LocationAction::Case::set
                                       ? std::make_shared<LocationHistoryStore>(call.environment.settings())
                                       : nullptr);
  auto result = service.perform(*status, action, call.stop);
  if (!result) {
    using Case = LocationSimulationError::Case;
    const auto kind = result.error().kind;
    auto failure = withStatusHint(call, failureOf(call, result.error()), *status,
                                  kind == Case::noSimulatorSelected || kind == Case::simulatorNotBooted);
    if (kind == Case::simulatorBusy) failure.hints.push_back("Held by: " + result.error().holder + ".");
    return ToolResult::failed(std::move(failure));
  }
  return ToolResult::of(locationResultJson(*result));
}

CommandFailure locationFailure(ToolCall& call, const LocationSimulationError& error, const SimulatorTargetStatus* status,
                               std::vector<std::string> hints = {}) {
  using Case = LocationSimulationError::Case;
  auto failure = failureOf(call, error);
  if (status != nullptr && (error.kind == Case::noSimulatorSelected || error.kind == Case::simulatorNotBooted)) {
    failure = withStatusHint(call, std::move(failure), *status, true);
  }
  if (error.kind == Case::simulatorBusy) failure.hints.push_back("Held by: " + error.holder + ".");
  for (auto& hint : hints) failure.hints.push_back(std::move(hint));
  return failure;
}

expected<GPXParseResult, CommandFailure> importGpx(ToolCall& call, const std::string& path) {
  using Case = LocationSimulationError::Case;
  auto bytes = readFile(path, static_cast<std::size_t>(GPXRouteParser::maximumBytes));
  if (!bytes && bytes.error().errorNumber == EFBIG) {
    return unexpected(locationFailure(call, LocationSimulationError::gpxTooLarge(GPXRouteParser::maximumBytes), nullptr));
  }
  if (!bytes || !*bytes) {
    return unexpected(locationFailure(call, LocationSimulationError(Case::gpxUnreadable), nullptr,
                                      {bytes ? "There is no file at " + path + "." : bytes.error().description()}));
  }
  auto parsed = GPXRouteParser::parse(**bytes, std::filesystem::path(path).filename().string());
  if (!parsed) return unexpected(locationFailure(call, parsed.error(), nullptr));
  return std::move(*parsed);
}

// Starts a GPX route (a file, or one of the recent routes) at a speed; simctl plays it on.
ToolResult playRoute(ToolCall& call) {
  const auto file = call.string("gpxFile");
  const auto recentID = call.string("recentRoute");
  if (file.has_value() == recentID.has_value()) {
    return ToolResult::failed(CommandFailure::usage("Give either \"gpxFile\" or \"recentRoute\"."));
  }
  const double speed = call.number("speedMetersPerSecond").value_or(20);
  std::shared_ptr<LocationRouteLibrary> library;
  if (auto directory = LocationRouteLibrary::defaultDirectory()) {
    library = std::make_shared<LocationRouteLibrary>(call.environment.settings(), *directory);
  }
  LocationRoute route;
  std::optional<GPXParseNotes> notes;
  call.progress(0, 2, "reading the route");
  if (recentID) {
    auto recent = library ? library->recent(*recentID) : std::nullopt;
    if (!recent) {
      return ToolResult::failed(CommandFailure::failure("recentNotFound", "No recent route has the id " + *recentID + "."));
    }
    auto opened = library->open(*recent);
    if (!opened) return ToolResult::failed(locationFailure(call, opened.error(), nullptr));
    route = std::move(*opened);
  } else {
    auto imported = importGpx(call, *file);
    if (!imported) return ToolResult::failed(imported.error());
    route = std::move(imported->route);
    notes = imported->notes;
  }
  auto status = targetStatus(call);
  if (!status) return ToolResult::failed(status.error());
  call.progress(1, 2, "starting \"" + route.name + "\"");
  LocationRouteService service({call.environment.simctl(), &call.environment.gate(), nullptr}, library);
  auto started = service.start(*status, route, speed, call.stop);
  if (!started) return ToolResult::failed(locationFailure(call, started.error(), &*status));
  if (!library) started->persistenceError = LocationSimulationError(LocationSimulationError::Case::persistenceFailed);
  return ToolResult::of(routeStartJson(route, *started, speed, notes));
}

ToolResult sendPush(ToolCall& call) {
  std::string text;
  const auto presetName = call.string("preset");
  const auto payloadArgument = call.arguments.find("payload");
  if (presetName.has_value() == (payloadArgument != call.arguments.end())) {
    return ToolResult::failed(CommandFailure::usage("Give either \"payload\" or \"preset\", not both and not neither."));
  }
  if (presetName) {
    text = std::string(payload(*pushPresetFromCommandName(*presetName)));
  } else {
    text = payloadArgument->dump();
  }
  auto valid = validatePushPayload(text);
  if (!valid) return ToolResult::failed(failureOf(call, valid.error()));
  const std::string noSimulator = PushError::noSimulator().description();
  auto device = targetDevice(call, {"noSimulator", noSimulator, "noSimulator", noSimulator});
  if (!device) return ToolResult::failed(device.error());
  const auto bundleIdentifier = *call.string("bundleIdentifier");
  auto apps = listInstalledApps(call.environment.simctl(), device->udid, call.stop, true);
  if (!apps) return ToolResult::failed(failureOf(call, apps.error()));
  if (std::none_of(apps->begin(), apps->end(), [&](const SimulatorApp& app) { return app.bundleIdentifier == bundleIdentifier; })) {
    auto failure = failureOf(call, PushError::noApp());
    failure.hints.push_back(bundleIdentifier + " is not installed on " + device->name + ". list_apps lists the installed apps.");
    return ToolResult::failed(std::move(failure));
  }
  PushSenderService service(call.environment.simctl());
  if (auto sent = service.send(*valid, bundleIdentifier, device->udid, call.stop); !sent) {
    return ToolResult::failed(failureOf(call, sent.error()));
  }
  const auto entry = PushHistoryEntry::make(*valid, bundleIdentifier, device->name, std::chrono::system_clock::now());
  auto recorded = PushHistoryStore(call.environment.settings()).record(entry);
  return ToolResult::of(pushSentJson(bundleIdentifier, device->udid, *valid,
                                     recorded ? std::nullopt : std::optional(recorded.error())));
}

ToolResult setPrivacy(ToolCall& call) {
  auto status = targetStatus(call);
  if (!status) return ToolResult::failed(status.error());
  const auto action = *privacyActionFromCommandWord(*call.string("action"));
  const auto serviceWord = *call.string("service");
  const auto bundleIdentifier = *call.string("bundleIdentifier");
  SimulatorPrivacyService service(call.environment.simctl(), call.environment.gate());
  auto applied = service.apply({action, serviceWord, bundleIdentifier}, *status, call.stop);
  if (!applied) {
    using Case = SimulatorPrivacyError::Case;
    const auto kind = applied.error().kind;
    return ToolResult::failed(withStatusHint(call, failureOf(call, applied.error()), *status,
                                             kind == Case::simulatorNotSelected || kind == Case::simulatorNotBooted));
  }
  return ToolResult::of(privacyChangeJson(action, serviceWord, bundleIdentifier, status->device->udid));
}

ToolResult openURL(ToolCall& call) {
  auto link = validateDeepLink(*call.string("url"));
  if (!link) return ToolResult::failed(failureOf(call, link.error()));
  auto status = targetStatus(call);
  if (!status) return ToolResult::failed(status.error());
  auto& environment = call.environment;
  DeepLinkService service({environment.run(), environment.xcrunPath(),
                           std::make_shared<DeepLinkHistoryStore>(environment.settings())});
  auto result = service.open(*link, *status, call.stop);
  if (!result) {
    using Case = DeepLinkError::Case;
    const auto kind = result.error().kind;
    auto failure = withStatusHint(call, failureOf(call, result.error()), *status,
                                  kind == Case::noSimulatorSelected || kind == Case::simulatorNotBooted);
    if ((kind == Case::simctlFailed || kind == Case::noHandler) && !result.error().stderr.empty()) {
      failure.hints.push_back("simctl: " + result.error().stderr);
    }
    return ToolResult::failed(std::move(failure));
  }
  return ToolResult::of(deepLinkOpenedJson(*result, *link));
}

CommandFailure pasteboardFailure(ToolCall& call, const SimulatorPasteboardError& error) {
  auto failure = failureOf(call, error);
  if (auto problem = error.retryProblem(); !problem.empty()) failure.hints.push_back(std::move(problem));
  return failure;
}

ToolResult getPasteboard(ToolCall& call) {
  auto device = targetDevice(call);
  if (!device) return ToolResult::failed(device.error());
  auto text = call.environment.simulatorPasteboard().readText(device->udid, call.stop);
  if (!text) return ToolResult::failed(pasteboardFailure(call, text.error()));
  if (!isValidUtf8(*text)) {
    return ToolResult::failed(CommandFailure::failure("invalidText", "The clipboard holds text that is not valid UTF-8."));
  }
  return ToolResult::of({{"simulatorUDID", device->udid}, {"stdout", *text}});
}

ToolResult setPasteboard(ToolCall& call) {
  auto device = targetDevice(call);
  if (!device) return ToolResult::failed(device.error());
  auto written = call.environment.simulatorPasteboard().writeText(*call.string("text"), device->udid, call.stop);
  if (!written) return ToolResult::failed(pasteboardFailure(call, written.error()));
  return ToolResult::of({{"simulatorUDID", device->udid}, {"viaHostPasteboard", written->viaHostPasteboard}});
}

Json locationSchema() {
  return schema::result({{"action", {{"type", "string"}}},
                         {"simulatorUDID", {{"type", "string"}}},
                         {"simulatorName", {{"type", "string"}}},
                         {"coordinate", {{"type", "object"}}},
                         {"persistenceError", {{"type", "object"}}}});
}

}  // namespace

std::vector<ToolDefinition> stateTools() {
  return {
      {"set_location", "Set the simulated location", "Set the simulator's location to one point.",
       schema::object({{"latitude", schema::number("Degrees north, -90 to 90", -90, 90)},
                       {"longitude", schema::number("Degrees east, -180 to 180", -180, 180)}},
                      {"latitude", "longitude"}),
       locationSchema(), {.idempotent = true}, true, false,
       [](ToolCall& call) { return location(call, LocationAction::set({*call.number("latitude"), *call.number("longitude")})); }},
      {"clear_location", "Clear the simulated location", "Stop simulating a location.", schema::object({}),
       locationSchema(), {.idempotent = true}, true, false,
       [](ToolCall& call) { return location(call, LocationAction::clear()); }},
      {"play_route", "Play a GPX route",
       "Move the simulated location along a GPX route (a file on this computer, or a recent route's id) at a speed; "
       "simctl plays it on after the call returns.",
       schema::object({{"gpxFile", schema::string("Path of a .gpx file")},
                       {"recentRoute", schema::string("The id of a recent route, instead of a file")},
                       {"speedMetersPerSecond", schema::number("Speed in metres per second (default 20)", 0.1, 1000)}}),
       schema::result({{"route", {{"type", "object"}}},
                       {"metrics", {{"type", "object"}}},
                       {"speedMetersPerSecond", {{"type", "number"}}},
                       {"simulatorUDID", {{"type", "string"}}},
                       {"activeOperation", {{"type", "object"}}},
                       {"note", {{"type", "string"}}}}),
       {}, true, false, playRoute},
      {"send_push", "Send a push notification",
       "Validate a push payload (an object with an \"aps\" member, at most 4096 bytes) or take a built-in preset, "
       "and deliver it to an installed app.",
       schema::object({{"bundleIdentifier", schema::string("The app's bundle identifier")},
                       {"payload", {{"type", "object"}, {"description", "The notification payload, e.g. {\"aps\": {\"alert\": \"Hi\"}}"}}},
                       {"preset", schema::stringOf({"basic-alert", "badge", "silent"}, "A built-in payload instead of \"payload\"")}},
                      {"bundleIdentifier"}),
       schema::result({{"bundleIdentifier", {{"type", "string"}}},
                       {"simulatorUDID", {{"type", "string"}}},
                       {"payload", {{"type", "string"}}},
                       {"persistenceError", {{"type", "object"}}}}),
       {.openWorld = false}, true, false, sendPush},
      {"set_privacy", "Change a privacy permission",
       "Grant, revoke or reset one of an app's privacy permissions (service words as simctl's: photos, camera, "
       "location, contacts, ..., or all for reset).",
       schema::object({{"action", schema::stringOf({"grant", "revoke", "reset"}, "What to do")},
                       {"service", schema::string("The service's command word, e.g. photos")},
                       {"bundleIdentifier", schema::string("The app's bundle identifier")}},
                      {"action", "service", "bundleIdentifier"}),
       schema::result({{"action", {{"type", "string"}}},
                       {"service", {{"type", "string"}}},
                       {"bundleIdentifier", {{"type", "string"}}},
                       {"simulatorUDID", {{"type", "string"}}},
                       {"note", {{"type", "string"}}}}),
       {.idempotent = true}, true, false, setPrivacy},
      {"open_url", "Open a URL", "Validate a URL (custom scheme, http or https) and open it on the simulator.",
       schema::object({{"url", schema::string("The URL to open")}}, {"url"}),
       schema::result({{"urlString", {{"type", "string"}}},
                       {"simulatorUDID", {{"type", "string"}}},
                       {"kind", {{"type", "string"}}},
                       {"scheme", {{"type", "string"}}}}),
       {}, true, false, openURL},
      {"get_pasteboard", "Read the clipboard", "The text on the simulator's clipboard.", schema::object({}),
       schema::result({{"simulatorUDID", {{"type", "string"}}}, {"stdout", {{"type", "string"}}}}),
       {.readOnly = true, .idempotent = true}, true, false, getPasteboard},
      {"set_pasteboard", "Write the clipboard", "Put text on the simulator's clipboard, read back to confirm.",
       schema::object({{"text", schema::string("The text")}}, {"text"}),
       schema::result({{"simulatorUDID", {{"type", "string"}}}, {"viaHostPasteboard", {{"type", "boolean"}}}}),
       {.idempotent = true}, true, false, setPasteboard},
  };
}

}  // namespace orvanta
