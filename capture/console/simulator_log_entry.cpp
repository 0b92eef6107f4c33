#include "capture/console/simulator_log_entry.hpp"

#include <simdjson.h>

#include <cstdio>
#include <limits>

#include "support/number_text.hpp"
#include "support/random_bytes.hpp"
#include "support/text.hpp"
#include "support/utf8.hpp"

namespace orvanta {

// ---------------------------------------------------------------------------------------------------
// Levels

std::string_view rawValue(SimulatorLogLevel level) noexcept {
  switch (level) {
    case SimulatorLogLevel::debug:
      return "debug";
    case SimulatorLogLevel::info:
      return "info";
    case SimulatorLogLevel::notice:
      return "notice";
    case SimulatorLogLevel::error:
      return "error";
    case SimulatorLogLevel::fault:
      return "fault";
  }
  return {};
}

std::string_view label(SimulatorLogLevel level) noexcept {
  switch (level) {
    case SimulatorLogLevel::debug:
      return "Debug";
    case SimulatorLogLevel::info:
      return "Info";
    case SimulatorLogLevel::notice:
      return "Notice";
    case SimulatorLogLevel::error:
      return "Error";
    case SimulatorLogLevel::fault:
      return "Fault";
  }
  return {};
}

std::optional<SimulatorLogLevel> simulatorLogLevelFromRawValue(std::string_view text) noexcept {
  for (auto level : allSimulatorLogLevels) {
    if (rawValue(level) == text) return level;
  }
  return std::nullopt;
}

std::optional<SimulatorLogLevel> simulatorLogLevelFromMessageType(std::string_view messageType) noexcept {
  if (messageType == "Default") return SimulatorLogLevel::notice;
  if (messageType == "Debug") return SimulatorLogLevel::debug;
  if (messageType == "Info") return SimulatorLogLevel::info;
  if (messageType == "Error") return SimulatorLogLevel::error;
  if (messageType == "Fault") return SimulatorLogLevel::fault;
  return std::nullopt;
}

// ---------------------------------------------------------------------------------------------------
// Ids

std::string SimulatorLogEntryID::text() const {
  char buffer[37];
  std::snprintf(buffer, sizeof buffer, "%08X-%04X-%04X-%04X-%012llX", static_cast<unsigned>(high >> 32),
                static_cast<unsigned>((high >> 16) & 0xFFFF), static_cast<unsigned>(high & 0xFFFF),
                static_cast<unsigned>(low >> 48), static_cast<unsigned long long>(low & 0xFFFFFFFFFFFFull));
  return buffer;
}

SimulatorLogEntryIDGenerator::SimulatorLogEntryIDGenerator() {
  do {
    fillRandomBytes(
        std::span<std::uint8_t>(reinterpret_cast<std::uint8_t*>(state_.data()), state_.size() * sizeof(std::uint64_t)));
  } while ((state_[0] | state_[1] | state_[2] | state_[3]) == 0);
}

std::uint64_t SimulatorLogEntryIDGenerator::nextBits() noexcept {
  auto rotl = [](std::uint64_t x, int k) { return (x << k) | (x >> (64 - k)); };
  const std::uint64_t result = rotl(state_[1] * 5, 7) * 9;
  const std::uint64_t t = state_[1] << 17;
  state_[2] ^= state_[0];
  state_[3] ^= state_[1];
  state_[1] ^= state_[2];
  state_[0] ^= state_[3];
  state_[2] ^= t;
  state_[3] = rotl(state_[3], 45);
  return result;
}

SimulatorLogEntryID SimulatorLogEntryIDGenerator::next() noexcept {
  SimulatorLogEntryID id{nextBits(), nextBits()};
  id.high = (id.high & ~0xF000ull) | 0x4000ull;                       // version 4
  id.low = (id.low & 0x3FFFFFFFFFFFFFFFull) | 0x8000000000000000ull;  // RFC 4122 variant
  return id;
}

// ---------------------------------------------------------------------------------------------------
// Timestamps

std::optional<SimulatorLogTimestamp> SimulatorLogTimestamp::parse(std::string_view text) noexcept {
  // 2024-01-15 10:23:45.123456-0800
  // 0123456789012345678901234567890
  if (text.size() != 31 || text[4] != '-' || text[7] != '-' || text[10] != ' ' || text[13] != ':' || text[16] != ':' ||
      text[19] != '.' || (text[26] != '+' && text[26] != '-')) {
    return std::nullopt;
  }
  const int year = decimalDigitsAt(text, 0, 4), month = decimalDigitsAt(text, 5, 2), day = decimalDigitsAt(text, 8, 2);
  const int hour = decimalDigitsAt(text, 11, 2), minute = decimalDigitsAt(text, 14, 2),
            second = decimalDigitsAt(text, 17, 2);
  const int micros = decimalDigitsAt(text, 20, 6), offsetHours = decimalDigitsAt(text, 27, 2),
            offsetMinutes = decimalDigitsAt(text, 29, 2);
  if (year < 0 || month < 0 || day < 0 || hour < 0 || minute < 0 || second < 0 || micros < 0 || offsetHours < 0 ||
      offsetMinutes < 0) {
    return std::nullopt;
  }
  if (hour > 23 || minute > 59 || second > 59 || offsetHours > 23 || offsetMinutes > 59) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                                         std::chrono::day{static_cast<unsigned>(day)}};
  if (!date.ok()) return std::nullopt;
  const int offset = (text[26] == '-' ? -1 : 1) * (offsetHours * 60 + offsetMinutes);
  using namespace std::chrono;
  const auto local = sys_days(date) + hours(hour) + minutes(minute) + seconds(second) + microseconds(micros);
  return SimulatorLogTimestamp{local - minutes(offset), offset};
}

