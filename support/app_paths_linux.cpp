#include "support/app_paths.hpp"

namespace orvanta {

expected<std::filesystem::path, FileError> configDirectory() {
  if (auto config = detail::absolutePathFromEnvironment("XDG_CONFIG_HOME")) return *config / "orvanta";
  auto home = homeDirectory();
  if (!home) return unexpected(home.error());
  return *home / ".config" / "orvanta";
}

expected<std::filesystem::path, FileError> applicationSupportDirectory() {
  if (auto data = detail::absolutePathFromEnvironment("XDG_DATA_HOME")) return *data / "orvanta";
  auto home = homeDirectory();
  if (!home) return unexpected(home.error());
  return *home / ".local" / "share" / "orvanta";
}

}  // namespace orvanta

namespace orvanta {

std::optional<std::filesystem::path> runningExecutable() {
  std::error_code error;
  auto path = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return std::nullopt;
  return path;
}

}  // namespace orvanta
