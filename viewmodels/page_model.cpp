#include "viewmodels/page_model.hpp"

#include "app/environment.hpp"
#include "automation/scenario_preflight.hpp"
#include "support/uuid.hpp"

namespace orvanta {

PageModel::PageModel(PanelSession& session) : session_(session) {}

PageModel::~PageModel() = default;

void PageModel::show(PageMessage message) {
  message_ = std::move(message);
  changed();
}

std::optional<SimulatorDevice> PageModel::requireTarget(const TargetRequirement& requirement) {
  auto device = session_.target(requirement);
  if (!device) {
    fail(device.error());
    return std::nullopt;
  }
  return *device;
}

std::shared_ptr<SimulatorGateHold> PageModel::hold(const std::string& udid, std::string_view label,
                                                   std::string_view busyText) {
  auto& environment = session_.environment();
  auto taken = SimulatorGateHold::take(&environment.gate(), udid, label);
  if (!taken) {
    auto problem = environment.gateProblem();
    fail(problem ? problem->description() : std::string(busyText));
    return nullptr;
  }
  return std::make_shared<SimulatorGateHold>(std::move(*taken));
}

ScenarioExecutorEnvironment PageModel::executorEnvironment() {
  auto& environment = session_.environment();
  return ScenarioExecutorEnvironment{environment.simctl(), environment.recentRoutes(), nullptr, std::nullopt};
}

void PageModel::runStep(ScenarioStepKind kind, std::optional<SimulatorApp> app,
                        std::function<void(const ScenarioStepOutcome&)> after,
                        std::optional<SimulatorPrivacyServiceList> privacyServices) {
  auto device = requireTarget();
  if (!device) return;
  ScenarioWorld world;
  world.simulator = *device;
  world.app = app;
  world.privacyServices = std::move(privacyServices);
  auto routes = session_.environment().recentRoutes();
  world.routes = routes.get();
  ScenarioStep step{makeUUID(), std::move(kind)};
  auto resolution = resolveScenarioStep(step, world);
  if (!resolution.resolved) {
    fail(resolution.issues.empty() ? std::string("The step failed.") : resolution.issues.front().description());
    return;
  }
  ScenarioPlanStep planStep{step.id, step.kind, std::move(*resolution.resolved)};
  const auto kindCase = step.kind.kind;
  run<ScenarioStepOutcome>(
      [environment = executorEnvironment(), device = *device, app = std::move(app),
       planStep = std::move(planStep)](const orvanta::stop_token&) {
        return runSingleStep(environment, device, app, planStep);
      },
      [this, kindCase, after = std::move(after)](ScenarioStepOutcome outcome) {
        show(stepMessage(kindCase, outcome));
        if (after) after(outcome);
      });
}

ScenarioStepOutcome runSingleStep(const ScenarioExecutorEnvironment& environment, const SimulatorDevice& device,
                                  const std::optional<SimulatorApp>& app, const ScenarioPlanStep& step) {
  ScenarioExecutionPlan plan;
  plan.id = makeUUID();
  plan.simulatorUDID = device.udid;
  plan.simulatorName = device.name;
  plan.runtimeIdentifier = device.runtimeIdentifier;
  plan.simulator = device;
  plan.app = app;
  plan.steps.push_back(step);
  ScenarioExecutor executor(environment);
  auto result = executor.execute(plan, nullptr, {});
  if (!result) return ScenarioStepOutcome::failed(result.error().message);
  return result->stepResults.front().outcome;
}

PageMessage stepMessage(ScenarioStepKind::Case kind, const ScenarioStepOutcome& outcome) {
  using Case = ScenarioStepKind::Case;
  if (outcome.kind == ScenarioStepOutcome::Case::failed) return {PageMessage::Kind::failure, outcome.message()};
  std::string text = outcome.message();
  const bool readBack = kind == Case::setAppearance || kind == Case::setContentSize ||
                        kind == Case::setIncreasedContrast || kind == Case::setStatusBarOverride ||
                        kind == Case::clearStatusBarOverrides;
  if (readBack) {
    if (!text.empty() && text.back() == '.') text.pop_back();
    text += " (confirmed).";
  }
  return {PageMessage::Kind::result, std::move(text)};
}

}  // namespace orvanta
