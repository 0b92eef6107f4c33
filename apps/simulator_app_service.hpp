// The app-level actions on a simulator: list, launch, terminate, install, uninstall, app information and
// the data container, each one `xcrun simctl <subcommand> <udid> ...` through the simctl client.
//
// Launch, terminate, install and uninstall change the simulator, so they run only while holding the
// simulator's mutation gate under "apps". A simulator that another operation holds (in this process or,
// through the gate's lock file, in another orvanta process) is refused at once with `simulatorBusy`,
// before simctl runs; the gate is released on every way out, success, failure or cancellation.
//
// Every operation blocks while simctl runs. A stop request cancels the running simctl and the operation
// fails with `cancelled`; a stop requested before it starts runs nothing.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "apps/simulator_app.hpp"
#include "apps/simulator_app_error.hpp"
#include "core/simctl_client.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "support/property_list_value.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

// Which container `get_app_container` reports.
enum class SimulatorAppContainer { app, data };
// "app", "data".
[[nodiscard]] std::string_view rawValue(SimulatorAppContainer container);

// What `simctl appinfo` reported.
struct SimulatorAppInformation {
  PropertyListValue properties;      // the dictionary as simctl printed it
  std::optional<SimulatorApp> app;   // none when the app is not installed (simctl then omits "ApplicationType")
};

// Lists the apps installed on `udid` (hidden ones left out, sorted; see simulator_app.hpp).
// Fails with simctlUnavailable (simctl could not be run), simctlFailed (non-zero exit, with simctl's error
// text), unreadableOutput (not a dictionary of app dictionaries, or not UTF-8) or cancelled. Thread-safe.
[[nodiscard]] expected<std::vector<SimulatorApp>, SimulatorAppError> listInstalledApps(
    const SimctlClient& client, const std::string& udid, orvanta::stop_token stop = {}, bool includeHidden = false);

// The actions take the app to act on as a SimulatorApp: its bundle identifier is what simctl gets, its display
// name is what the sentences name. An empty bundle identifier means no app was chosen: noAppSelected, and
// nothing runs. "The tool's error text" below is simctl's stderr, trimmed, or its stdout when stderr is empty.
//
// Listing, app information and containers are thread-safe. The other actions use the gate, which belongs to
// the main thread, so they are called from the main thread only.
class SimulatorAppService {
 public:
  SimulatorAppService(SimctlClient client, SimulatorMutationGate& gate) : client_(std::move(client)), gate_(gate) {}

  // See listInstalledApps.
  [[nodiscard]] expected<std::vector<SimulatorApp>, SimulatorAppError> listApps(const std::string& udid,
                                                                                orvanta::stop_token stop = {}) const;

  // Launches the app and reads the process identifier simctl reports. Fails with simulatorBusy,
  // launchFailed (non-zero exit), simctlUnavailable or cancelled.
  [[nodiscard]] expected<SimulatorAppLaunchResult, SimulatorAppError> launch(const std::string& udid,
                                                                             const SimulatorApp& app,
                                                                             orvanta::stop_token stop = {});

  // Fails with simulatorBusy, appNotRunning (simctl found nothing to terminate), terminateFailed (any other
  // non-zero exit), simctlUnavailable or cancelled.
  [[nodiscard]] expected<void, SimulatorAppError> terminate(const std::string& udid, const SimulatorApp& app,
                                                            orvanta::stop_token stop = {});

  // Installs the .app bundle folder at `bundlePath`. Fails with simulatorBusy, installFailed (non-zero exit),
  // simctlUnavailable or cancelled.
  [[nodiscard]] expected<void, SimulatorAppError> install(const std::string& udid,
                                                          const std::filesystem::path& bundlePath,
                                                          orvanta::stop_token stop = {});

  // Uninstalls the app, then lists the apps again (hidden ones included) to make sure it is gone; the gate is
  // held until that listing is done. Fails with simulatorBusy, uninstallFailed (non-zero exit),
  // appStillInstalled (simctl succeeded but the app is still listed), the listing's errors, simctlUnavailable
  // or cancelled.
  [[nodiscard]] expected<void, SimulatorAppError> uninstall(const std::string& udid, const SimulatorApp& app,
                                                            orvanta::stop_token stop = {});

  // `simctl appinfo`: the app's dictionary. simctl answers for an app that is not installed too, with a stub
  // and exit status 0; `app` is then empty. Fails with noAppSelected (empty identifier), simctlFailed,
  // unreadableOutput (no dictionary), simctlUnavailable or cancelled.
  [[nodiscard]] expected<SimulatorAppInformation, SimulatorAppError> appInformation(
      const std::string& udid, const std::string& bundleIdentifier, orvanta::stop_token stop = {}) const;

  // The path of the app's data (or bundle) container, as simctl prints it. Fails with noAppSelected,
  // simctlFailed (among others when the app is not installed or has no such container), simctlUnavailable
  // or cancelled.
  [[nodiscard]] expected<std::string, SimulatorAppError> container(const std::string& udid, const SimulatorApp& app,
                                                                   SimulatorAppContainer which = SimulatorAppContainer::data,
                                                                   orvanta::stop_token stop = {}) const;

 private:
  SimctlClient client_;
  SimulatorMutationGate& gate_;
};

}  // namespace orvanta
