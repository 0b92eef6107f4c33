// What the console keeps and shows: the stream's state, the retention of entries (the newest 4,000 in
// each list, and no more than 64 MiB of them), the filters, and the export text.
//
// The filter rules:
//  - Search: the trimmed search text, matched as a substring ignoring the case of ASCII letters, against
//    the message, the subsystem, the category and the process name (the image path's last component).
//    The raw JSON is not searched (its key names would match everything). An empty search matches all.
//  - Levels: with every level enabled, everything shows, entries without a level too. Once the set is
//    narrowed, only entries whose level is in it show: entries without a level (the log tool's banner,
//    activity events) are hidden.
//  - App: an entry belongs to the chosen app when its image path lies inside the app's bundle folder
//    (the installed app's Path), compared component by component, so the app's extensions and
//    frameworks count and "MyApp.app2" does not. A leading "/private" before "/var/" or "/tmp/" is ignored
//    on both sides (the same folders through the system's symbolic link).
#pragma once

#include <cstddef>
#include <deque>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "capture/console/console_error.hpp"
#include "capture/console/simulator_log_entry.hpp"
#include "core/host_pasteboard.hpp"
#include "support/expected.hpp"

namespace orvanta {

struct ConsoleStreamState {
  enum class Case { idle, starting, streaming, paused, stopping, stopped, failed };
  Case kind = Case::idle;
  std::optional<ConsoleError> error;  // failed
  bool operator==(const ConsoleStreamState&) const = default;
};

inline constexpr std::size_t consoleRetainedEntryLimit = 4000;
// However long the lines, the entries a list retains take no more memory than this (by their footprint).
inline constexpr std::size_t consoleRetainedByteLimit = 64u << 20;

// The newest entries, at most `entryLimit` of them and at most `byteLimit` bytes of them (the newest
// entry is kept even when it alone is larger). Not thread-safe; a value type.
class RetainedLogEntries {
 public:
  explicit RetainedLogEntries(std::size_t entryLimit = consoleRetainedEntryLimit,
                              std::size_t byteLimit = consoleRetainedByteLimit)
      : entryLimit_(entryLimit), byteLimit_(byteLimit) {}

  // Appends the batch and drops the oldest beyond the limits; returns how many were dropped. The entries
  // taken are moved out of `batch`, which keeps the rest. The entries dropped from the list go to
  // `discarded` when given (so that a caller can free them elsewhere), else are destroyed here.
  std::size_t append(std::vector<SimulatorLogEntry>&& batch, std::vector<SimulatorLogEntry>* discarded = nullptr);
  void clear() noexcept {
    entries_.clear();
    bytes_ = 0;
  }
  [[nodiscard]] const std::deque<SimulatorLogEntry>& entries() const noexcept { return entries_; }
  [[nodiscard]] std::size_t bytes() const noexcept { return bytes_; }

 private:
  std::deque<SimulatorLogEntry> entries_;
  std::size_t bytes_ = 0;
  std::size_t entryLimit_;
  std::size_t byteLimit_;
};

struct ConsoleLogFilter {
  std::string searchText;
  std::set<SimulatorLogLevel> enabledLevels{allSimulatorLogLevels.begin(), allSimulatorLogLevels.end()};
  std::optional<std::string> appFolder;

  [[nodiscard]] bool matches(const SimulatorLogEntryView& entry) const;
  [[nodiscard]] bool matchesLevel(const SimulatorLogEntryView& entry) const;
  [[nodiscard]] bool matchesSearch(const SimulatorLogEntryView& entry) const;
  [[nodiscard]] bool matches(const SimulatorLogEntry& entry) const { return matches(entry.view()); }
  [[nodiscard]] static bool isInsideFolder(std::string_view imagePath, std::string_view folder);
};

// The console's state and lists. Main thread.
class ConsoleLogsViewModel {
 public:
  ConsoleStreamState state;
  std::string searchText;
  std::set<SimulatorLogLevel> enabledLevels{allSimulatorLogLevels.begin(), allSimulatorLogLevels.end()};
  std::optional<std::string> selectedAppFilterBundleID;
  bool autoScroll = true;

  [[nodiscard]] const std::deque<SimulatorLogEntry>& entries() const { return entries_.entries(); }
  [[nodiscard]] const std::deque<SimulatorLogEntry>& retainedAppEntries() const {
    return retainedAppEntries_.entries();
  }
  [[nodiscard]] const std::optional<std::string>& retainedAppFolder() const { return retainedAppFolder_; }

  // Chooses the app (its bundle identifier and bundle folder) or, with nullopt, none.
  void selectApp(std::optional<std::string> bundleID, std::optional<std::string> bundleFolder);
  // Appends a delivered batch to both lists under the retention limit. What the lists take is moved out of
  // `batch`; the rest stays in it, and the entries that fall out of the lists go to `discarded` when given:
  // a flood's leftovers are then freed where the caller likes rather than on the main thread.
  void receive(std::vector<SimulatorLogEntry>&& batch, std::vector<SimulatorLogEntry>* discarded = nullptr);
  void clear();
  // The filter the lists are shown through.
  [[nodiscard]] ConsoleLogFilter filter() const;
  // What is shown: the chosen app's entries, or the whole stream, through the level and search filters.
  [[nodiscard]] std::vector<const SimulatorLogEntry*> shownEntries() const;

 private:
  RetainedLogEntries entries_;
  RetainedLogEntries retainedAppEntries_;
  std::optional<std::string> retainedAppFolder_;
};

// The export text: one line per entry, "HH:mm:ss.SSS LEVEL process: message" (local time), joined with
// "\n" and no newline after the last line.
class ConsoleExportService {
 public:
  static constexpr const char* defaultFileName = "Orvanta-Console.txt";

  // One entry's line, appended to `out`. An entry without a time shows "--:--:--.---", without a level
  // "-", without an image path "-".
  static void appendLine(std::string& out, const SimulatorLogEntryView& entry);
  static void appendLine(std::string& out, const SimulatorLogEntry& entry) { appendLine(out, entry.view()); }
  template <typename Range>
  [[nodiscard]] static std::string render(const Range& entries) {
    std::string text;
    bool first = true;
    for (const auto& item : entries) {
      if (!first) text.push_back('\n');
      first = false;
      if constexpr (std::is_pointer_v<std::decay_t<decltype(item)>>) {
        appendLine(text, *item);
      } else {
        appendLine(text, item);
      }
    }
    return text;
  }

  // Whether write() could put a file at `file` now: its folder exists and takes a new file (tried with a
  // hidden file, removed at once), and `file` is not a folder. exportFailed with the system's description.
  [[nodiscard]] expected<void, ConsoleError> checkDestination(const std::filesystem::path& file) const;
  // Writes `text` to `file` whole or not at all; exportFailed with the system's description.
  [[nodiscard]] expected<void, ConsoleError> write(std::string_view text, const std::filesystem::path& file) const;
  // Puts `text` on the host's clipboard; clipboardFailed (the reason in the payload).
  [[nodiscard]] expected<void, ConsoleError> copy(std::string_view text, HostPasteboard& pasteboard) const;
};

}  // namespace orvanta
