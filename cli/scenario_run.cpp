#include "cli/scenario_run.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <ostream>

#include "app/environment.hpp"
#include "app/result_json.hpp"
#include "automation/scenario_junit.hpp"
#include "support/atomic_file.hpp"

namespace orvanta {
namespace {

using Json = nlohmann::json;

}  // namespace

expected<ScenarioExecutionPlan, CommandFailure> acceptPreflight(
    CommandContext& context, const expected<ScenarioPreflightOutcome, ScenarioPreflightFailure>& outcome,
    const std::string& name, bool printPlan, const std::string& title) {
  if (!outcome) {
    if (context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
    return unexpected(CommandFailure::failure("preflightFailed", outcome.error().message));
  }
  if (outcome->blocked()) {
    const auto& first = outcome->issues.front();
    auto failure = CommandFailure::failure(std::string(first.caseName()), first.description());
    // The sentence asks to choose an app in the panel; here the app is an option.
    if (first.caseName() == "appRequired") failure.hints.push_back("Name it with --app BUNDLE-ID.");
    if (context.options.json) {
      Json issues = Json::array();
      for (const auto& issue : outcome->issues) issues.push_back(scenarioIssueJson(issue));
      failure.details = std::make_shared<const Json>(Json{{"issues", std::move(issues)}});
    } else {
      context.err << "\"" << name << "\" can't run:\n";
      for (const auto& issue : outcome->issues) context.err << "  - " << issue.description() << '\n';
    }
    return unexpected(failure);
  }
  auto confirmation = makeScenarioConfirmation(*outcome->plan);
  confirmation.title = title;
  if (printPlan) {
    if (context.options.json) {
      context.emitJson(scenarioCheckJson(*outcome->plan, confirmation));
    } else {
      context.out << confirmation.sheet(outcome->plan->scenarioName) << '\n';
    }
  }
  return *outcome->plan;
}

CommandOutcome confirmAndExecute(CommandContext& context, const ScenarioExecutionPlan& plan, const std::string& junit,
                                 std::string_view gateLabel) {
  auto confirmation = makeScenarioConfirmation(plan);
  if (auto confirmed = context.confirm(confirmation.confirmButtonTitle + "?"); !confirmed) return confirmed;

  auto routeLibrary = context.environment.recentRoutes();
  ScenarioExecutor executor(
      ScenarioExecutorEnvironment{context.environment.simctl(), routeLibrary, nullptr, std::nullopt});
  const bool text = !context.options.json;
  auto result = executor.execute(
      plan, &context.environment.gate(),
      [&](std::size_t index, const ScenarioStepResult& step) {
        if (!text) return;
        const auto kind = step.outcome.kind;
        if (kind == ScenarioStepOutcome::Case::running) {
          context.out << (index + 1) << ". " << step.title << " ..." << std::endl;
        } else if (!step.startedAt) {
          // A step that never started has no line of its own yet.
          context.out << (index + 1) << ". " << step.title << ": " << scenarioOutcomeWords(kind) << std::endl;
        } else {
          context.out << "   " << scenarioOutcomeWords(kind) << stepDurationText(step.duration)
                      << (step.outcome.message().empty() ? "" : ": " + step.outcome.message()) << std::endl;
        }
      },
      context.stop, gateLabel);
  if (!result) return unexpected(CommandFailure::failure("simulatorBusy", result.error().message));

  const std::string summary = scenarioResultSummary(*result);
  if (!junit.empty()) {
    if (auto written = writeFileAtomically(junit, scenarioJUnitReport(*result), 0644); !written) {
      context.err << written.error().description() << '\n';
    }
  }
  if (context.options.json) {
    context.emitJson(scenarioRunJson(*result));
  } else {
    context.out << summary << '\n';
  }
  bool allSucceeded = true;
  bool cancelled = false;
  for (const auto& step : result->stepResults) {
    allSucceeded &= step.outcome.kind == ScenarioStepOutcome::Case::succeeded;
    cancelled |= step.outcome.kind == ScenarioStepOutcome::Case::cancelled;
  }
  if (cancelled || context.stop.stop_requested()) return unexpected(CommandFailure::interrupted());
  if (!allSucceeded) return unexpected(CommandFailure::failure("scenarioFailed", summary));
  return {};
}

}  // namespace orvanta
