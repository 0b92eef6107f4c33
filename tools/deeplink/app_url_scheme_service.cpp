#include "tools/deeplink/app_url_scheme_service.hpp"

#include <algorithm>
#include <system_error>

#include "support/text.hpp"
#include "support/atomic_file.hpp"
#include "support/property_list.hpp"

namespace orvanta {
namespace {

using Case = AppURLSchemeError::Case;

// Far above any real Info.plist (a few KiB); keeps a hostile file from being read whole.
constexpr std::uintmax_t maximumInfoPlistBytes = 8u << 20;

bool equalIgnoringCase(std::string_view a, std::string_view b) {
  auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [&](char x, char y) {
           return lower(x) == lower(y);
         });
}

std::optional<std::string> optionalString(const PropertyListValue& dictionary, std::string_view key) {
  const std::string* value = dictionary.findString(key);
  if (value == nullptr) return std::nullopt;
  return *value;
}

}  // namespace

std::vector<DeclaredURLScheme> declaredURLSchemes(const PropertyListValue& infoPlist) {
  std::vector<DeclaredURLScheme> schemes;
  const PropertyListValue* types = infoPlist.find("CFBundleURLTypes");
  const auto* array = types != nullptr ? types->asArray() : nullptr;
  if (array == nullptr) return schemes;
  for (const auto& type : *array) {
    if (!type.isDictionary()) continue;
    const PropertyListValue* list = type.find("CFBundleURLSchemes");
    const auto* names = list != nullptr ? list->asArray() : nullptr;
    if (names == nullptr) continue;
    const auto urlName = optionalString(type, "CFBundleURLName");
    const auto role = optionalString(type, "CFBundleTypeRole");
    for (const auto& name : *names) {
      const std::string* scheme = name.asString();
      if (scheme == nullptr || scheme->empty()) continue;
      schemes.push_back({*scheme, urlName, role});
    }
  }
  return schemes;
}

expected<std::vector<DeclaredURLScheme>, AppURLSchemeError> readDeclaredURLSchemes(
    const std::filesystem::path& bundleFolder) {
  const auto file = bundleFolder / "Info.plist";
  std::error_code error;
  const auto status = std::filesystem::status(file, error);
  if (status.type() == std::filesystem::file_type::not_found) return unexpected(AppURLSchemeError(Case::infoPlistMissing));
  if (error) return unexpected(AppURLSchemeError(Case::infoPlistUnreadable, error.message()));
  if (!std::filesystem::is_regular_file(status)) {
    return unexpected(AppURLSchemeError(Case::infoPlistUnreadable, "not a regular file"));
  }
  const auto size = std::filesystem::file_size(file, error);
  if (error || size > maximumInfoPlistBytes) {
    return unexpected(AppURLSchemeError(Case::infoPlistUnreadable, error ? error.message() : "too large"));
  }
  auto bytes = readFile(file, maximumInfoPlistBytes);
  if (!bytes) return unexpected(AppURLSchemeError(Case::infoPlistUnreadable, bytes.error().description()));
  if (!*bytes) return unexpected(AppURLSchemeError(Case::infoPlistMissing));
  auto parsed = parsePropertyList(**bytes);
  if (!parsed) return unexpected(AppURLSchemeError(Case::infoPlistUnreadable, parsed.error().description()));
  if (!parsed->isDictionary()) {
    return unexpected(AppURLSchemeError(Case::infoPlistUnreadable, "the top level is not a dictionary"));
  }
  return declaredURLSchemes(*parsed);
}

AppURLSchemeError classifyAppContainerFailure(std::int32_t status, std::string_view stderrText) {
  const std::string detail(trimWhitespace(stderrText));
  if (stderrText.find("(domain=NSPOSIXErrorDomain, code=2)") != std::string_view::npos ||
      stderrText.find("No such file or directory") != std::string_view::npos) {
    return AppURLSchemeError(Case::appNotInstalled, detail);
  }
  if (trimWhitespace(stderrText).starts_with("Invalid device:") ||
      stderrText.find("Unable to lookup in current state:") != std::string_view::npos) {
    return AppURLSchemeError(Case::invalidSimulator, detail);
  }
  return AppURLSchemeError::simctlFailed(status, detail);
}

bool declaresScheme(const std::vector<DeclaredURLScheme>& declared, std::string_view scheme) {
  return std::any_of(declared.begin(), declared.end(),
                     [&](const DeclaredURLScheme& item) { return equalIgnoringCase(item.scheme, scheme); });
}

expected<std::vector<DeclaredURLScheme>, AppURLSchemeError> AppURLSchemeService::declaredSchemes(
    const std::string& bundleIdentifier, const std::string& simulatorUDID, orvanta::stop_token stop) const {
  auto output = run_(xcrunPath_, {"simctl", "get_app_container", simulatorUDID, bundleIdentifier, "app"}, stop);
  if (!output) return unexpected(AppURLSchemeError(Case::simctlUnavailable, output.error().description()));
  if (output->terminatedBySignal) {
    return unexpected(AppURLSchemeError(Case::simctlUnavailable, "simctl was ended by a signal."));
  }
  if (output->terminationStatus != 0) {
    return unexpected(classifyAppContainerFailure(output->terminationStatus, output->stderr.str()));
  }
  const std::string answer = output->stdout.str();
  const std::string_view path = trimWhitespace(answer);
  std::error_code error;
  if (path.empty() || path.find_first_of("\r\n") != std::string_view::npos || path.find('\0') != std::string_view::npos ||
      !std::filesystem::path(path).is_absolute() || !std::filesystem::is_directory(std::filesystem::path(path), error)) {
    return unexpected(AppURLSchemeError(Case::appNotLocated, std::string(path)));
  }
  return readDeclaredURLSchemes(std::filesystem::path(path));
}

}  // namespace orvanta
