// A simulator's clipboard, through `xcrun simctl`:
//
//   write text      "simctl", "pbcopy", udid          the text on standard input
//   read text       "simctl", "pbpaste", udid         the text on standard output, as is
//   sync from host  "simctl", "pbsync", "host", udid  the host's clipboard to the simulator
//
// Every run has LANG=en_US.UTF-8 (so text passes as UTF-8) and a 15 s time-out.
//
// Some runtimes let pbcopy exit 0 without storing anything, so a write is read back before it counts.
// When the read-back does not show the text, the write is tried once more through the host's clipboard:
// put the text there, pbsync it to the simulator, read back, then take the text off the host's clipboard
// again unless the user copied something else there meanwhile. A failing pbcopy (non-zero exit) is not
// retried: it is commandFailed with simctl's diagnostic.
#pragma once

// <cstdio> first: `stderr` is a field name below, and some C libraries define it as a macro.
#include <cstdio>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/host_pasteboard.hpp"
#include "core/process_runner.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

struct SimulatorPasteboardError {
  enum class Case {
    commandFailed,       // a pbcopy, pbsync or pbpaste that failed: simctl's diagnostic
    verificationFailed,  // the read-back's pbpaste failed: its diagnostic
    invalidTarget,       // "No Simulator was given."
    writeNotAccepted,    // "The Simulator didn't accept the clipboard write."
    clearNotAccepted,    // "The Simulator's clipboard didn't empty."
  };
  Case kind = Case::commandFailed;
  std::string diagnostic;  // commandFailed, verificationFailed: what simctl (or the runner) said;
                           // writeNotAccepted: why the retry through the host's clipboard could not run

  static SimulatorPasteboardError commandFailed(std::string diagnostic) {
    return {Case::commandFailed, std::move(diagnostic)};
  }
  static SimulatorPasteboardError verificationFailed(std::string diagnostic) {
    return {Case::verificationFailed, std::move(diagnostic)};
  }
  static SimulatorPasteboardError of(Case kind) { return {kind, {}}; }

  [[nodiscard]] std::string description() const;
  [[nodiscard]] std::string_view caseName() const;
  // writeNotAccepted after a retry through the host's clipboard that could not run: a sentence that says
  // why. Empty otherwise.
  [[nodiscard]] std::string retryProblem() const;
  bool operator==(const SimulatorPasteboardError&) const = default;
};

// How a write reached the simulator.
struct SimulatorPasteboardWrite {
  bool viaHostPasteboard = false;  // the direct pbcopy was not taken; the retry through the host's was
  bool operator==(const SimulatorPasteboardWrite&) const = default;
};

// The argument lists after xcrun.
[[nodiscard]] std::vector<std::string> pbcopyArguments(const std::string& udid);
[[nodiscard]] std::vector<std::string> pbpasteArguments(const std::string& udid);
[[nodiscard]] std::vector<std::string> pbsyncFromHostArguments(const std::string& udid);

struct SimulatorPasteboardEnvironment {
  RunWithOptionsFunction run;
  std::filesystem::path xcrunPath = "/usr/bin/xcrun";
  HostPasteboard* hostPasteboard = nullptr;  // null: no retry through the host's clipboard
};

// Stateless apart from its environment; thread-safe as far as `run` and the host clipboard are. Every call
// blocks while simctl runs (up to 15 s per run); `stop` ends the run (commandFailed with the runner's
// sentence). An empty udid fails with invalidTarget before anything runs.
class SimulatorPasteboardService {
 public:
  static constexpr double timeoutSeconds = 15.0;

  explicit SimulatorPasteboardService(SimulatorPasteboardEnvironment environment)
      : environment_(std::move(environment)) {}

  // How a text is handled on its way: a secret never goes through the host's clipboard (clipboard managers
  // keep what passes there), and every diagnostic that could echo it has it masked.
  enum class Sensitivity { plain, secret };

  // Puts `text` on the simulator's clipboard and reads it back. Fails with invalidTarget, commandFailed,
  // verificationFailed or writeNotAccepted.
  [[nodiscard]] expected<SimulatorPasteboardWrite, SimulatorPasteboardError> writeText(
      std::string_view text, const std::string& udid, orvanta::stop_token stop = {},
      Sensitivity sensitivity = Sensitivity::plain) const;
  // The clipboard's text, exactly as pbpaste prints it. Fails with invalidTarget or commandFailed.
  [[nodiscard]] expected<std::string, SimulatorPasteboardError> readText(const std::string& udid,
                                                                         orvanta::stop_token stop = {}) const;
  // Copies the host's clipboard to the simulator. Fails with invalidTarget or commandFailed.
  [[nodiscard]] expected<void, SimulatorPasteboardError> syncFromHost(const std::string& udid,
                                                                      orvanta::stop_token stop = {}) const;
  // Writes an empty text and reads back. Fails with invalidTarget, commandFailed, verificationFailed or
  // clearNotAccepted.
  [[nodiscard]] expected<void, SimulatorPasteboardError> clear(const std::string& udid,
                                                               orvanta::stop_token stop = {}) const;

 private:
  [[nodiscard]] ProcessRunner::Result run(const std::vector<std::string>& arguments, std::optional<std::string> input,
                                          orvanta::stop_token stop) const;
  [[nodiscard]] expected<void, SimulatorPasteboardError> runChecked(const std::vector<std::string>& arguments,
                                                                    std::optional<std::string> input,
                                                                    orvanta::stop_token stop) const;
  [[nodiscard]] expected<std::string, SimulatorPasteboardError> readBack(const std::string& udid,
                                                                         orvanta::stop_token stop) const;
  [[nodiscard]] expected<SimulatorPasteboardWrite, SimulatorPasteboardError> retryThroughHost(
      std::string_view text, const std::string& udid, orvanta::stop_token stop) const;

  SimulatorPasteboardEnvironment environment_;
};

}  // namespace orvanta
