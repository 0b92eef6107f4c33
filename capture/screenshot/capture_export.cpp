#include "capture/screenshot/capture_export.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include <nlohmann/json.hpp>

#include "support/app_paths.hpp"
#include "support/file_error.hpp"
#include "support/unique_fd.hpp"
#include "support/uuid.hpp"

namespace orvanta {
namespace {

constexpr int maximumCounter = 100000;

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f'; }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

// Writes all of `source` to `target`; false with errno set on failure.
bool copyContents(int source, int target) {
  char buffer[64 * 1024];
  for (;;) {
    ssize_t got = ::read(source, buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return false;
    if (got == 0) return true;
    std::size_t done = 0;
    while (done < static_cast<std::size_t>(got)) {
      ssize_t wrote = ::write(target, buffer + done, static_cast<std::size_t>(got) - done);
      if (wrote < 0 && errno == EINTR) continue;
      if (wrote <= 0) return false;
      done += static_cast<std::size_t>(wrote);
    }
  }
}

// Copies `source` to the new file `target` (which must not exist); a failed copy leaves nothing behind.
expected<void, int> copyToNewFile(const std::filesystem::path& source, const std::filesystem::path& target) {
  UniqueFd in(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
  if (!in) return unexpected(errno);
  UniqueFd out(::open(target.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  if (!out) return unexpected(errno);
  if (!copyContents(in.get(), out.get()) || ::fsync(out.get()) != 0) {
    const int error = errno;
    ::unlink(target.c_str());
    return unexpected(error);
  }
  return {};
}

bool linkUnsupported(int error) {
  return error == EPERM || error == ENOTSUP || error == EOPNOTSUPP || error == ENOSYS || error == EXDEV ||
         error == EMLINK;
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

std::string numberedFileName(std::string_view fileName, int counter) {
  const auto dot = fileName.rfind('.');
  const std::string suffix = " " + std::to_string(counter);
  if (dot == std::string_view::npos || dot == 0) return std::string(fileName) + suffix;
  return std::string(fileName.substr(0, dot)) + suffix + std::string(fileName.substr(dot));
}

expected<std::filesystem::path, std::string> copyWithoutReplacing(const std::filesystem::path& source,
                                                                  const std::filesystem::path& folder,
                                                                  std::string_view fileName) {
  const auto staging = folder / ("." + makeUUID() + ".partial");
  if (auto copied = copyToNewFile(source, staging); !copied) return unexpected(systemMessage(copied.error()));
  struct Cleanup {
    const std::filesystem::path& path;
    ~Cleanup() { ::unlink(path.c_str()); }
  } cleanup{staging};

  bool useLinks = true;
  for (int counter = 1; counter <= maximumCounter; ++counter) {
    const auto candidate = folder / (counter == 1 ? std::string(fileName) : numberedFileName(fileName, counter));
    if (useLinks) {
      if (::link(staging.c_str(), candidate.c_str()) == 0) return candidate;
      if (errno == EEXIST) continue;
      if (!linkUnsupported(errno)) return unexpected(systemMessage(errno));
      useLinks = false;  // a file system without hard links: create the name exclusively and copy into it
    }
    auto copied = copyToNewFile(staging, candidate);
    if (copied) return candidate;
    if (copied.error() != EEXIST) return unexpected(systemMessage(copied.error()));
  }
  return unexpected(std::string("Every numbered name is taken."));
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
