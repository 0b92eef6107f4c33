// Snapshots of an app's data: a copy of its data container and of its group containers, kept in the
// application-support folder, that can be put back later.
//
// On disk, Snapshots/<bundle id>/<name>/ holds "data/" (the data container's contents), "groups/<group
// id>/" (each group container's contents) and "manifest.json" ({"name", "bundleIdentifier", "createdAt"
// (seconds since 2001-01-01 UTC), "groups": [ids], "byteCount", "files": {relative path: SHA-256 hex}}).
// A snapshot is written into a hidden private folder beside its final place and renamed there when
// complete, so a listed snapshot is always whole; a deleted one is renamed away before it is removed.
//
// Restoring holds the simulator's mutation gate under "app-data", checks the snapshot against its own
// checksums, terminates the app when it runs, and replaces each container's contents: the snapshot is
// copied into a hidden folder inside the container first, and only when that copy is complete are the
// old contents removed and the new moved in. Then every file of the containers is read back and its
// checksum compared with the snapshot's: a difference is a failure.
//
// Symbolic links and special files in a container are not saved (they are counted as skipped).
// Main thread only (the gate); blocks on the file system and while simctl runs.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "core/simulator_mutation_gate.hpp"
#include "support/stop_token.hpp"
#include "tools/app_data/app_container_service.hpp"
#include "tools/app_data/app_data_error.hpp"

namespace orvanta {

// Whether `name` can name a snapshot: 1 to 100 bytes of UTF-8, no '/', no control characters, not
// starting with '.'.
[[nodiscard]] bool isValidSnapshotName(std::string_view name);

struct AppDataSnapshot {
  std::string bundleIdentifier;
  std::string name;
  std::chrono::system_clock::time_point createdAt;
  std::vector<std::string> groups;
  std::size_t fileCount = 0;
  std::uintmax_t byteCount = 0;
  std::filesystem::path folder;
};

struct AppDataSnapshotRestore {
  AppDataSnapshot snapshot;
  bool terminatedApp = false;
  std::size_t filesVerified = 0;
  std::vector<std::string> missingGroups;  // groups of the snapshot that the app no longer has
};

class AppDataSnapshotService {
 public:
  // Snapshots live under `root`/Snapshots.
  AppDataSnapshotService(SimctlClient client, SimulatorMutationGate& gate, std::filesystem::path root)
      : containers_(std::move(client)), gate_(gate), folder_(std::move(root) / "Snapshots") {}

  // Saves the app's containers as `name`. Fails with invalidSnapshotName, snapshotExists, the container
  // lookups' errors, or fileOperationFailed ("save").
  [[nodiscard]] expected<AppDataSnapshot, AppDataError> save(const std::string& udid,
                                                             const std::string& bundleIdentifier,
                                                             const std::string& name, orvanta::stop_token stop = {});

  // The snapshots, of one app or of all, by app and then name. Snapshots whose manifest cannot be read
  // are left out. Never fails: a missing folder lists nothing.
  [[nodiscard]] std::vector<AppDataSnapshot> list(const std::optional<std::string>& bundleIdentifier = {}) const;

  // Deletes the snapshot. Fails with snapshotNotFound or fileOperationFailed ("delete").
  [[nodiscard]] expected<void, AppDataError> remove(const std::string& bundleIdentifier, const std::string& name);

  // Puts the snapshot back (see the top of this file). Fails with snapshotNotFound, snapshotDamaged,
  // simulatorBusy, the container lookups' and terminate's errors, fileOperationFailed ("restore"), or
  // changeNotConfirmed when the read-back differs.
  [[nodiscard]] expected<AppDataSnapshotRestore, AppDataError> restore(const std::string& udid,
                                                                       const std::string& bundleIdentifier,
                                                                       const std::string& name,
                                                                       orvanta::stop_token stop = {});

  [[nodiscard]] const std::filesystem::path& folder() const { return folder_; }

 private:
  AppContainerService containers_;
  SimulatorMutationGate& gate_;
  std::filesystem::path folder_;
};

}  // namespace orvanta
