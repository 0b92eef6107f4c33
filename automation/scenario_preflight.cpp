#include "automation/scenario_preflight.hpp"

#include <algorithm>
#include <cmath>

#include "apps/simulator_app_service.hpp"
#include "support/uuid.hpp"
#include "tools/controls/simulator_controls_service.hpp"
#include "tools/location/location_entry.hpp"
#include "tools/location/location_route_playback.hpp"
#include "tools/push/push_payload.hpp"

namespace orvanta {

using Issue = ScenarioPreflightIssue;
using IssueCase = ScenarioPreflightIssue::Case;
using Step = ScenarioStepKind::Case;

StepResolution resolveScenarioStep(const ScenarioStep& step, const ScenarioWorld& world) {
  StepResolution resolution;
  auto& issues = resolution.issues;
  ScenarioResolvedStep resolved;
  resolved.kind = step.kind.kind;
  const auto& kind = step.kind;
  switch (kind.kind) {
    case Step::setAppearance: resolved.appearance = kind.appearance; break;
    case Step::setContentSize: resolved.contentSize = kind.contentSize; break;
    case Step::setIncreasedContrast: resolved.increasedContrast = kind.increasedContrast; break;
    case Step::setStatusBarOverride:
      if (kind.statusBar.isEmpty()) {
        issues.push_back(Issue::forStep(IssueCase::invalidStatusBarOverride, step.id,
                                        SimulatorControlsError::of(SimulatorControlsError::Case::emptyStatusBarOverride)
                                            .description()));
      } else if (auto problem = validateStatusBarOverride(kind.statusBar)) {
        issues.push_back(Issue::forStep(IssueCase::invalidStatusBarOverride, step.id, problem->description()));
      }
      resolved.statusBarOverride = kind.statusBar;
      break;
    case Step::setLocation:
      if (!kind.location.isValid()) issues.push_back(Issue::forStep(IssueCase::invalidLocation, step.id));
      resolved.location = kind.location;
      break;
    case Step::runLocationRoute: {
      auto recent = world.routes != nullptr ? world.routes->recent(kind.routeID) : std::nullopt;
      if (!recent) {
        issues.push_back(Issue::forStep(IssueCase::routeNotFound, step.id));
      } else if (auto route = world.routes->open(*recent); !route) {
        issues.push_back(Issue::forStep(IssueCase::routeInvalid, step.id, route.error().description()));
      } else if (auto points = prepareRoutePlayback(*route); !points) {
        issues.push_back(Issue::forStep(IssueCase::routeInvalid, step.id, points.error().description()));
      } else {
        resolved.route = std::move(*route);
      }
      const double speed = kind.speedMetersPerSecond;
      if (!(speed >= minimumRouteSpeed && speed <= maximumRouteSpeed)) {
        issues.push_back(Issue::forStep(IssueCase::invalidRouteSpeed, step.id));
      }
      resolved.speedMetersPerSecond = speed;
      break;
    }
    case Step::privacyAction: {
      const SimulatorPrivacyServiceOption* offered =
          world.privacyServices ? world.privacyServices->find(kind.serviceName) : nullptr;
      if (offered == nullptr) {
        Issue issue = Issue::forStep(IssueCase::unsupportedPrivacyService, step.id);
        issue.serviceName = kind.serviceName;
        issues.push_back(std::move(issue));
      }
      auto action = privacyActionFromCommandWord(kind.actionName);
      if (!action || !isSupportedPrivacyPair(*action, kind.serviceName)) {
        Issue issue = Issue::forStep(IssueCase::unsupportedPrivacyAction, step.id);
        issue.actionName = kind.actionName;
        issue.serviceName = offered != nullptr ? offered->label : SimulatorPrivacyServiceOption::named(kind.serviceName).label;
        issues.push_back(std::move(issue));
      }
      if (action) resolved.privacyAction = *action;
      resolved.privacyService = offered != nullptr ? *offered : SimulatorPrivacyServiceOption::named(kind.serviceName);
      break;
    }
    case Step::resetAppData:
      if (world.app) {
        if (world.app->isSystemApp || world.app->kind == SimulatorAppKind::system) {
          issues.push_back(Issue::forStep(IssueCase::systemAppNotSupported, step.id));
        } else if (!world.installedBundle || !*world.installedBundle) {
          issues.push_back(Issue::forStep(IssueCase::installSourceUnavailable, step.id));
        }
        resolved.resetPlan = AppDataResetPlan{world.simulator, *world.app, kind.resetPermissions};
      }
      break;
    case Step::openDeepLink:
      if (auto link = validateDeepLink(kind.urlString)) {
        resolved.deepLink = *link;
      } else {
        issues.push_back(Issue::forStep(IssueCase::invalidDeepLinkURL, step.id, link.error().description()));
      }
      break;
    case Step::sendPush:
      if (auto payload = validatePushPayload(kind.payload)) {
        resolved.payload = *payload;
      } else {
        issues.push_back(Issue::forStep(IssueCase::invalidPushPayload, step.id, payload.error().description()));
      }
      break;
    case Step::clearStatusBarOverrides:
    case Step::clearLocation:
    case Step::terminateApp:
    case Step::launchApp:
    case Step::bootSimulator: break;
  }
  if (issues.empty()) resolution.resolved = std::move(resolved);
  return resolution;
}

namespace {

expected<ScenarioPreflightOutcome, ScenarioPreflightFailure> blocked(Issue issue) {
  ScenarioPreflightOutcome outcome;
  outcome.issues.push_back(std::move(issue));
  return outcome;
}

const SimulatorDevice* findDevice(const std::vector<SimulatorDevice>& devices, const std::string& wanted) {
  const auto udid = parseUUID(wanted);
  for (const auto& device : devices) {
    if (device.udid == wanted || (udid && parseUUID(device.udid) == udid)) return &device;
  }
  const SimulatorDevice* named = nullptr;
  for (const auto& device : devices) {
    if (device.name != wanted) continue;
    if (named != nullptr) return nullptr;
    named = &device;
  }
  return named;
}

}  // namespace

expected<ScenarioPreflightOutcome, ScenarioPreflightFailure> ScenarioPreflight::check(
    const ScenarioDefinition& scenario, const ScenarioSelection& selection, orvanta::stop_token stop) const {
  if (scenario.steps.empty()) return blocked(Issue::of(IssueCase::noSteps));
  if (scenario.schemaVersion != currentScenarioSchemaVersion) {
    Issue issue = Issue::of(IssueCase::unsupportedSchemaVersion);
    issue.schemaVersion = scenario.schemaVersion;
    return blocked(std::move(issue));
  }
  if (!selection.simulator) return blocked(Issue::of(IssueCase::simulatorNotSelected));

  const bool needsApp = std::any_of(scenario.steps.begin(), scenario.steps.end(),
                                    [](const ScenarioStep& step) { return step.kind.needsApp(); });
  const bool needsPrivacy = std::any_of(scenario.steps.begin(), scenario.steps.end(), [](const ScenarioStep& step) {
    return step.kind.kind == Step::privacyAction;
  });
  const bool needsBundle = std::any_of(scenario.steps.begin(), scenario.steps.end(), [](const ScenarioStep& step) {
    return step.kind.kind == Step::resetAppData;
  });
  const bool wantsApp = needsApp && selection.bundleIdentifier.has_value();

  // The independent queries, each on a thread of its own. The app queries need the udid: when the
  // simulator was chosen by name they wait for the device list instead.
  const std::optional<std::string> knownUDID = parseUUID(*selection.simulator);
  expected<std::vector<SimulatorDevice>, ProcessRunnerError> devices = std::vector<SimulatorDevice>();
  std::optional<expected<std::vector<SimulatorApp>, SimulatorAppError>> apps;
  std::optional<SimulatorPrivacyServiceList> privacy;
  std::optional<expected<std::filesystem::path, std::string>> bundle;
  auto queryApps = [&](const std::string& udid) {
    apps = listInstalledApps(client_, udid, stop, /*includeHidden=*/true);
  };
  auto queryBundle = [&](const std::string& udid) {
    bundle = locateInstalledBundle(client_, udid, *selection.bundleIdentifier, stop);
  };
  // A plan that boots the simulator first may start from a shut-down one; its apps can only be listed
  // once it runs, so the app is taken as named and a launch of a missing one fails at its step.
  const bool bootsFirst = scenario.steps.front().kind.kind == Step::bootSimulator;
  // The apps are asked for beside the device list when the simulator is known to be running already.
  const bool appsAlongside = wantsApp && knownUDID && !bootsFirst;
  {
    std::vector<orvanta::jthread> workers;
    workers.emplace_back([&] { devices = client_.listDevices(stop); });
    if (needsPrivacy) workers.emplace_back([&] { privacy = readOfferedPrivacyServices(client_, stop); });
    if (appsAlongside) workers.emplace_back([&] { queryApps(*knownUDID); });
    if (appsAlongside && needsBundle) workers.emplace_back([&] { queryBundle(*knownUDID); });
  }  // joined here
  if (stop.stop_requested()) return unexpected(ScenarioPreflightFailure{"Cancelled."});
  if (!devices) return unexpected(ScenarioPreflightFailure{devices.error().description()});

  const SimulatorDevice* device = findDevice(*devices, *selection.simulator);
  if (device == nullptr) return blocked(Issue::of(IssueCase::simulatorNotFound));
  const bool booted = device->state == SimulatorState::booted;
  if (!booted && !bootsFirst) return blocked(Issue::of(IssueCase::simulatorNotBooted));

  if (wantsApp && !appsAlongside && booted) {
    orvanta::jthread appsWorker([&] { queryApps(device->udid); });
    if (needsBundle) queryBundle(device->udid);
  }
  if (stop.stop_requested()) return unexpected(ScenarioPreflightFailure{"Cancelled."});

  ScenarioWorld world;
  world.simulator = *device;
  world.privacyServices = std::move(privacy);
  world.routes = routes_.get();
  std::vector<Issue> issues;
  if (needsApp && !selection.bundleIdentifier) {
    issues.push_back(Issue::of(IssueCase::appRequired));
  } else if (needsApp && !booted) {
    SimulatorApp named;
    named.bundleIdentifier = *selection.bundleIdentifier;
    named.displayName = *selection.bundleIdentifier;
    world.app = std::move(named);
  } else if (needsApp) {
    if (!*apps) return unexpected(ScenarioPreflightFailure{(*apps).error().description()});
    const auto& list = **apps;
    auto found = std::find_if(list.begin(), list.end(), [&](const SimulatorApp& app) {
      return app.bundleIdentifier == *selection.bundleIdentifier;
    });
    if (found == list.end()) {
      Issue issue = Issue::of(IssueCase::appNotInstalled);
      issue.bundleIdentifier = *selection.bundleIdentifier;
      issues.push_back(std::move(issue));
    } else {
      world.app = *found;
      world.installedBundle = std::move(bundle);
    }
  }

  ScenarioExecutionPlan plan;
  for (const auto& step : scenario.steps) {
    auto resolution = resolveScenarioStep(step, world);
    // Without a usable app, the app's own checks of a step have nothing to say.
    for (auto& issue : resolution.issues) issues.push_back(std::move(issue));
    if (resolution.resolved) plan.steps.push_back({step.id, step.kind, std::move(*resolution.resolved)});
  }
  if (!issues.empty()) {
    ScenarioPreflightOutcome outcome;
    outcome.issues = std::move(issues);
    return outcome;
  }
  plan.id = makeUUID();
  plan.scenarioID = scenario.id;
  plan.scenarioName = scenario.name;
  plan.scenarioSchemaVersion = scenario.schemaVersion;
  plan.simulatorUDID = device->udid;
  plan.simulatorName = device->name;
  plan.runtimeIdentifier = device->runtimeIdentifier;
  plan.simulator = *device;
  if (needsApp) plan.app = world.app;
  ScenarioPreflightOutcome outcome;
  outcome.plan = std::move(plan);
  return outcome;
}

}  // namespace orvanta
