// What every front end that speaks JSON shares about its documents: the command line's --json and the
// MCP server's structured results are the same shapes, written here once.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "apps/simulator_app.hpp"
#include "automation/app_data_reset_service.hpp"
#include "automation/scenario_executor.hpp"
#include "automation/scenario_library.hpp"
#include "automation/scenario_model.hpp"
#include "automation/scenario_plan.hpp"
#include "automation/scenario_preflight.hpp"
#include "automation/workspace_store.hpp"
#include "core/toolchain_doctor.hpp"
#include "capture/recording/recording_types.hpp"
#include "capture/screenshot/screenshot_capture_service.hpp"
#include "core/simulator_device.hpp"
#include "core/simulator_lifecycle_service.hpp"
#include "core/simulator_target.hpp"
#include "tools/controls/simulator_controls_service.hpp"
#include "tools/app_data/container_files.hpp"
#include "tools/app_data/data_file_service.hpp"
#include "tools/app_data/sqlite_reader.hpp"
#include "tools/deeplink/deep_link_service.hpp"
#include "tools/location/gpx_route_parser.hpp"
#include "tools/location/location_route_library.hpp"
#include "tools/location/location_route_service.hpp"
#include "tools/location/location_simulator_service.hpp"
#include "tools/privacy/simulator_privacy_service.hpp"

