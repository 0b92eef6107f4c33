#include "tools/app_data/app_container_service.hpp"

#include <system_error>

#include "support/text.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using Case = AppDataError::Case;

constexpr std::size_t maximumGroupCount = 1000;
constexpr int maximumLinkHops = 40;

bool isNotInstalledEnvelope(std::string_view text) {
  return text.find("(domain=NSPOSIXErrorDomain, code=2)") != std::string_view::npos ||
         text.find("No such file or directory") != std::string_view::npos;
}

// One absolute path, as simctl prints a container.
expected<fs::path, AppDataError> containerPathFrom(std::string_view answer) {
  const std::string_view path = trimWhitespace(answer);
  if (path.empty() || path.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos ||
      path.front() != '/') {
    return unexpected(AppDataError::of(Case::appNotLocated));
  }
  return fs::path(path).lexically_normal();
}

}  // namespace

expected<ProcessRunner::Output, AppDataError> runAppDataSimctl(const SimctlClient& client,
                                                               std::vector<std::string> arguments,
                                                               orvanta::stop_token stop) {
  const bool stopRequested = stop.stop_requested();
  if (stopRequested) return unexpected(AppDataError::of(Case::cancelled));
  auto output = client.simctl(std::move(arguments), stop);
  if (!output) {
    if (output.error().kind == ProcessRunnerError::Case::cancelled) return unexpected(AppDataError::of(Case::cancelled));
    return unexpected(AppDataError::of(Case::simctlUnavailable, output.error().description()));
  }
  if (output->stdout.size() > appDataMaximumSimctlOutputBytes ||
      output->stderr.size() > appDataMaximumSimctlOutputBytes) {
    return unexpected(AppDataError::atPath(Case::tooLarge, "simctl's answer",
                                           "more than " + std::to_string(appDataMaximumSimctlOutputBytes) + " bytes"));
  }
  if (output->terminatedBySignal) {
    return unexpected(AppDataError::of(Case::simctlUnavailable, "simctl was ended by a signal."));
  }
  if (output->terminationStatus != 0) {
    const std::string diagnostic = simctlDiagnostic(*output);
    if (diagnostic.starts_with("Invalid device:") || diagnostic.starts_with("No devices are booted.") ||
        diagnostic.find("Unable to lookup in current state:") != std::string::npos ||
        diagnostic.find("device is not booted") != std::string::npos) {
      return unexpected(AppDataError::of(Case::invalidSimulator, diagnostic));
    }
    return unexpected(AppDataError::simctlFailed(output->terminationStatus, diagnostic));
  }
  return std::move(*output);
}

expected<bool, AppDataError> terminateAppIfRunning(const SimctlClient& client, const std::string& udid,
                                                  const std::string& bundleIdentifier, orvanta::stop_token stop) {
  auto output = runAppDataSimctl(client, {"terminate", udid, bundleIdentifier}, std::move(stop));
  if (output) return true;
  const AppDataError& error = output.error();
  if (error.kind == Case::simctlFailed && (error.text.find("found nothing to terminate") != std::string::npos ||
                                           error.text.find("(domain=NSPOSIXErrorDomain, code=3)") != std::string::npos)) {
    return false;
  }
  return unexpected(error);
}

std::string normalizedContainerPath(std::string_view path) {
  std::string relative = fs::path(path).lexically_normal().generic_string();
  if (relative == ".") relative.clear();
  while (!relative.empty() && relative.back() == '/') relative.pop_back();
  return relative;
}

expected<std::vector<AppGroupContainer>, AppDataError> parseGroupContainers(std::string_view text) {
  std::vector<AppGroupContainer> groups;
  while (!text.empty()) {
    const auto end = text.find('\n');
    const std::string_view line = trimWhitespace(text.substr(0, end));
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (line.empty()) continue;
    const auto tab = line.find('\t');
    if (tab == std::string_view::npos || tab == 0) return unexpected(AppDataError::of(Case::appNotLocated));
    auto path = containerPathFrom(line.substr(tab + 1));
    if (!path) return unexpected(path.error());
    if (groups.size() == maximumGroupCount) {
      return unexpected(AppDataError::atPath(Case::tooLarge, "The list of app groups",
                                             "more than " + std::to_string(maximumGroupCount) + " groups"));
    }
    groups.push_back({std::string(trimWhitespace(line.substr(0, tab))), std::move(*path)});
  }
  return groups;
}

