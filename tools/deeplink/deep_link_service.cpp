#include "tools/deeplink/deep_link_service.hpp"

#include <atomic>

#include "core/simctl_client.hpp"

namespace orvanta {
namespace {

using Case = DeepLinkError::Case;

// Set while an open runs anywhere in this process.
std::atomic<bool> openInProgress{false};

class OpenClaim {
 public:
  OpenClaim() : held_(!openInProgress.exchange(true)) {}
  ~OpenClaim() {
    if (held_) openInProgress.store(false);
  }
  OpenClaim(const OpenClaim&) = delete;
  OpenClaim& operator=(const OpenClaim&) = delete;
  [[nodiscard]] bool held() const { return held_; }

 private:
  bool held_;
};

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

}  // namespace

bool isNoHandlerDiagnostic(std::string_view stderrText) {
  return contains(stderrText, "(domain=LSApplicationWorkspaceErrorDomain, code=115)") ||
         contains(stderrText, "(LSApplicationWorkspaceErrorDomain error 115)") ||
         contains(stderrText, "(domain=NSOSStatusErrorDomain, code=-10814)") ||
         contains(stderrText, "(OSStatus error -10814.)");
}

std::vector<std::string> openURLArguments(const std::string& simulatorUDID, const std::string& urlString) {
  return {"simctl", "openurl", simulatorUDID, urlString};
}

std::vector<std::string> deepLinkAppNotes(const ValidatedDeepLink& link, const std::string& bundleIdentifier,
                                          const expected<std::vector<DeclaredURLScheme>, AppURLSchemeError>& declared) {
  if (link.kind.kind != DeepLinkKind::Case::custom) {
    return {"simctl doesn't report which app handles an " + link.kind.scheme +
            " link; universal links usually open in Safari rather than in " + bundleIdentifier + "."};
  }
  if (!declared) {
    return {"Couldn't check the URL schemes of " + bundleIdentifier + ": " + declared.error().description()};
  }
  if (declaresScheme(*declared, link.kind.scheme)) return {};
  return {bundleIdentifier + " doesn't declare the URL scheme \"" + link.kind.scheme +
          "\", so the link will open in another app, or fail if none handles it."};
}

expected<DeepLinkLaunchResult, DeepLinkError> DeepLinkService::open(const ValidatedDeepLink& link,
                                                                    const std::string& simulatorUDID,
                                                                    orvanta::stop_token stop) {
  OpenClaim claim;
  if (!claim.held()) return unexpected(DeepLinkError(Case::openAlreadyInProgress));
  auto output = environment_.run(environment_.xcrunPath, openURLArguments(simulatorUDID, link.urlString), stop);
  if (!output) return unexpected(DeepLinkError::simctlFailed(output.error().description()));
  if (output->terminatedBySignal || output->terminationStatus != 0) {
    std::string diagnostic = utf8OrEmpty(output->stderr.view());
    if (diagnostic.empty()) diagnostic = utf8OrEmpty(output->stdout.view());
    const auto status = output->terminatedBySignal ? std::nullopt : std::optional(output->terminationStatus);
    if (!output->terminatedBySignal && isNoHandlerDiagnostic(diagnostic)) {
      return unexpected(DeepLinkError::noHandler(std::move(diagnostic), output->terminationStatus));
    }
    return unexpected(DeepLinkError::simctlFailed(std::move(diagnostic), status));
  }
  DeepLinkLaunchResult result{link.urlString, simulatorUDID};
  if (environment_.history) {
    if (!environment_.history->record(link.urlString, environment_.now())) {
      return unexpected(DeepLinkError::persistenceFailed(result));
    }
  }
  return result;
}

expected<DeepLinkLaunchResult, DeepLinkError> DeepLinkService::open(const ValidatedDeepLink& link,
                                                                    const SimulatorTargetStatus& target,
                                                                    orvanta::stop_token stop) {
  if (target.kind == SimulatorTargetStatus::Case::lost) return unexpected(DeepLinkError(Case::simulatorNotBooted));
  if (target.kind != SimulatorTargetStatus::Case::selected || !target.device) {
    return unexpected(DeepLinkError(Case::noSimulatorSelected));
  }
  return open(link, target.device->udid, std::move(stop));
}

expected<DeepLinkLaunchResult, DeepLinkError> DeepLinkService::openFavorite(const DeepLinkFavorite& favorite,
                                                                            const SimulatorTargetStatus& target,
                                                                            orvanta::stop_token stop) {
  auto link = validateDeepLink(favorite.urlString);
  if (!link) return unexpected(link.error());
  return open(*link, target, std::move(stop));
}

expected<void, DeepLinkError> copyFavoriteURL(const DeepLinkFavorite& favorite, HostPasteboard& pasteboard,
                                              orvanta::stop_token stop) {
  auto copied = pasteboard.copyText(favorite.urlString, std::move(stop));
  if (!copied) return unexpected(DeepLinkError::clipboardFailed(copied.error().description()));
  return {};
}

}  // namespace orvanta
