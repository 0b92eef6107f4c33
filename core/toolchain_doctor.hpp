// `orvanta doctor`: checks of the toolchain and the folders Orvanta needs, each with a sentence that says
// what to do. Most lost time in this field goes to a wrong toolchain (xcode-select pointing at the
// command-line tools, an Xcode without simulator runtimes, a device list that comes back empty), so these
// are checked in the order a person would look.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "core/process_runner.hpp"
#include "support/expected.hpp"
#include "support/stop_token.hpp"

namespace orvanta {

struct DoctorCheck {
  enum class Status { ok, warning, failed };
  std::string name;     // "xcrun", "developer folder", ...
  Status status = Status::ok;
  std::string message;  // one sentence, or two when the second says what to do
};

[[nodiscard]] std::string_view statusWord(DoctorCheck::Status status);  // "ok", "warning", "failed"

struct DoctorInputs {
  std::filesystem::path xcrun;
  std::string xcrunSource;         // "--xcrun", "ORVANTA_XCRUN" or "the default"
  RunFunction run;                 // runs xcrun and, on macOS, xcode-select
  bool onMacOS = false;            // the Xcode checks apply there only
  std::optional<std::string> developerDirEnvironment;  // $DEVELOPER_DIR
  std::function<expected<std::filesystem::path, std::string>()> settingsFolder;
  std::function<expected<std::filesystem::path, std::string>()> applicationSupportFolder;
  // Whether the secret store answers; absent when this build has none to check.
  std::function<expected<void, std::string>()> secretStore;
};

// Runs every check in order. Blocks while the programs run; any thread.
[[nodiscard]] std::vector<DoctorCheck> runDoctor(const DoctorInputs& inputs, orvanta::stop_token stop = {});

// The version simctl names in its help ("CoreSimulator-1010.10" gives "1010.10"), if any.
[[nodiscard]] std::optional<std::string> simctlVersionFrom(std::string_view helpText);

// Whether `folder` can be written: creates it (0700) when missing, then creates and removes a file in it.
// The failure is the system's sentence.
[[nodiscard]] expected<void, std::string> checkWritableFolder(const std::filesystem::path& folder);

}  // namespace orvanta
