#include "apps/simulator_app_service.hpp"

#include "support/property_list.hpp"
#include "support/utf8.hpp"

namespace orvanta {
namespace {

using Error = SimulatorAppError;
using Case = SimulatorAppError::Case;

std::string errorText(const ProcessRunner::Output& output) { return simctlDiagnostic(output); }

bool failed(const ProcessRunner::Output& output) { return output.terminationStatus != 0 || output.terminatedBySignal; }

Error runFailure(const ProcessRunnerError& error) {
  if (error.kind == ProcessRunnerError::Case::cancelled) return Error::of(Case::cancelled);
  return Error::withText(Case::simctlUnavailable, error.description());
}

// Runs simctl, turning a failure to run into the app error; the Output comes back whatever its exit status.
expected<ProcessRunner::Output, Error> runSimctl(const SimctlClient& client, std::vector<std::string> arguments,
                                                 const orvanta::stop_token& stop) {
  if (stop.stop_requested()) return unexpected(Error::of(Case::cancelled));
  auto output = client.simctl(std::move(arguments), stop);
  if (!output) return unexpected(runFailure(output.error()));
  return std::move(*output);
}

// Holds the gate for "apps" on one simulator for as long as it lives.
class GateHold {
 public:
  GateHold(SimulatorMutationGate& gate, std::string udid)
      : gate_(gate), udid_(std::move(udid)), held_(gate_.acquire(udid_, gate_labels::apps)) {}
  ~GateHold() {
    if (held_) gate_.release(udid_, gate_labels::apps);
  }
  GateHold(const GateHold&) = delete;
  GateHold& operator=(const GateHold&) = delete;
  [[nodiscard]] bool held() const { return held_; }

