// Every failure of the deep-link tool, with the sentence the user sees: DeepLinkError for validating,
// opening and remembering links, AppURLSchemeError for reading the schemes an app declares.
#pragma once

// <cstdio> first: `stderr` is a field name below, and some C libraries define it as a macro that must
// expand the same way in every file that sees this header.
#include <cstdio>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvanta {

// What reached the simulator: the URL as sent and the device it went to.
struct DeepLinkLaunchResult {
  std::string urlString;
  std::string simulatorUDID;
  bool operator==(const DeepLinkLaunchResult&) const = default;
};

struct DeepLinkError {
  enum class Case {
    simctlFailed,           // "Couldn't send the URL to the simulator."; stderr: simctl's diagnostic
    emptyURL,               // "Enter a URL first."
    missingScheme,          // "The URL needs a scheme, like myapp:// or https://."
    malformedURL,           // "That doesn't look like a valid URL."
    noSimulatorSelected,    // "Select a simulator first."
    simulatorNotBooted,     // "The selected simulator is no longer booted."
    openAlreadyInProgress,  // "A deep link is already opening."
    noHandler,              // "No app on the simulator is registered to handle this URL."
    persistenceFailed,      // "Couldn't save your recents or favorites."; `opened` when the URL did reach the simulator
    clipboardFailed,        // "Couldn't copy the URL to the clipboard."; stderr: the clipboard's reason
    favoriteNotFound,       // "That favorite no longer exists."
    duplicateFavorite,      // "This URL is already a favorite."
    favoriteLimitReached,   // "Orvanta keeps at most 100 deep-link favorites. Remove one before adding another."
    labelTaken,             // "Another favorite is already labelled \"<label>\"."
  };

  Case kind = Case::simctlFailed;
  std::string stderr;                           // simctlFailed, noHandler: simctl's diagnostic; clipboardFailed: the reason
  std::optional<std::int32_t> status;           // simctlFailed, noHandler: simctl's exit status, when it ran
  std::optional<DeepLinkLaunchResult> opened;   // persistenceFailed: the open that succeeded before the write failed
  std::string label;                            // labelTaken: the label another favorite has

  DeepLinkError() = default;
  explicit DeepLinkError(Case kind_) : kind(kind_) {}

  static DeepLinkError simctlFailed(std::string stderrText, std::optional<std::int32_t> status = std::nullopt);
  static DeepLinkError noHandler(std::string stderrText, std::int32_t status);
  static DeepLinkError persistenceFailed(std::optional<DeepLinkLaunchResult> opened = std::nullopt);
  static DeepLinkError clipboardFailed(std::string reason);
  static DeepLinkError labelTaken(std::string label);

  // The exact user-facing sentence (the payload is not part of it).
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it in --json output ("noHandler", ...).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const DeepLinkError&) const = default;
};

struct AppURLSchemeError {
  enum class Case {
    simctlFailed,         // "simctl exited with status " + status
    appNotInstalled,      // "The app is no longer installed on this simulator."
    invalidSimulator,     // "The simulator is no longer available."
    infoPlistMissing,     // "The app has no Info.plist."
    infoPlistUnreadable,  // "The app's Info.plist couldn't be read."
    appNotLocated,        // "Couldn't locate the app on the simulator." (the container answer names no usable folder)
    simctlUnavailable,    // "Couldn't run simctl: " + message (xcrun could not be started, or the run was stopped)
  };

  Case kind = Case::simctlFailed;
  std::int32_t status = 0;  // simctlFailed
  std::string message;      // simctlUnavailable: the runner's sentence; others: detail for logs (stderr, the reader's reason)

  AppURLSchemeError() = default;
  explicit AppURLSchemeError(Case kind_, std::string detail = {}) : kind(kind_), message(std::move(detail)) {}

  static AppURLSchemeError simctlFailed(std::int32_t status, std::string stderrText = {});

  [[nodiscard]] std::string description() const;
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const AppURLSchemeError&) const = default;
};

}  // namespace orvanta
