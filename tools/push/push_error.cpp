#include "tools/push/push_error.hpp"

namespace orvanta {

PushError PushError::invalidPayload(std::string message) { return {Case::invalidPayload, std::move(message)}; }
PushError PushError::sendFailed(std::string reason) { return {Case::sendFailed, std::move(reason)}; }
PushError PushError::noSimulator() { return {Case::noSimulator, {}}; }
PushError PushError::noApp() { return {Case::noApp, {}}; }

std::string PushError::description() const {
  switch (kind) {
    case Case::invalidPayload: return text;
    case Case::sendFailed: return "Could not send notification: " + text;
    case Case::noSimulator: return "Select a booted simulator.";
    case Case::noApp: return "Select an installed app for this simulator. Refresh apps if needed.";
  }
  return {};
}

std::string_view PushError::caseName() const {
  switch (kind) {
    case Case::invalidPayload: return "invalidPayload";
    case Case::sendFailed: return "sendFailed";
    case Case::noSimulator: return "noSimulator";
    case Case::noApp: return "noApp";
  }
  return {};
}

}  // namespace orvanta
