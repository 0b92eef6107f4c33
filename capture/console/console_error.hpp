// The console tool's failures, each with the sentence the user sees. Payloads are kept for diagnosis and
// never appear in the sentence.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvanta {

struct ConsoleError {
  enum class Case {
    processLaunchFailed,
    processExited,
    exportFailed,
    noSimulatorSelected,
    simulatorNotBooted,
    staleAppSelection,
    streamAlreadyRunning,
    streamNotRunning,
    malformedConfiguration,
    clipboardFailed,
  };

  Case kind = Case::streamNotRunning;
  std::string message;      // processLaunchFailed, exportFailed: the underlying description
  std::int32_t status = 0;  // processExited

  static ConsoleError of(Case kind) { return ConsoleError{kind, {}, 0}; }
  static ConsoleError processLaunchFailed(std::string description) {
    return ConsoleError{Case::processLaunchFailed, std::move(description), 0};
  }
  static ConsoleError processExited(std::int32_t status) { return ConsoleError{Case::processExited, {}, status}; }
  static ConsoleError exportFailed(std::string description) {
    return ConsoleError{Case::exportFailed, std::move(description), 0};
  }

  [[nodiscard]] std::string description() const;
  // The case's name as scripts see it ("processExited", ...).
  [[nodiscard]] std::string_view caseName() const;
  bool operator==(const ConsoleError&) const = default;
};

}  // namespace orvanta
