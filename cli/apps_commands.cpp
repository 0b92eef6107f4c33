// orvanta apps, orvanta app launch|terminate|install|uninstall|container
//
// The app commands name an app by bundle identifier. It is looked up in the target's app list first, so
// that messages can use the app's name and an app that is not installed is refused before anything
// changes; hidden apps, which the list leaves out, are found through simctl's appinfo.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "cli/commands.hpp"
#include "app/app_sentences.hpp"
#include "app/environment.hpp"
#include "cli/target_resolution.hpp"
#include "apps/simulator_app_icon_cache.hpp"
#include "apps/simulator_app_service.hpp"
#include "support/atomic_file.hpp"
#include "support/property_list.hpp"

namespace orvanta {
namespace {

// Acts on the resolved target and turns the service's errors into the command's failures.
class AppsSession {
 public:
  explicit AppsSession(CommandContext& context)
      : context_(context), service_(context.environment.simctl(), context.environment.gate()) {}

  CommandOutcome resolve() {
    auto device = requireSelectedTarget(context_);
    if (!device) return unexpected(device.error());
    device_ = *device;
    return {};
  }

  const SimulatorDevice& device() const { return device_; }
  SimulatorAppService& service() { return service_; }
  orvanta::stop_token stop() const { return context_.stop; }

  CommandFailure failure(const SimulatorAppError& error) const {
    if (error.kind == SimulatorAppError::Case::cancelled || context_.stop.stop_requested()) {
      return CommandFailure::interrupted();
    }
    std::vector<std::string> hints;
    if (error.kind == SimulatorAppError::Case::simulatorBusy) {
      if (auto holder = context_.environment.gate().otherProcessHolder(device_.udid)) {
        hints.push_back(device_.name + " is held by " + *holder + ".");
      }
    }
    return CommandFailure::failure(std::string(error.caseName()), error.description(), std::move(hints));
  }

  expected<std::vector<SimulatorApp>, CommandFailure> apps() {
    auto apps = service_.listApps(device_.udid, context_.stop);
    if (!apps) return unexpected(failure(apps.error()));
    return std::move(*apps);
  }

  // The installed app with this identifier: from the list, else (a hidden app) from appinfo. An app that
  // is not installed is refused as not chosen.
  expected<SimulatorApp, CommandFailure> installedApp(const std::string& bundleIdentifier) {
    if (bundleIdentifier.empty()) return unexpected(failure(SimulatorAppError::of(SimulatorAppError::Case::noAppSelected)));
    auto listed = apps();
    if (!listed) return unexpected(listed.error());
    for (auto& app : *listed) {
      if (app.bundleIdentifier == bundleIdentifier) return std::move(app);
    }
    auto information = service_.appInformation(device_.udid, bundleIdentifier, context_.stop);
    if (!information) return unexpected(failure(information.error()));
    if (information->app) return std::move(*information->app);
    auto refused = failure(SimulatorAppError::of(SimulatorAppError::Case::noAppSelected));
    refused.hints.push_back(bundleIdentifier + " is not installed on " + device_.name +
                            ". 'orvanta apps' lists the installed apps.");
    return unexpected(std::move(refused));
  }

  nlohmann::json resultJson(const SimulatorApp& app) const { return appActionJson(app, device_); }

