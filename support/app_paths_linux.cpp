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
