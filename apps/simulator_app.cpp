#include "apps/simulator_app.hpp"

#include <algorithm>
#include <charconv>
#include <iterator>

#include <nlohmann/json.hpp>

#include "support/property_list.hpp"

namespace orvanta {
namespace {

std::optional<std::string> nonEmptyString(const PropertyListValue& entry, std::string_view key) {
  const std::string* text = entry.findString(key);
  if (text == nullptr || text->empty()) return std::nullopt;
  return *text;
}

bool flag(const PropertyListValue& entry, std::string_view key) {
  const PropertyListValue* value = entry.find(key);
  return value != nullptr && propertyListBool(*value).value_or(false);
}

char foldAscii(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

// <0, 0, >0 like strcmp, with ASCII letters folded to lower case and other bytes compared unsigned.
int compareFolded(std::string_view a, std::string_view b) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    const auto x = static_cast<unsigned char>(foldAscii(a[i]));
    const auto y = static_cast<unsigned char>(foldAscii(b[i]));
    if (x != y) return x < y ? -1 : 1;
  }
  if (a.size() == b.size()) return 0;
  return a.size() < b.size() ? -1 : 1;
}

std::string_view trimmedLine(std::string_view line) {
  while (!line.empty() && (line.back() == '\r' || line.back() == ' ' || line.back() == '\t')) line.remove_suffix(1);
  while (!line.empty() && (line.front() == ' ' || line.front() == '\t')) line.remove_prefix(1);
  return line;
}

}  // namespace

std::string_view rawValue(SimulatorAppKind kind) {
  switch (kind) {
    case SimulatorAppKind::user: return "user";
    case SimulatorAppKind::system: return "system";
    case SimulatorAppKind::unknown: return "unknown";
  }
  return "unknown";
}

SimulatorAppKind simulatorAppKind(std::string_view applicationType) {
  if (applicationType == "User") return SimulatorAppKind::user;
  if (applicationType == "System") return SimulatorAppKind::system;
  return SimulatorAppKind::unknown;
}

std::optional<SimulatorApp> simulatorAppFromListing(std::string bundleIdentifier, const PropertyListValue& entry) {
  if (!entry.isDictionary()) return std::nullopt;
  SimulatorApp app;
  app.displayName = nonEmptyString(entry, "CFBundleDisplayName")
                        .value_or(nonEmptyString(entry, "CFBundleName").value_or(bundleIdentifier));
  app.bundleIdentifier = std::move(bundleIdentifier);
  if (const std::string* path = entry.findString("Path")) app.bundlePath = *path;
  const std::string* type = entry.findString("ApplicationType");
  app.kind = simulatorAppKind(type ? std::string_view(*type) : std::string_view());
  app.isSystemApp = app.kind == SimulatorAppKind::system;
  app.isDeveloperApp = flag(entry, "IsDeveloperApp");
  app.version = nonEmptyString(entry, "CFBundleVersion");
  app.build = app.version;
  app.executableName = nonEmptyString(entry, "CFBundleExecutable");
  app.isRemovable = flag(entry, "IsRemovable");
  app.isFirstParty = flag(entry, "IsFirstParty");
  app.isAppClip = flag(entry, "IsAppClip");
  app.hasDataContainer = entry.find("DataContainer") != nullptr;
  return app;
}

bool isHiddenAppEntry(const PropertyListValue& entry) {
  const std::string* type = entry.findString("ApplicationType");
  return (type != nullptr && *type == "Hidden") || flag(entry, "IsHidden");
}

