#include "automation/app_data_reset_service.hpp"

#include <unistd.h>

#include <algorithm>
#include <system_error>

#include "core/simulator_target.hpp"
#include "support/app_paths.hpp"
#include "support/private_directory.hpp"
#include "support/text.hpp"
#include "tools/privacy/simulator_privacy_service.hpp"

namespace orvanta {

namespace fs = std::filesystem;

expected<fs::path, std::string> locateInstalledBundle(const SimctlClient& client, const std::string& udid,
                                                      const std::string& bundleIdentifier, orvanta::stop_token stop) {
  auto output = client.simctl({"get_app_container", udid, bundleIdentifier, "app"}, std::move(stop));
  if (!output) return unexpected(output.error().description());
  if (output->terminationStatus != 0) return unexpected(simctlDiagnostic(*output));
  const fs::path path(std::string(trimWhitespace(utf8OrEmpty(output->stdout))));
  std::error_code error;
  if (path.empty() || !path.is_absolute() || !fs::is_directory(path, error)) {
    return unexpected("The app's bundle folder " + path.string() + " was not found.");
  }
  if (::access(path.c_str(), R_OK | X_OK) != 0) return unexpected("The app's bundle folder " + path.string() + " can't be read.");
  return path;
}

namespace {

using Status = AppDataResetLedgerEntry::Status;

class Ledger {
 public:
  void record(std::string step, Status status, std::string message) {
    entries.push_back({std::move(step), status, std::move(message)});
  }
  AppDataResetOutcome failed(std::string summary) {
    return {AppDataResetOutcome::Case::failed, std::move(summary), std::move(entries)};
  }
  std::vector<AppDataResetLedgerEntry> entries;
};

}  // namespace

AppDataResetOutcome AppDataResetService::reset(const AppDataResetPlan& plan, orvanta::stop_token stop) {
  Ledger ledger;
  const std::string& udid = plan.simulator.udid;
  const SimulatorApp& app = plan.app;
  auto hold = SimulatorGateHold::take(&gate_, udid, gate_labels::appData);
  if (!hold) return ledger.failed(std::string(gate_messages::appData));

  // The app steps run on a gate of their own: the hold above already keeps everyone else off the simulator.
  SimulatorMutationGate ownSteps;
  SimulatorAppService apps(client_, ownSteps);

  // 1. The reinstall source, complete before anything changes.
  auto bundle = locateInstalledBundle(client_, udid, app.bundleIdentifier, stop);
  if (!bundle) {
    ledger.record("copy", Status::failed, bundle.error());
    return ledger.failed("Couldn't find the app's installed build to use for Reset App Data.");
  }
  auto scratch = PrivateDirectory::createUnique(temporaryParent_.value_or(scratchDirectory()), "Orvanta-Reset-");
  if (!scratch) {
    ledger.record("copy", Status::failed, scratch.error().description());
    return ledger.failed("Couldn't copy the app's installed build: " + scratch.error().description());
  }
  const fs::path copy = scratch->path() / bundle->filename();
  std::error_code error;
  fs::copy(*bundle, copy, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
  if (error) {
    ledger.record("copy", Status::failed, error.message());
    return ledger.failed("Couldn't copy the app's installed build: " + error.message());
  }
  ledger.record("copy", Status::succeeded, "Copied " + bundle->string());
  if (stop.stop_requested()) return ledger.failed("Cancelled before the app was changed.");

  // 2. Stop the app; one that is not running is fine.
  if (auto stopped = apps.terminate(udid, app, stop); !stopped) {
    if (stopped.error().kind != SimulatorAppError::Case::appNotRunning) {
      ledger.record("terminate", Status::failed, stopped.error().description());
      return ledger.failed(stopped.error().description());
    }
    ledger.record("terminate", Status::skipped, stopped.error().description());
  } else {
    ledger.record("terminate", Status::succeeded, "Terminated.");
  }

  // 3-4. Remove it with its data, then put the copy back.
  if (auto removed = apps.uninstall(udid, app, stop); !removed) {
    ledger.record("uninstall", Status::failed, removed.error().description());
    return ledger.failed(removed.error().description());
  }
  ledger.record("uninstall", Status::succeeded, "Uninstalled.");
  if (auto installed = apps.install(udid, copy, stop); !installed) {
    ledger.record("install", Status::failed, installed.error().description());
    return ledger.failed("The app was removed but couldn't be reinstalled: " + installed.error().description());
  }
  ledger.record("install", Status::succeeded, "Reinstalled from the copy.");

  std::vector<std::string> problems;
  // 5. Permissions, when asked.
  if (plan.resetPermissions) {
    SimulatorPrivacyService privacy(client_, ownSteps);
    auto target = SimulatorTargetStatus::selected(plan.simulator);
    auto reset = privacy.apply({SimulatorPrivacyAction::reset, "all", app.bundleIdentifier}, target, stop);
    if (reset) {
      ledger.record("permissions", Status::succeeded, "Privacy permissions reset.");
    } else {
      ledger.record("permissions", Status::failed, reset.error().description());
      problems.push_back("the privacy permissions were not reset (" + reset.error().description() + ")");
    }
  } else {
    ledger.record("permissions", Status::skipped, "Not asked.");
  }

  // 6. The app must be listed again.
  auto listed = listInstalledApps(client_, udid, stop, /*includeHidden=*/true);
  if (!listed) {
    ledger.record("verify", Status::failed, listed.error().description());
    problems.push_back("the app list couldn't be read to confirm the reinstall (" + listed.error().description() + ")");
  } else if (std::none_of(listed->begin(), listed->end(),
                          [&](const SimulatorApp& each) { return each.bundleIdentifier == app.bundleIdentifier; })) {
    ledger.record("verify", Status::failed, "Not listed.");
    problems.push_back("the simulator doesn't list the app after the reinstall");
  } else {
    ledger.record("verify", Status::succeeded, "Listed again.");
  }

  if (problems.empty()) return {AppDataResetOutcome::Case::succeeded, "App data reset.", std::move(ledger.entries)};
  std::string summary = "App data reset, but ";
  for (std::size_t index = 0; index < problems.size(); ++index) {
    if (index > 0) summary += "; and ";
    summary += problems[index];
  }
  summary += ".";
  return {AppDataResetOutcome::Case::partial, std::move(summary), std::move(ledger.entries)};
}

}  // namespace orvanta