 private:
  CommandContext& context_;
  SimulatorAppService service_;
  SimulatorDevice device_;
};

// Characters, not bytes, so that names with accents line up.
std::size_t characterCount(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

CommandOutcome listApps(CommandContext& context, SimulatorAppFilter filter) {
  AppsSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto all = session.apps();
  if (!all) return unexpected(all.error());
  const auto apps = filterApps(*all, filter);

  if (context.options.json) {
    auto array = nlohmann::json::array();
    for (const auto& app : apps) {
      array.push_back(installedAppJson(app));
    }
    context.emitJson(array);
    return {};
  }
  const std::string& name = session.device().name;
  if (apps.empty()) {
    context.out << "No " << (filter == SimulatorAppFilter::all ? "" : std::string(rawValue(filter)) + " ")
                << "apps are installed on " << name << ".\n";
    return {};
  }
  std::size_t nameWidth = 4, idWidth = 17, kindWidth = 4;
  for (const auto& app : apps) {
    nameWidth = std::max(nameWidth, characterCount(app.displayName));
    idWidth = std::max(idWidth, characterCount(app.bundleIdentifier));
    kindWidth = std::max(kindWidth, rawValue(app.kind).size());
  }
  auto row = [&](std::string_view appName, std::string_view id, std::string_view kind, std::string_view version) {
    context.out << appName << std::string(nameWidth - characterCount(appName) + 2, ' ') << id
                << std::string(idWidth - characterCount(id) + 2, ' ') << kind
                << std::string(kindWidth - kind.size() + 2, ' ') << version << '\n';
  };
  row("NAME", "BUNDLE IDENTIFIER", "KIND", "VERSION");
  for (const auto& app : apps) row(app.displayName, app.bundleIdentifier, rawValue(app.kind), app.version.value_or(""));
  return {};
}

CommandOutcome launchApp(CommandContext& context, const std::string& bundleIdentifier) {
  AppsSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto app = session.installedApp(bundleIdentifier);
  if (!app) return unexpected(app.error());
  auto launched = session.service().launch(session.device().udid, *app, session.stop());
  if (!launched) return unexpected(session.failure(launched.error()));
  if (context.options.json) {
    auto document = session.resultJson(*app);
    if (launched->processIdentifier) document["processIdentifier"] = *launched->processIdentifier;
    context.emitJson(document);
  } else {
    context.out << launchedText(*app, session.device().name, *launched) << '\n';
  }
  return {};
}

CommandOutcome terminateApp(CommandContext& context, const std::string& bundleIdentifier) {
  AppsSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto app = session.installedApp(bundleIdentifier);
  if (!app) return unexpected(app.error());
  if (auto done = session.service().terminate(session.device().udid, *app, session.stop()); !done) {
    return unexpected(session.failure(done.error()));
  }
  if (context.options.json) {
    context.emitJson(session.resultJson(*app));
  } else {
    context.out << terminatedText(*app, session.device().name) << '\n';
  }
  return {};
}

CommandOutcome installApp(CommandContext& context, const std::string& path) {
  AppsSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  std::error_code error;
  std::filesystem::path bundle = std::filesystem::absolute(path, error).lexically_normal();
  if (error) bundle = path;
  if (bundle.filename().empty()) bundle = bundle.parent_path();
  if (auto done = session.service().install(session.device().udid, bundle, session.stop()); !done) {
    return unexpected(session.failure(done.error()));
  }
  // Name what was installed, as the simulator now lists it.
  std::optional<SimulatorApp> installed;
  if (auto identifier = declaredBundleIdentifier(bundle)) {
    if (auto apps = session.service().listApps(session.device().udid, session.stop())) {
      for (auto& app : *apps) {
        if (app.bundleIdentifier == *identifier) installed = std::move(app);
      }
    }
  }
  if (context.options.json) {
    context.emitJson(installJson(bundle, session.device(), installed));
  } else {
    context.out << installedText(bundle, installed, session.device().name) << '\n';
  }
  return {};
}

CommandOutcome uninstallApp(CommandContext& context, const std::string& bundleIdentifier) {
  AppsSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto app = session.installedApp(bundleIdentifier);
  if (!app) return unexpected(app.error());
  const PendingAppUninstall pending{*app, session.device().udid, session.device().name};
  if (auto confirmed = context.confirm(pending.question()); !confirmed) return confirmed;
  if (auto done = session.service().uninstall(pending.simulatorUDID, pending.app, session.stop()); !done) {
    return unexpected(session.failure(done.error()));
  }
  if (context.options.json) {
    context.emitJson(session.resultJson(pending.app));
  } else {
    context.out << uninstalledText(pending.app, pending.simulatorName) << '\n';
  }
  return {};
}

CommandOutcome showContainer(CommandContext& context, const std::string& bundleIdentifier, const std::string& which) {
  AppsSession session(context);
  if (auto resolved = session.resolve(); !resolved) return resolved;
  auto app = session.installedApp(bundleIdentifier);
  if (!app) return unexpected(app.error());
  const auto container = which == "app" ? SimulatorAppContainer::app : SimulatorAppContainer::data;
  auto path = session.service().container(session.device().udid, *app, container, session.stop());
  if (!path) return unexpected(session.failure(path.error()));
  if (context.options.json) {
    auto document = session.resultJson(*app);
    document["container"] = which;
    document["path"] = *path;
    context.emitJson(document);
  } else {
    context.out << *path << '\n';
  }
  return {};
}

}  // namespace

void registerAppsCommands(CLI::App& app, CommandRegistry& registry) {
  auto filter = std::make_shared<std::string>("all");
  auto* apps = app.add_subcommand("apps", "List the apps installed on the target simulator");
  apps->add_option("--filter", *filter, "all (default), user or system")->check(CLI::IsMember({"all", "user", "system"}));
  apps->footer(
      "Sorted by name. Hidden system apps (such as SpringBoard) are not listed; 'orvanta app' still acts on them.\n"
      "Example: orvanta apps --filter user\n"
      "--json: an array of {bundleIdentifier, displayName, bundlePath, isDeveloperApp, isSystemApp,\n"
      "kind: user|system|unknown, version?, build?, executableName?, isRemovable, isFirstParty, isAppClip,\n"
      "hasDataContainer, iconPath?}; iconPath is the largest PNG icon in the app's bundle, when there is one.");
  registry.on(apps, [filter](CommandContext& context) {
    return listApps(context, *simulatorAppFilterFromRawValue(*filter));
  });

  auto* appCommand =
      app.add_subcommand("app", "Launch, terminate, install or uninstall an app on the target simulator, or find its files");
  appCommand->require_subcommand(1);
  appCommand->footer(
      "Apps are named by bundle identifier (see 'orvanta apps'). Changes are refused while another orvanta\n"
      "command changes the same simulator's apps or runs a scenario on it; try again when it finishes.\n"
      "Examples:\n"
      "  orvanta app launch com.example.cafe\n"
      "  orvanta app install build/Debug-iphonesimulator/Cafe.app\n"
      "  orvanta app uninstall com.example.cafe --yes\n"
      "  cd \"$(orvanta app container com.example.cafe)\"");

  auto bundleIdentifier = std::make_shared<std::string>();
  auto addBundleOption = [&](CLI::App* command) {
    command->add_option("BUNDLE-ID", *bundleIdentifier, "The app's bundle identifier, e.g. com.example.cafe")->required();
  };

  auto* launch = appCommand->add_subcommand("launch", "Launch an app (or bring it to the front) and print its process id");
  addBundleOption(launch);
  launch->footer("--json: {bundleIdentifier, displayName, simulatorUDID, simulatorName, processIdentifier?}.");
  registry.on(launch, [bundleIdentifier](CommandContext& context) { return launchApp(context, *bundleIdentifier); });

  auto* terminate = appCommand->add_subcommand("terminate", "Stop a running app");
  addBundleOption(terminate);
  terminate->footer("An app that is not running fails with \"<name> isn't running.\" (exit 1).\n"
                    "--json: {bundleIdentifier, displayName, simulatorUDID, simulatorName}.");
  registry.on(terminate, [bundleIdentifier](CommandContext& context) { return terminateApp(context, *bundleIdentifier); });

  auto bundlePath = std::make_shared<std::string>();
  auto* install = appCommand->add_subcommand("install", "Install an app from its .app bundle folder");
  install->add_option("PATH", *bundlePath, "The .app folder, as built for the simulator")->required();
  install->footer("Installing an app that is already installed replaces it and keeps its data.\n"
                  "--json: {bundlePath, simulatorUDID, simulatorName, bundleIdentifier?, displayName?}.");
  registry.on(install, [bundlePath](CommandContext& context) { return installApp(context, *bundlePath); });

  auto* uninstall = appCommand->add_subcommand("uninstall", "Remove an app and its data (asks first)");
  addBundleOption(uninstall);
  uninstall->footer(
      "Asks for confirmation on a terminal; pass --yes to skip it (required when stdin is not a terminal).\n"
      "Afterwards the app list is read again: an app the simulator kept (system apps) fails with\n"
      "\"The simulator did not remove the app: <name>\".\n"
      "--json: {bundleIdentifier, displayName, simulatorUDID, simulatorName}.");
  registry.on(uninstall, [bundleIdentifier](CommandContext& context) { return uninstallApp(context, *bundleIdentifier); });

  auto which = std::make_shared<std::string>("data");
  auto* container = appCommand->add_subcommand("container", "Print the path of an app's data or bundle container");
  addBundleOption(container);
  container->add_option("CONTAINER", *which, "data (default): the app's sandbox; app: the installed .app bundle")
      ->check(CLI::IsMember({"app", "data"}));
  container->footer("--json: {bundleIdentifier, displayName, simulatorUDID, simulatorName, container, path}.");
  registry.on(container, [bundleIdentifier, which](CommandContext& context) {
    return showContainer(context, *bundleIdentifier, *which);
  });
}

}  // namespace orvanta
