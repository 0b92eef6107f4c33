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

}  // namespace orvanta
