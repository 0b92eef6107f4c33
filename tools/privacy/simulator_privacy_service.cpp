#include "tools/privacy/simulator_privacy_service.hpp"

#include "support/text.hpp"
#include "apps/bundle_identifier.hpp"
#include "apps/simulator_app_service.hpp"
#include "core/simulator_mutation_gate.hpp"

namespace orvanta {
namespace {

using Error = SimulatorPrivacyError;
using Case = SimulatorPrivacyError::Case;

Error fromAppError(const SimulatorAppError& error) {
  switch (error.kind) {
    case SimulatorAppError::Case::cancelled: return Error(Case::operationCancelled);
    case SimulatorAppError::Case::simctlUnavailable: return Error::processLaunchFailure(error.text);
    case SimulatorAppError::Case::simctlFailed: return Error::processFailure(error.status, error.text);
    default: return Error::processLaunchFailure(error.description());
  }
}

}  // namespace

const SimulatorPrivacyServiceList* SimulatorPrivacyService::offeredServices(orvanta::stop_token stop) {
  if (!offered_) offered_ = readOfferedPrivacyServices(client_, std::move(stop));
  return offered_ ? &*offered_ : nullptr;
}

std::optional<std::string> SimulatorPrivacyService::takeFallbackNotice() {
  if (!offered_ || offered_->fromSimctl || fallbackNoticeTaken_) return std::nullopt;
  fallbackNoticeTaken_ = true;
  return "Couldn't read the privacy services from simctl's usage text; offering Orvanta's built-in list instead.";
}

expected<void, SimulatorPrivacyError> SimulatorPrivacyService::apply(const SimulatorPrivacyRequest& request,
                                                                     const SimulatorTargetStatus& target,
                                                                     orvanta::stop_token stop) {
  if (target.kind == SimulatorTargetStatus::Case::lost) return unexpected(Error(Case::simulatorNotBooted));
  if (target.kind != SimulatorTargetStatus::Case::selected || !target.device) {
    return unexpected(Error(Case::simulatorNotSelected));
  }
  const std::string udid = target.device->udid;
  if (request.bundleIdentifier.empty()) return unexpected(Error(Case::appNotSelected));
  if (!isWellFormedBundleIdentifier(request.bundleIdentifier)) return unexpected(Error(Case::invalidBundleIdentifier));
  if (stop.stop_requested()) return unexpected(Error(Case::operationCancelled));

  const auto hold = SimulatorGateHold::take(&gate_, udid, gate_labels::apps);
  if (!hold) return unexpected(Error(Case::simulatorBusy));

  auto information = SimulatorAppService(client_, gate_).appInformation(udid, request.bundleIdentifier, stop);
  if (!information) {
    if (information.error().kind == SimulatorAppError::Case::unreadableOutput) {
      return unexpected(Error::appNotInstalled(request.bundleIdentifier));
    }
    return unexpected(fromAppError(information.error()));
  }
  if (!information->app) return unexpected(Error::appNotInstalled(request.bundleIdentifier));

  if (!isSupportedPrivacyPair(request.action, request.service)) {
    return unexpected(
        Error::unsupportedAction(request.action, SimulatorPrivacyServiceOption::named(request.service).label));
  }
  const SimulatorPrivacyServiceList* offered = offeredServices(stop);
  if (!offered) return unexpected(Error(Case::operationCancelled));
  if (!offered->offers(request.service)) return unexpected(Error::unsupportedService(request.service));

  auto output = client_.simctl(
      {"privacy", udid, std::string(commandWord(request.action)), request.service, request.bundleIdentifier}, stop);
  if (!output) {
    if (output.error().kind == ProcessRunnerError::Case::cancelled) return unexpected(Error(Case::operationCancelled));
    return unexpected(Error::processLaunchFailure(output.error().description()));
  }
  if (output->terminationStatus != 0 || output->terminatedBySignal) {
    return unexpected(Error::processFailure(output->terminationStatus, std::string(trimWhitespace(utf8OrEmpty(output->stderr)))));
  }
  return {};
}

}  // namespace orvanta