expected<std::vector<SimulatorApp>, UnreadableAppList> decodeAppList(std::string_view text, bool includeHidden) {
  auto listing = parsePropertyList(text);
  if (!listing) return unexpected(UnreadableAppList{listing.error().description()});
  const PropertyListDictionary* apps = listing->asDictionary();
  if (apps == nullptr) return unexpected(UnreadableAppList{"The top level is not a dictionary."});
  std::vector<SimulatorApp> list;
  list.reserve(apps->size());
  for (const auto& [bundleIdentifier, entry] : *apps) {
    auto app = simulatorAppFromListing(bundleIdentifier, entry);
    if (!app) return unexpected(UnreadableAppList{"The entry for " + bundleIdentifier + " is not a dictionary."});
    if (includeHidden || !isHiddenAppEntry(entry)) list.push_back(std::move(*app));
  }
  sortAppsForDisplay(list);
  return list;
}

void sortAppsForDisplay(std::vector<SimulatorApp>& apps) {
  std::sort(apps.begin(), apps.end(), [](const SimulatorApp& a, const SimulatorApp& b) {
    if (int order = compareFolded(a.displayName, b.displayName); order != 0) return order < 0;
    return a.bundleIdentifier < b.bundleIdentifier;
  });
}

std::string_view rawValue(SimulatorAppFilter filter) {
  switch (filter) {
    case SimulatorAppFilter::all: return "all";
    case SimulatorAppFilter::user: return "user";
    case SimulatorAppFilter::system: return "system";
  }
  return "all";
}

std::optional<SimulatorAppFilter> simulatorAppFilterFromRawValue(std::string_view text) {
  for (auto filter : {SimulatorAppFilter::all, SimulatorAppFilter::user, SimulatorAppFilter::system}) {
    if (rawValue(filter) == text) return filter;
  }
  return std::nullopt;
}

bool matches(SimulatorAppFilter filter, const SimulatorApp& app) {
  switch (filter) {
    case SimulatorAppFilter::all: return true;
    case SimulatorAppFilter::user: return app.kind == SimulatorAppKind::user;
    case SimulatorAppFilter::system: return app.kind == SimulatorAppKind::system;
  }
  return true;
}

std::vector<SimulatorApp> filterApps(const std::vector<SimulatorApp>& apps, SimulatorAppFilter filter) {
  std::vector<SimulatorApp> kept;
  std::copy_if(apps.begin(), apps.end(), std::back_inserter(kept),
               [filter](const SimulatorApp& app) { return matches(filter, app); });
  return kept;
}

std::string PendingAppUninstall::question() const {
  return "Uninstall " + app.displayName + " (" + app.bundleIdentifier + ") from " + simulatorName +
         "? Its data is deleted with it.";
}

SimulatorAppLaunchResult parseLaunchOutput(std::string_view text) {
  std::string_view last;
  std::size_t start = 0;
  while (start <= text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    if (auto line = trimmedLine(text.substr(start, end - start)); !line.empty()) last = line;
    start = end + 1;
  }
  const std::size_t separator = last.rfind(": ");
  if (separator == std::string_view::npos || separator == 0) return {};
  const std::string_view digits = last.substr(separator + 2);
  if (digits.empty() || !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
    return {};
  }
  std::int32_t pid = 0;
  auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), pid);
  if (error != std::errc() || end != digits.data() + digits.size() || pid <= 0) return {};
  return SimulatorAppLaunchResult{pid};
}

nlohmann::json toJson(const SimulatorApp& app) {
  nlohmann::json object = {{"bundleIdentifier", app.bundleIdentifier},
                           {"displayName", app.displayName},
                           {"bundlePath", app.bundlePath},
                           {"isDeveloperApp", app.isDeveloperApp},
                           {"isSystemApp", app.isSystemApp},
                           {"kind", std::string(rawValue(app.kind))},
                           {"isRemovable", app.isRemovable},
                           {"isFirstParty", app.isFirstParty},
                           {"isAppClip", app.isAppClip},
                           {"hasDataContainer", app.hasDataContainer}};
  if (app.version) object["version"] = *app.version;
  if (app.build) object["build"] = *app.build;
  if (app.executableName) object["executableName"] = *app.executableName;
  return object;
}

}  // namespace orvanta
