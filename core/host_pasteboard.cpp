#include "core/host_pasteboard.hpp"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include "support/text.hpp"

namespace orvanta {

namespace detail {
std::optional<std::filesystem::path> findOnPath(std::initializer_list<std::string_view> names) {
  const char* path = std::getenv("PATH");
  if (path == nullptr) return std::nullopt;
  for (std::string_view name : names) {
    std::istringstream folders{std::string(path)};
    for (std::string folder; std::getline(folders, folder, ':');) {
      if (folder.empty()) continue;
      std::filesystem::path candidate = std::filesystem::path(folder) / std::string(name);
      if (::access(candidate.c_str(), X_OK) == 0 && std::filesystem::is_regular_file(candidate)) return candidate;
    }
  }
  return std::nullopt;
}

expected<ProcessRunner::Output, HostPasteboardError> runClipboardTool(
    const RunWithOptionsFunction& run, const std::filesystem::path& tool, const std::vector<std::string>& arguments,
    std::optional<std::string> input, ProcessRunner::Options options, orvanta::stop_token stop) {
  constexpr double kTimeoutSeconds = 15.0;
  options.standardInput = std::move(input);
  options.timeout = kTimeoutSeconds;
  auto output = run(tool, arguments, options, std::move(stop));
  if (!output) return unexpected(HostPasteboardError::failed(output.error().description()));
  return std::move(*output);
}

expected<void, HostPasteboardError> clipboardToolSucceeded(
    const expected<ProcessRunner::Output, HostPasteboardError>& output, const std::filesystem::path& tool) {
  if (!output) return unexpected(output.error());
  if (output->terminationStatus == 0 && !output->terminatedBySignal) return {};
  const std::string detail(trimWhitespace(output->stderr.view()));
  std::string message = tool.filename().string() + " failed";
  if (!detail.empty()) message += ": " + detail;
  return unexpected(HostPasteboardError::failed(message + (message.ends_with('.') ? "" : ".")));
}
}  // namespace detail

expected<void, HostPasteboardError> InMemoryHostPasteboard::copyText(std::string_view text, orvanta::stop_token) {
  std::lock_guard guard(mutex_);
  if (fail_) return unexpected(*fail_);
  contents_ = Contents{std::string(text), "text/plain;charset=utf-8"};
  return {};
}

expected<void, HostPasteboardError> InMemoryHostPasteboard::copyFile(const std::filesystem::path& file,
                                                                     std::string_view mimeType, orvanta::stop_token) {
  std::lock_guard guard(mutex_);
  if (fail_) return unexpected(*fail_);
  std::ifstream in(file, std::ios::binary);
  if (!in) return unexpected(HostPasteboardError::failed("Could not read " + file.string() + "."));
  contents_ = Contents{std::string(std::istreambuf_iterator<char>(in), {}), std::string(mimeType)};
  return {};
}

expected<std::optional<std::string>, HostPasteboardError> InMemoryHostPasteboard::readText(orvanta::stop_token) {
  std::lock_guard guard(mutex_);
  if (fail_) return unexpected(*fail_);
  if (!contents_ || !contents_->mimeType.starts_with("text/")) return std::optional<std::string>();
  return std::optional<std::string>(contents_->bytes);
}

expected<void, HostPasteboardError> InMemoryHostPasteboard::clear(orvanta::stop_token) {
  std::lock_guard guard(mutex_);
  if (fail_) return unexpected(*fail_);
  contents_.reset();
  return {};
}

std::optional<InMemoryHostPasteboard::Contents> InMemoryHostPasteboard::contents() const {
  std::lock_guard guard(mutex_);
  return contents_;
}

void InMemoryHostPasteboard::failWith(std::optional<HostPasteboardError> error) {
  std::lock_guard guard(mutex_);
  fail_ = std::move(error);
}

}  // namespace orvanta
