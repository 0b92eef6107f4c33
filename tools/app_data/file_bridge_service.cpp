#include "tools/app_data/file_bridge_service.hpp"

#include <sys/stat.h>

#include "support/text.hpp"
#include "tools/app_data/app_container_service.hpp"

namespace orvanta {
namespace {

namespace fs = std::filesystem;
using Case = AppDataError::Case;

// An absolute path to a regular file, or the error that says what is wrong with `file`.
expected<fs::path, AppDataError> regularFile(const fs::path& file) {
  std::error_code error;
  fs::path absolute = fs::absolute(file, error).lexically_normal();
  if (error) absolute = file;
  struct stat info {};
  if (::stat(absolute.c_str(), &info) != 0) return unexpected(AppDataError::atPath(Case::pathNotFound, file.string()));
  if (!S_ISREG(info.st_mode)) return unexpected(AppDataError::atPath(Case::unsupportedFileType, file.string()));
  return absolute;
}

}  // namespace

std::string_view rawValue(MediaKind kind) {
  switch (kind) {
    case MediaKind::photo: return "photo";
    case MediaKind::video: return "video";
    case MediaKind::contact: return "contact";
  }
  return {};
}

std::optional<MediaKind> mediaKindOf(const fs::path& file) {
  const std::string extension = asciiLowercase(file.extension().string());
  for (std::string_view photo : {".jpg", ".jpeg", ".png", ".heic", ".heif", ".gif", ".tif", ".tiff", ".bmp", ".webp"}) {
    if (extension == photo) return MediaKind::photo;
  }
  for (std::string_view video : {".mov", ".mp4", ".m4v"}) {
    if (extension == video) return MediaKind::video;
  }
  if (extension == ".vcf" || extension == ".vcard") return MediaKind::contact;
  return std::nullopt;
}

expected<void, AppDataError> FileBridgeService::change(const std::string& udid, std::vector<std::string> arguments,
                                                       orvanta::stop_token stop) {
  auto hold = SimulatorGateHold::take(&gate_, udid, fileBridgeGateLabel);
  if (!hold) return unexpected(AppDataError::of(Case::simulatorBusy));
  auto output = runAppDataSimctl(client_, std::move(arguments), std::move(stop));
  if (!output) return unexpected(output.error());
  return {};
}

expected<std::vector<AddedMedia>, AppDataError> FileBridgeService::addMedia(const std::string& udid,
                                                                           const std::vector<fs::path>& files,
                                                                           orvanta::stop_token stop) {
  std::vector<AddedMedia> added;
  std::vector<std::string> arguments = {"addmedia", udid};
  for (const auto& file : files) {
    auto path = regularFile(file);
    if (!path) return unexpected(path.error());
    const auto kind = mediaKindOf(*path);
    if (!kind) return unexpected(AppDataError::atPath(Case::unsupportedMedia, file.string()));
    arguments.push_back(path->string());
    added.push_back({std::move(*path), *kind});
  }
  if (added.empty()) return unexpected(AppDataError::atPath(Case::pathNotFound, "(no file)"));
  if (auto done = change(udid, std::move(arguments), std::move(stop)); !done) return unexpected(done.error());
  return added;
}

expected<void, AppDataError> FileBridgeService::resetKeychain(const std::string& udid, orvanta::stop_token stop) {
  return change(udid, {"keychain", udid, "reset"}, std::move(stop));
}

expected<void, AppDataError> FileBridgeService::addCertificate(const std::string& udid, const fs::path& file,
                                                               CertificateTrust trust, orvanta::stop_token stop) {
  auto path = regularFile(file);
  if (!path) return unexpected(path.error());
  return change(udid,
                {"keychain", udid, trust == CertificateTrust::root ? "add-root-cert" : "add-cert", path->string()},
                std::move(stop));
}

}  // namespace orvanta
