// An installed app as the rest of Orvanta sees it, and how simctl's app listing becomes a list of them.
//
// `simctl listapps` prints an old-style property list: a dictionary from bundle identifier to a
// dictionary of the app's keys, every scalar a string. This file turns it into SimulatorApp values.
//
// Decisions that callers rely on:
//  - Hidden apps are left out of the list: "ApplicationType" = "Hidden" (SpringBoard and the like, which
//    nobody launches from a tool) or an "IsHidden" flag that reads as true. They are still installed, so
//    decodeAppList() can keep them when asked, and simctl still acts on them.
//  - The list is sorted by display name, ignoring ASCII letter case (other characters compare by code
//    point), then by bundle identifier, so equal names keep a stable order.
//  - The display name is "CFBundleDisplayName", else "CFBundleName", else the bundle identifier; an empty
//    text counts as absent.
//  - simctl lists one version key, "CFBundleVersion". Apple calls that key the bundle's build number, so
//    `version` and `build` both hold it; `executableName` is "CFBundleExecutable".
//
// Pure functions and plain values; thread-safe.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "support/expected.hpp"
#include "support/property_list_value.hpp"

namespace orvanta {

enum class SimulatorAppKind { user, system, unknown };

// "user", "system", "unknown".
[[nodiscard]] std::string_view rawValue(SimulatorAppKind kind);
// From "ApplicationType": "User" and "System" (exactly); anything else, or nothing, is unknown.
[[nodiscard]] SimulatorAppKind simulatorAppKind(std::string_view applicationType);

struct SimulatorApp {
  std::string bundleIdentifier;
  std::string displayName;
  std::string bundlePath;  // "Path"; empty when simctl gives none
  bool isDeveloperApp = false;
  bool isSystemApp = false;
  SimulatorAppKind kind = SimulatorAppKind::unknown;
  std::optional<std::string> version;
  std::optional<std::string> build;
  std::optional<std::string> executableName;
  bool isRemovable = false;
  bool isFirstParty = false;
  bool isAppClip = false;
  bool hasDataContainer = false;

  bool operator==(const SimulatorApp&) const = default;
};

// The app described by one entry of the listing (or by `simctl appinfo`); nullopt when `entry` is not a
// dictionary. Flags accept a property-list boolean or the texts true/yes/1 in any letter case; anything
// else, or no key at all, is false.
[[nodiscard]] std::optional<SimulatorApp> simulatorAppFromListing(std::string bundleIdentifier,
                                                                  const PropertyListValue& entry);

// Whether the entry describes a hidden app ("ApplicationType" "Hidden", or "IsHidden" true).
[[nodiscard]] bool isHiddenAppEntry(const PropertyListValue& entry);

// The reason a listing could not be read, as a sentence ("The top level is not a dictionary.").
struct UnreadableAppList {
  std::string reason;
};

// Reads `simctl listapps` output into apps, sorted as described above; hidden apps only with
// `includeHidden`. Fails when the text is no property list, its top level is no dictionary, or an entry
// is no dictionary.
[[nodiscard]] expected<std::vector<SimulatorApp>, UnreadableAppList> decodeAppList(std::string_view text,
                                                                                     bool includeHidden = false);

// Sorts by display name (ASCII letters compared without case), then bundle identifier.
void sortAppsForDisplay(std::vector<SimulatorApp>& apps);

// The list filter of the apps tool.
enum class SimulatorAppFilter { all, user, system };

// "all", "user", "system", and back (exact).
[[nodiscard]] std::string_view rawValue(SimulatorAppFilter filter);
[[nodiscard]] std::optional<SimulatorAppFilter> simulatorAppFilterFromRawValue(std::string_view text);
// `user` keeps user apps, `system` keeps system apps; apps of unknown kind show only under `all`.
[[nodiscard]] bool matches(SimulatorAppFilter filter, const SimulatorApp& app);
[[nodiscard]] std::vector<SimulatorApp> filterApps(const std::vector<SimulatorApp>& apps, SimulatorAppFilter filter);

// An uninstall waiting for the user's yes.
struct PendingAppUninstall {
  SimulatorApp app;
  std::string simulatorUDID;
  std::string simulatorName;

  // "Uninstall Maps (com.apple.Maps) from iPhone 16? Its data is deleted with it."
  [[nodiscard]] std::string question() const;
};

// What a launch reported.
struct SimulatorAppLaunchResult {
  std::optional<std::int32_t> processIdentifier;
  bool operator==(const SimulatorAppLaunchResult&) const = default;
};

// Reads `<bundle identifier>: <pid>` from the last non-empty line of launch's output (an app started with
// --console may print its own lines around it). No such line, or a number that is not a positive 32-bit
// integer, gives no process identifier.
[[nodiscard]] SimulatorAppLaunchResult parseLaunchOutput(std::string_view text);

// The JSON object of an app: the field names above, optional fields left out when absent, `kind` as its
// raw value.
[[nodiscard]] nlohmann::json toJson(const SimulatorApp& app);

}  // namespace orvanta
