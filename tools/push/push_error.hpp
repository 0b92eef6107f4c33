// Every failure of the push tool, with the sentence the user sees.
#pragma once

#include <string>
#include <string_view>

namespace orvanta {

// One case per failure; `text` carries the payload of the cases that have one.
struct PushError {
  enum class Case {
    invalidPayload,  // the validation sentence itself (text)
    sendFailed,      // "Could not send notification: " + text (simctl's diagnostic or the system's message)
    noSimulator,     // "Select a booted simulator."
    noApp,           // "Select an installed app for this simulator. Refresh apps if needed."
  };

  Case kind = Case::noSimulator;
  std::string text;

  static PushError invalidPayload(std::string message);
  static PushError sendFailed(std::string reason);
  static PushError noSimulator();
  static PushError noApp();

  // The exact user-facing sentence.
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it in --json output ("invalidPayload", ...).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const PushError&) const = default;
};

}  // namespace orvanta
