// list_apps, launch_app, terminate_app, install_app, uninstall_app
#include "apps/simulator_app_service.hpp"
#include "mcp/tool_support.hpp"

namespace orvanta {

namespace {

using Json = nlohmann::json;

// The app tools' view of one call: the target and the app service on it.
struct AppsCall {
  ToolCall& call;
  SimulatorAppService service;
  SimulatorDevice device;

  explicit AppsCall(ToolCall& call_) : call(call_), service(call_.environment.simctl(), call_.environment.gate()) {}

  CommandFailure failure(const SimulatorAppError& error) {
    auto failure = failureOf(call, error);
    if (error.kind == SimulatorAppError::Case::simulatorBusy) {
      if (auto holder = call.environment.gate().otherProcessHolder(device.udid)) {
        failure.hints.push_back(device.name + " is held by " + *holder + ".");
      }
    }
    return failure;
  }

  std::optional<CommandFailure> resolve() {
    auto resolved = targetDevice(call);
    if (!resolved) return resolved.error();
    device = *resolved;
    return std::nullopt;
  }

  // The installed app with this identifier: from the list, else (a hidden app) from appinfo.
  expected<SimulatorApp, CommandFailure> installedApp(const std::string& bundleIdentifier) {
    auto listed = service.listApps(device.udid, call.stop);
    if (!listed) return unexpected(failure(listed.error()));
    for (auto& app : *listed) {
      if (app.bundleIdentifier == bundleIdentifier) return std::move(app);
    }
    auto information = service.appInformation(device.udid, bundleIdentifier, call.stop);
    if (!information) return unexpected(failure(information.error()));
    if (information->app) return std::move(*information->app);
    auto refused = failure(SimulatorAppError::of(SimulatorAppError::Case::noAppSelected));
    refused.hints.push_back(bundleIdentifier + " is not installed on " + device.name + ". list_apps lists the installed apps.");
    return unexpected(std::move(refused));
  }
};

Json appActionSchema(Json extra = Json::object()) {
  Json properties = {{"bundleIdentifier", {{"type", "string"}}},
                     {"displayName", {{"type", "string"}}},
                     {"simulatorUDID", {{"type", "string"}}},
                     {"simulatorName", {{"type", "string"}}}};
  properties.update(extra);
  return schema::result(properties);
}

ToolResult listApps(ToolCall& call) {
  AppsCall apps(call);
  if (auto failure = apps.resolve()) return ToolResult::failed(*failure);
  auto listed = apps.service.listApps(apps.device.udid, call.stop);
  if (!listed) return ToolResult::failed(apps.failure(listed.error()));
  const auto filter = simulatorAppFilterFromRawValue(call.string("filter").value_or("all"));
  Json array = Json::array();
  for (const auto& app : filterApps(*listed, filter.value_or(SimulatorAppFilter::all))) array.push_back(installedAppJson(app));
  return ToolResult::of(std::move(array));
}

enum class AppChange { launch, terminate, uninstall };

ToolResult changeApp(ToolCall& call, AppChange change) {
  AppsCall apps(call);
  if (auto failure = apps.resolve()) return ToolResult::failed(*failure);
  auto app = apps.installedApp(*call.string("bundleIdentifier"));
  if (!app) return ToolResult::failed(app.error());
  Json document = appActionJson(*app, apps.device);
  switch (change) {
    case AppChange::launch: {
      auto launched = apps.service.launch(apps.device.udid, *app, call.stop);
      if (!launched) return ToolResult::failed(apps.failure(launched.error()));
      if (launched->processIdentifier) document["processIdentifier"] = *launched->processIdentifier;
      break;
    }
    case AppChange::terminate:
      if (auto done = apps.service.terminate(apps.device.udid, *app, call.stop); !done) {
        return ToolResult::failed(apps.failure(done.error()));
      }
      break;
    case AppChange::uninstall: {
      const PendingAppUninstall pending{*app, apps.device.udid, apps.device.name};
      if (!call.confirmed()) return ToolResult::failed(confirmationRequired(pending.question()));
      if (auto done = apps.service.uninstall(pending.simulatorUDID, pending.app, call.stop); !done) {
        return ToolResult::failed(apps.failure(done.error()));
      }
      break;
    }
  }
  return ToolResult::of(std::move(document));
}

ToolResult installApp(ToolCall& call) {
  AppsCall apps(call);
  if (auto failure = apps.resolve()) return ToolResult::failed(*failure);
  std::error_code error;
  std::filesystem::path bundle = std::filesystem::absolute(*call.string("path"), error).lexically_normal();
  if (error) bundle = *call.string("path");
  if (bundle.filename().empty()) bundle = bundle.parent_path();
  if (auto done = apps.service.install(apps.device.udid, bundle, call.stop); !done) {
    return ToolResult::failed(apps.failure(done.error()));
  }
  // Name what was installed, as the simulator now lists it.
  std::optional<SimulatorApp> installed;
  if (auto identifier = declaredBundleIdentifier(bundle)) {
    if (auto listed = apps.service.listApps(apps.device.udid, call.stop)) {
      for (auto& app : *listed) {
        if (app.bundleIdentifier == *identifier) installed = std::move(app);
      }
    }
  }
  return ToolResult::of(installJson(bundle, apps.device, installed));
}

Json bundleArgument() {
  return schema::object({{"bundleIdentifier", schema::string("The app's bundle identifier, e.g. com.example.cafe")}},
                        {"bundleIdentifier"});
}

}  // namespace

std::vector<ToolDefinition> appTools() {
  return {
      {"list_apps", "List installed apps",
       "The apps installed on the simulator, sorted by name, with kind user, system or unknown. Structured "
       "content: {items: [...]}.",
       schema::object({{"filter", schema::stringOf({"all", "user", "system"}, "Which apps to list (default all)")}}),
       schema::items({{"type", "object"}}), {.readOnly = true, .idempotent = true}, true, false, listApps},
      {"launch_app", "Launch an app", "Launch an installed app (or bring it to the front); returns its process id when reported.",
       bundleArgument(), appActionSchema({{"processIdentifier", {{"type", "integer"}}}}), {}, true, false,
       [](ToolCall& call) { return changeApp(call, AppChange::launch); }},
      {"terminate_app", "Terminate an app", "Stop a running app.", bundleArgument(), appActionSchema(), {}, true,
       false, [](ToolCall& call) { return changeApp(call, AppChange::terminate); }},
      {"install_app", "Install an app", "Install an app from its .app bundle folder on this computer.",
       schema::object({{"path", schema::string("The .app bundle folder")}}, {"path"}),
       appActionSchema({{"bundlePath", {{"type", "string"}}}}),
       {.idempotent = true}, true, false, installApp},
      {"uninstall_app", "Uninstall an app",
       "Remove an app and its data from the simulator. Destructive: runs only with \"confirm\": true.",
       bundleArgument(), appActionSchema(), {.destructive = true, .idempotent = true}, true, true,
       [](ToolCall& call) { return changeApp(call, AppChange::uninstall); }},
  };
}

}  // namespace orvanta
