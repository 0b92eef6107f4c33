#include "capture/console/console_logs.hpp"

#include <time.h>

#include "support/atomic_file.hpp"
#include "support/text.hpp"

namespace orvanta {

namespace {

char lowerAscii(char c) noexcept {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool containsIgnoringCase(std::string_view haystack, std::string_view needle) noexcept {
  if (needle.size() > haystack.size()) return false;
  for (std::size_t i = 0; i + needle.size() <= haystack.size(); ++i) {
    std::size_t j = 0;
    while (j < needle.size() && lowerAscii(haystack[i + j]) == lowerAscii(needle[j])) ++j;
    if (j == needle.size()) return true;
  }
  return false;
}

std::string_view withoutPrivatePrefix(std::string_view path) noexcept {
  constexpr std::string_view prefix = "/private";
  if (path.starts_with(prefix)) {
    const auto rest = path.substr(prefix.size());
    if (rest.starts_with("/var/") || rest.starts_with("/tmp/")) return rest;
  }
  return path;
}

}  // namespace

// ---------------------------------------------------------------------------------------------------
// ConsoleLogFilter

bool ConsoleLogFilter::matchesLevel(const SimulatorLogEntryView& entry) const {
  if (enabledLevels.size() == allSimulatorLogLevels.size()) return true;
  return entry.level && enabledLevels.contains(*entry.level);
}

bool ConsoleLogFilter::matchesSearch(const SimulatorLogEntryView& entry) const {
  // Called for every entry: no copy of the search text.
  const std::string_view needle = trimWhitespace(searchText);
  if (needle.empty()) return true;
  return containsIgnoringCase(entry.message, needle) ||
         (entry.subsystem && containsIgnoringCase(*entry.subsystem, needle)) ||
         (entry.category && containsIgnoringCase(*entry.category, needle)) ||
         containsIgnoringCase(entry.processName(), needle);
}

bool ConsoleLogFilter::isInsideFolder(std::string_view imagePath, std::string_view folder) {
  imagePath = withoutPrivatePrefix(imagePath);
  folder = withoutPrivatePrefix(folder);
  while (folder.size() > 1 && folder.back() == '/') folder.remove_suffix(1);
  if (folder.empty() || imagePath.size() <= folder.size() + 1) return false;
  return imagePath.starts_with(folder) && imagePath[folder.size()] == '/';
}

bool ConsoleLogFilter::matches(const SimulatorLogEntryView& entry) const {
  if (appFolder && !(entry.processImagePath && isInsideFolder(*entry.processImagePath, *appFolder))) return false;
  return matchesLevel(entry) && matchesSearch(entry);
}

// ---------------------------------------------------------------------------------------------------
// RetainedLogEntries

std::size_t RetainedLogEntries::append(std::vector<SimulatorLogEntry>&& batch,
                                       std::vector<SimulatorLogEntry>* discarded) {
  std::size_t dropped = 0;
  // Of a batch larger than the list may hold, only its newest entries are ever moved in.
  std::size_t first = 0;
  if (batch.size() > entryLimit_) {
    first = batch.size() - entryLimit_;
    dropped += first;
  }
  std::size_t batchBytes = 0;
  std::size_t from = batch.size();
  while (from > first) {
    const std::size_t size = batch[from - 1].footprint();
    if (batchBytes + size > byteLimit_ && from < batch.size()) break;
    batchBytes += size;
    --from;
  }
  dropped += from - first;
  for (std::size_t i = from; i < batch.size(); ++i) {
    bytes_ += batch[i].footprint();
    entries_.push_back(std::move(batch[i]));
  }
  while (entries_.size() > 1 && (entries_.size() > entryLimit_ || bytes_ > byteLimit_)) {
    bytes_ -= entries_.front().footprint();
    if (discarded != nullptr) discarded->push_back(std::move(entries_.front()));
    entries_.pop_front();
    ++dropped;
  }
  return dropped;
}

// ---------------------------------------------------------------------------------------------------
// ConsoleLogsViewModel

void ConsoleLogsViewModel::selectApp(std::optional<std::string> bundleID, std::optional<std::string> bundleFolder) {
  if (bundleID != selectedAppFilterBundleID || bundleFolder != retainedAppFolder_) retainedAppEntries_.clear();
  selectedAppFilterBundleID = std::move(bundleID);
  retainedAppFolder_ = selectedAppFilterBundleID ? std::move(bundleFolder) : std::nullopt;
}

void ConsoleLogsViewModel::receive(std::vector<SimulatorLogEntry>&& batch, std::vector<SimulatorLogEntry>* discarded) {
  if (retainedAppFolder_) {
    std::vector<SimulatorLogEntry> ofApp;
    for (const auto& entry : batch) {
      if (entry.processImagePath && ConsoleLogFilter::isInsideFolder(*entry.processImagePath, *retainedAppFolder_)) {
        ofApp.push_back(entry);
      }
    }
    retainedAppEntries_.append(std::move(ofApp), discarded);
  }
  entries_.append(std::move(batch), discarded);
}

void ConsoleLogsViewModel::clear() {
  entries_.clear();
  retainedAppEntries_.clear();
}

ConsoleLogFilter ConsoleLogsViewModel::filter() const {
  return ConsoleLogFilter{searchText, enabledLevels, retainedAppFolder_};
}

std::vector<const SimulatorLogEntry*> ConsoleLogsViewModel::shownEntries() const {
  ConsoleLogFilter narrowing = filter();
  narrowing.appFolder.reset();  // the app's list is already the app's
  std::vector<const SimulatorLogEntry*> shown;
  for (const auto& entry : retainedAppFolder_ ? retainedAppEntries() : entries()) {
    if (narrowing.matches(entry)) shown.push_back(&entry);
  }
  return shown;
}

// ---------------------------------------------------------------------------------------------------
// ConsoleExportService

void ConsoleExportService::appendLine(std::string& out, const SimulatorLogEntryView& entry) {
  if (entry.timestamp) {
    const auto micros = entry.timestamp->time.time_since_epoch().count();
    auto seconds = micros / 1'000'000;
    auto remainder = micros % 1'000'000;
    if (remainder < 0) {
      remainder += 1'000'000;
      --seconds;
    }
    const auto clock = static_cast<time_t>(seconds);
    struct tm local {};
    localtime_r(&clock, &local);
    const auto millis = static_cast<int>(remainder / 1000);
    const char text[] = {static_cast<char>('0' + local.tm_hour / 10), static_cast<char>('0' + local.tm_hour % 10), ':',
                         static_cast<char>('0' + local.tm_min / 10),  static_cast<char>('0' + local.tm_min % 10),  ':',
                         static_cast<char>('0' + local.tm_sec / 10),  static_cast<char>('0' + local.tm_sec % 10),  '.',
                         static_cast<char>('0' + millis / 100),       static_cast<char>('0' + millis / 10 % 10),
                         static_cast<char>('0' + millis % 10)};
    out.append(text, sizeof text);
  } else {
    out += "--:--:--.---";
  }
  out.push_back(' ');
  if (entry.level) {
    for (char c : label(*entry.level)) out.push_back(c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c);
  } else {
    out.push_back('-');
  }
  out.push_back(' ');
  const std::string_view process = entry.processName();
  if (process.empty()) {
    out.push_back('-');
  } else {
    out += process;
  }
  out += ": ";
  out += entry.message;
}

expected<void, ConsoleError> ConsoleExportService::checkDestination(const std::filesystem::path& file) const {
  if (auto checked = checkFileWritable(file); !checked) {
    return unexpected(ConsoleError::exportFailed(checked.error().description()));
  }
  return {};
}

expected<void, ConsoleError> ConsoleExportService::write(std::string_view text,
                                                         const std::filesystem::path& file) const {
  if (auto written = writeFileAtomically(file, text, 0644); !written) {
    return unexpected(ConsoleError::exportFailed(written.error().description()));
  }
  return {};
}

expected<void, ConsoleError> ConsoleExportService::copy(std::string_view text, HostPasteboard& pasteboard) const {
  if (auto copied = pasteboard.copyText(text); !copied) {
    ConsoleError error = ConsoleError::of(ConsoleError::Case::clipboardFailed);
    error.message = copied.error().description();
    return unexpected(std::move(error));
  }
  return {};
}

}  // namespace orvanta
