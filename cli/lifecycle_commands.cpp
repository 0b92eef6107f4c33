// orvanta device boot|shutdown|erase|open NAME-OR-UDID
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>

#include "cli/command.hpp"
#include "cli/commands.hpp"
#include "cli/progress_line.hpp"
#include "app/environment.hpp"
#include "app/device_window.hpp"
#include "app/questions.hpp"
#include "cli/target_resolution.hpp"
#include "core/simulator_lifecycle_service.hpp"
#include "support/platform.hpp"

namespace orvanta {
namespace {

expected<SimulatorDevice, CommandFailure> namedDevice(CommandContext& context, const std::string& udidOrName) {
  if (auto refreshed = refreshDevices(context); !refreshed) return unexpected(refreshed.error());
  return findListedDevice(context.environment.discovery().devices(), udidOrName);
}

CommandOutcome change(CommandContext& context, SimulatorLifecycleAction action, const std::string& udidOrName) {
  auto device = namedDevice(context, udidOrName);
  if (!device) return unexpected(device.error());
  if (action == SimulatorLifecycleAction::erase) {
    if (auto confirmed = context.confirm(eraseQuestion(*device)); !confirmed) {
      return confirmed;
    }
  }
  auto& environment = context.environment;
  SimulatorLifecycleService service(environment.simctl(), &environment.gate());
  const char* doing = action == SimulatorLifecycleAction::boot       ? "Booting"
                      : action == SimulatorLifecycleAction::shutdown ? "Shutting down"
                                                                     : "Erasing";
  // On a terminal the wait shows its time and the state last read back; elsewhere one line says it began.
  std::optional<ProgressLine> progress;
  if (!context.options.json) {
    if (::isatty(STDERR_FILENO) == 1) {
      progress.emplace(context.err, std::string(doing) + " " + device->name);
      service.onStateRead([&progress](SimulatorState state) { progress->setDetail(std::string(rawValue(state))); });
    } else {
      context.err << doing << " " << device->name << "…\n";
    }
  }
  auto result = action == SimulatorLifecycleAction::boot       ? service.boot(*device, context.stop)
                : action == SimulatorLifecycleAction::shutdown ? service.shutdown(*device, context.stop)
                                                               : service.erase(*device, context.stop);
  progress.reset();
  if (!result) {
    auto failure = lifecycleFailure(result.error(), *device);
    if (result.error().kind == SimulatorLifecycleError::Case::cancelled) {
      failure.hints.push_back("Orvanta stopped waiting; the simulator carries on (" + std::string(doing) +
                              "). 'orvanta devices' shows its state.");
    }
    return unexpected(failure);
  }
  if (context.options.json) {
    context.emitJson(lifecycleJson(action, result->alreadyDone, result->device));
    return {};
  }
  context.out << lifecycleResultText(action, *result) << '\n';
  return {};
}

CommandOutcome openWindow(CommandContext& context, const std::string& udidOrName) {
  auto device = namedDevice(context, udidOrName);
  if (!device) return unexpected(device.error());
  if (auto opened = openDeviceWindow(context.environment.run(), *device, context.stop); !opened) return opened;
  if (context.options.json) {
    context.emitJson({{"opened", true}, {"device", deviceJson(*device)}});
  } else {
    context.out << openedWindowText(*device) << '\n';
  }
  return {};
}

}  // namespace

void registerLifecycleCommands(CLI::App& app, CommandRegistry& registry) {
  auto* device = app.add_subcommand("device", "Boot, shut down, erase or show a simulator");
  device->require_subcommand(1);
  device->footer(
      "Each change is read back from the device list (waiting while the device is Booting or Shutting Down).\n"
      "--json: {action, alreadyDone, device} for boot, shutdown and erase; {opened, device} for open.");
  const struct {
    const char* name;
    const char* help;
    SimulatorLifecycleAction action;
  } changes[] = {
      {"boot", "Boot a simulator (one already booted is fine)", SimulatorLifecycleAction::boot},
      {"shutdown", "Shut a simulator down (one already shut down is fine)", SimulatorLifecycleAction::shutdown},
      {"erase", "Erase a shut-down simulator's content and settings (asks first; --yes to skip)",
       SimulatorLifecycleAction::erase},
  };
  for (const auto& entry : changes) {
    auto* command = device->add_subcommand(entry.name, entry.help);
    auto chosen = std::make_shared<std::string>();
    command->add_option("NAME-OR-UDID", *chosen, "A listed simulator's udid, or its exact name when unique")
        ->required();
    registry.on(command, [chosen, action = entry.action](CommandContext& context) {
      return change(context, action, *chosen);
    });
  }
  auto* open = device->add_subcommand("open", "Bring a simulator's window forward (macOS; boots it if needed)");
  auto chosen = std::make_shared<std::string>();
  open->add_option("NAME-OR-UDID", *chosen, "A listed simulator's udid, or its exact name when unique")->required();
  registry.on(open, [chosen](CommandContext& context) { return openWindow(context, *chosen); });
}

}  // namespace orvanta