std::string SimulatorLogTimestamp::text() const {
  using namespace std::chrono;
  const auto local = time + minutes(utcOffsetMinutes);
  const auto day = floor<days>(local);
  const year_month_day date(day);
  const hh_mm_ss<microseconds> clock(local - day);
  const int offset = utcOffsetMinutes < 0 ? -utcOffsetMinutes : utcOffsetMinutes;
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%04d-%02u-%02u %02d:%02d:%02d.%06lld%c%02d%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()), static_cast<long long>(clock.subseconds().count()),
                utcOffsetMinutes < 0 ? '-' : '+', offset / 60, offset % 60);
  return buffer;
}

// ---------------------------------------------------------------------------------------------------
// Entries

std::string_view SimulatorLogEntry::processName() const noexcept {
  if (!processImagePath) return {};
  std::string_view path = *processImagePath;
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  const auto slash = path.rfind('/');
  if (slash == std::string_view::npos || path.size() == 1) return path;
  return path.substr(slash + 1);
}

// ---------------------------------------------------------------------------------------------------
// LineFramer

std::string LineFramer::decode(std::string_view bytes, bool truncated) {
  std::string line;
  line.reserve(bytes.size() + (truncated ? truncationMarker.size() : 0) + lineSpareCapacity);
  // The vectorised check first: nearly every line is valid, and then it is copied as it is.
  if (simdjson::validate_utf8(bytes.data(), bytes.size())) {
    line.append(bytes);
  } else {
    appendUtf8Lossy(line, bytes);
  }
  if (truncated) line.append(truncationMarker);
  return line;
}

std::vector<std::string> LineFramer::append(std::string_view bytes) {
  std::vector<std::string> lines;
  appendEach(bytes, [&lines](std::string&& line) { lines.push_back(std::move(line)); });
  return lines;
}

std::optional<std::string> LineFramer::finish() {
  if (pendingBytes_.empty()) return std::nullopt;
  std::string line = decode(pendingBytes_);
  pendingBytes_.clear();
  pendingBytes_.shrink_to_fit();
  return line;
}

