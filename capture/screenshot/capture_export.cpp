#include "capture/screenshot/capture_export.hpp"

#include <ctime>

#include <nlohmann/json.hpp>

#include "support/app_paths.hpp"

namespace orvanta {
namespace {

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace

std::string captureFileName(std::string_view simulatorName, std::chrono::system_clock::time_point date,
                            std::string_view extension) {
  std::string joined(simulatorName);
  for (char& c : joined) {
    if (c == '/' || c == ':') c = '-';
  }
  std::string name(trimmed(joined));
  if (name.empty()) name = "Simulator";
  const std::time_t seconds = std::chrono::system_clock::to_time_t(date);
  std::tm local{};
  ::localtime_r(&seconds, &local);
  char stamp[32];
  const std::size_t length = std::strftime(stamp, sizeof stamp, "%Y-%m-%d %H.%M.%S", &local);
  return name + " - " + std::string(stamp, length) + std::string(extension);
}

expected<std::filesystem::path, std::string> CaptureDestinationStore::currentFolder() const {
  if (auto stored = defaults_->value(key_); stored && *stored && (*stored)->is_string()) {
    auto text = (*stored)->get<std::string>();
    if (!text.empty()) return std::filesystem::path(text);
  }
  auto home = homeDirectory();
  if (!home) return unexpected(home.error().description());
  return *home / defaultSubfolder_;
}

expected<void, std::string> CaptureDestinationStore::setFolder(const std::filesystem::path& folder) {
  std::error_code error;
  auto absolute = std::filesystem::absolute(folder, error);
  if (error) return unexpected(error.message());
  // A folder that does not exist yet is made when the first capture is saved; anything else in its place
  // would only fail then.
  if (std::filesystem::exists(absolute, error) && !std::filesystem::is_directory(absolute, error)) {
    return unexpected(absolute.lexically_normal().string() + " is not a folder");
  }
  auto stored = defaults_->setValue(key_, absolute.lexically_normal().string());
  if (!stored) return unexpected(stored.error().description());
  return {};
}

expected<std::filesystem::path, std::string> CaptureDestinationStore::prepareFolder() const {
  auto folder = currentFolder();
  if (!folder) return folder;
  std::error_code error;
  if (std::filesystem::is_directory(*folder, error)) return folder;
  if (std::filesystem::exists(*folder, error)) return unexpected(folder->string() + " is not a folder");
  std::filesystem::create_directories(*folder, error);
  if (error) return unexpected(error.message());
  return folder;
}

}  // namespace orvanta