namespace orvanta {

// Every date in a JSON result: RFC 3339 in UTC with milliseconds, "2026-11-24T08:31:13.285Z".
[[nodiscard]] std::string jsonDate(std::chrono::system_clock::time_point date);

// A scenario as results show it: the library's item with its dates as jsonDate text instead of the file's
// seconds since 2001.
[[nodiscard]] nlohmann::json scenarioJson(const ScenarioDefinition& scenario);

// A workspace as results show it: the store's item, with its dates as jsonDate text.
[[nodiscard]] nlohmann::json workspaceJson(const Workspace& workspace);

// The scenario list: an array of {id, supported, name?, stepCount?, schemaVersion?}.
[[nodiscard]] nlohmann::json scenarioListJson(const ScenarioLibrary& library);

// A preflight issue: {kind, message, stepID?}.
[[nodiscard]] nlohmann::json scenarioIssueJson(const ScenarioPreflightIssue& issue);

// A checked scenario: {plan, confirmation: {title, confirmButtonTitle, target, stepLines, destructiveNotes,
// note}}.
[[nodiscard]] nlohmann::json scenarioCheckJson(const ScenarioExecutionPlan& plan, const ScenarioConfirmation& confirmation);

// A scenario run: {summary, stepResults: [{id, title, outcome, startedAt?, duration?, message?}]}.
[[nodiscard]] nlohmann::json scenarioRunJson(const ScenarioResult& result);

// The doctor's checks: {checks: [{name, status, message}]}.
[[nodiscard]] nlohmann::json doctorJson(const std::vector<DoctorCheck>& checks);

// `text` as valid UTF-8 (each ill-formed sequence replaced by U+FFFD): file names and keys come from the
// simulator's disk and may be anything.
[[nodiscard]] std::string jsonText(std::string_view text);

// A file or folder of an app's container: {path, kind, size, modified}.
[[nodiscard]] nlohmann::json containerEntryJson(const ContainerEntry& entry);

// The data files of a container: an array of {path, kind, size}.
[[nodiscard]] nlohmann::json dataFilesJson(const std::vector<DataFile>& files);

// One inspected file: {kind: "sqlite", tables: [{name, rowCount, columns, indexes}]}, or {kind:
// "propertyList"|"json", format?, value}.
[[nodiscard]] nlohmann::json inspectionJson(const DataInspection& inspection);

// The rows of a query as objects keyed by column name; blobs as {"base64": ...}, non-finite reals as text.
[[nodiscard]] nlohmann::json sqlRowsJson(const SqliteQueryResult& result);

// "succeeded", "failed" or "skipped".
[[nodiscard]] const char* resetLedgerStatusWord(AppDataResetLedgerEntry::Status status);

// An app's preferences: {domain, values: {KEY: {type, value}}}, `values` as (key, typedValue) pairs.
[[nodiscard]] nlohmann::json defaultsJson(const std::string& domain,
                                          const std::vector<std::pair<std::string, nlohmann::json>>& values);

// A preference written and read back: {domain, key, value, terminatedApp, confirmed}.
[[nodiscard]] nlohmann::json defaultsWrittenJson(const std::string& domain, const std::string& key,
                                                 const nlohmann::json& typed, bool terminatedApp);

// An app-data reset: {bundleIdentifier, simulatorUDID, outcome, ledger: [{step, status, message}], summary?}.
[[nodiscard]] nlohmann::json appDataResetJson(const AppDataResetOutcome& outcome, const std::string& bundleIdentifier,
                                              const std::string& simulatorUDID);

// A listed device: {udid, name, state, runtimeIdentifier, runtimeDisplayName, deviceTypeIdentifier?}.
[[nodiscard]] nlohmann::json deviceJson(const SimulatorDevice& device);

// A target status: {status, line, bootedCount?, udid?, device?}.
[[nodiscard]] nlohmann::json targetStatusJson(const SimulatorTargetStatus& status,
                                              const std::vector<SimulatorDevice>& devices);

// An installed app as the app list shows it: the app's fields, and iconPath when its bundle has a PNG icon.
[[nodiscard]] nlohmann::json installedAppJson(const SimulatorApp& app);

// What an app command acted on: {bundleIdentifier, displayName, simulatorUDID, simulatorName}.
[[nodiscard]] nlohmann::json appActionJson(const SimulatorApp& app, const SimulatorDevice& device);

// An installed bundle: {bundlePath, simulatorUDID, simulatorName, bundleIdentifier?, displayName?} (the last
// two when the simulator lists the app that the bundle declares).
[[nodiscard]] nlohmann::json installJson(const std::filesystem::path& bundle, const SimulatorDevice& device,
                                         const std::optional<SimulatorApp>& installed);

// The bundle identifier an .app folder's Info.plist declares, if it can be read.
[[nodiscard]] std::optional<std::string> declaredBundleIdentifier(const std::filesystem::path& bundle);

// One simctl action of the controls: {action, simulatorUDID, simulatorName, stdout, stderr}.
[[nodiscard]] nlohmann::json controlsResultJson(const SimulatorControlsResult& result);

// The status-bar overrides simctl lists: the override's fields, and batteryStateCode when listed.
[[nodiscard]] nlohmann::json statusBarReadingJson(const StatusBarReading& reading);

// A ui setting read or changed: the controls result of the change (or of the reading) with the value in
// the setting's own words, and, for a change, whether it was read back, the value before a step and
// whether the reading matched.
[[nodiscard]] nlohmann::json uiSettingJson(const SimulatorControlsResult& result, const std::optional<std::string>& value,
                                           std::optional<bool> verified, const std::optional<std::string>& previous,
                                           std::optional<bool> confirmed);

// Status-bar overrides applied: the controls result with the override, whether it was read back, and the
// listed overrides with whether they match.
[[nodiscard]] nlohmann::json statusBarAppliedJson(const SimulatorControlsResult& result, const StatusBarOverride& value,
                                                  bool verified, const std::optional<StatusBarReading>& listed,
                                                  bool confirmed);

// A device lifecycle change: {action, alreadyDone, device}.
[[nodiscard]] nlohmann::json lifecycleJson(SimulatorLifecycleAction action, bool alreadyDone,
                                           const SimulatorDevice& device);

// A saved screenshot: {path, pixelWidth, pixelHeight, fileSize, simulatorUDID, simulatorName}.
[[nodiscard]] nlohmann::json screenshotJson(const ScreenshotCapture& capture, const std::filesystem::path& saved);

// A saved screen recording: {path, duration, pixelWidth, pixelHeight, fileSize, codec}.
[[nodiscard]] nlohmann::json recordingJson(const RecordingArtifact& artifact, const std::filesystem::path& saved,
                                           const std::string& codec);

// A location error as a member of a result: {kind, message}.
[[nodiscard]] nlohmann::json locationErrorJson(const LocationSimulationError& error);

// A location set or clear: {action, simulatorUDID, simulatorName, stdout, stderr, coordinate?,
// persistenceError?}.
[[nodiscard]] nlohmann::json locationResultJson(const LocationCommandResult& result);

// A route point: {latitude, longitude, elevation?, timestamp?}.
[[nodiscard]] nlohmann::json locationPointJson(const LocationRoutePoint& point);
// A route's metrics: counts, first and last points, bounds, distance, duration?, timedAverageSpeed?.
[[nodiscard]] nlohmann::json routeMetricsJson(const LocationRouteMetrics& metrics);
// What a GPX import ignored or could not read, as counts.
[[nodiscard]] nlohmann::json gpxNotesJson(const GPXParseNotes& notes);
// The route or location scenario playing on a simulator.
[[nodiscard]] nlohmann::json locationOperationJson(const LocationActiveOperation& operation);
// A recent route, with its start as a JSON date.
[[nodiscard]] nlohmann::json routeRecentJson(const LocationRouteRecent& recent);
// A route that started playing: {route, metrics, speedMetersPerSecond, simulatorUDID, simulatorName, stdout,
// stderr, activeOperation, note, notes?, recent?, persistenceError?}.
[[nodiscard]] nlohmann::json routeStartJson(const LocationRoute& route, const LocationRouteStart& started, double speed,
                                            const std::optional<GPXParseNotes>& notes);

// A URL opened on a simulator: {urlString, simulatorUDID, kind, scheme}.
[[nodiscard]] nlohmann::json deepLinkOpenedJson(const DeepLinkLaunchResult& result, const ValidatedDeepLink& link);

// A privacy change: {action, service, bundleIdentifier, simulatorUDID, note}.
[[nodiscard]] nlohmann::json privacyChangeJson(SimulatorPrivacyAction action, const std::string& service,
                                               const std::string& bundleIdentifier, const std::string& simulatorUDID);

// A push notification sent: {bundleIdentifier, simulatorUDID, payload}; persistenceError when the history
// could not be saved.
[[nodiscard]] nlohmann::json pushSentJson(const std::string& bundleIdentifier, const std::string& simulatorUDID,
                                          const std::string& payload, const std::optional<FileError>& persistenceError);

}  // namespace orvanta
