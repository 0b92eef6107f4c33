// What every front end that speaks JSON shares about its documents: the command line's --json and the
// MCP server's structured results are the same shapes, written here once.
#pragma once

#include <chrono>
#include <string>

#include <nlohmann/json.hpp>

#include "automation/scenario_executor.hpp"
#include "automation/scenario_model.hpp"
#include "automation/workspace_store.hpp"

namespace orvanta {

// Every date in a JSON result: RFC 3339 in UTC with milliseconds, "2026-11-24T08:31:13.285Z".
[[nodiscard]] std::string jsonDate(std::chrono::system_clock::time_point date);

// A scenario as results show it: the library's item with its dates as jsonDate text instead of the file's
// seconds since 2001.
[[nodiscard]] nlohmann::json scenarioJson(const ScenarioDefinition& scenario);

// A workspace as results show it: the store's item, with its dates as jsonDate text.
[[nodiscard]] nlohmann::json workspaceJson(const Workspace& workspace);

// The result of a run (a scenario's, a restored workspace's): {"summary", "stepResults": [{"id", "title",
// "startedAt"?, "duration"?, "outcome", "message"?}]}.
[[nodiscard]] nlohmann::json scenarioResultJson(const ScenarioResult& result);

}  // namespace orvanta
