// list_devices, get_target, set_target, boot_device, shutdown_device, erase_device
#include "app/questions.hpp"
#include "core/simulator_lifecycle_service.hpp"
#include "mcp/tool_support.hpp"

namespace orvanta {

namespace {

using Json = nlohmann::json;

Json deviceSchema() {
  return {{"type", "object"},
          {"properties",
           {{"udid", {{"type", "string"}}},
            {"name", {{"type", "string"}}},
            {"state", {{"type", "string"}}},
            {"runtimeIdentifier", {{"type", "string"}}},
            {"runtimeDisplayName", {{"type", "string"}}},
            {"deviceTypeIdentifier", {{"type", "string"}}}}}};
}

Json targetSchema() {
  return schema::result({{"status", schema::stringOf({"needsChoice", "selected", "lost", "noBootedSimulator"}, "")},
                         {"line", {{"type", "string"}}},
                         {"bootedCount", {{"type", "integer"}}},
                         {"udid", {{"type", "string"}}},
                         {"device", deviceSchema()}});
}

ToolResult listDevices(ToolCall& call) {
  if (auto refreshed = refreshDevices(call.environment, call.stop); !refreshed) return ToolResult::failed(refreshed.error());
  Json array = Json::array();
  for (const auto& device : call.environment.discovery().devices()) array.push_back(deviceJson(device));
  return ToolResult::of(std::move(array));
}

ToolResult getTarget(ToolCall& call) {
  auto status = currentTargetStatus(call.environment, std::nullopt, call.stop);
  if (!status) return ToolResult::failed(status.error());
  return ToolResult::of(targetStatusJson(*status, call.environment.discovery().devices()));
}

ToolResult setTarget(ToolCall& call) {
  if (auto refreshed = refreshDevices(call.environment, call.stop); !refreshed) return ToolResult::failed(refreshed.error());
  const auto& devices = call.environment.discovery().devices();
  auto device = findListedDevice(devices, *call.string("udidOrName"));
  if (!device) return ToolResult::failed(device.error());
  if (auto saved = call.environment.selection().setSelectedUDID(device->udid); !saved) {
    return ToolResult::failed(CommandFailure::failure(std::string(saved.error().caseName()), saved.error().description()));
  }
  return ToolResult::of(targetStatusJson(resolveTargetStatus(device->udid, devices), devices));
}

// The device a lifecycle tool acts on: the named one, else the remembered one, booted or not.
expected<SimulatorDevice, CommandFailure> lifecycleDevice(ToolCall& call) {
  if (auto refreshed = refreshDevices(call.environment, call.stop); !refreshed) return unexpected(refreshed.error());
  const auto& devices = call.environment.discovery().devices();
  if (auto named = call.device()) return findListedDevice(devices, *named);
  auto remembered = call.environment.selection().selectedUDID();
  if (!remembered) {
    return unexpected(CommandFailure::failure(std::string(remembered.error().caseName()), remembered.error().description()));
  }
  if (!*remembered) {
    return unexpected(CommandFailure::failure("noSimulatorSelected", "Select a simulator first.",
                                              {"Name one with \"device\", or remember one with set_target."}));
  }
  return findListedDevice(devices, **remembered);
}

ToolResult lifecycle(ToolCall& call, SimulatorLifecycleAction action) {
  auto device = lifecycleDevice(call);
  if (!device) return ToolResult::failed(device.error());
  if (action == SimulatorLifecycleAction::erase && !call.confirmed()) {
    return ToolResult::failed(confirmationRequired(eraseQuestion(*device)));
  }
  SimulatorLifecycleService service(call.environment.simctl(), &call.environment.gate());
  int reads = 0;
  service.onStateRead([&](SimulatorState state) {
    ++reads;
    call.progress(reads, 0, device->name + ": " + std::string(rawValue(state)));
  });
  call.progress(0, 0, std::string(commandWord(action)) + " " + device->name);
  auto result = action == SimulatorLifecycleAction::boot       ? service.boot(*device, call.stop)
                : action == SimulatorLifecycleAction::shutdown ? service.shutdown(*device, call.stop)
                                                               : service.erase(*device, call.stop);
  if (!result) return ToolResult::failed(failureOf(call, result.error()));
  return ToolResult::of(lifecycleJson(action, result->alreadyDone, result->device));
}

Json lifecycleSchema() {
  return schema::result({{"action", {{"type", "string"}}}, {"alreadyDone", {{"type", "boolean"}}}, {"device", deviceSchema()}});
}

}  // namespace

std::vector<ToolDefinition> deviceTools() {
  return {
      {"list_devices", "List simulators",
       "All listed simulators: udid, name, state (raw text such as Booted or Shutdown), runtime and device type. "
       "Structured content: {items: [...]}.",
       schema::object({}), schema::items(deviceSchema()), {.readOnly = true, .idempotent = true}, false, false,
       listDevices},
      {"get_target", "Get the target simulator",
       "The remembered target simulator and its status: selected (remembered and booted), lost (remembered but "
       "not booted), needsChoice (simulators are booted but none is remembered) or noBootedSimulator.",
       schema::object({}), targetSchema(), {.readOnly = true, .idempotent = true}, false, false, getTarget},
      {"set_target", "Set the target simulator",
       "Remember the simulator the tools act on when they are given no \"device\". A shut-down simulator is "
       "remembered and becomes the target once booted.",
       schema::object({{"udidOrName", schema::string("A listed simulator's udid, or its exact name when unique")}},
                      {"udidOrName"}),
       targetSchema(), {.idempotent = true}, false, false, setTarget},
      {"boot_device", "Boot a simulator",
       "Boot the simulator and wait until it is listed as Booted (progress is reported while it settles).",
       schema::object({}), lifecycleSchema(), {.idempotent = true}, true, false,
       [](ToolCall& call) { return lifecycle(call, SimulatorLifecycleAction::boot); }},
      {"shutdown_device", "Shut down a simulator", "Shut the simulator down and wait until it is listed as Shutdown.",
       schema::object({}), lifecycleSchema(), {.idempotent = true}, true, false,
       [](ToolCall& call) { return lifecycle(call, SimulatorLifecycleAction::shutdown); }},
      {"erase_device", "Erase a simulator",
       "Erase all content and settings of a shut-down simulator. Destructive: runs only with \"confirm\": true.",
       schema::object({}), lifecycleSchema(), {.destructive = true, .idempotent = true}, true, true,
       [](ToolCall& call) { return lifecycle(call, SimulatorLifecycleAction::erase); }},
  };
}

}  // namespace orvanta
