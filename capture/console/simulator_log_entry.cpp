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

char* SimulatorLogEntryID::writeText(char* out) const noexcept {
  static constexpr char hex[] = "0123456789ABCDEF";
  auto digits = [&out](std::uint64_t bits, int count) {
    for (int shift = (count - 1) * 4; shift >= 0; shift -= 4) *out++ = hex[(bits >> shift) & 0xF];
  };
  digits(high >> 32, 8);
  *out++ = '-';
  digits(high >> 16, 4);
  *out++ = '-';
  digits(high, 4);
  *out++ = '-';
  digits(low >> 48, 4);
  *out++ = '-';
  digits(low, 12);
  return out;
}

std::string SimulatorLogEntryID::text() const {
  std::string text(textLength, '\0');
  writeText(text.data());
  return text;
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

namespace {

// Two decimal digits of `value` (0 to 99).
char* twoDigits(char* out, unsigned value) noexcept {
  *out++ = static_cast<char>('0' + value / 10);
  *out++ = static_cast<char>('0' + value % 10);
  return out;
}

}  // namespace

char* SimulatorLogTimestamp::writeRfc3339(char* out) const noexcept {
  using namespace std::chrono;
  const std::int64_t micros = (time + minutes(utcOffsetMinutes)).time_since_epoch().count();
  std::int64_t dayNumber = micros / 86'400'000'000;
  std::int64_t ofDay = micros % 86'400'000'000;
  if (ofDay < 0) {
    ofDay += 86'400'000'000;
    --dayNumber;
  }
  // Days to the civil date (proleptic Gregorian), by eras of 400 years.
  const std::int64_t shifted = dayNumber + 719468;
  const std::int64_t era = (shifted >= 0 ? shifted : shifted - 146096) / 146097;
  const auto dayOfEra = static_cast<unsigned>(shifted - era * 146097);
  const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned monthIndex = (5 * dayOfYear + 2) / 153;
  const unsigned day = dayOfYear - (153 * monthIndex + 2) / 5 + 1;
  const unsigned month = monthIndex < 10 ? monthIndex + 3 : monthIndex - 9;
  const std::int64_t year = static_cast<std::int64_t>(yearOfEra) + era * 400 + (month <= 2 ? 1 : 0);
  const auto shownYear = static_cast<unsigned>(((year % 10000) + 10000) % 10000);

  out = twoDigits(out, shownYear / 100);
  out = twoDigits(out, shownYear % 100);
  *out++ = '-';
  out = twoDigits(out, month);
  *out++ = '-';
  out = twoDigits(out, day);
  *out++ = 'T';
  const auto seconds = static_cast<unsigned>(ofDay / 1'000'000);
  auto fraction = static_cast<unsigned>(ofDay % 1'000'000);
  out = twoDigits(out, seconds / 3600);
  *out++ = ':';
  out = twoDigits(out, seconds / 60 % 60);
  *out++ = ':';
  out = twoDigits(out, seconds % 60);
  *out++ = '.';
  for (int i = 5; i >= 0; --i) {
    out[i] = static_cast<char>('0' + fraction % 10);
    fraction /= 10;
  }
  out += 6;
  const unsigned offset = static_cast<unsigned>(utcOffsetMinutes < 0 ? -utcOffsetMinutes : utcOffsetMinutes);
  *out++ = utcOffsetMinutes < 0 ? '-' : '+';
  out = twoDigits(out, offset / 60 % 100);
  *out++ = ':';
  out = twoDigits(out, offset % 60);
  return out;
}

std::string SimulatorLogTimestamp::rfc3339() const {
  std::string text(rfc3339Length, '\0');
  writeRfc3339(text.data());
  return text;
}

// ---------------------------------------------------------------------------------------------------
// Entries

std::string_view processNameOf(std::string_view path) noexcept {
  while (path.size() > 1 && path.back() == '/') path.remove_suffix(1);
  const auto slash = path.rfind('/');
  if (slash == std::string_view::npos || path.size() == 1) return path;
  return path.substr(slash + 1);
}

std::string_view SimulatorLogEntry::processName() const noexcept {
  return processImagePath ? processNameOf(*processImagePath) : std::string_view();
}

SimulatorLogEntryView SimulatorLogEntry::view() const {
  auto text = [](const std::optional<std::string>& value) -> std::optional<std::string_view> {
    if (!value) return std::nullopt;
    return std::string_view(*value);
  };
  return {id, timestamp, level, processID, text(processImagePath), text(subsystem), text(category), message, raw};
}

SimulatorLogEntry SimulatorLogEntry::copyOf(const SimulatorLogEntryView& view) {
  auto text = [](const std::optional<std::string_view>& value) -> std::optional<std::string> {
    if (!value) return std::nullopt;
    return std::string(*value);
  };
  return {view.id,
          view.timestamp,
          view.level,
          view.processID,
          text(view.processImagePath),
          text(view.subsystem),
          text(view.category),
          std::string(view.message),
          std::string(view.raw)};
}

std::size_t SimulatorLogEntry::footprint() const noexcept {
  auto text = [](const std::optional<std::string>& value) { return value ? value->capacity() : 0; };
  return sizeof(SimulatorLogEntry) + raw.capacity() + message.capacity() + text(processImagePath) + text(subsystem) +
         text(category);
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
  // Repaired bytes take more room than they did (three for each ill-formed one): the promised spare
  // capacity is made good after the fact.
  if (line.capacity() < line.size() + lineSpareCapacity) line.reserve(line.size() + lineSpareCapacity);
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

static_assert(LineFramer::lineSpareCapacity >= simdjson::SIMDJSON_PADDING);

std::string_view LineFramer::viewOf(std::string_view bytes, bool truncated, bool followed) {
  if (followed && !truncated && simdjson::validate_utf8(bytes.data(), bytes.size())) return bytes;
  held_.push_back(decode(bytes, truncated));
  return held_.back();
}

void LineFramer::appendViews(std::string_view bytes, std::vector<std::string_view>& lines) {
  lines.clear();
  held_.clear();
  const char* const end = bytes.data() + bytes.size();
  std::size_t start = 0;
  while (start < bytes.size()) {
    const std::size_t newline = bytes.find('\n', start);
    if (newline == std::string_view::npos) break;
    const std::string_view piece = bytes.substr(start, newline - start);
    if (pendingBytes_.empty()) {
      // A line near the end of the chunk is copied: the parser reads a little past a line's end.
      const bool followed = static_cast<std::size_t>(end - (piece.data() + piece.size())) >= lineSpareCapacity;
      lines.push_back(viewOf(piece, false, followed));
    } else {
      pendingBytes_.append(piece);
      lines.push_back(viewOf(pendingBytes_, false, false));
      pendingBytes_.clear();
    }
    start = newline + 1;
  }
  if (start < bytes.size()) pendingBytes_.append(bytes.substr(start));
  if (pendingBytes_.size() > maximumLineBytes) {
    lines.push_back(viewOf(std::string_view(pendingBytes_).substr(0, maximumLineBytes), true, false));
    pendingBytes_.clear();
    pendingBytes_.shrink_to_fit();
  }
}

std::optional<std::string_view> LineFramer::finishView() {
  held_.clear();
  auto rest = finish();
  if (!rest) return std::nullopt;
  held_.push_back(std::move(*rest));
  return std::string_view(held_.back());
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

// Fills `entry` from the JSON object in `line` (which is followed by the parser's padding). False when
// the line is not a non-empty JSON object.
bool readObject(simdjson::ondemand::parser& json, std::string_view line, SimulatorLogEntryView& entry) {
  using namespace simdjson;
  ondemand::document document;
  if (json.iterate(padded_string_view(line.data(), line.size(), line.size() + SIMDJSON_PADDING)).get(document) !=
      SUCCESS) {
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
      if (auto view = string(value)) entry.message = *view;
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
      if (auto view = string(value)) entry.processImagePath = *view;
    } else if (key == "subsystem") {
      if (auto view = string(value)) entry.subsystem = *view;
    } else if (key == "category") {
      if (auto view = string(value)) entry.category = *view;
    }
    if (damaged) return false;
  }
  // Values left unread are skipped over by their structure, not validated: that is what keeps the
  // parser fast. Bytes after the object's end make the line something else than one JSON object.
  const char* after = nullptr;
  return any && document.current_location().get(after) != SUCCESS;
}

}  // namespace

std::optional<SimulatorLogEntryView> SimulatorLogEntryParser::parseView(std::string_view line) {
  line = trimWhitespace(line);
  if (line.empty()) return std::nullopt;
  SimulatorLogEntryView entry;
  entry.id = state_->ids.next();
  if (line.front() == '{' && readObject(state_->json, line, entry)) {
    entry.raw = line;
    return entry;
  }
  SimulatorLogEntryView plain;
  plain.id = entry.id;
  plain.message = line;
  plain.raw = line;
  return plain;
}

std::optional<SimulatorLogEntry> SimulatorLogEntryParser::parse(std::string line) {
  const std::string_view trimmed = trimWhitespace(line);
  if (trimmed.empty()) return std::nullopt;
  if (trimmed.size() != line.size()) {
    const auto first = static_cast<std::size_t>(trimmed.data() - line.data());
    line.resize(first + trimmed.size());
    line.erase(0, first);
  }
  if (line.capacity() < line.size() + simdjson::SIMDJSON_PADDING) line.reserve(line.size() + simdjson::SIMDJSON_PADDING);
  auto view = parseView(line);
  auto text = [](const std::optional<std::string_view>& value) -> std::optional<std::string> {
    if (!value) return std::nullopt;
    return std::string(*value);
  };
  SimulatorLogEntry entry{view->id,
                          view->timestamp,
                          view->level,
                          view->processID,
                          text(view->processImagePath),
                          text(view->subsystem),
                          text(view->category),
                          std::string(view->message),
                          {}};
  entry.raw = std::move(line);
  return entry;
}

}  // namespace orvanta
