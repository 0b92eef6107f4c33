// Every failure of the installed-apps tool, with the sentence the user sees.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvanta {

// One case per failure; payload fields that a case does not use stay empty.
//
// Where a sentence appends the tool's error text and that text is empty, the sentence ends with a full
// stop instead ("Couldn't launch Maps.").
struct SimulatorAppError {
  enum class Case {
    noAppSelected,        // "Choose an installed app."
    launchFailed,         // "Couldn't launch " + name + ": " + text
    terminateFailed,      // "Couldn't terminate " + name + ": " + text
    appNotRunning,        // name + " isn't running."
    uninstallFailed,      // "Couldn't uninstall " + name + ": " + text
    appStillInstalled,    // "The simulator did not remove the app: " + name
    installFailed,        // "Install failed: " + text
    unreadableOutput,     // "Couldn't read the app list: " + text (the reason)
    simctlUnavailable,    // "Couldn't run simctl: " + text (the runner's message)
    simctlFailed,         // "simctl failed (exit " + status + "): " + text
    cancelled,            // "Cancelled."
    simulatorBusy,        // the mutation gate's busy message for the apps tool
  };

  Case kind = Case::cancelled;
  std::string name;         // the app's display name, for the cases that name an app
  std::string text;         // the tool's error text, the reason or the runner's message
  std::int32_t status = 0;  // simctlFailed: the exit status

  static SimulatorAppError of(Case kind);
  static SimulatorAppError withName(Case kind, std::string name, std::string text = {});
  static SimulatorAppError withText(Case kind, std::string text);
  static SimulatorAppError simctlFailed(std::int32_t status, std::string text);

  // The exact user-facing sentence.
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it in --json output ("launchFailed", ...).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const SimulatorAppError&) const = default;
};

}  // namespace orvanta
