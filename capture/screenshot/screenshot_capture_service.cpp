#include "capture/screenshot/screenshot_capture_service.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cctype>

#include <fmt/format.h>

#include "support/app_paths.hpp"
#include "support/png.hpp"
#include "support/unique_fd.hpp"
#include "support/uuid.hpp"

namespace orvanta {
namespace {

std::string trimmedText(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front()))) text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back()))) text.remove_suffix(1);
  return std::string(text);
}

std::optional<std::string> readHeader(const std::filesystem::path& path) {
  UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd) return std::nullopt;
  std::string bytes(pngHeaderBytes, '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    ssize_t got = ::read(fd.get(), bytes.data() + done, bytes.size() - done);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  bytes.resize(done);
  return bytes;
}

}  // namespace

std::filesystem::path ScreenshotCaptureService::defaultTemporaryDirectory() {
  return scratchDirectory() / fmt::format("Orvanta-Screenshot-{}-{}", ::getpid(), makeUUID());
}

ScreenshotCaptureService::ScreenshotCaptureService(RunFunction run, std::filesystem::path temporaryDirectory,
                                                   bool ownsTemporaryDirectory, std::filesystem::path xcrun)
    : run_(std::move(run)),
      temporaryDirectory_(std::move(temporaryDirectory)),
      ownsTemporaryDirectory_(ownsTemporaryDirectory),
      xcrun_(std::move(xcrun)) {}

ScreenshotCaptureService::~ScreenshotCaptureService() {
  if (current_) ::unlink(current_->c_str());
}

expected<ScreenshotCapture, ScreenshotError> ScreenshotCaptureService::capture(const ScreenshotSubject& subject,
                                                                               orvanta::stop_token stop) {
  using Case = ScreenshotError::Case;
  if (subject.udid.empty()) return unexpected(ScreenshotError::of(Case::noSimulatorSelected));
  if (!subject.booted) return unexpected(ScreenshotError::of(Case::simulatorNotBooted));

  if (ownsTemporaryDirectory_) {
    if (!owned_) {
      PrivateDirectory::removeAbandoned(temporaryDirectory_.parent_path(), "Orvanta-Screenshot-");
      auto created = PrivateDirectory::create(temporaryDirectory_.parent_path(), temporaryDirectory_.filename().string());
      if (!created) return unexpected(ScreenshotError::of(Case::temporaryLocationUnavailable));
      owned_ = std::move(*created);
    }
  } else if (!ensurePrivateDirectory(temporaryDirectory_)) {
    return unexpected(ScreenshotError::of(Case::temporaryLocationUnavailable));
  }

  const auto path = temporaryDirectory_ / (makeUUID() + ".png");
  auto result = run_(xcrun_, {"simctl", "io", subject.udid, "screenshot", path.string()}, stop);
  auto discard = [&] { ::unlink(path.c_str()); };
  if (!result) {
    discard();
    return unexpected(ScreenshotError::of(Case::simctlFailed, result.error().description()));
  }
  if (result->terminationStatus != 0 || result->terminatedBySignal) {
    discard();
    auto message = trimmedText(result->stderr.view());
    if (message.empty()) message = "simctl " + terminationText(result->terminationStatus, result->terminatedBySignal) + ".";
    return unexpected(ScreenshotError::of(Case::simctlFailed, std::move(message)));
  }
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    discard();
    return unexpected(ScreenshotError::of(Case::outputMissing));
  }
  auto header = readHeader(path);
  auto size = header ? pngPixelSize(*header) : std::nullopt;
  const auto fileSize = std::filesystem::file_size(path, error);
  if (!size || error) {
    discard();
    return unexpected(ScreenshotError::of(Case::invalidImage));
  }

  if (current_) ::unlink(current_->c_str());
  current_ = path;
  return ScreenshotCapture{makeUUID(),
                           subject.udid,
                           subject.name,
                           std::chrono::system_clock::now(),
                           path,
                           size->width,
                           size->height,
                           static_cast<std::int64_t>(fileSize)};
}

expected<std::filesystem::path, ScreenshotError> ScreenshotExportService::save(const ScreenshotCapture& capture,
                                                                               const std::filesystem::path& folder) const {
  std::error_code error;
  if (!std::filesystem::exists(capture.temporaryURL, error)) {
    return unexpected(ScreenshotError::of(ScreenshotError::Case::saveFailed, "The captured image is no longer available."));
  }
  auto saved = copyWithoutReplacing(capture.temporaryURL, folder,
                                    captureFileName(capture.simulatorName, capture.capturedAt, ".png"));
  if (!saved) return unexpected(ScreenshotError::of(ScreenshotError::Case::saveFailed, saved.error()));
  return *saved;
}

std::string screenshotSummary(const ScreenshotCapture& capture) {
  return std::to_string(capture.pixelWidth) + " \xC3\x97 " + std::to_string(capture.pixelHeight) + " pixels, " +
         std::to_string(capture.fileSize) + " bytes, from " + capture.simulatorName;
}

}  // namespace orvanta
