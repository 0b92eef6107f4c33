#include "cli/commands.hpp"

#include <CLI/CLI.hpp>

#include "cli/command.hpp"

namespace orvanta {

void registerCommands(CLI::App& app, CommandRegistry& registry) {
  registerDeviceCommands(app, registry);
  registerAppsCommands(app, registry);
  registerControlsCommands(app, registry);
  registerLocationCommands(app, registry);
  registerPushCommands(app, registry);
  registerPrivacyCommands(app, registry);
  registerDeepLinkCommands(app, registry);
  registerInputCommands(app, registry);
  registerPasteboardCommands(app, registry);
  registerDataCommands(app, registry);
  registerDefaultsCommands(app, registry);
  registerMediaKeychainCommands(app, registry);
  registerLogsCommands(app, registry);
  registerScreenshotCommands(app, registry);
  registerRecordCommands(app, registry);
  registerScenarioCommands(app, registry);
  registerWorkspaceCommands(app, registry);
  registerLifecycleCommands(app, registry);
  registerDoctorCommands(app, registry);
  registerCompletionCommands(app, registry);
}

}  // namespace orvanta
