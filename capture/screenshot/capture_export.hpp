// What screenshots and recordings share when they are saved: the file name made from the simulator's name
// and a date, and the remembered destination folder. The copy that never replaces a file is
// support/file_copy.hpp's.
#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "support/expected.hpp"
#include "support/file_copy.hpp"
#include "support/settings_store.hpp"

namespace orvanta {

// "<name> - yyyy-MM-dd HH.mm.ss<extension>" in the local time zone. In the name, every "/" and ":" becomes
// "-", white space is trimmed from both ends, and an empty result becomes "Simulator". `extension`
// includes its dot (".png"). Thread-safe.
[[nodiscard]] std::string captureFileName(std::string_view simulatorName, std::chrono::system_clock::time_point date,
                                          std::string_view extension);

// The folder captures are saved into: the path stored under `key` when it is non-empty text, else the
// home folder followed by `defaultSubfolder` ("Pictures/Orvanta"). As thread-safe as the settings store.
class CaptureDestinationStore {
 public:
  CaptureDestinationStore(std::shared_ptr<SettingsStore> defaults, std::string key, std::string defaultSubfolder)
      : defaults_(std::move(defaults)), key_(std::move(key)), defaultSubfolder_(std::move(defaultSubfolder)) {}

  // The current folder; fails with a sentence when no home folder can be found.
  [[nodiscard]] expected<std::filesystem::path, std::string> currentFolder() const;
  // Remembers `folder` (made absolute). Fails with the settings store's sentence.
  [[nodiscard]] expected<void, std::string> setFolder(const std::filesystem::path& folder);
  // The current folder, created with its parents when nothing is there. Fails (with the reason) when the
  // path is not a folder or cannot be created.
  [[nodiscard]] expected<std::filesystem::path, std::string> prepareFolder() const;

  [[nodiscard]] const std::string& key() const { return key_; }

 private:
  std::shared_ptr<SettingsStore> defaults_;
  std::string key_;
  std::string defaultSubfolder_;
};

}  // namespace orvanta
