// The URL schemes an installed app declares, read from its Info.plist on the simulator.
//
// simctl has no command that lists them, so the service asks for the app bundle's folder with
// `simctl get_app_container <udid> <bundle identifier> app` and reads "Info.plist" inside it (binary, XML
// or text; real bundles carry binary lists). Each dictionary of the "CFBundleURLTypes" array, in order,
// gives one DeclaredURLScheme per non-empty string of its "CFBundleURLSchemes" array, with its
// "CFBundleURLName" and "CFBundleTypeRole" when they are strings. Entries of any other shape are skipped:
// a damaged entry does not hide the others.
//
// How a failed container lookup is told apart, from simctl's own diagnostics:
//  - appNotInstalled: the NSPOSIXErrorDomain error 2 envelope ("(domain=NSPOSIXErrorDomain, code=2):",
//    "No such file or directory"), which simctl gives for a bundle identifier it does not know (exit 2);
//  - invalidSimulator: "Invalid device: <udid>" (exit 148) for a device that is gone, and the
//    CoreSimulator state error "Unable to lookup in current state: ..." for a device that is no longer
//    booted;
//  - simctlFailed(status): anything else. The text decides, not the status, which changed between Xcodes.
#pragma once

#include <cstdio>  // before any use of the names stdout and stderr (macros on some systems)

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/process_runner.hpp"
#include "support/expected.hpp"
#include "support/property_list_value.hpp"
#include "support/stop_token.hpp"
#include "tools/deeplink/deep_link_error.hpp"

namespace orvanta {

struct DeclaredURLScheme {
  std::string scheme;
  std::optional<std::string> urlName;  // "CFBundleURLName"
  std::optional<std::string> role;     // "CFBundleTypeRole" ("Editor", "Viewer", ...)
  bool operator==(const DeclaredURLScheme&) const = default;
};

// The schemes an Info.plist's top-level dictionary declares, as described above; empty without
// "CFBundleURLTypes". Pure.
[[nodiscard]] std::vector<DeclaredURLScheme> declaredURLSchemes(const PropertyListValue& infoPlist);

// Reads "Info.plist" in `bundleFolder`. Fails with infoPlistMissing (no such file) or infoPlistUnreadable
// (not a regular file, larger than 8 MiB, unreadable, not a property list, or not a dictionary).
[[nodiscard]] expected<std::vector<DeclaredURLScheme>, AppURLSchemeError> readDeclaredURLSchemes(
    const std::filesystem::path& bundleFolder);

// The case for a failed `get_app_container` run, from its exit status and stderr (see above).
[[nodiscard]] AppURLSchemeError classifyAppContainerFailure(std::int32_t status, std::string_view stderrText);

// Whether `declared` holds `scheme`, ignoring letter case as URL schemes do.
[[nodiscard]] bool declaresScheme(const std::vector<DeclaredURLScheme>& declared, std::string_view scheme);

// Holds `run`; a value type, as thread-safe as its RunFunction.
class AppURLSchemeService {
 public:
  explicit AppURLSchemeService(RunFunction run, std::filesystem::path xcrunPath = "/usr/bin/xcrun")
      : run_(std::move(run)), xcrunPath_(std::move(xcrunPath)) {}

  // The schemes `bundleIdentifier` declares on `simulatorUDID`. Blocks while simctl runs and while the
  // file is read. Fails with appNotInstalled, invalidSimulator, simctlFailed(status); appNotLocated when
  // simctl's answer is not one absolute path to an existing folder; simctlUnavailable when xcrun cannot
  // be run or `stop` ended the run; infoPlistMissing and infoPlistUnreadable as readDeclaredURLSchemes.
  [[nodiscard]] expected<std::vector<DeclaredURLScheme>, AppURLSchemeError> declaredSchemes(
      const std::string& bundleIdentifier, const std::string& simulatorUDID, orvanta::stop_token stop = {}) const;

 private:
  RunFunction run_;
  std::filesystem::path xcrunPath_;
};

}  // namespace orvanta
