#include "app/result_json.hpp"

#include <cmath>
#include <type_traits>
#include <variant>

#include "apps/simulator_app_icon_cache.hpp"
#include "support/atomic_file.hpp"
#include "support/property_list.hpp"
#include "support/reference_date.hpp"
#include "support/utf8.hpp"
#include "tools/app_data/structured_document.hpp"
#include "tools/location/location_persistence.hpp"
#include "tools/location/location_route_library.hpp"

namespace orvanta {

std::string jsonDate(std::chrono::system_clock::time_point date) { return formatUtc(date, UtcFormat::rfc3339); }

nlohmann::json scenarioJson(const ScenarioDefinition& scenario) {
  auto json = encodeScenario(scenario).value_or(nlohmann::json::object());
  json["createdAt"] = jsonDate(scenario.createdAt);
  json["updatedAt"] = jsonDate(scenario.updatedAt);
  return json;
}

nlohmann::json workspaceJson(const Workspace& workspace) {
  auto json = encodeWorkspace(workspace).value_or(nlohmann::json::object());
  json["createdAt"] = jsonDate(workspace.createdAt);
  json["updatedAt"] = jsonDate(workspace.updatedAt);
  return json;
}

nlohmann::json scenarioListJson(const ScenarioLibrary& library) {
  using Entry = ScenarioLibrary::Entry;
  nlohmann::json array = nlohmann::json::array();
  for (const auto& entry : library.entries) {
    nlohmann::json item = {{"id", entry.id()}, {"supported", entry.kind == Entry::Case::record}};
    if (entry.kind == Entry::Case::record) {
      item["name"] = entry.record.name;
      item["stepCount"] = entry.record.steps.size();
    } else {
      item["schemaVersion"] = entry.schemaVersion;
    }
    array.push_back(std::move(item));
  }
  return array;
}

nlohmann::json scenarioIssueJson(const ScenarioPreflightIssue& issue) {
  nlohmann::json json = {{"kind", std::string(issue.caseName())}, {"message", issue.description()}};
  if (issue.stepID) json["stepID"] = *issue.stepID;
  return json;
}

namespace {
nlohmann::json planJson(const ScenarioExecutionPlan& plan) {
  nlohmann::json steps = nlohmann::json::array();
  for (const auto& step : plan.steps) {
    steps.push_back({{"id", step.id}, {"title", step.kind.title()}, {"kind", std::string(step.kind.caseName())}});
  }
  nlohmann::json json = {{"id", plan.id},
                         {"scenarioID", plan.scenarioID},
                         {"scenarioName", plan.scenarioName},
                         {"scenarioSchemaVersion", plan.scenarioSchemaVersion},
                         {"simulatorUDID", plan.simulatorUDID},
                         {"simulatorName", plan.simulatorName},
                         {"runtimeIdentifier", plan.runtimeIdentifier},
                         {"steps", steps}};
  if (plan.app) json["app"] = {{"bundleIdentifier", plan.app->bundleIdentifier}, {"displayName", plan.app->displayName}};
  return json;
}
}  // namespace

nlohmann::json scenarioCheckJson(const ScenarioExecutionPlan& plan, const ScenarioConfirmation& confirmation) {
  return {{"plan", planJson(plan)},
          {"confirmation",
           {{"title", confirmation.title},
            {"confirmButtonTitle", confirmation.confirmButtonTitle},
            {"target", confirmation.target},
            {"stepLines", confirmation.stepLines},
            {"destructiveNotes", confirmation.destructiveNotes},
            {"note", confirmation.note}}}};
}

nlohmann::json scenarioRunJson(const ScenarioResult& result) {
  nlohmann::json steps = nlohmann::json::array();
  for (const auto& step : result.stepResults) {
    nlohmann::json item = {{"id", step.id}, {"title", step.title}, {"outcome", std::string(step.outcome.caseName())}};
    if (step.startedAt) item["startedAt"] = jsonDate(*step.startedAt);
    if (step.duration) item["duration"] = *step.duration;
    if (!step.outcome.message().empty()) item["message"] = step.outcome.message();
    steps.push_back(std::move(item));
  }
  return {{"summary", scenarioResultSummary(result)}, {"stepResults", steps}};
}

nlohmann::json doctorJson(const std::vector<DoctorCheck>& checks) {
  nlohmann::json array = nlohmann::json::array();
  for (const auto& check : checks) {
    array.push_back({{"name", check.name}, {"status", std::string(statusWord(check.status))}, {"message", check.message}});
  }
  return {{"checks", array}};
}

std::string jsonText(std::string_view text) { return toValidUtf8(text); }

nlohmann::json containerEntryJson(const ContainerEntry& entry) {
  return {{"path", jsonText(entry.path)},
          {"kind", std::string(rawValue(entry.kind))},
          {"size", entry.size},
          {"modified", jsonDate(entry.modified)}};
}

namespace {
nlohmann::json cellJson(const SqliteValue& value) {
  return std::visit(
      [](const auto& cell) -> nlohmann::json {
        using T = std::decay_t<decltype(cell)>;
        if constexpr (std::is_same_v<T, std::nullptr_t>) {
          return nullptr;
        } else if constexpr (std::is_same_v<T, SqliteBlob>) {
          return nlohmann::json{{"base64", base64Text(cell.bytes)}};
        } else if constexpr (std::is_same_v<T, double>) {
          return std::isfinite(cell) ? nlohmann::json(cell) : nlohmann::json(cell > 0 ? "inf" : cell < 0 ? "-inf" : "nan");
        } else {
          return cell;
        }
      },
      value);
}

}  // namespace

const char* resetLedgerStatusWord(AppDataResetLedgerEntry::Status status) {
  switch (status) {
    case AppDataResetLedgerEntry::Status::succeeded: return "succeeded";
    case AppDataResetLedgerEntry::Status::failed: return "failed";
    case AppDataResetLedgerEntry::Status::skipped: return "skipped";
  }
  return "";
}
nlohmann::json dataFilesJson(const std::vector<DataFile>& files) {
  nlohmann::json list = nlohmann::json::array();
  for (const auto& file : files) {
    list.push_back({{"path", jsonText(file.path)}, {"kind", std::string(rawValue(file.kind))}, {"size", file.size}});
  }
  return list;
}

nlohmann::json inspectionJson(const DataInspection& inspection) {
  if (const auto* database = std::get_if<DatabaseInspection>(&inspection)) {
    nlohmann::json tables = nlohmann::json::array();
    for (const auto& table : database->tables) {
      nlohmann::json columns = nlohmann::json::array();
      for (const auto& column : table.columns) {
        columns.push_back({{"name", column.name},
                           {"type", column.type},
                           {"notNull", column.notNull},
                           {"primaryKey", column.primaryKey}});
      }
      nlohmann::json indexes = nlohmann::json::array();
      for (const auto& index : table.indexes) {
        indexes.push_back({{"name", index.name}, {"unique", index.unique}, {"columns", index.columns}});
      }
      tables.push_back({{"name", table.name},
                        {"rowCount", table.rowCount ? nlohmann::json(*table.rowCount) : nlohmann::json(nullptr)},
                        {"columns", std::move(columns)},
                        {"indexes", std::move(indexes)}});
    }
    return {{"kind", "sqlite"}, {"tables", std::move(tables)}};
  }
  const auto& document = std::get<StructuredDocument>(inspection);
  nlohmann::json output = {{"kind", std::string(rawValue(document.kind))}};
  if (!document.format.empty()) output["format"] = document.format;
  output["value"] = document.value;
  return output;
}

nlohmann::json sqlRowsJson(const SqliteQueryResult& result) {
  nlohmann::json rows = nlohmann::json::array();
  for (const auto& row : result.rows) {
    nlohmann::json object = nlohmann::json::object();
    for (std::size_t column = 0; column < row.size(); ++column) object[result.columns[column]] = cellJson(row[column]);
    rows.push_back(std::move(object));
  }
  return rows;
}

nlohmann::json defaultsJson(const std::string& domain, const std::vector<std::pair<std::string, nlohmann::json>>& values) {
  nlohmann::json members = nlohmann::json::object();
  for (const auto& [key, value] : values) members[jsonText(key)] = value;
  return {{"domain", jsonText(domain)}, {"values", std::move(members)}};
}

nlohmann::json defaultsWrittenJson(const std::string& domain, const std::string& key, const nlohmann::json& typed,
                                   bool terminatedApp) {
  return {{"domain", jsonText(domain)},
          {"key", jsonText(key)},
          {"value", typed},
          {"terminatedApp", terminatedApp},
          {"confirmed", true}};
}

nlohmann::json appDataResetJson(const AppDataResetOutcome& outcome, const std::string& bundleIdentifier,
                                const std::string& simulatorUDID) {
  static constexpr const char* outcomes[] = {"succeeded", "partial", "failed"};
  nlohmann::json ledger = nlohmann::json::array();
  for (const auto& entry : outcome.ledger) {
    ledger.push_back({{"step", entry.step}, {"status", resetLedgerStatusWord(entry.status)}, {"message", entry.message}});
  }
  nlohmann::json document = {{"bundleIdentifier", bundleIdentifier},
                             {"simulatorUDID", simulatorUDID},
                             {"outcome", outcomes[static_cast<int>(outcome.kind)]},
                             {"ledger", std::move(ledger)}};
  if (!outcome.summary.empty()) document["summary"] = outcome.summary;
  return document;
}

nlohmann::json deviceJson(const SimulatorDevice& device) {
  nlohmann::json object = {{"udid", device.udid},
                           {"name", device.name},
                           {"state", std::string(rawValue(device.state))},
                           {"runtimeIdentifier", device.runtimeIdentifier},
                           {"runtimeDisplayName", device.runtimeDisplayName}};
  if (device.deviceTypeIdentifier) object["deviceTypeIdentifier"] = *device.deviceTypeIdentifier;
  return object;
}

nlohmann::json targetStatusJson(const SimulatorTargetStatus& status, const std::vector<SimulatorDevice>& devices) {
  nlohmann::json object = {{"status", std::string(status.caseName())}, {"line", statusLine(status, devices)}};
  if (status.kind == SimulatorTargetStatus::Case::needsChoice) object["bootedCount"] = status.bootedCount;
  if (status.kind == SimulatorTargetStatus::Case::selected || status.kind == SimulatorTargetStatus::Case::lost) {
    object["udid"] = status.udid;
  }
  if (status.device) object["device"] = deviceJson(*status.device);
  return object;
}

nlohmann::json installedAppJson(const SimulatorApp& app) {
  auto object = toJson(app);
  if (auto icon = findAppIconFile(app.bundlePath)) object["iconPath"] = icon->path.string();
  return object;
}

nlohmann::json appActionJson(const SimulatorApp& app, const SimulatorDevice& device) {
  return {{"bundleIdentifier", app.bundleIdentifier},
          {"displayName", app.displayName},
          {"simulatorUDID", device.udid},
          {"simulatorName", device.name}};
}

nlohmann::json installJson(const std::filesystem::path& bundle, const SimulatorDevice& device,
                           const std::optional<SimulatorApp>& installed) {
  nlohmann::json document = {{"bundlePath", bundle.string()}, {"simulatorUDID", device.udid}, {"simulatorName", device.name}};
  if (installed) {
    document["bundleIdentifier"] = installed->bundleIdentifier;
    document["displayName"] = installed->displayName;
  }
  return document;
}

std::optional<std::string> declaredBundleIdentifier(const std::filesystem::path& bundle) {
  auto text = readFile(bundle / "Info.plist", read_budget::propertyList);
  if (!text || !*text) return std::nullopt;
  auto info = parsePropertyList(**text);
  if (!info) return std::nullopt;
  const std::string* identifier = info->findString("CFBundleIdentifier");
  if (identifier == nullptr || identifier->empty()) return std::nullopt;
  return *identifier;
}

nlohmann::json controlsResultJson(const SimulatorControlsResult& result) {
  return {{"action", std::string(result.action.caseName())},
          {"simulatorUDID", result.simulatorUDID},
          {"simulatorName", result.simulatorName},
          {"stdout", result.stdout},
          {"stderr", result.stderr}};
}

nlohmann::json statusBarReadingJson(const StatusBarReading& reading) {
  nlohmann::json document = toJson(reading.values);
  if (reading.batteryStateCode) document["batteryStateCode"] = *reading.batteryStateCode;
  return document;
}

nlohmann::json uiSettingJson(const SimulatorControlsResult& result, const std::optional<std::string>& value,
                             std::optional<bool> verified, const std::optional<std::string>& previous,
                             std::optional<bool> confirmed) {
  nlohmann::json document = controlsResultJson(result);
  if (value) document["value"] = *value;
  if (verified) document["verified"] = *verified;
  if (previous) document["previous"] = *previous;
  if (confirmed) document["confirmed"] = *confirmed;
  return document;
}

nlohmann::json statusBarAppliedJson(const SimulatorControlsResult& result, const StatusBarOverride& value, bool verified,
                                    const std::optional<StatusBarReading>& listed, bool confirmed) {
  nlohmann::json document = controlsResultJson(result);
  document["override"] = toJson(value);
  document["verified"] = verified;
  if (listed) {
    document["listed"] = statusBarReadingJson(*listed);
    document["confirmed"] = confirmed;
  }
  return document;
}

nlohmann::json lifecycleJson(SimulatorLifecycleAction action, bool alreadyDone, const SimulatorDevice& device) {
  return {{"action", std::string(commandWord(action))}, {"alreadyDone", alreadyDone}, {"device", deviceJson(device)}};
}

nlohmann::json screenshotJson(const ScreenshotCapture& capture, const std::filesystem::path& saved) {
  return {{"path", saved.string()},
          {"pixelWidth", capture.pixelWidth},
          {"pixelHeight", capture.pixelHeight},
          {"fileSize", capture.fileSize},
          {"simulatorUDID", capture.simulatorUDID},
          {"simulatorName", capture.simulatorName}};
}

nlohmann::json recordingJson(const RecordingArtifact& artifact, const std::filesystem::path& saved,
                             const std::string& codec) {
  return {{"path", saved.string()},
          {"duration", artifact.duration},
          {"pixelWidth", artifact.pixelWidth},
          {"pixelHeight", artifact.pixelHeight},
          {"fileSize", artifact.fileSize},
          {"codec", codec}};
}

nlohmann::json locationErrorJson(const LocationSimulationError& error) {
  return {{"kind", std::string(error.caseName())}, {"message", error.description()}};
}

nlohmann::json locationResultJson(const LocationCommandResult& result) {
  nlohmann::json json = {{"action", std::string(result.action.caseName())},
                         {"simulatorUDID", result.simulatorUDID},
                         {"simulatorName", result.simulatorName},
                         {"stdout", result.stdout},
                         {"stderr", result.stderr}};
  if (result.action.kind == LocationAction::Case::set) json["coordinate"] = toJson(result.action.location);
  if (result.persistenceError) json["persistenceError"] = locationErrorJson(*result.persistenceError);
  return json;
}

nlohmann::json locationPointJson(const LocationRoutePoint& point) {
  nlohmann::json json = {{"latitude", point.latitude}, {"longitude", point.longitude}};
  if (auto elevation = point.elevation()) json["elevation"] = *elevation;
  if (auto timestamp = point.timestamp()) json["timestamp"] = jsonDate(*timestamp);
  return json;
}

nlohmann::json routeMetricsJson(const LocationRouteMetrics& metrics) {
  nlohmann::json json = {{"pointCount", metrics.pointCount},
               {"segmentCount", metrics.segmentCount},
               {"first", locationPointJson(metrics.first)},
               {"last", locationPointJson(metrics.last)},
               {"bounds",
                {{"minLatitude", metrics.bounds.minLatitude},
                 {"maxLatitude", metrics.bounds.maxLatitude},
                 {"minLongitude", metrics.bounds.minLongitude},
                 {"maxLongitude", metrics.bounds.maxLongitude}}},
               {"distanceMeters", metrics.distanceMeters},
               {"segmentGapCount", metrics.segmentGapCount},
               {"hasCompleteTimestamps", metrics.hasCompleteTimestamps}};
  if (metrics.duration) json["duration"] = *metrics.duration;
  if (auto speed = metrics.timedAverageSpeed()) json["timedAverageSpeed"] = *speed;
  return json;
}

nlohmann::json gpxNotesJson(const GPXParseNotes& notes) {
  return {{"ignoredWaypointCount", notes.ignoredWaypointCount},
          {"ignoredRouteCount", notes.ignoredRouteCount},
          {"unreadableTimestampCount", notes.unreadableTimestampCount},
          {"unreadableElevationCount", notes.unreadableElevationCount}};
}

nlohmann::json locationOperationJson(const LocationActiveOperation& operation) {
  nlohmann::json json = {{"kind", operation.kind == LocationActiveOperation::Kind::route ? "route" : "scenario"},
               {"name", operation.name},
               {"simulatorUDID", operation.simulatorUDID},
               {"simulatorName", operation.simulatorName},
               {"startedAt", jsonDate(operation.startedAt)}};
  if (operation.kind == LocationActiveOperation::Kind::route) {
    json["pointCount"] = operation.pointCount;
    json["speedMetersPerSecond"] = operation.speedMetersPerSecond;
  }
  return json;
}

nlohmann::json routeRecentJson(const LocationRouteRecent& recent) {
  nlohmann::json json = toJson(recent);
  json["startedAt"] = jsonDate(recent.startedAt);
  return json;
}

nlohmann::json routeStartJson(const LocationRoute& route, const LocationRouteStart& started, double speed,
                              const std::optional<GPXParseNotes>& notes) {
  nlohmann::json json = {{"route", {{"id", route.id}, {"name", route.name}, {"sourceFilename", route.source.filename}}},
                         {"metrics", routeMetricsJson(started.metrics)},
                         {"speedMetersPerSecond", speed},
                         {"simulatorUDID", started.operation.simulatorUDID},
                         {"simulatorName", started.operation.simulatorName},
                         {"stdout", started.stdout},
                         {"stderr", started.stderr},
                         {"activeOperation", locationOperationJson(started.operation)},
                         {"note", locationRouteNote}};
  if (notes) json["notes"] = gpxNotesJson(*notes);
  if (started.recent) json["recent"] = routeRecentJson(*started.recent);
  if (started.persistenceError) json["persistenceError"] = locationErrorJson(*started.persistenceError);
  return json;
}

nlohmann::json deepLinkOpenedJson(const DeepLinkLaunchResult& result, const ValidatedDeepLink& link) {
  return {{"urlString", result.urlString},
          {"simulatorUDID", result.simulatorUDID},
          {"kind", std::string(link.kind.caseName())},
          {"scheme", link.kind.scheme}};
}

nlohmann::json privacyChangeJson(SimulatorPrivacyAction action, const std::string& service,
                                 const std::string& bundleIdentifier, const std::string& simulatorUDID) {
  return {{"action", std::string(commandWord(action))},
          {"service", service},
          {"bundleIdentifier", bundleIdentifier},
          {"simulatorUDID", simulatorUDID},
          {"note", SimulatorPrivacyError(SimulatorPrivacyError::Case::privacyStateNotInspectable).description()}};
}

nlohmann::json pushSentJson(const std::string& bundleIdentifier, const std::string& simulatorUDID,
                            const std::string& payload, const std::optional<FileError>& persistenceError) {
  nlohmann::json document = {{"bundleIdentifier", bundleIdentifier}, {"simulatorUDID", simulatorUDID}, {"payload", payload}};
  if (persistenceError) {
    document["persistenceError"] = {{"kind", std::string(persistenceError->caseName())},
                                    {"message", persistenceError->description()}};
  }
  return document;
}

}  // namespace orvanta
