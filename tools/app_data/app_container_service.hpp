// An app's containers on a simulator, and the one rule by which every path the app data tools take is
// resolved inside them.
//
// `simctl get_app_container <udid> <bundle id> app|data|groups|<group id>` prints one absolute path
// (no trailing slash), or for "groups" one "<group id><TAB><path>" line per app group. An app that is
// not installed, or a group it does not have, fails with the NSPOSIXErrorDomain code=2 envelope ("No
// such file or directory"). The device must be booted.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/simctl_client.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"
#include "tools/app_data/app_data_error.hpp"

namespace orvanta {

// simctl's answer is read whole; nothing it prints for these tools comes near this.
inline constexpr std::size_t appDataMaximumSimctlOutputBytes = 16u << 20;

// Runs `xcrun simctl <arguments>` and maps the outcome: the runner's cancellation to cancelled, any other
// runner error to simctlUnavailable, a device that is unknown or not booted to invalidSimulator, another
// non-zero exit to simctlFailed with simctl's diagnostic, and output over the budget to tooLarge.
// Thread-safe as the client; blocks.
[[nodiscard]] expected<ProcessRunner::Output, AppDataError> runAppDataSimctl(const SimctlClient& client,
                                                                            std::vector<std::string> arguments,
                                                                            orvanta::stop_token stop);

// Stops the app when it runs, through `simctl terminate`: true when it did, false when simctl found
// nothing to terminate (NSPOSIXErrorDomain code=3). Fails as runAppDataSimctl does. Thread-safe; blocks.
[[nodiscard]] expected<bool, AppDataError> terminateAppIfRunning(const SimctlClient& client, const std::string& udid,
                                                                 const std::string& bundleIdentifier,
                                                                 orvanta::stop_token stop);

// A path in a container as listings show it: relative, '/' between components, without "." components
// or a trailing '/'; "" for the container itself.
[[nodiscard]] std::string normalizedContainerPath(std::string_view path);

struct AppGroupContainer {
  std::string identifier;
  std::filesystem::path path;
  bool operator==(const AppGroupContainer&) const = default;
};

// The lines of `get_app_container ... groups`: "<group id><TAB><absolute path>" each. Blank lines are
// skipped; any other line that does not have that shape fails with appNotLocated. At most 1,000 groups.
[[nodiscard]] expected<std::vector<AppGroupContainer>, AppDataError> parseGroupContainers(std::string_view text);

// Looks up containers. Stateless and thread-safe; blocks while simctl runs.
class AppContainerService {
 public:
  explicit AppContainerService(SimctlClient client) : client_(std::move(client)) {}

  // `which` is "app", "data" or a group identifier. Fails with appNotInstalled (app or data, code=2),
  // containerNotFound (a group, code=2), appNotLocated (an answer that is not one absolute path),
  // invalidSimulator, simctlFailed, simctlUnavailable or cancelled.
  [[nodiscard]] expected<std::filesystem::path, AppDataError> container(const std::string& udid,
                                                                        const std::string& bundleIdentifier,
                                                                        const std::string& which,
                                                                        orvanta::stop_token stop = {}) const;

  // Every group container of the app (an app without groups has none). Fails as container() does.
  [[nodiscard]] expected<std::vector<AppGroupContainer>, AppDataError> groupContainers(
      const std::string& udid, const std::string& bundleIdentifier, orvanta::stop_token stop = {}) const;

  // The group's container when `group` is set, else the data container.
  [[nodiscard]] expected<std::filesystem::path, AppDataError> dataContainer(const std::string& udid,
                                                                            const std::string& bundleIdentifier,
                                                                            const std::optional<std::string>& group,
                                                                            orvanta::stop_token stop = {}) const {
    return container(udid, bundleIdentifier, group.value_or("data"), std::move(stop));
  }

  [[nodiscard]] const SimctlClient& client() const { return client_; }

 private:
  SimctlClient client_;
};

// What to do when the last component of a path is a symbolic link.
enum class FinalLink { follow, keep };

// Resolves `relativePath` (as the user typed it, "" or "." for the container itself) inside `container`.
// Refused with pathOutsideContainer: an absolute path, any ".." component, a NUL character, and a
// symbolic link on the way (the last component too, with FinalLink::follow) whose target lies outside
// the container. The result is the real path of what exists, with the components that do not exist yet
// appended; with FinalLink::keep the last component is appended as it is, link or not. Fails with
// containerNotFound when the container itself cannot be resolved. Blocks on the file system.
[[nodiscard]] expected<std::filesystem::path, AppDataError> resolveInsideContainer(
    const std::filesystem::path& container, std::string_view relativePath, FinalLink finalLink = FinalLink::follow);

// Whether `path` is `folder` or lies inside it (lexically; both absolute and normalised).
[[nodiscard]] bool isInsideFolder(const std::filesystem::path& path, const std::filesystem::path& folder);

}  // namespace orvanta
