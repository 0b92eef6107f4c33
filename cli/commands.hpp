// Registration of every command of the program.
#pragma once

#include <string_view>

namespace CLI {
class App;
}

namespace orvanta {

class CommandRegistry;

// Adds the commands to `app`; the chosen one's action ends up in `registry`. With `command` (the first
// word of the command line) naming a known command, only the commands of its file are added: building
// the whole tree is most of what a short command costs at start. Otherwise, or for completion, all.
void registerCommands(CLI::App& app, CommandRegistry& registry, std::string_view command = {});

void registerDeviceCommands(CLI::App& app, CommandRegistry& registry);
void registerControlsCommands(CLI::App& app, CommandRegistry& registry);
void registerLocationCommands(CLI::App& app, CommandRegistry& registry);
void registerAppsCommands(CLI::App& app, CommandRegistry& registry);
void registerDoctorCommands(CLI::App& app, CommandRegistry& registry);
void registerLifecycleCommands(CLI::App& app, CommandRegistry& registry);
void registerCompletionCommands(CLI::App& app, CommandRegistry& registry);
void registerDeepLinkCommands(CLI::App& app, CommandRegistry& registry);
void registerScreenshotCommands(CLI::App& app, CommandRegistry& registry);
void registerRecordCommands(CLI::App& app, CommandRegistry& registry);
void registerPushCommands(CLI::App& app, CommandRegistry& registry);
void registerPrivacyCommands(CLI::App& app, CommandRegistry& registry);
void registerScenarioCommands(CLI::App& app, CommandRegistry& registry);
void registerWorkspaceCommands(CLI::App& app, CommandRegistry& registry);
void registerLogsCommands(CLI::App& app, CommandRegistry& registry);
void registerInputCommands(CLI::App& app, CommandRegistry& registry);
void registerPasteboardCommands(CLI::App& app, CommandRegistry& registry);
void registerDataCommands(CLI::App& app, CommandRegistry& registry);
void registerDefaultsCommands(CLI::App& app, CommandRegistry& registry);
void registerMediaKeychainCommands(CLI::App& app, CommandRegistry& registry);
void registerPanelCommands(CLI::App& app, CommandRegistry& registry);

}  // namespace orvanta
