#include "mcp/tool.hpp"

namespace orvanta {

std::optional<std::string> ToolCall::string(const char* name) const {
  auto found = arguments.find(name);
  if (found == arguments.end() || !found->is_string()) return std::nullopt;
  return found->get<std::string>();
}

std::optional<double> ToolCall::number(const char* name) const {
  auto found = arguments.find(name);
  if (found == arguments.end() || !found->is_number()) return std::nullopt;
  return found->get<double>();
}

std::optional<std::int64_t> ToolCall::integer(const char* name) const {
  auto found = arguments.find(name);
  if (found == arguments.end() || !found->is_number()) return std::nullopt;
  return static_cast<std::int64_t>(found->get<double>());
}

std::optional<bool> ToolCall::boolean(const char* name) const {
  auto found = arguments.find(name);
  if (found == arguments.end() || !found->is_boolean()) return std::nullopt;
  return found->get<bool>();
}

namespace schema {

nlohmann::json string(const std::string& description) { return {{"type", "string"}, {"description", description}}; }

nlohmann::json stringOf(const std::vector<std::string>& values, const std::string& description) {
  return {{"type", "string"}, {"enum", values}, {"description", description}};
}

namespace {
nlohmann::json numeric(const char* type, const std::string& description, std::optional<double> minimum,
                       std::optional<double> maximum) {
  nlohmann::json property = {{"type", type}, {"description", description}};
  if (minimum) property["minimum"] = *minimum;
  if (maximum) property["maximum"] = *maximum;
  return property;
}
}  // namespace

nlohmann::json number(const std::string& description, std::optional<double> minimum, std::optional<double> maximum) {
  return numeric("number", description, minimum, maximum);
}

nlohmann::json integer(const std::string& description, std::optional<double> minimum, std::optional<double> maximum) {
  return numeric("integer", description, minimum, maximum);
}

nlohmann::json boolean(const std::string& description) { return {{"type", "boolean"}, {"description", description}}; }

nlohmann::json object(nlohmann::json properties, std::vector<std::string> required) {
  nlohmann::json object = {{"type", "object"},
                           {"properties", properties.is_null() ? nlohmann::json::object() : std::move(properties)},
                           {"additionalProperties", false}};
  if (!required.empty()) object["required"] = std::move(required);
  return object;
}

nlohmann::json result(nlohmann::json properties) {
  return {{"type", "object"}, {"properties", std::move(properties)}};
}

nlohmann::json items(nlohmann::json itemSchema) {
  return {{"type", "object"},
          {"properties", {{"items", {{"type", "array"}, {"items", std::move(itemSchema)}}}}},
          {"required", {"items"}}};
}

}  // namespace schema

CommandFailure confirmationRequired(const std::string& question) {
  return CommandFailure::failure("confirmationRequired", question,
                                 {"This changes or removes data for good. Call the tool again with \"confirm\": true "
                                  "to go ahead."});
}

std::vector<ToolDefinition> allTools() {
  std::vector<ToolDefinition> tools;
  for (auto group : {deviceTools, appTools, controlTools, stateTools, captureTools, logTools, dataTools, scenarioTools}) {
    for (auto& tool : group()) tools.push_back(std::move(tool));
  }
  for (auto& tool : tools) {
    auto& properties = tool.inputSchema["properties"];
    if (tool.actsOnDevice) {
      properties["device"] = schema::string(
          "The simulator to act on: its udid or its exact, unique name. Without it, the remembered target "
          "(set_target); the choice is never made for you.");
    }
    if (tool.needsConfirm) {
      properties["confirm"] =
          schema::boolean("Must be true for the change to happen; without it the tool only says what it would do.");
    }
  }
  return tools;
}

}  // namespace orvanta
