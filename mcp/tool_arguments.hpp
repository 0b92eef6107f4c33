// Checks a tool call's arguments against the tool's input schema: the subset of JSON Schema the tool
// tables use (object with properties, required and additionalProperties false; string with enum; number
// and integer with minimum and maximum; boolean).
#pragma once

#include <optional>
#include <string>

#include <nlohmann/json.hpp>

namespace orvanta {

// Why `arguments` does not fit `schema`, as a sentence ("The argument \"latitude\" must be a number."), or
// nullopt when it fits.
[[nodiscard]] std::optional<std::string> argumentProblem(const nlohmann::json& schema, const nlohmann::json& arguments);

}  // namespace orvanta
