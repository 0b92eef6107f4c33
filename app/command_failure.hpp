// Why an operation of a front end did not complete, in the terms every front end reports: the error's case
// name, its sentence and hint lines. The command line turns it into an exit status and stderr lines, the
// MCP server into a tool result with isError.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "support/expected.hpp"

namespace orvanta {

// `caseName` is the error case scripts see in --json output, `message` the exact sentence, `hints` further
// lines for people.
struct CommandFailure {
  enum class Kind { failed, usage, interrupted };
  Kind kind = Kind::failed;
  std::string caseName;
  std::string message;
  std::vector<std::string> hints;
  // Members written beside "error" in a JSON result (for example the list of problems that the message
  // summarises).
  std::shared_ptr<const nlohmann::json> details;

  static CommandFailure failure(std::string caseName, std::string message, std::vector<std::string> hints = {});
  static CommandFailure usage(std::string message, std::vector<std::string> hints = {});
  static CommandFailure interrupted();
};

using CommandOutcome = expected<void, CommandFailure>;

// A change that was sent but read back differently: case notConfirmed, `message` and a hint that says so.
[[nodiscard]] CommandFailure readBackFailure(std::string message);

// The exit status for an outcome: 0 done, 1 failed or refused, 2 usage, 130 interrupted.
int exitStatusFor(const CommandOutcome& outcome);

// The "error" member of a JSON result: {"kind", "message", "hints"?}.
[[nodiscard]] nlohmann::json errorJson(const CommandFailure& failure);

}  // namespace orvanta
