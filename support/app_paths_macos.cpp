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

#include <mach-o/dyld.h>

#include <cstdint>
#include <vector>

namespace orvanta {

std::optional<std::filesystem::path> runningExecutable() {
  std::uint32_t size = 0;
  _NSGetExecutablePath(nullptr, &size);
  std::vector<char> buffer(size + 1, '\0');
  if (_NSGetExecutablePath(buffer.data(), &size) != 0) return std::nullopt;
  std::error_code error;
  auto path = std::filesystem::canonical(buffer.data(), error);
  if (error) return std::filesystem::path(buffer.data());
  return path;
}

}  // namespace orvanta
