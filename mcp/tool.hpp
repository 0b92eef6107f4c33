// One tool of the MCP server: its name, description, schemas and annotations, and the handler that runs
// it. Every tool is one entry of a table (see the *_tools.cpp files); the input schema written there is
// also what the server checks the arguments against before the handler runs, so the handler reads
// arguments that are known to have the declared types.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "app/command_failure.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

class Environment;

// What a tool says about itself to the client (the MCP annotations).
struct ToolAnnotations {
  bool readOnly = false;
  bool destructive = false;
  bool idempotent = false;
  bool openWorld = false;
};

// What a handler returns: the result's JSON (the command line's --json shape) and further content blocks
// (an image), or the failure with its sentence.
struct ToolResult {
  nlohmann::json document;
  std::vector<nlohmann::json> extraContent;
  std::optional<CommandFailure> failure;

  static ToolResult of(nlohmann::json document) { return ToolResult{std::move(document), {}, std::nullopt}; }
  static ToolResult failed(CommandFailure failure) { return ToolResult{{}, {}, std::move(failure)}; }
};

// The call a handler serves. Handlers run on the request's own worker thread, with an environment of
// their own that no other thread touches.
struct ToolCall {
  Environment& environment;
  const nlohmann::json& arguments;  // checked against the tool's input schema
  orvanta::stop_token stop;
  // Reports progress when the client asked for it (a no-op otherwise); `total` may be 0 when unknown.
  std::function<void(double progress, double total, const std::string& message)> progress;

  // Argument readers: the schema has already said which members are present and of which type.
  [[nodiscard]] std::optional<std::string> string(const char* name) const;
  [[nodiscard]] std::optional<double> number(const char* name) const;
  [[nodiscard]] std::optional<std::int64_t> integer(const char* name) const;
  [[nodiscard]] std::optional<bool> boolean(const char* name) const;
  // The `device` argument: a udid or a unique name, or nullopt for the remembered target.
  [[nodiscard]] std::optional<std::string> device() const { return string("device"); }
  [[nodiscard]] bool confirmed() const { return boolean("confirm").value_or(false); }
};

using ToolHandler = std::function<ToolResult(ToolCall&)>;

struct ToolDefinition {
  std::string name;
  std::string title;
  std::string description;
  nlohmann::json inputSchema;                  // an object schema with additionalProperties false
  std::optional<nlohmann::json> outputSchema;  // where the tool returns data
  ToolAnnotations annotations;
  bool actsOnDevice = false;  // takes the optional "device" argument
  bool needsConfirm = false;  // takes "confirm" and refuses without it
  ToolHandler handler;
};

// Schema helpers for the tables: a property of each JSON type, with its description.
namespace schema {
nlohmann::json string(const std::string& description);
nlohmann::json stringOf(const std::vector<std::string>& values, const std::string& description);
nlohmann::json number(const std::string& description, std::optional<double> minimum = std::nullopt,
                      std::optional<double> maximum = std::nullopt);
nlohmann::json integer(const std::string& description, std::optional<double> minimum = std::nullopt,
                       std::optional<double> maximum = std::nullopt);
nlohmann::json boolean(const std::string& description);
// {"type": "object", "properties": ..., "required": ..., "additionalProperties": false}
nlohmann::json object(nlohmann::json properties, std::vector<std::string> required = {});
// An output schema for a result that is an object with these members (types as given, none required).
nlohmann::json result(nlohmann::json properties);
// An output schema for a result the command line prints as an array: structured content wraps it as
// {"items": [...]}.
nlohmann::json items(nlohmann::json itemSchema);
}  // namespace schema

// The refusal of a destructive tool called without "confirm": true, with the question the command line
// would have asked.
[[nodiscard]] CommandFailure confirmationRequired(const std::string& question);

// The tools of each group, in the order the server lists them.
std::vector<ToolDefinition> deviceTools();
std::vector<ToolDefinition> appTools();
std::vector<ToolDefinition> controlTools();
std::vector<ToolDefinition> stateTools();     // location, push, privacy, deep links, pasteboard
std::vector<ToolDefinition> captureTools();   // screenshot, screen recording
std::vector<ToolDefinition> logTools();       // the log stream
std::vector<ToolDefinition> dataTools();      // app data: files, databases, reset
std::vector<ToolDefinition> scenarioTools();  // scenarios and the doctor

// Every tool, with "device" and "confirm" added to the schemas that take them.
[[nodiscard]] std::vector<ToolDefinition> allTools();

}  // namespace orvanta
