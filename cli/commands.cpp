#include "cli/commands.hpp"

#include <algorithm>
#include <array>

#include <CLI/CLI.hpp>

#include "cli/command.hpp"

namespace orvanta {

namespace {

// Each file's registration and the top-level commands it adds.
struct CommandGroup {
  std::array<std::string_view, 2> names;
  void (*add)(CLI::App&, CommandRegistry&);
};

constexpr CommandGroup kGroups[] = {
    {{"devices", "target"}, registerDeviceCommands},
    {{"apps", "app"}, registerAppsCommands},
    {{"ui", "status-bar"}, registerControlsCommands},
    {{"location", "gpx"}, registerLocationCommands},
    {{"push"}, registerPushCommands},
    {{"privacy"}, registerPrivacyCommands},
    {{"open", "deeplink"}, registerDeepLinkCommands},
    {{"input"}, registerInputCommands},
    {{"pasteboard"}, registerPasteboardCommands},
    {{"data"}, registerDataCommands},
    {{"defaults"}, registerDefaultsCommands},
    {{"media", "keychain"}, registerMediaKeychainCommands},
    {{"logs"}, registerLogsCommands},
    {{"screenshot"}, registerScreenshotCommands},
    {{"record"}, registerRecordCommands},
    {{"scenario"}, registerScenarioCommands},
    {{"workspace"}, registerWorkspaceCommands},
    {{"device"}, registerLifecycleCommands},
    {{"doctor"}, registerDoctorCommands},
    {{"panel"}, registerPanelCommands},
    // Completion describes every command, so it comes with all of them (see below).
    {{"completion"}, registerCompletionCommands},
};

}  // namespace

void registerCommands(CLI::App& app, CommandRegistry& registry, std::string_view command) {
  if (!command.empty() && command != "completion") {
    for (const auto& group : kGroups) {
      if (std::find(group.names.begin(), group.names.end(), command) == group.names.end()) continue;
      group.add(app, registry);
      return;
    }
  }
  for (const auto& group : kGroups) group.add(app, registry);
}

}  // namespace orvanta
