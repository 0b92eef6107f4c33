// The file bridge: files from this computer into the simulator's libraries, and its keychain.
//
// `simctl addmedia <udid> <path>...` takes photos, live photos (a photo and its video, given together),
// videos and contacts (vCard files); any other type fails with "File type unsupported".
// `simctl keychain <udid> reset` removes every app's keychain items; `add-root-cert` and `add-cert`
// add a certificate (trusted as a root, or not). Each change holds the simulator's mutation gate under
// "file-bridge"; a held simulator is refused at once.
//
// Main thread only (the gate); blocks while simctl runs.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/simctl_client.hpp"
#include "core/simulator_mutation_gate.hpp"
#include "support/stop_token.hpp"
#include "tools/app_data/app_data_error.hpp"

namespace orvanta {

// The holder label of the file bridge's changes.
inline constexpr std::string_view fileBridgeGateLabel = "file-bridge";

enum class MediaKind { photo, video, contact };
// "photo", "video", "contact".
[[nodiscard]] std::string_view rawValue(MediaKind kind);
// The kind simctl infers from a file's extension (any letter case): photos .jpg .jpeg .png .heic .heif
// .gif .tif .tiff .bmp .webp, videos .mov .mp4 .m4v, contacts .vcf .vcard. None for anything else.
[[nodiscard]] std::optional<MediaKind> mediaKindOf(const std::filesystem::path& file);

struct AddedMedia {
  std::filesystem::path path;
  MediaKind kind = MediaKind::photo;
};

enum class CertificateTrust { root, leaf };

class FileBridgeService {
 public:
  FileBridgeService(SimctlClient client, SimulatorMutationGate& gate) : client_(std::move(client)), gate_(gate) {}

  // Adds the files in one simctl call (so that a photo and a video make one live photo). Every file must
  // be a regular file of a kind simctl takes, checked before anything runs. Fails with pathNotFound,
  // unsupportedFileType (not a regular file), unsupportedMedia, simulatorBusy, simctlFailed (simctl's words, such as "File type unsupported"),
  // invalidSimulator, simctlUnavailable or cancelled.
  [[nodiscard]] expected<std::vector<AddedMedia>, AppDataError> addMedia(const std::string& udid,
                                                                         const std::vector<std::filesystem::path>& files,
                                                                         orvanta::stop_token stop = {});

  // Removes every keychain item of every app. Fails as addMedia does after its checks.
  [[nodiscard]] expected<void, AppDataError> resetKeychain(const std::string& udid, orvanta::stop_token stop = {});

  // Adds a certificate file (PEM or DER). Fails with pathNotFound, unsupportedFileType, and as addMedia
  // does after its checks.
  [[nodiscard]] expected<void, AppDataError> addCertificate(const std::string& udid, const std::filesystem::path& file,
                                                            CertificateTrust trust, orvanta::stop_token stop = {});

 private:
  [[nodiscard]] expected<void, AppDataError> change(const std::string& udid, std::vector<std::string> arguments,
                                                    orvanta::stop_token stop);

  SimctlClient client_;
  SimulatorMutationGate& gate_;
};

}  // namespace orvanta
