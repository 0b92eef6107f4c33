// Workspaces: a simulator's whole setup saved under a name (the device, the app, the device state that can
// be read back, and the scenarios pinned to it), kept in "Workspaces/workspaces.json" in the
// application-support folder as a versioned document (support/versioned_document_store.hpp).
//
// One workspace as JSON (keys are written sorted when the store saves them):
//
//   {"id": "E621E1F8-...", "schemaVersion": 1, "name": "Checkout in dark mode",
//    "createdAt": 752000000.25, "updatedAt": 752000100.5,
//    "simulator": {"udid": "3BC9A608-...", "name": "iPhone 16",
//                  "deviceTypeIdentifier": "com.apple.CoreSimulator.SimDeviceType.iPhone-16",
//                  "runtimeIdentifier": "com.apple.CoreSimulator.SimRuntime.iOS-18-0"},
//    "bundleIdentifier": "com.example.cafe",
//    "state": {"appearance": "dark", "increasedContrast": false, "contentSize": "large",
//              "statusBarOverride": {"time": "9:41", "batteryLevel": 100},
//              "location": {"latitude": 48.1, "longitude": 11.5}},
//    "pinnedScenarioIDs": ["0B1C2D3E-..."]}
//
// `bundleIdentifier` is left out when no app is saved. Each member of "state" is optional: an absent one
// is left as it is on restore. "statusBarOverride" holds the overridden fields; an empty object means the
// status bar had no overrides (restore clears them). UUIDs are upper-case, dates seconds since
// 2001-01-01 00:00:00 UTC.
//
// Plain values and pure functions; the store is a value type used by one thread at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/expected.hpp"
#include "support/versioned_document_store.hpp"
#include "tools/controls/simulator_controls_types.hpp"
#include "tools/location/location_route.hpp"

namespace orvanta {

// The only workspace format this version reads and writes.
inline constexpr std::int64_t currentWorkspaceSchemaVersion = 1;

// The simulator a workspace was saved from; the identifiers say what to look for when its udid is gone.
struct WorkspaceSimulator {
  std::string udid;
  std::string name;
  std::string deviceTypeIdentifier;
  std::string runtimeIdentifier;
  bool operator==(const WorkspaceSimulator&) const = default;
};

// The device state a restore applies; an absent value is left as it is.
struct WorkspaceDeviceState {
  std::optional<SimulatorAppearance> appearance;
  std::optional<bool> increasedContrast;
  std::optional<SimulatorContentSize> contentSize;
  // The overridden fields; an empty override means none were shown (a restore clears them).
  std::optional<StatusBarOverride> statusBarOverride;
  // The last location set through Orvanta.
  std::optional<SimulatedLocation> location;
  bool operator==(const WorkspaceDeviceState&) const = default;
};

struct Workspace {
  std::string id;  // upper-case UUID; never changes
  std::int64_t schemaVersion = currentWorkspaceSchemaVersion;
  std::string name;
  WorkspaceSimulator simulator;
  std::optional<std::string> bundleIdentifier;
  WorkspaceDeviceState state;
  std::vector<std::string> pinnedScenarioIDs;  // upper-case UUIDs, in the order given
  std::chrono::system_clock::time_point createdAt;
  std::chrono::system_clock::time_point updatedAt;
  bool operator==(const Workspace&) const = default;
};

// The JSON of a workspace, as above. Fails with a sentence when a number is not finite.
[[nodiscard]] expected<nlohmann::json, std::string> encodeWorkspace(const Workspace& workspace);
// Reads it back. Every key is required except `bundleIdentifier` and the members of "state"; extra keys
// are ignored. Fails with a sentence naming the first problem.
[[nodiscard]] expected<Workspace, std::string> decodeWorkspace(const nlohmann::json& json);

struct WorkspaceStoreError {
  using Case = DocumentStoreFailure;
  Case kind = Case::notFound;
  std::string detail;  // encodingFailed, writeFailed: what went wrong; nameTaken: the name

  static WorkspaceStoreError of(Case kind, std::string detail = {}) { return {kind, std::move(detail)}; }
  [[nodiscard]] std::string description() const;
  [[nodiscard]] std::string_view caseName() const { return orvanta::caseName(kind); }
  bool operator==(const WorkspaceStoreError&) const = default;
};

struct WorkspaceStoreTraits {
  using Record = Workspace;
  using Error = WorkspaceStoreError;
  static constexpr std::int64_t currentSchemaVersion = currentWorkspaceSchemaVersion;
  static constexpr std::string_view folderName = "Workspaces";
  static constexpr std::string_view fileName = "workspaces.json";
  static constexpr std::string_view documentName = "workspace store";
  static expected<nlohmann::json, std::string> encode(const Workspace& workspace) { return encodeWorkspace(workspace); }
  static expected<Workspace, std::string> decode(const nlohmann::json& json) { return decodeWorkspace(json); }
  // "This workspace was saved by a newer version of Orvanta (schema <version>)."
  static std::string unsupportedText(std::int64_t version);
  // "This workspace could not be read (<problem>); it is kept as it is."
  static std::string unreadableText(const std::string& problem);
};

using WorkspaceStore = VersionedDocumentStore<WorkspaceStoreTraits>;

// "Appearance: dark", "Increased contrast: off", "Text size: large", "Status bar: no overrides",
// "Location: 48.1, 11.5": one line per value a restore applies.
[[nodiscard]] std::vector<std::string> workspaceStateLines(const WorkspaceDeviceState& state);

}  // namespace orvanta
