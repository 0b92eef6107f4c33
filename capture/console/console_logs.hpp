// What the console keeps and shows: the stream's state, the retention of entries (the newest 4,000 in
// each list), the filters, and the export text.
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

// Appends `batch` to `list` and drops from the front so that at most `limit` remain; returns how many
// were dropped (of the list's or the batch's). Entries that would be dropped at once are never copied.
template <typename T>
std::size_t appendRetaining(std::deque<T>& list, std::vector<T>&& batch, std::size_t limit) {
  std::size_t dropped = 0;
  auto first = batch.begin();
  if (batch.size() >= limit) {
    dropped = list.size() + (batch.size() - limit);
    list.clear();
    first = batch.end() - static_cast<std::ptrdiff_t>(limit);
  }
  for (auto it = first; it != batch.end(); ++it) list.push_back(std::move(*it));
  if (list.size() > limit) {
    const std::size_t excess = list.size() - limit;
    list.erase(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(excess));
    dropped += excess;
  }
  return dropped;
}

struct ConsoleLogFilter {
  std::string searchText;
  std::set<SimulatorLogLevel> enabledLevels{allSimulatorLogLevels.begin(), allSimulatorLogLevels.end()};
  std::optional<std::string> appFolder;

  [[nodiscard]] bool matches(const SimulatorLogEntry& entry) const;
  [[nodiscard]] bool matchesLevel(const SimulatorLogEntry& entry) const;
  [[nodiscard]] bool matchesSearch(const SimulatorLogEntry& entry) const;
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

  [[nodiscard]] const std::deque<SimulatorLogEntry>& entries() const { return entries_; }
  [[nodiscard]] const std::deque<SimulatorLogEntry>& retainedAppEntries() const { return retainedAppEntries_; }
  [[nodiscard]] const std::optional<std::string>& retainedAppFolder() const { return retainedAppFolder_; }

  // Chooses the app (its bundle identifier and bundle folder) or, with nullopt, none.
  void selectApp(std::optional<std::string> bundleID, std::optional<std::string> bundleFolder);
  // Appends a delivered batch to both lists under the retention limit.
  void receive(std::vector<SimulatorLogEntry> batch);
  void clear();
  // The filter the lists are shown through.
  [[nodiscard]] ConsoleLogFilter filter() const;
  // What is shown: the chosen app's entries, or the whole stream, through the level and search filters.
  [[nodiscard]] std::vector<const SimulatorLogEntry*> shownEntries() const;

 private:
  std::deque<SimulatorLogEntry> entries_;
  std::deque<SimulatorLogEntry> retainedAppEntries_;
  std::optional<std::string> retainedAppFolder_;
};

// The export text: one line per entry, "HH:mm:ss.SSS LEVEL process: message" (local time), joined with
// "\n" and no newline after the last line.
class ConsoleExportService {
 public:
  static constexpr const char* defaultFileName = "Orvanta-Console.txt";

  // One entry's line, appended to `out`. An entry without a time shows "--:--:--.---", without a level
  // "-", without an image path "-".
  static void appendLine(std::string& out, const SimulatorLogEntry& entry);
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

  // Writes `text` to `file` whole or not at all; exportFailed with the system's description.
  [[nodiscard]] expected<void, ConsoleError> write(std::string_view text, const std::filesystem::path& file) const;
  // Puts `text` on the host's clipboard; clipboardFailed (the reason in the payload).
  [[nodiscard]] expected<void, ConsoleError> copy(std::string_view text, HostPasteboard& pasteboard) const;
};

}  // namespace orvanta