expected<fs::path, AppDataError> AppContainerService::container(const std::string& udid,
                                                                const std::string& bundleIdentifier,
                                                                const std::string& which,
                                                                orvanta::stop_token stop) const {
  auto output = runAppDataSimctl(client_, {"get_app_container", udid, bundleIdentifier, which}, std::move(stop));
  if (!output) {
    AppDataError error = output.error();
    if (error.kind == Case::simctlFailed && isNotInstalledEnvelope(error.text)) {
      if (which == "app" || which == "data") {
        error = AppDataError::of(Case::appNotInstalled);
        error.bundle = bundleIdentifier;
      } else {
        error = AppDataError::named(Case::containerNotFound, which);
      }
    }
    return unexpected(std::move(error));
  }
  return containerPathFrom(output->stdout.view());
}

expected<std::vector<AppGroupContainer>, AppDataError> AppContainerService::groupContainers(
    const std::string& udid, const std::string& bundleIdentifier, orvanta::stop_token stop) const {
  auto output = runAppDataSimctl(client_, {"get_app_container", udid, bundleIdentifier, "groups"}, std::move(stop));
  if (!output) {
    AppDataError error = output.error();
    if (error.kind == Case::simctlFailed && isNotInstalledEnvelope(error.text)) {
      error = AppDataError::of(Case::appNotInstalled);
      error.bundle = bundleIdentifier;
    }
    return unexpected(std::move(error));
  }
  return parseGroupContainers(output->stdout.view());
}

bool isInsideFolder(const fs::path& path, const fs::path& folder) {
  const auto relative = path.lexically_relative(folder);
  return !relative.empty() && *relative.begin() != "..";
}

expected<fs::path, AppDataError> resolveInsideContainer(const fs::path& container, std::string_view relativePath,
                                                        FinalLink finalLink) {
  const std::string shown = relativePath.empty() ? std::string(".") : std::string(relativePath);
  auto outside = [&] { return unexpected(AppDataError::atPath(Case::pathOutsideContainer, shown)); };
  if (relativePath.find('\0') != std::string_view::npos || relativePath.starts_with('/')) return outside();
  const fs::path relative(relativePath);
  std::vector<fs::path> components;
  for (const auto& component : relative) {
    if (component == "..") return outside();
    if (component.empty() || component == ".") continue;
    components.push_back(component);
  }

  std::error_code error;
  const fs::path root = fs::canonical(container, error);
  if (error) return unexpected(AppDataError::named(Case::containerNotFound, container.string(), error.message()));

  fs::path current = root;
  int hops = 0;
  for (std::size_t index = 0; index < components.size(); ++index) {
    const bool last = index + 1 == components.size();
    const fs::path next = current / components[index];
    const auto status = fs::symlink_status(next, error);
    if (error || status.type() == fs::file_type::not_found) {
      // Nothing there: the rest is a path to be created, and cannot lead anywhere yet.
      fs::path rest = next;
      for (std::size_t tail = index + 1; tail < components.size(); ++tail) rest /= components[tail];
      return rest;
    }
    if (status.type() != fs::file_type::symlink || (last && finalLink == FinalLink::keep)) {
      current = next;
      continue;
    }
    if (++hops > maximumLinkHops) return outside();
    const fs::path target = fs::read_symlink(next, error);
    if (error) return outside();
    // The link's target with every link in it resolved, as far as it exists.
    const fs::path resolved = fs::weakly_canonical(target.is_absolute() ? target : current / target, error);
    if (error || !isInsideFolder(resolved, root)) return outside();
    current = resolved;
  }
  return current;
}

}  // namespace orvanta
