#include "automation/scenario_executor.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "core/simulator_lifecycle_service.hpp"
#include "tools/controls/simulator_controls_readback.hpp"
#include "tools/location/location_entry.hpp"

namespace orvanta {

using Outcome = ScenarioStepOutcome;
using OutcomeCase = ScenarioStepOutcome::Case;
using Step = ScenarioStepKind::Case;
using ControlsAction = SimulatorControlsAction;

ScenarioStepOutcome ScenarioStepOutcome::failed(std::string message) {
  if (message.empty()) message = "The step failed.";
  return {Case::failed, {}, ScenarioStepError{std::move(message)}};
}

std::string_view ScenarioStepOutcome::caseName() const {
  static constexpr std::array<std::string_view, 7> names{"succeeded", "partial", "failed",   "pending",
                                                         "running",   "notRun",  "cancelled"};
  return names.at(static_cast<std::size_t>(kind));
}

std::string scenarioResultSummary(const ScenarioResult& result) {
  struct Count {
    OutcomeCase kind;
    const char* words;
  };
  static constexpr std::array<Count, 5> counted{{{OutcomeCase::succeeded, " succeeded"},
                                                 {OutcomeCase::partial, " partially completed"},
                                                 {OutcomeCase::failed, " failed"},
                                                 {OutcomeCase::cancelled, " cancelled"},
                                                 {OutcomeCase::notRun, " not run"}}};
  std::string text;
  for (const auto& count : counted) {
    std::size_t number = 0;
    for (const auto& step : result.stepResults) number += step.outcome.kind == count.kind ? 1 : 0;
    if (number == 0) continue;
    if (!text.empty()) text += ", ";
    text += std::to_string(number) + count.words;
  }
  return text.empty() ? "No steps" : text + ".";
}

namespace {

LocationServiceEnvironment locationEnvironment(const ScenarioExecutorEnvironment& environment,
                                               SimulatorMutationGate& gate) {
  LocationServiceEnvironment location;
  location.client = environment.client;
  location.gate = &gate;
  location.activity = std::make_shared<LocationActivity>();
  return location;
}

PushSenderService pushService(const ScenarioExecutorEnvironment& environment) {
  if (environment.temporaryFolder) return PushSenderService(environment.client, *environment.temporaryFolder);
  return PushSenderService(environment.client);
}

std::string formatSpeed(double metresPerSecond) {
  std::array<char, 64> buffer{};
  std::snprintf(buffer.data(), buffer.size(), "%.1f m/s", metresPerSecond);
  return buffer.data();
}

}  // namespace

ScenarioExecutor::ScenarioExecutor(ScenarioExecutorEnvironment environment)
    : client_(environment.client),
      controls_(environment.client),
      location_(locationEnvironment(environment, stepGate_)),
      routes_(locationEnvironment(environment, stepGate_), environment.routeLibrary),
      privacy_(environment.client, stepGate_),
      apps_(environment.client, stepGate_),
      appData_(environment.client, stepGate_),
      deepLink_(DeepLinkServiceEnvironment{environment.client.run, environment.client.xcrunPath,
                                           environment.deepLinkHistory, std::chrono::system_clock::now}),
      push_(pushService(environment)) {
  if (environment.temporaryFolder) appData_.setTemporaryParent(*environment.temporaryFolder);
}

expected<ScenarioResult, ScenarioStepError> ScenarioExecutor::execute(const ScenarioExecutionPlan& plan,
                                                                      SimulatorMutationGate* gate,
                                                                      const Progress& progress,
                                                                      orvanta::stop_token stop,
                                                                      std::string_view gateLabel) {
  auto hold = SimulatorGateHold::take(gate, plan.simulatorUDID, gateLabel);
  if (!hold) return unexpected(ScenarioStepError{std::string(gate_messages::appData)});

  ScenarioResult result;
  result.plan = plan;
  for (const auto& step : plan.steps) {
    result.stepResults.push_back({step.id, step.kind.title(), std::nullopt, std::nullopt, Outcome::of(OutcomeCase::pending)});
  }
  SimulatorDevice device = plan.simulator;
  auto report = [&](std::size_t index) {
    if (progress) progress(index, result.stepResults[index]);
  };
  for (std::size_t index = 0; index < plan.steps.size(); ++index) {
    if (stop.stop_requested()) {
      for (std::size_t rest = index; rest < plan.steps.size(); ++rest) {
        result.stepResults[rest].outcome = Outcome::of(OutcomeCase::cancelled);
        report(rest);
      }
      break;
    }
    auto& stepResult = result.stepResults[index];
    stepResult.startedAt = std::chrono::system_clock::now();
    stepResult.outcome = Outcome::of(OutcomeCase::running);
    report(index);
    const auto started = std::chrono::steady_clock::now();
    stepResult.outcome = runStep(plan, device, plan.steps[index]);
    stepResult.duration = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    report(index);
    if (stepResult.outcome.kind == OutcomeCase::failed) {
      for (std::size_t rest = index + 1; rest < plan.steps.size(); ++rest) {
        result.stepResults[rest].outcome = Outcome::of(OutcomeCase::notRun);
        report(rest);
      }
      break;
    }
  }
  return result;
}

ScenarioStepOutcome ScenarioExecutor::runStep(const ScenarioExecutionPlan& plan, SimulatorDevice& device,
                                              const ScenarioPlanStep& step) {
  const auto& resolved = step.resolved;
  const auto target = SimulatorTargetStatus::selected(device);
  const std::string& udid = plan.simulatorUDID;
  // A step that has started runs to its end: it gets no stop token of the run's.
  auto perform = [&](const ControlsAction& action) { return controls_.perform(target, action); };
  auto readBack = [&](ControlsAction::Case query, const char* what, std::string_view sent,
                      const std::string& summary) -> Outcome {
    auto reading = perform(ControlsAction::query(query));
    if (!reading) return Outcome::failed(reading.error().description());
    const std::string reported = firstOutputLine(reading->stdout);
    if (reported != sent) return Outcome::failed(settingNotConfirmedText(what, sent, reported));
    return Outcome::succeeded(summary);
  };

  if (step.kind.needsApp() && !plan.app) return Outcome::failed("No app selected.");
  switch (resolved.kind) {
    case Step::setAppearance: {
      if (auto done = perform(ControlsAction::setAppearance(resolved.appearance)); !done) {
        return Outcome::failed(done.error().description());
      }
      const std::string name = resolved.appearance == SimulatorAppearance::dark ? "Dark" : "Light";
      return readBack(ControlsAction::Case::queryAppearance, "appearance", rawValue(resolved.appearance),
                      "Appearance set to " + name + ".");
    }
    case Step::setContentSize: {
      if (auto done = perform(ControlsAction::setContentSize(resolved.contentSize)); !done) {
        return Outcome::failed(done.error().description());
      }
      return readBack(ControlsAction::Case::queryContentSize, "text size", rawValue(resolved.contentSize),
                      "Text size set to " + displayName(resolved.contentSize) + ".");
    }
    case Step::setIncreasedContrast: {
      if (auto done = perform(ControlsAction::setIncreaseContrast(resolved.increasedContrast)); !done) {
        return Outcome::failed(done.error().description());
      }
      return readBack(ControlsAction::Case::queryIncreaseContrast, "increased contrast",
                      resolved.increasedContrast ? "enabled" : "disabled",
                      resolved.increasedContrast ? "Increased contrast turned on." : "Increased contrast turned off.");
    }
    case Step::bootSimulator: {
      // The run already holds the simulator, so the boot takes no gate of its own.
      SimulatorLifecycleService lifecycle(client_, nullptr);
      auto booted = lifecycle.boot(device);
      if (!booted) return Outcome::failed(booted.error().description());
      device = booted->device;
      return Outcome::succeeded(booted->alreadyDone ? "Was already booted." : "Booted.");
    }
    case Step::setStatusBarOverride: {
      if (auto done = perform(ControlsAction::applyStatusBarOverride(resolved.statusBarOverride)); !done) {
        return Outcome::failed(done.error().description());
      }
      auto listed = perform(ControlsAction::query(ControlsAction::Case::queryStatusBarOverrides));
      if (!listed) return Outcome::failed(listed.error().description());
      auto wrong = statusBarContradictions(resolved.statusBarOverride, parseStatusBarList(listed->stdout));
      if (!wrong.empty()) return Outcome::failed(statusBarNotConfirmedText(wrong));
      return Outcome::succeeded("Status bar override applied.");
    }
    case Step::clearStatusBarOverrides: {
      if (auto done = perform(ControlsAction::query(ControlsAction::Case::clearStatusBarOverrides)); !done) {
        return Outcome::failed(done.error().description());
      }
      auto listed = perform(ControlsAction::query(ControlsAction::Case::queryStatusBarOverrides));
      if (!listed) return Outcome::failed(listed.error().description());
      if (parseStatusBarList(listed->stdout).hasOverrides) return Outcome::failed(statusBarClearNotConfirmedText());
      return Outcome::succeeded("Status bar overrides cleared.");
    }
    case Step::setLocation: {
      auto done = location_.perform(target, LocationAction::set(resolved.location));
      if (!done) return Outcome::failed(done.error().description());
      return Outcome::succeeded("Location set to " + coordinateText(resolved.location.latitude) + ", " +
                                coordinateText(resolved.location.longitude));
    }
    case Step::clearLocation: {
      auto done = location_.perform(target, LocationAction::clear());
      if (!done) return Outcome::failed(done.error().description());
      return Outcome::succeeded("Location cleared.");
    }
    case Step::runLocationRoute: {
      auto started = routes_.start(target, resolved.route, resolved.speedMetersPerSecond);
      if (!started) return Outcome::failed(started.error().description());
      return Outcome::succeeded("Started \xE2\x80\x9C" + resolved.route.name + "\xE2\x80\x9D (" +
                                std::to_string(started->metrics.pointCount) + " points, " +
                                formatSpeed(resolved.speedMetersPerSecond) + "). Continues running in the simulator.");
    }
    case Step::privacyAction: {
      auto done = privacy_.apply({resolved.privacyAction, resolved.privacyService.name, plan.app->bundleIdentifier}, target);
      if (!done) return Outcome::failed(done.error().description());
      static constexpr std::array<const char*, 3> verbs{"Granted", "Revoked", "Reset"};
      return Outcome::succeeded(std::string(verbs.at(static_cast<std::size_t>(resolved.privacyAction))) + " " +
                                resolved.privacyService.label + ".");
    }
    case Step::terminateApp: {
      auto done = apps_.terminate(udid, *plan.app);
      if (done) return Outcome::succeeded("Terminated.");
      if (done.error().kind == SimulatorAppError::Case::appNotRunning) return Outcome::succeeded("Wasn't running.");
      return Outcome::failed(done.error().description());
    }
    case Step::launchApp: {
      auto done = apps_.launch(udid, *plan.app);
      if (!done) return Outcome::failed(done.error().description());
      return Outcome::succeeded("Launched.");
    }
    case Step::resetAppData: {
      auto outcome = appData_.reset(resolved.resetPlan);
      switch (outcome.kind) {
        case AppDataResetOutcome::Case::succeeded: return Outcome::succeeded(outcome.summary);
        case AppDataResetOutcome::Case::partial: return Outcome::partial(outcome.summary);
        case AppDataResetOutcome::Case::failed: return Outcome::failed(outcome.summary);
      }
      return Outcome::failed({});
    }
    case Step::openDeepLink: {
      auto done = deepLink_.open(resolved.deepLink, udid);
      if (!done) return Outcome::failed(done.error().description());
      return Outcome::succeeded("Sent to the simulator.");
    }
    case Step::sendPush: {
      auto done = push_.send(resolved.payload, plan.app->bundleIdentifier, udid);
      if (!done) return Outcome::failed(done.error().description());
      return Outcome::succeeded("Sent.");
    }
  }
  return Outcome::failed({});
}

const char* scenarioOutcomeWords(ScenarioStepOutcome::Case kind) {
  switch (kind) {
    case ScenarioStepOutcome::Case::pending: return "pending";
    case ScenarioStepOutcome::Case::running: return "running";
    case ScenarioStepOutcome::Case::succeeded: return "succeeded";
    case ScenarioStepOutcome::Case::partial: return "partly done";
    case ScenarioStepOutcome::Case::failed: return "failed";
    case ScenarioStepOutcome::Case::notRun: return "not run";
    case ScenarioStepOutcome::Case::cancelled: return "cancelled";
  }
  return "";
}

std::string stepDurationText(const std::optional<double>& seconds) {
  if (!seconds) return "";
  if (*seconds < 0.1) return " (" + std::to_string(std::lround(std::max(*seconds, 0.0) * 1000)) + " ms)";
  char text[32];
  std::snprintf(text, sizeof text, " (%.1f s)", *seconds);
  return text;
}

}  // namespace orvanta
