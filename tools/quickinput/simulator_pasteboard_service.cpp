#include "tools/quickinput/simulator_pasteboard_service.hpp"

#include <map>

#include <fmt/format.h>

#include "core/simctl_client.hpp"
#include "support/text.hpp"

namespace orvanta {
namespace {

using Case = SimulatorPasteboardError::Case;

bool succeeded(const ProcessRunner::Output& output) {
  return output.terminationStatus == 0 && !output.terminatedBySignal;
}

// simctl's words for a failed run, or a sentence with the status when it said nothing.
std::string diagnosticOf(const ProcessRunner::Output& output, std::string_view subcommand) {
  auto text = simctlDiagnostic(output);
  if (!text.empty()) return text;
  return fmt::format("simctl {} {}.", subcommand, terminationText(output.terminationStatus, output.terminatedBySignal));
}

}  // namespace

std::string SimulatorPasteboardError::description() const {
  switch (kind) {
    case Case::commandFailed:
    case Case::verificationFailed:
      return diagnostic;
    case Case::invalidTarget:
      return "No Simulator was given.";
    case Case::writeNotAccepted:
      return "The Simulator didn't accept the clipboard write.";
    case Case::clearNotAccepted:
      return "The Simulator's clipboard didn't empty.";
  }
  return {};
}

std::string_view SimulatorPasteboardError::caseName() const {
  switch (kind) {
    case Case::commandFailed:
      return "commandFailed";
    case Case::verificationFailed:
      return "verificationFailed";
    case Case::invalidTarget:
      return "invalidTarget";
    case Case::writeNotAccepted:
      return "writeNotAccepted";
    case Case::clearNotAccepted:
      return "clearNotAccepted";
  }
  return {};
}

std::string SimulatorPasteboardError::retryProblem() const {
  if (kind != Case::writeNotAccepted || diagnostic.empty()) return {};
  return "The retry through this computer's clipboard could not run: " + diagnostic;
}

std::vector<std::string> pbcopyArguments(const std::string& udid) {
  return {"simctl", "pbcopy", udid};
}
std::vector<std::string> pbpasteArguments(const std::string& udid) {
  return {"simctl", "pbpaste", udid};
}
std::vector<std::string> pbsyncFromHostArguments(const std::string& udid) {
  return {"simctl", "pbsync", "host", udid};
}

ProcessRunner::Result SimulatorPasteboardService::run(const std::vector<std::string>& arguments,
                                                      std::optional<std::string> input,
                                                      orvanta::stop_token stop) const {
  ProcessRunner::Options options;
  options.standardInput = std::move(input);
  options.environmentOverrides = std::map<std::string, std::string>{{"LANG", "en_US.UTF-8"}};
  options.timeout = timeoutSeconds;
  return environment_.run(environment_.xcrunPath, arguments, options, std::move(stop));
}

expected<void, SimulatorPasteboardError> SimulatorPasteboardService::runChecked(
    const std::vector<std::string>& arguments, std::optional<std::string> input, orvanta::stop_token stop) const {
  auto output = run(arguments, std::move(input), std::move(stop));
  if (!output) return unexpected(SimulatorPasteboardError::commandFailed(output.error().description()));
  if (!succeeded(*output))
    return unexpected(SimulatorPasteboardError::commandFailed(diagnosticOf(*output, arguments[1])));
  return {};
}

expected<std::string, SimulatorPasteboardError> SimulatorPasteboardService::readBack(const std::string& udid,
                                                                                     orvanta::stop_token stop) const {
  auto shown = readText(udid, std::move(stop));
  if (!shown) return unexpected(SimulatorPasteboardError::verificationFailed(shown.error().diagnostic));
  return shown;
}

namespace {
// `message` with every occurrence of `secret` masked: a tool that echoes its input in a diagnostic must
// not carry a secret into an error sentence, a log or --json.
std::string masked(std::string message, std::string_view secret) {
  if (secret.empty()) return message;
  for (auto at = message.find(secret); at != std::string::npos; at = message.find(secret, at + 3)) {
    message.replace(at, secret.size(), "***");
  }
  return message;
}
}  // namespace

expected<SimulatorPasteboardWrite, SimulatorPasteboardError> SimulatorPasteboardService::writeText(
    std::string_view text, const std::string& udid, orvanta::stop_token stop, Sensitivity sensitivity) const {
  if (trimWhitespace(udid).empty()) return unexpected(SimulatorPasteboardError::of(Case::invalidTarget));
  const bool secret = sensitivity == Sensitivity::secret;
  auto fail = [&](SimulatorPasteboardError error) {
    if (secret) error.diagnostic = masked(std::move(error.diagnostic), text);
    return unexpected(std::move(error));
  };
  if (auto written = runChecked(pbcopyArguments(udid), std::string(text), stop); !written) {
    return fail(written.error());
  }
  auto shown = readBack(udid, stop);
  if (!shown) return fail(shown.error());
  if (*shown == text) return SimulatorPasteboardWrite{false};
  if (secret) return fail(SimulatorPasteboardError::of(Case::writeNotAccepted));
  return retryThroughHost(text, udid, stop);
}

expected<SimulatorPasteboardWrite, SimulatorPasteboardError> SimulatorPasteboardService::retryThroughHost(
    std::string_view text, const std::string& udid, orvanta::stop_token stop) const {
  HostPasteboard* host = environment_.hostPasteboard;
  if (host == nullptr) return unexpected(SimulatorPasteboardError::of(Case::writeNotAccepted));
  if (auto put = host->copyText(text, stop); !put) {
    auto error = SimulatorPasteboardError::of(Case::writeNotAccepted);
    error.diagnostic = put.error().description();
    return unexpected(error);
  }
  auto synced = runChecked(pbsyncFromHostArguments(udid), std::nullopt, stop);
  expected<std::string, SimulatorPasteboardError> shown =
      synced ? readBack(udid, stop) : expected<std::string, SimulatorPasteboardError>(unexpected(synced.error()));

  // The text leaves the host's clipboard whatever happened, unless the user has put something else
  // there since (their copy wins). A clipboard that cannot be read is left as it is.
  if (auto now = host->readText(); now && *now && **now == text) (void)host->clear();

  if (!shown) return unexpected(shown.error());
  if (*shown != text) return unexpected(SimulatorPasteboardError::of(Case::writeNotAccepted));
  return SimulatorPasteboardWrite{true};
}

expected<std::string, SimulatorPasteboardError> SimulatorPasteboardService::readText(const std::string& udid,
                                                                                     orvanta::stop_token stop) const {
  if (trimWhitespace(udid).empty()) return unexpected(SimulatorPasteboardError::of(Case::invalidTarget));
  auto output = run(pbpasteArguments(udid), std::nullopt, std::move(stop));
  if (!output) return unexpected(SimulatorPasteboardError::commandFailed(output.error().description()));
  if (!succeeded(*output)) return unexpected(SimulatorPasteboardError::commandFailed(diagnosticOf(*output, "pbpaste")));
  return output->stdout.str();
}

expected<void, SimulatorPasteboardError> SimulatorPasteboardService::syncFromHost(const std::string& udid,
                                                                                  orvanta::stop_token stop) const {
  if (trimWhitespace(udid).empty()) return unexpected(SimulatorPasteboardError::of(Case::invalidTarget));
  return runChecked(pbsyncFromHostArguments(udid), std::nullopt, std::move(stop));
}

expected<void, SimulatorPasteboardError> SimulatorPasteboardService::clear(const std::string& udid,
                                                                           orvanta::stop_token stop) const {
  if (trimWhitespace(udid).empty()) return unexpected(SimulatorPasteboardError::of(Case::invalidTarget));
  if (auto written = runChecked(pbcopyArguments(udid), std::string(), stop); !written) return written;
  auto shown = readBack(udid, stop);
  if (!shown) return unexpected(shown.error());
  if (!shown->empty()) return unexpected(SimulatorPasteboardError::of(Case::clearNotAccepted));
  return {};
}

}  // namespace orvanta
