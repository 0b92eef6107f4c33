#include "app/result_json.hpp"

#include "support/reference_date.hpp"

namespace orvanta {

std::string jsonDate(std::chrono::system_clock::time_point date) { return formatUtc(date, UtcFormat::rfc3339); }

nlohmann::json scenarioJson(const ScenarioDefinition& scenario) {
  auto json = encodeScenario(scenario).value_or(nlohmann::json::object());
  json["createdAt"] = jsonDate(scenario.createdAt);
  json["updatedAt"] = jsonDate(scenario.updatedAt);
  return json;
}

nlohmann::json workspaceJson(const Workspace& workspace) {
  auto json = encodeWorkspace(workspace).value_or(nlohmann::json::object());
  json["createdAt"] = jsonDate(workspace.createdAt);
  json["updatedAt"] = jsonDate(workspace.updatedAt);
  return json;
}

nlohmann::json scenarioResultJson(const ScenarioResult& result) {
  nlohmann::json steps = nlohmann::json::array();
  for (const auto& step : result.stepResults) {
    nlohmann::json item = {{"id", step.id}, {"title", step.title}, {"outcome", std::string(step.outcome.caseName())}};
    if (step.startedAt) item["startedAt"] = jsonDate(*step.startedAt);
    if (step.duration) item["duration"] = *step.duration;
    if (!step.outcome.message().empty()) item["message"] = step.outcome.message();
    steps.push_back(std::move(item));
  }
  return {{"summary", scenarioResultSummary(result)}, {"stepResults", std::move(steps)}};
}

}  // namespace orvanta
