// The thin layer that runs `xcrun simctl ...` and decodes what it prints.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "core/process_runner.hpp"
#include "core/simulator_device.hpp"

namespace orvanta {

// Runs xcrun with "simctl" as its first argument through a replaceable RunFunction. A value type; as
// thread-safe as its RunFunction (the default one is).
struct SimctlClient {
  RunFunction run;
  std::filesystem::path xcrunPath = std::filesystem::path("/usr/bin") / "xcrun";

  // Runs `xcrun simctl <arguments...>` and hands back its Output whatever the exit status.
  [[nodiscard]] ProcessRunner::Result simctl(std::vector<std::string> arguments, orvanta::stop_token stop = {}) const;
  // The same, but a non-zero exit becomes nonZeroExit with stderr as text (empty if not UTF-8).
  [[nodiscard]] ProcessRunner::Result simctlChecked(std::vector<std::string> arguments,
                                                    orvanta::stop_token stop = {}) const;

  // `simctl list devices --json`, converted: unavailable devices left out, sorted by name in code-point
  // order. Fails with the runner's errors, nonZeroExit, or decodingFailed. Blocks.
  [[nodiscard]] expected<std::vector<SimulatorDevice>, ProcessRunnerError> listDevices(
      orvanta::stop_token stop = {}) const;
};

// How long a one-shot `xcrun simctl ...` (or another tool started the same way) may take, by what it does:
// listings and queries 60 s, changes 120 s, boot, shutdown and erase 300 s, installs 900 s; each
// multiplied by `scale` (ORVANTA_TIMEOUT_SCALE, for slow machines). The output budgets are the runner's.
[[nodiscard]] ProcessRunner::Options simctlRunOptions(const std::vector<std::string>& arguments, double scale = 1.0);
// The time-out scale from ORVANTA_TIMEOUT_SCALE: a positive number, else 1.
[[nodiscard]] double timeoutScaleFromEnvironment();

// Decodes the JSON of `simctl list devices --json` and converts it as listDevices does.
[[nodiscard]] expected<std::vector<SimulatorDevice>, ProcessRunnerError> decodeDeviceList(std::string_view json);

// What simctl said about a failure: its stderr without surrounding white space, or its stdout when stderr
// is empty (a few subcommands print their diagnostics there). Text that is not UTF-8 counts as empty.
[[nodiscard]] std::string simctlDiagnostic(const ProcessRunner::Output& output);

// simctlDiagnostic(output), or when simctl said nothing, how it ended: "simctl exited with status 3." or
// "simctl was killed by signal 9 (SIGKILL).".
[[nodiscard]] std::string simctlFailureText(const ProcessRunner::Output& output);
// The text of a byte buffer if it is valid UTF-8, else "".
[[nodiscard]] std::string utf8OrEmpty(std::string_view bytes);

}  // namespace orvanta
