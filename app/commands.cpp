#include "app/commands.hpp"

#include <CLI/CLI.hpp>

#include "app/command.hpp"

namespace orvanta {

void registerCommands(CLI::App& app, CommandRegistry& registry) {
  registerDeviceCommands(app, registry);
  registerAppsCommands(app, registry);
  registerControlsCommands(app, registry);
  registerLocationCommands(app, registry);
  registerLifecycleCommands(app, registry);
  registerDoctorCommands(app, registry);
  registerCompletionCommands(app, registry);
  registerDeepLinkCommands(app, registry);
  registerScreenshotCommands(app, registry);
  registerRecordCommands(app, registry);
  registerInputCommands(app, registry);
  registerPasteboardCommands(app, registry);
}

}  // namespace orvanta