 private:
  SimulatorMutationGate& gate_;
  std::string udid_;
  bool held_;
};

// The checks every changing action makes before it takes the gate.
std::optional<Error> refusal(const std::string& bundleIdentifier, const orvanta::stop_token& stop) {
  if (bundleIdentifier.empty()) return Error::of(Case::noAppSelected);
  if (stop.stop_requested()) return Error::of(Case::cancelled);
  return std::nullopt;
}

expected<PropertyListValue, Error> readDictionary(const ProcessRunner::Output& output) {
  const std::string_view text = output.stdout;
  if (!isValidUtf8(text)) return unexpected(Error::withText(Case::unreadableOutput, "The output is not valid UTF-8."));
  auto value = parsePropertyList(text);
  if (!value) return unexpected(Error::withText(Case::unreadableOutput, value.error().description()));
  if (!value->isDictionary()) {
    return unexpected(Error::withText(Case::unreadableOutput, "The top level is not a dictionary."));
  }
  return std::move(*value);
}

}  // namespace

std::string_view rawValue(SimulatorAppContainer container) {
  return container == SimulatorAppContainer::app ? "app" : "data";
}

expected<std::vector<SimulatorApp>, SimulatorAppError> listInstalledApps(const SimctlClient& client,
                                                                         const std::string& udid,
                                                                         orvanta::stop_token stop, bool includeHidden) {
  auto output = runSimctl(client, {"listapps", udid}, stop);
  if (!output) return unexpected(output.error());
  if (failed(*output)) return unexpected(Error::simctlFailed(output->terminationStatus, errorText(*output)));
  const std::string_view text = output->stdout;
  if (!isValidUtf8(text)) return unexpected(Error::withText(Case::unreadableOutput, "The output is not valid UTF-8."));
  auto apps = decodeAppList(text, includeHidden);
  if (!apps) return unexpected(Error::withText(Case::unreadableOutput, apps.error().reason));
  return std::move(*apps);
}

expected<std::vector<SimulatorApp>, SimulatorAppError> SimulatorAppService::listApps(const std::string& udid,
                                                                                     orvanta::stop_token stop) const {
  return listInstalledApps(client_, udid, std::move(stop));
}

expected<SimulatorAppLaunchResult, SimulatorAppError> SimulatorAppService::launch(const std::string& udid,
                                                                                  const SimulatorApp& app,
                                                                                  orvanta::stop_token stop) {
  if (auto refused = refusal(app.bundleIdentifier, stop)) return unexpected(*refused);
  GateHold hold(gate_, udid);
  if (!hold.held()) return unexpected(Error::of(Case::simulatorBusy));
  auto output = runSimctl(client_, {"launch", udid, app.bundleIdentifier}, stop);
  if (!output) return unexpected(output.error());
  if (failed(*output)) return unexpected(Error::withName(Case::launchFailed, app.displayName, errorText(*output)));
  return parseLaunchOutput(output->stdout);
}

expected<void, SimulatorAppError> SimulatorAppService::terminate(const std::string& udid, const SimulatorApp& app,
                                                                 orvanta::stop_token stop) {
  if (auto refused = refusal(app.bundleIdentifier, stop)) return unexpected(*refused);
  GateHold hold(gate_, udid);
  if (!hold.held()) return unexpected(Error::of(Case::simulatorBusy));
  auto output = runSimctl(client_, {"terminate", udid, app.bundleIdentifier}, stop);
  if (!output) return unexpected(output.error());
  if (failed(*output)) {
    std::string text = errorText(*output);
    if (text.find("found nothing to terminate") != std::string::npos) {
      return unexpected(Error::withName(Case::appNotRunning, app.displayName));
    }
    return unexpected(Error::withName(Case::terminateFailed, app.displayName, std::move(text)));
  }
  return {};
}

expected<void, SimulatorAppError> SimulatorAppService::install(const std::string& udid,
                                                               const std::filesystem::path& bundlePath,
                                                               orvanta::stop_token stop) {
  if (stop.stop_requested()) return unexpected(Error::of(Case::cancelled));
  GateHold hold(gate_, udid);
  if (!hold.held()) return unexpected(Error::of(Case::simulatorBusy));
  auto output = runSimctl(client_, {"install", udid, bundlePath.string()}, stop);
  if (!output) return unexpected(output.error());
  if (failed(*output)) return unexpected(Error::withText(Case::installFailed, errorText(*output)));
  return {};
}

expected<void, SimulatorAppError> SimulatorAppService::uninstall(const std::string& udid, const SimulatorApp& app,
                                                                 orvanta::stop_token stop) {
  if (auto refused = refusal(app.bundleIdentifier, stop)) return unexpected(*refused);
  GateHold hold(gate_, udid);
  if (!hold.held()) return unexpected(Error::of(Case::simulatorBusy));
  auto output = runSimctl(client_, {"uninstall", udid, app.bundleIdentifier}, stop);
  if (!output) return unexpected(output.error());
  if (failed(*output)) return unexpected(Error::withName(Case::uninstallFailed, app.displayName, errorText(*output)));
  // simctl reports success for apps it declines to remove (system apps), so only the listing can tell.
  auto remaining = listInstalledApps(client_, udid, stop, true);
  if (!remaining) return unexpected(remaining.error());
  for (const auto& listed : *remaining) {
    if (listed.bundleIdentifier == app.bundleIdentifier) {
      return unexpected(Error::withName(Case::appStillInstalled, app.displayName));
    }
  }
  return {};
}

expected<SimulatorAppInformation, SimulatorAppError> SimulatorAppService::appInformation(
    const std::string& udid, const std::string& bundleIdentifier, orvanta::stop_token stop) const {
  if (bundleIdentifier.empty()) return unexpected(Error::of(Case::noAppSelected));
  auto output = runSimctl(client_, {"appinfo", udid, bundleIdentifier}, stop);
  if (!output) return unexpected(output.error());
  if (failed(*output)) return unexpected(Error::simctlFailed(output->terminationStatus, errorText(*output)));
  auto properties = readDictionary(*output);
  if (!properties) return unexpected(properties.error());
  SimulatorAppInformation information{std::move(*properties), std::nullopt};
  if (information.properties.find("ApplicationType") != nullptr) {
    information.app = simulatorAppFromListing(bundleIdentifier, information.properties);
  }
  return information;
}

expected<std::string, SimulatorAppError> SimulatorAppService::container(const std::string& udid,
                                                                        const SimulatorApp& app,
                                                                        SimulatorAppContainer which,
                                                                        orvanta::stop_token stop) const {
  if (app.bundleIdentifier.empty()) return unexpected(Error::of(Case::noAppSelected));
  auto output = runSimctl(client_, {"get_app_container", udid, app.bundleIdentifier, std::string(rawValue(which))},
                          stop);
  if (!output) return unexpected(output.error());
  if (failed(*output)) return unexpected(Error::simctlFailed(output->terminationStatus, errorText(*output)));
  // One path and a newline; the path itself may begin or end with spaces, so only line ends are removed.
  std::string path = utf8OrEmpty(output->stdout);
  while (!path.empty() && (path.back() == '\n' || path.back() == '\r')) path.pop_back();
  if (path.empty() || path.find('\n') != std::string::npos) {
    return unexpected(Error::simctlFailed(output->terminationStatus, "simctl did not print one container path."));
  }
  return path;
}

}  // namespace orvanta
