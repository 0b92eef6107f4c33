// The unified log of a simulator as Orvanta sees it: levels, entries, and the two steps that turn the
// log tool's standard output into entries (LineFramer cuts bytes into lines, SimulatorLogEntryParser
// turns one line into an entry).
//
// `log stream --style ndjson` prints one JSON object per line, in any key order, with keys missing on
// some events (activity events carry no messageType), slashes escaped as "\/", and messages that may hold
// escaped newlines. Lines that are not JSON objects (the banner the tool prints before the JSON starts,
// chatter of the simulator's launchd) are kept as plain entries: they are what the user would see.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orvanta {

enum class SimulatorLogLevel { debug, info, notice, error, fault };

inline constexpr std::array<SimulatorLogLevel, 5> allSimulatorLogLevels = {
    SimulatorLogLevel::debug, SimulatorLogLevel::info, SimulatorLogLevel::notice, SimulatorLogLevel::error,
    SimulatorLogLevel::fault};

// "debug", "info", "notice", "error", "fault".
[[nodiscard]] std::string_view rawValue(SimulatorLogLevel level) noexcept;
// "Debug", "Info", "Notice", "Error", "Fault".
[[nodiscard]] std::string_view label(SimulatorLogLevel level) noexcept;
[[nodiscard]] std::optional<SimulatorLogLevel> simulatorLogLevelFromRawValue(std::string_view text) noexcept;
// The log's `messageType`, compared exactly: "Debug", "Info", "Default" (shown as notice), "Error",
// "Fault". Anything else, "default" included, is no level.
[[nodiscard]] std::optional<SimulatorLogLevel> simulatorLogLevelFromMessageType(std::string_view messageType) noexcept;

// An entry's identity: 128 random bits shaped as a version-4 UUID.
struct SimulatorLogEntryID {
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  static constexpr std::size_t textLength = 36;
  // Upper-case hyphenated text.
  [[nodiscard]] std::string text() const;
  // The same text at `out` (textLength bytes); returns its end.
  char* writeText(char* out) const noexcept;
  bool operator==(const SimulatorLogEntryID&) const = default;
};

// Makes entry ids quickly: a xoshiro256** generator seeded once from the system's randomness, so that a
// busy stream costs no system call per line. Not thread-safe: one per reading thread.
class SimulatorLogEntryIDGenerator {
 public:
  SimulatorLogEntryIDGenerator();
  [[nodiscard]] SimulatorLogEntryID next() noexcept;

 private:
  std::uint64_t nextBits() noexcept;
  std::array<std::uint64_t, 4> state_{};
};

// When an event was logged: the instant, and the UTC offset the log wrote it with (kept so that the
// log's own text can be given back).
struct SimulatorLogTimestamp {
  std::chrono::sys_time<std::chrono::microseconds> time;
  std::int32_t utcOffsetMinutes = 0;

  // "yyyy-MM-dd HH:mm:ss.SSSSSSZ" with a four-digit numeric offset: "2024-01-15 10:23:45.123456-0800".
  // nullopt for anything else, and for dates and times that do not exist.
  [[nodiscard]] static std::optional<SimulatorLogTimestamp> parse(std::string_view text) noexcept;
  // The same text form back.
  [[nodiscard]] std::string text() const;
  static constexpr std::size_t rfc3339Length = 32;
  // RFC 3339 with the microseconds and the offset the log wrote: "2024-01-15T10:23:45.123456-08:00". At
  // `out` (rfc3339Length bytes); returns its end. Years outside 0 to 9999 are written modulo 10000.
  char* writeRfc3339(char* out) const noexcept;
  [[nodiscard]] std::string rfc3339() const;
  bool operator==(const SimulatorLogTimestamp&) const = default;
};

// The last path component of an image path ("/a/MyApp.app/MyApp" -> "MyApp"), trailing slashes ignored;
// empty for an empty path.
[[nodiscard]] std::string_view processNameOf(std::string_view imagePath) noexcept;

// An entry whose texts are views into storage of someone else's: what the parser hands out before
// anything is copied, and how filters and formatters read entries of either kind.
struct SimulatorLogEntryView {
  SimulatorLogEntryID id;
  std::optional<SimulatorLogTimestamp> timestamp;
  std::optional<SimulatorLogLevel> level;
  std::optional<std::int32_t> processID;
  std::optional<std::string_view> processImagePath;
  std::optional<std::string_view> subsystem;
  std::optional<std::string_view> category;
  std::string_view message;
  std::string_view raw;

  [[nodiscard]] std::string_view processName() const noexcept {
    return processImagePath ? processNameOf(*processImagePath) : std::string_view();
  }
};

struct SimulatorLogEntry {
  SimulatorLogEntryID id;
  std::optional<SimulatorLogTimestamp> timestamp;
  std::optional<SimulatorLogLevel> level;
  std::optional<std::int32_t> processID;
  std::optional<std::string> processImagePath;
  std::optional<std::string> subsystem;
  std::optional<std::string> category;
  // `eventMessage`; empty when the object has none (the raw line keeps everything the log said).
  std::string message;
  // The whole line, trimmed of white space and newlines.
  std::string raw;

