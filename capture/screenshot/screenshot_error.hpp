// Why a screenshot could not be taken, saved, copied or revealed.
#pragma once

#include <string>
#include <string_view>

namespace orvanta {

struct ScreenshotError {
  enum class Case {
    simctlFailed,                  // message: simctl's stderr, or "simctl exited with status N."
    saveFailed,                    // message: the reason
    noSimulatorSelected,
    simulatorNotBooted,
    captureAlreadyInProgress,
    temporaryLocationUnavailable,
    outputMissing,
    invalidImage,
    clipboardFailed,
    destinationUnavailable,
    revealUnavailable,
  };

  Case kind = Case::simctlFailed;
  std::string message;  // the payload of simctlFailed and saveFailed

  static ScreenshotError of(Case kind, std::string message = {}) { return {kind, std::move(message)}; }

  // The exact user-facing sentence.
  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it ("outputMissing", ...).
  [[nodiscard]] std::string_view caseName() const;

  bool operator==(const ScreenshotError&) const = default;
};

}  // namespace orvanta
