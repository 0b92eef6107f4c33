#include "support/app_paths.hpp"

namespace orvanta {

// On macOS settings and documents share the one Application Support folder.
expected<std::filesystem::path, FileError> applicationSupportDirectory() {
  auto home = homeDirectory();
  if (!home) return unexpected(home.error());
  return *home / "Library" / "Application Support" / "Orvanta";
}

expected<std::filesystem::path, FileError> configDirectory() {
  return applicationSupportDirectory();
}

}  // namespace orvanta
