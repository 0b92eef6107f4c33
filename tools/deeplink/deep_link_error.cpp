#include "tools/deeplink/deep_link_error.hpp"

#include <fmt/format.h>

#include "tools/deeplink/deep_link_limits.hpp"

namespace orvanta {

DeepLinkError DeepLinkError::simctlFailed(std::string stderrText, std::optional<std::int32_t> status) {
  DeepLinkError error(Case::simctlFailed);
  error.stderr = std::move(stderrText);
  error.status = status;
  return error;
}

DeepLinkError DeepLinkError::noHandler(std::string stderrText, std::int32_t status) {
  DeepLinkError error(Case::noHandler);
  error.stderr = std::move(stderrText);
  error.status = status;
  return error;
}

DeepLinkError DeepLinkError::persistenceFailed(std::optional<DeepLinkLaunchResult> opened) {
  DeepLinkError error(Case::persistenceFailed);
  error.opened = std::move(opened);
  return error;
}

DeepLinkError DeepLinkError::clipboardFailed(std::string reason) {
  DeepLinkError error(Case::clipboardFailed);
  error.stderr = std::move(reason);
  return error;
}

DeepLinkError DeepLinkError::labelTaken(std::string label) {
  DeepLinkError error(Case::labelTaken);
  error.label = std::move(label);
  return error;
}

std::string DeepLinkError::description() const {
  switch (kind) {
    case Case::simctlFailed: return "Couldn't send the URL to the simulator.";
    case Case::emptyURL: return "Enter a URL first.";
    case Case::missingScheme: return "The URL needs a scheme, like myapp:// or https://.";
    case Case::malformedURL: return "That doesn't look like a valid URL.";
    case Case::noSimulatorSelected: return "Select a simulator first.";
    case Case::simulatorNotBooted: return "The selected simulator is no longer booted.";
    case Case::openAlreadyInProgress: return "A deep link is already opening.";
    case Case::noHandler: return "No app on the simulator is registered to handle this URL.";
    case Case::persistenceFailed: return "Couldn't save your recents or favorites.";
    case Case::clipboardFailed: return "Couldn't copy the URL to the clipboard.";
    case Case::favoriteNotFound: return "That favorite no longer exists.";
    case Case::duplicateFavorite: return "This URL is already a favorite.";
    case Case::favoriteLimitReached:
      return fmt::format("Orvanta keeps at most {} deep-link favorites. Remove one before adding another.",
                         maximumDeepLinkFavorites);
    case Case::labelTaken: return "Another favorite is already labelled \"" + label + "\".";
  }
  return {};
}

std::string_view DeepLinkError::caseName() const {
  switch (kind) {
    case Case::simctlFailed: return "simctlFailed";
    case Case::emptyURL: return "emptyURL";
    case Case::missingScheme: return "missingScheme";
    case Case::malformedURL: return "malformedURL";
    case Case::noSimulatorSelected: return "noSimulatorSelected";
    case Case::simulatorNotBooted: return "simulatorNotBooted";
    case Case::openAlreadyInProgress: return "openAlreadyInProgress";
    case Case::noHandler: return "noHandler";
    case Case::persistenceFailed: return "persistenceFailed";
    case Case::clipboardFailed: return "clipboardFailed";
    case Case::favoriteNotFound: return "favoriteNotFound";
    case Case::duplicateFavorite: return "duplicateFavorite";
    case Case::favoriteLimitReached: return "favoriteLimitReached";
    case Case::labelTaken: return "labelTaken";
  }
  return {};
}

AppURLSchemeError AppURLSchemeError::simctlFailed(std::int32_t status, std::string stderrText) {
  AppURLSchemeError error(Case::simctlFailed, std::move(stderrText));
  error.status = status;
  return error;
}

std::string AppURLSchemeError::description() const {
  switch (kind) {
    case Case::simctlFailed: return fmt::format("simctl exited with status {}", status);
    case Case::appNotInstalled: return "The app is no longer installed on this simulator.";
    case Case::invalidSimulator: return "The simulator is no longer available.";
    case Case::infoPlistMissing: return "The app has no Info.plist.";
    case Case::infoPlistUnreadable: return "The app's Info.plist couldn't be read.";
    case Case::appNotLocated: return "Couldn't locate the app on the simulator.";
    case Case::simctlUnavailable: return "Couldn't run simctl: " + message;
  }
  return {};
}

std::string_view AppURLSchemeError::caseName() const {
  switch (kind) {
    case Case::simctlFailed: return "simctlFailed";
    case Case::appNotInstalled: return "appNotInstalled";
    case Case::invalidSimulator: return "invalidSimulator";
    case Case::infoPlistMissing: return "infoPlistMissing";
    case Case::infoPlistUnreadable: return "infoPlistUnreadable";
    case Case::appNotLocated: return "appNotLocated";
    case Case::simctlUnavailable: return "simctlUnavailable";
  }
  return {};
}

}  // namespace orvanta
