// Opening a validated link on a simulator with `xcrun simctl openurl <udid> <url>`, recording it in the
// history, and the favourites' open and copy.
//
// simctl reports a URL that no installed app handles in one of two ways, depending on the runtime; both
// are noHandler:
//   "(domain=LSApplicationWorkspaceErrorDomain, code=115)"  (exit 115, recent runtimes)
//   "(domain=NSOSStatusErrorDomain, code=-10814)"           (exit 194, older runtimes; also seen on iOS 18)
// Any other failure, a time-out included, is simctlFailed with simctl's stderr.
//
// Only one open runs at a time in the whole process: a second request while one is running fails at once
// with openAlreadyInProgress (it is never queued). The history is written after simctl succeeded; when
// that write fails the call fails with persistenceFailed and the error's `opened` says the link did reach
// the simulator.
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/host_pasteboard.hpp"
#include "core/process_runner.hpp"
#include "core/simulator_target.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"
#include "tools/deeplink/app_url_scheme_service.hpp"
#include "tools/deeplink/deep_link_error.hpp"
#include "tools/deeplink/deep_link_store.hpp"
#include "tools/deeplink/deep_link_validation.hpp"

namespace orvanta {

// Whether simctl's stderr is one of the "no app handles this URL" diagnostics above.
[[nodiscard]] bool isNoHandlerDiagnostic(std::string_view stderrText);

// The argument list after xcrun: "simctl", "openurl", udid, url.
[[nodiscard]] std::vector<std::string> openURLArguments(const std::string& simulatorUDID, const std::string& urlString);

// What to tell someone who opens `link` meaning it for `bundleIdentifier`, given what the app declares (or
// why that could not be read): for a custom scheme the app does not declare, that the link will reach
// another app or none; for http and https, that simctl does not say which app handled it. Advice only,
// never an error. Pure.
[[nodiscard]] std::vector<std::string> deepLinkAppNotes(
    const ValidatedDeepLink& link, const std::string& bundleIdentifier,
    const expected<std::vector<DeclaredURLScheme>, AppURLSchemeError>& declared);

struct DeepLinkServiceEnvironment {
  using Clock = std::function<std::chrono::system_clock::time_point()>;
  RunFunction run;
  std::filesystem::path xcrunPath = "/usr/bin/xcrun";
  std::shared_ptr<DeepLinkHistoryStore> history;  // null: nothing is recorded
  Clock now = std::chrono::system_clock::now;
};

// Thread-safe apart from its history store, which is as thread-safe as the settings store beneath it.
// Every call blocks while simctl runs; `stop` ends the run (simctlFailed, with the runner's sentence).
class DeepLinkService {
 public:
  explicit DeepLinkService(DeepLinkServiceEnvironment environment) : environment_(std::move(environment)) {}

  // Opens `link` on `simulatorUDID`, then records it. Fails with openAlreadyInProgress, noHandler,
  // simctlFailed or persistenceFailed.
  [[nodiscard]] expected<DeepLinkLaunchResult, DeepLinkError> open(const ValidatedDeepLink& link,
                                                                   const std::string& simulatorUDID,
                                                                   orvanta::stop_token stop = {});
  // The same on the target: noSimulatorSelected unless a simulator is selected, simulatorNotBooted when
  // it is `lost`.
  [[nodiscard]] expected<DeepLinkLaunchResult, DeepLinkError> open(const ValidatedDeepLink& link,
                                                                   const SimulatorTargetStatus& target,
                                                                   orvanta::stop_token stop = {});

  // Validates a favourite's URL again (the stored text may have been edited by hand) and opens it.
  [[nodiscard]] expected<DeepLinkLaunchResult, DeepLinkError> openFavorite(const DeepLinkFavorite& favorite,
                                                                           const SimulatorTargetStatus& target,
                                                                           orvanta::stop_token stop = {});

 private:
  DeepLinkServiceEnvironment environment_;
};

// Puts the favourite's URL on the host's clipboard. Fails with clipboardFailed carrying the reason.
[[nodiscard]] expected<void, DeepLinkError> copyFavoriteURL(const DeepLinkFavorite& favorite, HostPasteboard& pasteboard,
                                                            orvanta::stop_token stop = {});

}  // namespace orvanta
