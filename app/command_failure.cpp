#include "app/command_failure.hpp"

#include <nlohmann/json.hpp>

namespace orvanta {

CommandFailure CommandFailure::failure(std::string caseName, std::string message, std::vector<std::string> hints) {
  return CommandFailure{Kind::failed, std::move(caseName), std::move(message), std::move(hints), nullptr};
}

CommandFailure CommandFailure::usage(std::string message, std::vector<std::string> hints) {
  return CommandFailure{Kind::usage, "usage", std::move(message), std::move(hints), nullptr};
}

CommandFailure CommandFailure::interrupted() {
  return CommandFailure{Kind::interrupted, "cancelled", "The command was cancelled.", {}, nullptr};
}

CommandFailure readBackFailure(std::string message) {
  return CommandFailure::failure("notConfirmed", std::move(message),
                                 {"The command was sent, but reading the value back shows it did not take effect."});
}

int exitStatusFor(const CommandOutcome& outcome) {
  if (outcome) return 0;
  switch (outcome.error().kind) {
    case CommandFailure::Kind::failed: return 1;
    case CommandFailure::Kind::usage: return 2;
    case CommandFailure::Kind::interrupted: return 130;
  }
  return 1;
}

nlohmann::json errorJson(const CommandFailure& failure) {
  nlohmann::json error = {{"kind", failure.caseName}, {"message", failure.message}};
  if (!failure.hints.empty()) error["hints"] = failure.hints;
  return error;
}

}  // namespace orvanta
