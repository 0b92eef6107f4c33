// Reset App Data: gives an installed app a clean slate by reinstalling it from its own installed build.
//
// The steps, each recorded in a ledger:
//   1. copy    - the .app bundle that `simctl get_app_container <udid> <bundle id> app` names is copied into a
//                private folder (0700, removed on every way out) as the reinstall source;
//   2. terminate - the app is stopped (an app that is not running is fine);
//   3. uninstall - the app and its data container go;
//   4. install - the copy is installed again;
//   5. permissions - when asked, every privacy permission of the app is reset (`privacy ... reset all`);
//   6. verify  - the app list must show the app again.
// Nothing is done before the copy is complete, so a failure there leaves the app untouched. A failure
// after the uninstall is a failure: the app is gone. A failure of the permissions reset or of the final
// check, after the app is back, is a partial success with a summary of what did not work.
//
// The whole run holds the simulator's mutation gate under "app-data"; a held simulator is refused at once.
// Main thread only, like the gate; blocks while simctl runs. A stop request cancels the running simctl and
// ends the reset after the step that was running.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "apps/simulator_app.hpp"
#include "apps/simulator_app_service.hpp"
#include "core/simctl_client.hpp"
#include "core/simulator_device.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

// What a reset is asked to do.
struct AppDataResetPlan {
  SimulatorDevice simulator;  // the booted simulator, as the fresh device list showed it
  SimulatorApp app;
  bool resetPermissions = false;
  bool operator==(const AppDataResetPlan&) const = default;
};

// The installed .app bundle folder of `bundleIdentifier` (get_app_container ... app), when simctl names
// one that exists and can be read; otherwise a sentence saying why not. Thread-safe; blocks.
[[nodiscard]] expected<std::filesystem::path, std::string> locateInstalledBundle(const SimctlClient& client,
                                                                                const std::string& udid,
                                                                                const std::string& bundleIdentifier,
                                                                                orvanta::stop_token stop = {});

struct AppDataResetLedgerEntry {
  enum class Status { succeeded, failed, skipped };
  std::string step;     // "copy", "terminate", "uninstall", "install", "permissions", "verify"
  Status status = Status::succeeded;
  std::string message;  // what happened, or why it failed
  bool operator==(const AppDataResetLedgerEntry&) const = default;
};

struct AppDataResetOutcome {
  enum class Case { succeeded, partial, failed };
  Case kind = Case::succeeded;
  std::string summary;  // partial and failed: one sentence for the user
  std::vector<AppDataResetLedgerEntry> ledger;
};

class AppDataResetService {
 public:
  // `gate` is the simulator gate the reset holds under "app-data"; `apps` must use a gate that the reset's
  // own hold does not block (see executeReset).
  AppDataResetService(SimctlClient client, SimulatorMutationGate& gate) : client_(std::move(client)), gate_(gate) {}

  // Runs the plan. Refused with a failed outcome ("Another change to this simulator is in progress.")
  // when the gate is held. The app actions run through an app service of their own on a gate private to
  // this reset, so that the reset's hold does not refuse its own steps. `temporaryParent` holds the copy.
  [[nodiscard]] AppDataResetOutcome reset(const AppDataResetPlan& plan, orvanta::stop_token stop = {});

  // Where the reinstall copies go; the user's temporary folder unless set.
  void setTemporaryParent(std::filesystem::path parent) { temporaryParent_ = std::move(parent); }

 private:
  SimctlClient client_;
  SimulatorMutationGate& gate_;
  std::optional<std::filesystem::path> temporaryParent_;
};

}  // namespace orvanta
