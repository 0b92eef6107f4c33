// orvanta devices | target | target set | target clear
#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/commands.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"

namespace orvanta {
namespace {

CommandOutcome listDevices(CommandContext& context) {
  if (auto refreshed = refreshDevices(context); !refreshed) return refreshed;
  const auto& devices = context.environment.discovery().devices();
  if (context.options.json) {
    auto array = nlohmann::json::array();
    for (const auto& device : devices) array.push_back(deviceJson(device));
    context.emitJson(array);
    return {};
  }
  if (devices.empty()) {
    context.out << "No simulators are listed.\n";
    return {};
  }
  std::size_t nameWidth = 4, stateWidth = 5, runtimeWidth = 7;
  for (const auto& device : devices) {
    nameWidth = std::max(nameWidth, device.name.size());
    stateWidth = std::max(stateWidth, rawValue(device.state).size());
    runtimeWidth = std::max(runtimeWidth, device.runtimeDisplayName.size());
  }
  auto row = [&](std::string_view name, std::string_view state, std::string_view runtime, std::string_view udid) {
    context.out << name << std::string(nameWidth - name.size() + 2, ' ') << state
                << std::string(stateWidth - state.size() + 2, ' ') << runtime
                << std::string(runtimeWidth - runtime.size() + 2, ' ') << udid << '\n';
  };
  row("NAME", "STATE", "RUNTIME", "UDID");
  for (const auto& device : devices) row(device.name, rawValue(device.state), device.runtimeDisplayName, device.udid);
  return {};
}

CommandOutcome showTarget(CommandContext& context) {
  auto status = currentTargetStatus(context);
  if (!status) return unexpected(status.error());
  const auto& devices = context.environment.discovery().devices();
  if (context.options.json) {
    context.emitJson(targetStatusJson(*status, devices));
  } else {
    context.out << statusLine(*status, devices) << '\n';
  }
  return {};
}

CommandOutcome setTarget(CommandContext& context, const std::string& udidOrName) {
  if (auto refreshed = refreshDevices(context); !refreshed) return refreshed;
  const auto& devices = context.environment.discovery().devices();
  auto device = findListedDevice(devices, udidOrName);
  if (!device) return unexpected(device.error());
  if (auto saved = context.environment.selection().setSelectedUDID(device->udid); !saved) {
    return unexpected(CommandFailure::failure(std::string(saved.error().caseName()), saved.error().description()));
  }
  auto status = resolveTargetStatus(device->udid, devices);
  if (context.options.json) {
    context.emitJson(targetStatusJson(status, devices));
  } else {
    context.out << statusLine(status, devices) << '\n';
    if (status.kind != SimulatorTargetStatus::Case::selected) {
      context.out << "It is remembered and becomes the target once it is booted.\n";
    }
  }
  return {};
}

CommandOutcome clearTarget(CommandContext& context) {
  if (auto cleared = context.environment.selection().setSelectedUDID(std::nullopt); !cleared) {
    return unexpected(CommandFailure::failure(std::string(cleared.error().caseName()), cleared.error().description()));
  }
  if (context.options.json) {
    context.emitJson({{"cleared", true}});
  } else {
    context.out << "Target cleared.\n";
  }
  return {};
}

}  // namespace

void registerDeviceCommands(CLI::App& app, CommandRegistry& registry) {
  auto* devices = app.add_subcommand("devices", "List the simulators: name, state, runtime, udid (sorted by name)");
  devices->footer("--json: an array of {udid, name, state, runtimeIdentifier, runtimeDisplayName, deviceTypeIdentifier?}.");
  registry.on(devices, listDevices);

  auto* target = app.add_subcommand("target", "Show, set or clear the simulator the tools act on");
  target->footer(
      "Without a subcommand: the current target status.\n"
      "--json: {status: needsChoice|selected|lost|noBootedSimulator, line, bootedCount?, udid?, device?}.\n"
      "The target is never chosen for you, not even when one simulator is booted; --device overrides it for one call.");
  registry.on(target, showTarget);

  auto* set = target->add_subcommand("set", "Remember a simulator as the target");
  auto chosen = std::make_shared<std::string>();
  set->add_option("UDID-OR-NAME", *chosen, "A listed simulator's udid, or its exact name when that is unique")
      ->required();
  registry.on(set, [chosen](CommandContext& context) { return setTarget(context, *chosen); });

  auto* clear = target->add_subcommand("clear", "Forget the remembered target");
  registry.on(clear, clearTarget);
}

}  // namespace orvanta