// ---------------------------------------------------------------------------------------------------
// SimulatorLogEntryParser

struct SimulatorLogEntryParser::State {
  simdjson::ondemand::parser json;
  SimulatorLogEntryIDGenerator ids;
};

SimulatorLogEntryParser::SimulatorLogEntryParser() : state_(std::make_unique<State>()) {}
SimulatorLogEntryParser::~SimulatorLogEntryParser() = default;

namespace {

// Fills `entry` from the JSON object in `line` (which has room for the parser's padding). False when the
// line is not a non-empty JSON object.
bool readObject(simdjson::ondemand::parser& json, const std::string& line, SimulatorLogEntry& entry) {
  using namespace simdjson;
  ondemand::document document;
  if (json.iterate(padded_string_view(line.data(), line.size(), line.capacity())).get(document) != SUCCESS) {
    return false;
  }
  ondemand::object object;
  if (document.get_object().get(object) != SUCCESS) return false;
  // A value of another JSON type leaves its field absent; a damaged string (a bad escape) makes the line
  // something else than JSON.
  bool damaged = false;
  auto string = [&damaged](ondemand::value& value) -> std::optional<std::string_view> {
    std::string_view view;
    const auto error = value.get_string().get(view);
    if (error == SUCCESS) return view;
    if (error != INCORRECT_TYPE) damaged = true;
    return std::nullopt;
  };
  bool any = false;
  for (auto field : object) {
    std::string_view key;
    if (field.unescaped_key().get(key) != SUCCESS) return false;
    any = true;
    ondemand::value value;
    if (field.value().get(value) != SUCCESS) return false;
    if (key == "eventMessage") {
      if (auto view = string(value)) entry.message.assign(*view);
    } else if (key == "messageType") {
      if (auto view = string(value)) entry.level = simulatorLogLevelFromMessageType(*view);
    } else if (key == "timestamp") {
      if (auto view = string(value)) entry.timestamp = SimulatorLogTimestamp::parse(*view);
    } else if (key == "processID") {
      std::int64_t number = 0;
      if (value.get_int64().get(number) == SUCCESS && number >= std::numeric_limits<std::int32_t>::min() &&
          number <= std::numeric_limits<std::int32_t>::max()) {
        entry.processID = static_cast<std::int32_t>(number);
      }
    } else if (key == "processImagePath") {
      if (auto view = string(value)) entry.processImagePath.emplace(*view);
    } else if (key == "subsystem") {
      if (auto view = string(value)) entry.subsystem.emplace(*view);
    } else if (key == "category") {
      if (auto view = string(value)) entry.category.emplace(*view);
    }
    if (damaged) return false;
  }
  // Values left unread are skipped over by their structure, not validated: that is what keeps the
  // parser fast. Bytes after the object's end make the line something else than one JSON object.
  const char* after = nullptr;
  return any && document.current_location().get(after) != SUCCESS;
}

}  // namespace

std::optional<SimulatorLogEntry> SimulatorLogEntryParser::parse(std::string line) {
  const std::string_view trimmed = trimWhitespace(line);
  if (trimmed.empty()) return std::nullopt;
  if (trimmed.size() != line.size()) {
    const auto first = static_cast<std::size_t>(trimmed.data() - line.data());
    line.resize(first + trimmed.size());
    line.erase(0, first);
  }
  if (line.capacity() < line.size() + simdjson::SIMDJSON_PADDING)
    line.reserve(line.size() + simdjson::SIMDJSON_PADDING);

  SimulatorLogEntry entry;
  entry.id = state_->ids.next();
  if (line.front() == '{' && readObject(state_->json, line, entry)) {
    entry.raw = std::move(line);
    return entry;
  }
  SimulatorLogEntry plain;
  plain.id = entry.id;
  plain.message = line;
  plain.raw = std::move(line);
  return plain;
}

}  // namespace orvanta