  bool operator==(const SimulatorLogEntry&) const = default;
  // The last path component of processImagePath; empty when there is none.
  [[nodiscard]] std::string_view processName() const noexcept;

  // Views of this entry's texts, valid while it lives unchanged.
  [[nodiscard]] SimulatorLogEntryView view() const;
  // An entry holding copies of the view's texts.
  [[nodiscard]] static SimulatorLogEntry copyOf(const SimulatorLogEntryView& view);
  // About how many bytes the entry takes in memory: its own size and its texts' capacities.
  [[nodiscard]] std::size_t footprint() const noexcept;
};

// Cuts a stream of bytes into lines at each line feed, decoding them as UTF-8 (ill-formed bytes become
// U+FFFD). Carriage returns stay (the parser trims them); empty lines are passed on. When the bytes held
// after the last line feed grow past maximumLineBytes, their first maximumLineBytes bytes are emitted
// with truncationMarker appended and everything held is dropped: the rest of that line is lost, and the
// next line feed ends a (partial or empty) line of its own. One framer per stream.
class LineFramer {
 public:
  static constexpr std::size_t maximumLineBytes = 1'000'000;
  static constexpr std::string_view truncationMarker = " \u2026[truncated: oversized line]";
  // Spare capacity every emitted line carries past its end, so that a parser needing padded input
  // can read it in place.
  static constexpr std::size_t lineSpareCapacity = 64;

  // The lines completed by `bytes`, in order.
  [[nodiscard]] std::vector<std::string> append(std::string_view bytes);
  // The same, handing each line to `onLine` as it is cut (no list is built).
  template <typename OnLine>
  void appendEach(std::string_view bytes, OnLine&& onLine);
  // The decoded remainder after the last line feed, if any; empties the framer.
  [[nodiscard]] std::optional<std::string> finish();

  // The lines completed by `bytes`, as views replacing the previous call's in `lines`: the same lines as
  // append() gives, without a copy of each. Each view is followed by at least lineSpareCapacity readable
  // bytes, and stays valid until the next call on this framer.
  void appendViews(std::string_view bytes, std::vector<std::string_view>& lines);
  // finish() as a view, under the same terms; nullopt when nothing is held.
  [[nodiscard]] std::optional<std::string_view> finishView();

  [[nodiscard]] std::size_t pendingByteCount() const noexcept { return pendingBytes_.size(); }

 private:
  static std::string decode(std::string_view bytes, bool truncated = false);
  // `bytes` as a view with spare capacity behind it: itself when valid UTF-8 and already so followed,
  // else a decoded copy kept until the next call.
  std::string_view viewOf(std::string_view bytes, bool truncated, bool followed);

  std::string pendingBytes_;
  // appendViews(): the chunk with room behind it, lines assembled across chunks or repaired.
  std::string chunk_;
  std::deque<std::string> held_;
};

template <typename OnLine>
void LineFramer::appendEach(std::string_view bytes, OnLine&& onLine) {
  std::size_t start = 0;
  while (start < bytes.size()) {
    const std::size_t newline = bytes.find('\n', start);
    if (newline == std::string_view::npos) break;
    const std::string_view piece = bytes.substr(start, newline - start);
    if (pendingBytes_.empty()) {
      onLine(decode(piece));
    } else {
      pendingBytes_.append(piece);
      std::string line = decode(pendingBytes_);
      pendingBytes_.clear();
      onLine(std::move(line));
    }
    start = newline + 1;
  }
  if (start < bytes.size()) pendingBytes_.append(bytes.substr(start));
  if (pendingBytes_.size() > maximumLineBytes) {
    std::string line = decode(std::string_view(pendingBytes_).substr(0, maximumLineBytes), true);
    pendingBytes_.clear();
    pendingBytes_.shrink_to_fit();
    onLine(std::move(line));
  }
}

// Turns lines of `log stream --style ndjson` into entries. Reads only the keys an entry needs. Keeps a
// JSON parser and an id generator: one per reading thread.
class SimulatorLogEntryParser {
 public:
  SimulatorLogEntryParser();
  ~SimulatorLogEntryParser();
  SimulatorLogEntryParser(const SimulatorLogEntryParser&) = delete;
  SimulatorLogEntryParser& operator=(const SimulatorLogEntryParser&) = delete;

  // The entry for one line; nullopt when the line is empty after trimming. A line that is not a
  // non-empty JSON object becomes a plain entry: message and raw are the trimmed line, nothing else set.
  // A key that is missing or has the wrong JSON type leaves its field absent. Only the keys an entry
  // needs are decoded: a damaged value under another key goes unnoticed, while a damaged structure, a bad
  // string among the needed keys or bytes after the object make a plain entry.
  [[nodiscard]] std::optional<SimulatorLogEntry> parse(std::string line);
  // The same entry as views, without copying anything: into `line` (for raw, and a plain entry's message)
  // and into the parser's own storage (the decoded JSON strings), valid until the next call. `line` must
  // be followed by at least LineFramer::lineSpareCapacity readable bytes (as the framer's views are).
  [[nodiscard]] std::optional<SimulatorLogEntryView> parseView(std::string_view line);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace orvanta
