#include "core/toolchain_doctor.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "core/simctl_client.hpp"
#include "support/app_paths.hpp"
#include "support/text.hpp"

namespace orvanta {
namespace {

using Status = DoctorCheck::Status;

DoctorCheck xcrunCheck(const DoctorInputs& in) {
  if (::access(in.xcrun.c_str(), X_OK) != 0 || std::filesystem::is_directory(in.xcrun)) {
    return {"xcrun", Status::failed,
            fmt::format("No executable xcrun at {} (from {}). Install Xcode, or point --xcrun or ORVANTA_XCRUN at "
                        "xcrun.",
                        in.xcrun.string(), in.xcrunSource)};
  }
  return {"xcrun", Status::ok, fmt::format("Using {} (from {}).", in.xcrun.string(), in.xcrunSource)};
}

DoctorCheck developerFolderCheck(const DoctorInputs& in, orvanta::stop_token stop) {
  if (!in.onMacOS) {
    return {"developer folder", Status::ok,
            "Applies to macOS only; here simctl is whatever --xcrun or ORVANTA_XCRUN runs."};
  }
  std::string folder;
  std::string source;
  if (in.developerDirEnvironment && !in.developerDirEnvironment->empty()) {
    folder = *in.developerDirEnvironment;
    source = "DEVELOPER_DIR";
  } else {
    auto output = in.run("/usr/bin/xcode-select", {"-p"}, stop);
    if (!output || output->terminationStatus != 0) {
      return {"developer folder", Status::failed,
              "xcode-select names no developer folder. Install Xcode, then run: sudo xcode-select -s "
              "/Applications/Xcode.app"};
    }
    folder = std::string(trimWhitespace(output->stdout.view()));
    source = "xcode-select -p";
  }
  if (folder.find("CommandLineTools") != std::string::npos || !folder.ends_with(".app/Contents/Developer")) {
    return {"developer folder", Status::failed,
            fmt::format("{} ({}) is not a full Xcode, so it has no simulator. Run: sudo xcode-select -s "
                        "/Applications/Xcode.app",
                        folder, source)};
  }
  if (!std::filesystem::exists(std::filesystem::path(folder) / "Platforms" / "iPhoneSimulator.platform")) {
    return {"developer folder", Status::warning,
            fmt::format("{} ({}) has no iOS Simulator platform. Install an iOS runtime in Xcode's settings "
                        "(Components).",
                        folder, source)};
  }
  return {"developer folder", Status::ok, fmt::format("{} ({}), a full Xcode.", folder, source)};
}

DoctorCheck simctlCheck(const DoctorInputs& in, orvanta::stop_token stop) {
  auto output = in.run(in.xcrun, {"simctl", "help"}, stop);
  if (!output) return {"simctl", Status::failed, "xcrun could not be run: " + output.error().description()};
  const std::string text = output->stdout.str() + output->stderr.str();
  if (output->terminationStatus != 0 && text.find("usage: simctl") == std::string::npos) {
    std::string said = simctlDiagnostic(*output);
    return {"simctl", Status::failed,
            fmt::format("xcrun could not run simctl (status {}){}{} Check the selected Xcode.",
                        output->terminationStatus, said.empty() ? "." : ": ", said)};
  }
  if (auto version = simctlVersionFrom(text)) {
    return {"simctl", Status::ok, fmt::format("simctl of CoreSimulator {}.", *version)};
  }
  return {"simctl", Status::warning, "simctl answers, but its version could not be read."};
}

struct DeviceCounts {
  std::size_t listed = 0;
  std::vector<std::string> booted;
};

DoctorCheck deviceListCheck(const DoctorInputs& in, orvanta::stop_token stop, std::optional<DeviceCounts>& counts) {
  auto output = in.run(in.xcrun, {"simctl", "list", "devices", "--json"}, stop);
  if (!output) return {"device list", Status::failed, output.error().description()};
  if (output->terminationStatus != 0) {
    return {"device list", Status::failed,
            fmt::format("simctl list devices --json failed with status {}: {}", output->terminationStatus,
                        simctlDiagnostic(*output))};
  }
  const std::string_view json = trimWhitespace(output->stdout.view());
  auto document = nlohmann::json::parse(json, nullptr, false);
  const bool empty = json.empty() || document.is_discarded() || !document.is_object() || document.empty() ||
                     !document.contains("devices");
  if (empty) {
    auto text = in.run(in.xcrun, {"simctl", "list", "devices"}, stop);
    const bool textWorks = text && text->terminationStatus == 0 &&
                           text->stdout.view().find("== Devices ==") != std::string_view::npos;
    return {"device list", Status::failed,
            textWorks ? "simctl printed empty JSON for the device list, while its text listing works. This is a "
                        "known fault of some Xcode versions: update Xcode, or restart the CoreSimulator service."
                      : "simctl printed no JSON device list. Check the selected Xcode."};
  }
  auto devices = decodeDeviceList(json);
  if (!devices) return {"device list", Status::failed, devices.error().description()};
  DeviceCounts found;
  found.listed = devices->size();
  for (const auto& device : *devices) {
    if (device.state == SimulatorState::booted) found.booted.push_back(device.name);
  }
  counts = found;
  if (devices->empty()) {
    return {"device list", Status::failed,
            "simctl lists no simulators. Create one in Xcode (Window > Devices and Simulators) or with simctl "
            "create."};
  }
  return {"device list", Status::ok, fmt::format("{} simulator{} listed.", devices->size(),
                                                 devices->size() == 1 ? "" : "s")};
}

DoctorCheck bootedCheck(const std::optional<DeviceCounts>& counts) {
  if (!counts) return {"booted simulators", Status::warning, "Unknown, since the device list could not be read."};
  if (counts->booted.empty()) {
    return {"booted simulators", Status::warning,
            "No simulator is booted. Boot one: orvanta device boot NAME"};
  }
  std::string names;
  for (const auto& name : counts->booted) names += (names.empty() ? "" : ", ") + name;
  return {"booted simulators", Status::ok, fmt::format("{} booted: {}.", counts->booted.size(), names)};
}

DoctorCheck folderCheck(const char* name, const std::function<expected<std::filesystem::path, std::string>()>& find) {
  auto folder = find();
  if (!folder) return {name, Status::failed, folder.error()};
  if (auto writable = checkWritableFolder(*folder); !writable) {
    return {name, Status::failed, writable.error()};
  }
  return {name, Status::ok, folder->string() + " is writable."};
}

}  // namespace

std::string_view statusWord(DoctorCheck::Status status) {
  switch (status) {
    case Status::ok: return "ok";
    case Status::warning: return "warning";
    case Status::failed: return "failed";
  }
  return "failed";
}

std::optional<std::string> simctlVersionFrom(std::string_view helpText) {
  constexpr std::string_view marker = "CoreSimulator-";
  const auto at = helpText.find(marker);
  if (at == std::string_view::npos) return std::nullopt;
  std::string version;
  for (std::size_t i = at + marker.size(); i < helpText.size(); ++i) {
    const char c = helpText[i];
    if (!std::isdigit(static_cast<unsigned char>(c)) && c != '.') break;
    version += c;
  }
  while (!version.empty() && version.back() == '.') version.pop_back();
  if (version.empty()) return std::nullopt;
  return version;
}

expected<void, std::string> checkWritableFolder(const std::filesystem::path& folder) {
  if (auto made = ensurePrivateDirectory(folder); !made) return unexpected(made.error().description());
  std::string pattern = (folder / ".orvanta-doctor-XXXXXX").string();
  const int fd = ::mkstemp(pattern.data());
  if (fd < 0) return unexpected(fmt::format("Could not write in {}: {}", folder.string(), systemMessage(errno)));
  ::close(fd);
  ::unlink(pattern.c_str());
  return {};
}

std::vector<DoctorCheck> runDoctor(const DoctorInputs& in, orvanta::stop_token stop) {
  std::vector<DoctorCheck> checks;
  checks.push_back(xcrunCheck(in));
  checks.push_back(developerFolderCheck(in, stop));
  const bool canRun = checks.front().status != Status::failed;
  std::optional<DeviceCounts> counts;
  if (canRun) {
    checks.push_back(simctlCheck(in, stop));
    checks.push_back(deviceListCheck(in, stop, counts));
  } else {
    checks.push_back({"simctl", Status::failed, "Not checked, since xcrun is missing."});
    checks.push_back({"device list", Status::failed, "Not checked, since xcrun is missing."});
  }
  checks.push_back(bootedCheck(counts));
  checks.push_back(folderCheck("settings folder", in.settingsFolder));
  checks.push_back(folderCheck("application-support folder", in.applicationSupportFolder));
  if (in.secretStore) {
    if (auto reachable = in.secretStore(); reachable) {
      checks.push_back({"secret store", Status::ok, "The secret store answers."});
    } else {
      checks.push_back({"secret store", Status::failed, reachable.error()});
    }
  }
  return checks;
}

}  // namespace orvanta
