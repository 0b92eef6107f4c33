#include "capture/console/console_printer.hpp"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "capture/console/console_logs.hpp"
#include "support/json_text.hpp"

namespace orvanta {

namespace {

char* put(char* out, std::string_view text) noexcept {
  std::memcpy(out, text.data(), text.size());
  return out + text.size();
}

// Room for everything but the texts: the keys, the id, the time, the level and the process id.
constexpr std::size_t kFixedBound = 160;
constexpr std::size_t kKeyBound = 24;

}  // namespace

void appendEntryJsonLine(std::string& out, const SimulatorLogEntryView& entry, bool includeRaw) {
  auto textBound = [](const std::optional<std::string_view>& text) {
    return text ? kKeyBound + jsonStringBound(text->size()) : 0;
  };
  const std::size_t bound = kFixedBound + textBound(entry.processImagePath) + textBound(entry.subsystem) +
                            textBound(entry.category) + jsonStringBound(entry.message.size()) +
                            (includeRaw ? kKeyBound + jsonStringBound(entry.raw.size()) : 0);
  const std::size_t start = out.size();
  out.resize_and_overwrite(start + bound, [&](char* data, std::size_t) {
    char* at = put(data + start, "{\"id\":\"");
    at = entry.id.writeText(at);
    *at++ = '"';
    if (entry.timestamp) {
      at = put(at, ",\"timestamp\":\"");
      at = entry.timestamp->writeRfc3339(at);
      *at++ = '"';
    }
    if (entry.level) {
      at = put(at, ",\"level\":\"");
      at = put(at, rawValue(*entry.level));
      *at++ = '"';
    }
    if (entry.processID) {
      at = put(at, ",\"processID\":");
      at = std::to_chars(at, at + 16, *entry.processID).ptr;
    }
    auto text = [&at](std::string_view key, const std::optional<std::string_view>& value) {
      if (!value) return;
      at = put(at, key);
      at = writeJsonString(at, *value);
    };
    text(",\"processImagePath\":", entry.processImagePath);
    text(",\"subsystem\":", entry.subsystem);
    text(",\"category\":", entry.category);
    at = put(at, ",\"message\":");
    at = writeJsonString(at, entry.message);
    if (includeRaw) {
      at = put(at, ",\"raw\":");
      at = writeJsonString(at, entry.raw);
    }
    at = put(at, "}\n");
    return static_cast<std::size_t>(at - data);
  });
}

void appendEntryTextLine(std::string& out, const SimulatorLogEntryView& entry) {
  ConsoleExportService::appendLine(out, entry);
  out.push_back('\n');
}

void appendEntryLine(std::string& out, const SimulatorLogEntryView& entry, ConsoleEntryFormat format) {
  if (format.kind == ConsoleEntryFormat::Kind::json) {
    appendEntryJsonLine(out, entry, format.includeRaw);
  } else {
    appendEntryTextLine(out, entry);
  }
}

void ConsoleEntryPrinter::reserveFor(std::size_t lines, std::size_t bytes) {
  if (!hasBlock_) {
    block_ = writer_.takeBlock();
    hasBlock_ = true;
  }
  // An entry's line is at most about its log line's length and the id, time and keys added.
  const std::size_t wanted = block_.text().size() + bytes + lines * 128;
  block_.text().reserve(std::min(wanted, blockBytes + blockBytes / 4));
}

void ConsoleEntryPrinter::print(const SimulatorLogEntryView& entry) {
  if (!hasBlock_) {
    block_ = writer_.takeBlock();
    hasBlock_ = true;
  }
  appendEntryLine(block_.text(), entry, format_);
  block_.endRecord();
  if (block_.text().size() >= blockBytes) flush();
}

void ConsoleEntryPrinter::flush() {
  if (!hasBlock_) return;
  hasBlock_ = false;
  writer_.submit(std::move(block_));
  block_ = OutputBlock();
}

}  // namespace orvanta
