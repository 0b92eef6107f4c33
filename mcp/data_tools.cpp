// data_ls, data_inspect, data_sql, get_defaults, write_defaults, reset_app_data
#include "app/questions.hpp"
#include "apps/simulator_app_service.hpp"
#include "automation/app_data_reset_service.hpp"
#include "mcp/tool_support.hpp"
#include "support/app_paths.hpp"
#include "tools/app_data/app_container_service.hpp"
#include "tools/app_data/app_file_browser_service.hpp"
#include "tools/app_data/data_file_service.hpp"
#include "tools/app_data/structured_document.hpp"
#include "tools/app_data/user_defaults_service.hpp"

namespace orvanta {

namespace {

using Json = nlohmann::json;

CommandFailure dataFailure(ToolCall& call, const AppDataError& error, const SimulatorDevice& device) {
  using Case = AppDataError::Case;
  auto failure = failureOf(call, error);
  if (error.kind == Case::simulatorBusy) {
    if (auto holder = call.environment.gate().otherProcessHolder(device.udid)) {
      failure.hints.push_back(device.name + " is held by " + *holder + ".");
    }
  } else if (error.kind == Case::appNotInstalled) {
    failure.hints.push_back("list_apps lists the installed apps.");
  } else if (error.kind == Case::queryRefused) {
    failure.hints.push_back("The query runs on a read-only copy; one SELECT (or a read-only PRAGMA) at a time.");
  }
  return failure;
}

// The target and the container that paths are relative to: the app's data container, or its group's.
struct DataCall {
  SimulatorDevice device;
  std::filesystem::path container;
};

expected<DataCall, CommandFailure> resolveContainer(ToolCall& call) {
  auto device = targetDevice(call);
  if (!device) return unexpected(device.error());
  AppContainerService containers(call.environment.simctl());
  auto container = containers.dataContainer(device->udid, *call.string("bundleIdentifier"), call.string("group"), call.stop);
  if (!container) return unexpected(dataFailure(call, container.error(), *device));
  return DataCall{*device, std::move(*container)};
}

ToolResult listFiles(ToolCall& call) {
  auto data = resolveContainer(call);
  if (!data) return ToolResult::failed(data.error());
  AppFileBrowserService browser(call.environment.gate());
  auto entries = browser.list(data->container, call.string("path").value_or(""), call.boolean("recursive").value_or(false));
  if (!entries) return ToolResult::failed(dataFailure(call, entries.error(), data->device));
  Json list = Json::array();
  for (const auto& entry : *entries) list.push_back(containerEntryJson(entry));
  return ToolResult::of(std::move(list));
}

// Without a path: the container's databases, property lists and JSON files; with one: that file's content.
ToolResult inspectData(ToolCall& call) {
  auto data = resolveContainer(call);
  if (!data) return ToolResult::failed(data.error());
  DataFileService dataFiles(temporaryDirectory());
  const auto path = call.string("path");
  if (!path) {
    auto files = dataFiles.findDataFiles(data->container);
    if (!files) return ToolResult::failed(dataFailure(call, files.error(), data->device));
    return ToolResult::of(dataFilesJson(*files));
  }
  auto inspection = dataFiles.inspect(data->container, *path, call.stop);
  if (!inspection) return ToolResult::failed(dataFailure(call, inspection.error(), data->device));
  return ToolResult::of(inspectionJson(*inspection));
}

ToolResult runQuery(ToolCall& call) {
  auto data = resolveContainer(call);
  if (!data) return ToolResult::failed(data.error());
  DataFileService dataFiles(temporaryDirectory());
  SqliteQueryLimits limits;
  limits.maximumRows = static_cast<std::size_t>(call.integer("limit").value_or(1000));
  auto result = dataFiles.query(data->container, *call.string("path"), *call.string("query"), limits, call.stop);
  if (!result) return ToolResult::failed(dataFailure(call, result.error(), data->device));
  return ToolResult::of(sqlRowsJson(*result));
}

// The preferences editor's time-out for each simctl run.
constexpr double defaultsTimeoutSeconds = 20.0;

ToolResult readDefaults(ToolCall& call) {
  auto device = targetDevice(call);
  if (!device) return ToolResult::failed(device.error());
  UserDefaultsService service(call.environment.simctlWithTimeout(defaultsTimeoutSeconds), call.environment.gate());
  auto reading = service.read(device->udid, *call.string("bundleIdentifier"), call.string("group"), call.stop);
  if (!reading) return ToolResult::failed(dataFailure(call, reading.error(), *device));
  const auto wanted = call.string("key");
  std::vector<std::pair<std::string, Json>> values;
  for (const auto& [key, value] : reading->values.entries()) {
    if (!wanted || key == *wanted) values.emplace_back(key, typedValue(value));
  }
  if (wanted && values.empty()) {
    return ToolResult::failed(dataFailure(call, AppDataError::named(AppDataError::Case::keyNotFound, *wanted), *device));
  }
  return ToolResult::of(defaultsJson(reading->domain, values));
}

ToolResult writeDefaults(ToolCall& call) {
  const auto type = userDefaultsTypeFromRawValue(*call.string("type"));
  auto value = parseUserDefaultsValue(*type, *call.string("value"));
  if (!value) return ToolResult::failed(failureOf(call, value.error()));
  auto device = targetDevice(call);
  if (!device) return ToolResult::failed(device.error());
  UserDefaultsService service(call.environment.simctlWithTimeout(defaultsTimeoutSeconds), call.environment.gate());
  const auto key = *call.string("key");
  auto changed = service.write(device->udid, *call.string("bundleIdentifier"), call.string("group"), key, *value, call.stop);
  if (!changed) return ToolResult::failed(dataFailure(call, changed.error(), *device));
  return ToolResult::of(
      defaultsWrittenJson(changed->domain, key, typedValue(changed->readBack.value_or(value->value)), changed->terminatedApp));
}

ToolResult resetAppData(ToolCall& call) {
  auto device = targetDevice(call);
  if (!device) return ToolResult::failed(device.error());
  const auto bundleIdentifier = *call.string("bundleIdentifier");
  const bool permissions = call.boolean("resetPermissions").value_or(false);
  auto apps = listInstalledApps(call.environment.simctl(), device->udid, call.stop, true);
  if (!apps) return ToolResult::failed(failureOf(call, apps.error()));
  const auto app = std::find_if(apps->begin(), apps->end(),
                                [&](const SimulatorApp& candidate) { return candidate.bundleIdentifier == bundleIdentifier; });
  if (app == apps->end()) {
    AppDataError error = AppDataError::of(AppDataError::Case::appNotInstalled);
    error.bundle = bundleIdentifier;
    return ToolResult::failed(dataFailure(call, error, *device));
  }
  if (app->isSystemApp || app->kind == SimulatorAppKind::system) {
    return ToolResult::failed(
        CommandFailure::failure("systemAppNotSupported", "Reset App Data isn't supported for a system app."));
  }
  if (!call.confirmed()) {
    return ToolResult::failed(confirmationRequired(resetDataQuestion(app->displayName, device->name, permissions)));
  }
  AppDataResetService service(call.environment.simctl(), call.environment.gate());
  const auto outcome = service.reset({*device, *app, permissions}, call.stop);
  if (outcome.kind == AppDataResetOutcome::Case::failed) {
    auto failure = CommandFailure::failure("resetFailed", outcome.summary);
    for (const auto& entry : outcome.ledger) {
      failure.hints.push_back(entry.step + ": " + resetLedgerStatusWord(entry.status) +
                              (entry.message.empty() ? "" : " (" + entry.message + ")"));
    }
    return ToolResult::failed(std::move(failure));
  }
  return ToolResult::of(appDataResetJson(outcome, app->bundleIdentifier, device->udid));
}

Json containerArguments(Json more, std::vector<std::string> required) {
  Json properties = {{"bundleIdentifier", schema::string("The app's bundle identifier")},
                     {"group", schema::string("An app group id: paths are relative to the group's container instead")}};
  properties.update(more);
  required.insert(required.begin(), "bundleIdentifier");
  return schema::object(properties, required);
}

}  // namespace

std::vector<ToolDefinition> dataTools() {
  return {
      {"data_ls", "List an app's files",
       "The files and folders in an app's data container (or a group's), with kind, size and modification "
       "time. A path that leaves the container is refused. Structured content: {items: [...]}.",
       containerArguments({{"path", schema::string("A folder relative to the container (default its top)")},
                           {"recursive", schema::boolean("List the folders' contents too")}},
                          {}),
       schema::items({{"type", "object"}}), {.readOnly = true, .idempotent = true}, true, false, listFiles},
      {"data_inspect", "Inspect an app's data files",
       "Without a path: the databases, property lists and JSON files in the app's container, with kinds and sizes "
       "(structured content {items: [...]}). With a path: an SQLite database's tables, columns, indexes and row "
       "counts, or a property list's or JSON file's content as a typed tree.",
       containerArguments({{"path", schema::string("A file relative to the container")}}, {}),
       schema::result({{"items", {{"type", "array"}}},
                       {"kind", {{"type", "string"}}},
                       {"tables", {{"type", "array"}}},
                       {"format", {{"type", "string"}}}}),
       {.readOnly = true, .idempotent = true}, true, false, inspectData},
      {"data_sql", "Query an app's database",
       "One read-only query on a consistent copy of an SQLite database in the app's container; rows as objects. "
       "Structured content: {items: [...]}.",
       containerArguments({{"path", schema::string("The database, relative to the container")},
                           {"query", schema::string("One SELECT, or a read-only PRAGMA")},
                           {"limit", schema::integer("At most this many rows (default 1000)", 1, 100000)}},
                          {"path", "query"}),
       schema::items({{"type", "object"}}), {.readOnly = true, .idempotent = true}, true, false, runQuery},
      {"get_defaults", "Read an app's preferences",
       "The app's user defaults (all keys, or one), each with its property-list type.",
       containerArguments({{"key", schema::string("Only this key")}}, {}),
       schema::result({{"domain", {{"type", "string"}}}, {"values", {{"type", "object"}}}}),
       {.readOnly = true, .idempotent = true}, true, false, readDefaults},
      {"write_defaults", "Write an app's preference",
       "Set one user default (the app is terminated first when it runs) and read it back to confirm.",
       containerArguments({{"key", schema::string("The key")},
                           {"value", schema::string("The value as text: 42, 1.5, true, an ISO 8601 date, base64 data")},
                           {"type", schema::stringOf({"string", "int", "float", "bool", "date", "data"}, "The value's type")}},
                          {"key", "value", "type"}),
       schema::result({{"domain", {{"type", "string"}}},
                       {"key", {{"type", "string"}}},
                       {"terminatedApp", {{"type", "boolean"}}},
                       {"confirmed", {{"type", "boolean"}}}}),
       {.idempotent = true}, true, false, writeDefaults},
      {"reset_app_data", "Reset an app's data",
       "Uninstall the app and install its installed build again, so that it starts with empty data (and, with "
       "resetPermissions, reset its privacy permissions). Destructive: runs only with \"confirm\": true.",
       schema::object({{"bundleIdentifier", schema::string("The app's bundle identifier")},
                       {"resetPermissions", schema::boolean("Also reset the app's privacy permissions")}},
                      {"bundleIdentifier"}),
       schema::result({{"bundleIdentifier", {{"type", "string"}}},
                       {"simulatorUDID", {{"type", "string"}}},
                       {"outcome", {{"type", "string"}}},
                       {"ledger", {{"type", "array"}}},
                       {"summary", {{"type", "string"}}}}),
       {.destructive = true}, true, true, resetAppData},
  };
}

}  // namespace orvanta
